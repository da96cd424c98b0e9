// SPDX-License-Identifier: Apache-2.0
// One table as lines of text, a row each: CSV and NDJSON. The `log` column tells logs apart.

#ifndef RYX_EXPORTS_ROW_TEXT_SINK_H
#define RYX_EXPORTS_ROW_TEXT_SINK_H

#include <memory>
#include <string>
#include <vector>

#include "exports/table_sink.h"

namespace ryx::profiling {

struct RowTextOptions {
  std::string outputPath;  ///< or kStandardOutput
  TableId table = TableId::Events;
  std::vector<std::string> columns;  ///< of the table with `LogColumn::Path`; empty: all
};

/// RFC 4180, but that lines end in a newline alone: the names of the columns first, then the rows.
/// Null is an empty field and an empty text `""`; what is not finite is nan, inf or -inf.
[[nodiscard]] std::unique_ptr<TableSink> makeCsvSink(RowTextOptions options);

/// A JSON object a line, with the columns as keys. What is not finite is null.
[[nodiscard]] std::unique_ptr<TableSink> makeNdjsonSink(RowTextOptions options);

}  // namespace ryx::profiling

#endif
