// SPDX-License-Identifier: Apache-2.0
// One output format of an export: where the rows of the logs go.
//
// `exportLogs` (export.h) is the one loop that reads logs and feeds sinks. For each log that can be
// opened it calls begin, then for each pass `write` with all the batches that the pass selects,
// then end; after the last log, finish. A sink that fails says so by the Status that it returns,
// and is then only destroyed: what it has not finished, it leaves no trace of.

#ifndef RYX_EXPORTS_TABLE_SINK_H
#define RYX_EXPORTS_TABLE_SINK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "ryx/profile_tables.h"

namespace ryx::profiling {

struct ExportedLog {
  std::string path;      ///< as given
  int64_t id = 0;        ///< its position among those given, readable or not
  std::string name;      ///< what the user calls it
  std::string readPath;  ///< what it is read by
};

class TableSink {
 public:
  TableSink() = default;
  TableSink(const TableSink&) = delete;
  TableSink& operator=(const TableSink&) = delete;
  virtual ~TableSink() = default;

  /// How often a log has to be read.
  [[nodiscard]] virtual size_t passes() const { return 1; }

  /// What a pass over a log is to deliver of the messages that are exported, those that meet
  /// `filter`. Called when the pass before has been delivered, and before `begin` for the first.
  [[nodiscard]] virtual Selection selection(size_t pass, const MessageFilter& filter) = 0;

  /// The first call opens the output: where no log can be read, none is made.
  [[nodiscard]] virtual Status begin(const ExportedLog& log) = 0;

  [[nodiscard]] virtual Status write(const Batch& batch) = 0;

  /// The log has been read to its end, or to this damage.
  [[nodiscard]] virtual Status end(const std::optional<TableDamage>& damage) = 0;

  /// Puts the output in its place.
  [[nodiscard]] virtual Status finish() = 0;

  /// After finish: what of the selected messages is not in the output, a line each.
  [[nodiscard]] virtual std::vector<std::string> omissions() const { return {}; }
};

}  // namespace ryx::profiling

#endif
