// SPDX-License-Identifier: Apache-2.0
// What a log holds, counted while its chunks pass by.

#ifndef RYX_LOG_LOG_SUMMARY_H
#define RYX_LOG_LOG_SUMMARY_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/keyed_hash.h"
#include "profile_log_generated.h"
#include "stream/log_damage.h"

namespace ryx::profiling {

/// The events of the message at every depth.
[[nodiscard]] uint64_t countEvents(const Message& message);

struct HeaderSummary {
  std::optional<float> timeScale;
  std::optional<uint64_t> epochTimestamp;
  std::optional<uint64_t> steadyClockTimestamp;
  std::optional<std::string> infoText;
  std::optional<std::string> backendVersion;
  std::optional<std::string> infoLabel;
};

struct GraphSummary {
  std::string name;
  uint64_t executions = 0;  ///< Execute, ExecuteHostRoundTrip and GraphRun messages
  uint64_t events = 0;      ///< of all messages that name the graph, at every depth
};

struct LogSummary {
  uint64_t bytes = 0;
  uint64_t chunks = 0;
  uint64_t messages = 0;
  uint64_t events = 0;
  uint64_t largestChunkBytes = 0;
  uint64_t largestChunkNumber = 0;
  uint64_t largestChunkOffset = 0;
  std::optional<uint64_t> firstTime;  ///< of the messages that have one; microseconds
  std::optional<uint64_t> lastTime;
  std::optional<HeaderSummary> header;  ///< the first one
  /// How many messages there are of a method and a level, 0 where they are absent.
  std::map<std::pair<int8_t, int8_t>, uint64_t> messageCounts;
  std::vector<GraphSummary> graphs;  ///< in the order of the log
  GraphSummary otherGraphs;          ///< all whose names are not kept; without a name
};

/// Gathers a summary chunk by chunk, in memory that does not grow with the log.
class SummaryBuilder {
 public:
  /// Names of graphs are kept until they take this much.
  static constexpr size_t kMaxGraphNameBytes = 4 << 20;

  /// `chunk` is the one that `log` handed out last.
  void add(const CheckedLog& log, const LogChunk& chunk);

  [[nodiscard]] const LogSummary& summary() const { return summary_; }

 private:
  void add(const Message& message);
  [[nodiscard]] GraphSummary& graphOf(std::string_view name);

  LogSummary summary_;
  std::unordered_map<std::string, size_t, KeyedHash> graphPositions_;
  size_t graphNameBytes_ = 0;
};

}  // namespace ryx::profiling

#endif
