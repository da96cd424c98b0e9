// SPDX-License-Identifier: Apache-2.0
// The samples of one log, or of several taken together: everything that statistics need of them,
// gathered in one pass.
//
// A row is what happens again and again: the executions of a graph by one method, or the messages
// of a phase. An occurrence is one of them. For each path of events and each unit a row has a
// series: in each occurrence that has such events with numbers, the sum of these is its total, and
// what its direct children in the same unit leave of that is its self. Each sample is kept once: a
// path that never had children beside it has no selves of its own.

#ifndef RYX_ANALYSIS_LOG_SAMPLES_H
#define RYX_ANALYSIS_LOG_SAMPLES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "analysis/number.h"
#include "analysis/path_tree.h"
#include "analysis/position_list.h"
#include "analysis/samples.h"
#include "base/keyed_hash.h"
#include "base/status.h"
#include "ryx/message_filter.h"
#include "ryx/profile_tables.h"
#include "tables/log_walk.h"

namespace ryx::profiling {

constexpr uint32_t kMicroseconds = 1;
constexpr uint32_t kBytes = 2;
constexpr uint32_t kCycles = 3;

/// A hash of numbers that a log had a say in.
struct NumbersHash {
  template <size_t N>
  size_t operator()(const std::array<uint32_t, N>& numbers) const {
    return KeyedHash()({reinterpret_cast<const char*>(numbers.data()), sizeof numbers});
  }
};

/// A number for each sample, nearly always the same one.
class CountList {
 public:
  void append(uint32_t count) {
    if (size_ == 0) common_ = count;
    if (count != common_ || !each_.empty()) appendToEach(count);
    ++size_;
  }
  [[nodiscard]] uint64_t sum(const std::vector<SampleRange>& ranges) const;

 private:
  void appendToEach(uint32_t count);

  uint32_t size_ = 0;
  uint32_t common_ = 0;
  std::vector<uint32_t> each_;  ///< empty as long as all are `common_`
};

/// The samples of one path in one unit.
struct Series {
  uint32_t node = 0;
  std::optional<uint32_t> unit;
  std::optional<uint32_t> eventType;  ///< the first one met
  Samples totals;
  /// Of a path whose children never came with it nothing: its selves are its totals, or 0 where
  /// those are negative.
  std::unique_ptr<Samples> selves;
  PositionList occurrences;  ///< of each sample, in its row
  CountList calls;           ///< of each sample

  // While a message is read.
  uint64_t openedBy = 0;  ///< the number of the message, from 1
  uint32_t openIndex = 0;
};

/// What a row has of one log.
struct RowPart {
  size_t log = 0;
  size_t firstOccurrence = 0;
  PositionList numbers;  ///< of executions: the number in the log of each occurrence from there on
};

struct Row {
  bool isExecution = false;
  std::optional<std::string> graph;
  std::optional<int8_t> method;
  size_t occurrences = 0;
  Samples durations;
  PositionList timed;  ///< the occurrences that have a duration
  Samples queueWaits;
  std::vector<RowPart> parts;
  std::vector<uint32_t> series;  ///< in the order of their first samples

  // The time that all of it took.
  uint64_t earliestStart = UINT64_MAX;
  uint64_t latestEnd = 0;
  bool isUntimed = false;  ///< an occurrence lacks one of its ends

  uint32_t node = 0;
};

/// A message that is no execution.
struct PhaseMessage {
  size_t log = 0;
  uint32_t row = 0;  ///< of `LogSamples::rows`
  std::optional<uint64_t> start;
  std::optional<uint64_t> end;
  std::optional<uint64_t> duration;
  size_t firstValue = 0;  ///< its values, up to those of the next one
};

struct PhaseValue {
  uint32_t series = 0;
  std::optional<uint32_t> sample;  ///< nothing where the sum has left the doubles
};

struct ReadLog {
  std::string name;                   ///< what its user calls it: the path as given
  std::optional<TableDamage> damage;  ///< what ended the log before its time
  bool canBeRescued = false;          ///< there may be something good after the damage
  uint64_t leftOut = 0;               ///< numbers that are NaN or infinite
  uint64_t overflown = 0;             ///< totals that are
  LogTotals totals = {};              ///< of what is intact, events not counted
};

class LogSamples {
 public:
  /// Reads the messages that `filter` selects of the log at `path`, which its user calls `name`, up
  /// to the log's damage where it has one. Fails where it cannot be opened, and changes nothing.
  [[nodiscard]] Status read(const std::string& path, const std::string& name,
                            const MessageFilter& filter);

  [[nodiscard]] const std::vector<ReadLog>& logs() const { return logs_; }
  /// In the order of their first occurrences.
  [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }
  [[nodiscard]] const std::vector<PhaseMessage>& phases() const { return phases_; }
  /// The values of the phase at that position, in the order of the log.
  [[nodiscard]] std::vector<PhaseValue> phaseValues(size_t phase) const;
  [[nodiscard]] const Series& series(uint32_t index) const { return series_[index]; }
  [[nodiscard]] const PathTree& paths() const { return paths_; }

 private:
  class Pass;

  std::vector<ReadLog> logs_;
  std::vector<Row> rows_;
  std::unordered_map<std::string, uint32_t, KeyedHash> rowIndex_;
  std::vector<PhaseMessage> phases_;
  std::vector<PhaseValue> phaseValues_;
  PathTree paths_;
  std::vector<Series> series_;
  std::vector<uint32_t> firstSeries_;  ///< of each node
  /// The further ones of nodes that have several, by node and unit.
  std::unordered_map<std::array<uint32_t, 3>, uint32_t, NumbersHash> otherSeries_;
  uint64_t messages_ = 0;
};

}  // namespace ryx::profiling

#endif
