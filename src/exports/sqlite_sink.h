// SPDX-License-Identifier: Apache-2.0
// All tables in a SQLite database.

#ifndef RYX_EXPORTS_SQLITE_SINK_H
#define RYX_EXPORTS_SQLITE_SINK_H

#include <memory>
#include <string>

#include "exports/table_sink.h"

namespace ryx::profiling {

/// sqlite_schema.h says what is in it. `outputPath` is a regular file, or nothing yet.
[[nodiscard]] std::unique_ptr<TableSink> makeSqliteSink(std::string outputPath, bool hasIndexes);

}  // namespace ryx::profiling

#endif
