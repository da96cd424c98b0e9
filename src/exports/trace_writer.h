// SPDX-License-Identifier: Apache-2.0
// Chrome's trace events as JSON, event by event.

#ifndef RYX_EXPORTS_TRACE_WRITER_H
#define RYX_EXPORTS_TRACE_WRITER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "exports/output_file.h"
#include "ryx/profile_tables.h"

namespace ryx::profiling {

/// Why something of a log is not in a trace.
enum class Omission : uint8_t {
  Executions,   ///< there are too many
  Phases,       ///< likewise
  Overlapping,  ///< of executions and phases, with too many others
  Untimed,      ///< of executions and phases, which have no duration and no events with one
  Unplaced,     ///< of events, which do not fit into what they are in
  Negative,     ///< of events, their duration
  Timeless,     ///< of events, which are no counter either
  Surplus,      ///< of events, in an execution that is too large
};

using Omissions = std::map<Omission, uint64_t>;

/// "7 events without a time, ..."; empty where nothing is missing.
[[nodiscard]] std::string describe(const Omissions& omissions);

/// What the trace says of a log beside its events.
struct TracedLog {
  std::string path;
  uint64_t firstStart = 0;  ///< microseconds; times in the trace count from there
  bool isSynthetic = false;
  std::string damage;  ///< empty: none
  Omissions omissions;
};

/// The process of a log has the number of its place in the trace, from 1 on.
class TraceWriter {
 public:
  [[nodiscard]] Status open(const std::string& path);

  /// Names are JSON strings, here and below.
  void addSlice(size_t process, uint64_t thread, uint64_t start, uint64_t duration,
                bool isSynthetic, std::string_view name);

  /// `value` is a finite number. Counters of one name are told apart by
  /// `series`, a name that may be empty.
  void addCounter(size_t process, uint64_t time, std::string_view name, std::string_view series,
                  std::string_view unit, const Cell& value);

  void nameProcess(size_t process, std::string_view name);
  void nameThread(size_t process, uint64_t thread, std::string_view name);

  [[nodiscard]] const Status& status() const { return out_.status(); }

  /// Puts the trace in its place.
  [[nodiscard]] Status finish(const std::vector<TracedLog>& logs);

 private:
  void startEvent(char phase, size_t process);
  void appendMember(std::string_view key, uint64_t value);
  void appendMember(std::string_view key, std::string_view json);
  void appendText(std::string_view key, std::string_view text);
  void appendNumber(uint64_t value);
  void appendLog(const TracedLog& log, size_t process);

  OutputFile out_;
  bool hasEvents_ = false;
};

}  // namespace ryx::profiling

#endif
