// SPDX-License-Identifier: Apache-2.0
// The formats of an export: their names, and the extensions that stand for them.

#ifndef RYX_EXPORTS_EXPORT_FORMAT_H
#define RYX_EXPORTS_EXPORT_FORMAT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "exports/table_sink.h"

namespace ryx::profiling {

enum class ExportFormat : uint8_t { Sqlite, Csv, Ndjson, Trace, Folded };

/// "csv (.csv), ndjson (.ndjson, .jsonl)", for help and for messages about what is neither.
[[nodiscard]] std::string exportFormats();

[[nodiscard]] std::vector<std::string> exportFormatNames();

[[nodiscard]] std::string_view nameOf(ExportFormat format);

/// The format to write to `path` in: that called `name`, or where that is empty, that of the path's
/// extension. Fails where neither says, and where both do and differ.
[[nodiscard]] Result<ExportFormat> chooseExportFormat(const std::string& name,
                                                      const std::string& path);

struct ExportOptions {
  std::string outputPath;            ///< or kStandardOutput
  std::optional<TableId> table;      ///< of formats with one table a file; not given: events
  std::vector<std::string> columns;  ///< of that table; empty: all
  bool hasIndexes = true;            ///< of a database
  bool isWhole = false;              ///< of a timeline: all executions, however many
};

/// The sink of a format. Fails for options that the format does not have, for columns that the
/// table does not, and for an output that cannot hold the format.
[[nodiscard]] Result<std::unique_ptr<TableSink>> makeSink(ExportFormat format,
                                                          const ExportOptions& options);

}  // namespace ryx::profiling

#endif
