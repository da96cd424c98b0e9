// SPDX-License-Identifier: Apache-2.0
// Folded stacks: a line for each path of events and the time spent in it, which every program that
// draws flame graphs reads.

#ifndef RYX_EXPORTS_FOLDED_SINK_H
#define RYX_EXPORTS_FOLDED_SINK_H

#include <memory>
#include <string>

#include "exports/table_sink.h"

namespace ryx::profiling {

/// "a;b;c 120": the identifiers from the root down, and the microseconds that were spent in c and
/// in nothing below it, of all messages and logs together. `outputPath` may be kStandardOutput.
[[nodiscard]] std::unique_ptr<TableSink> makeFoldedSink(std::string outputPath);

}  // namespace ryx::profiling

#endif
