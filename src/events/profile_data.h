// SPDX-License-Identifier: Apache-2.0
// Everything one log yields: what the handlers fill, the statistics add to and the reports read.

#ifndef RYX_EVENTS_PROFILE_DATA_H
#define RYX_EVENTS_PROFILE_DATA_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/keyed_hash.h"
#include "ryx/profile_event.h"

namespace ryx::profiling {

/// Executions per graph, graphs in order of first appearance. A name index beside the list finds a
/// graph without walking it: logs hold tens of thousands of them.
class GraphExecutionList {
 public:
  /// Appends `execution` to the graph's entry, making the entry if there is none.
  void add(std::string_view graphName, ExecutionRecord execution);

  [[nodiscard]] const std::vector<GraphExecutions>& graphs() const { return graphs_; }

 private:
  std::vector<GraphExecutions> graphs_;
  std::unordered_map<std::string, size_t, KeyedHash> positions_;
};

/// Durations and timestamps are microseconds. Flags are set once and never cleared.
struct ProfileData {
  // Finished after the last chunk, from the members below.
  uint64_t initTotalTimestamp_ = 0;
  uint64_t initTotalDuration_ = 0;

  uint64_t initStepTimestamp_ = 0;
  uint64_t initStepDuration_ = 0;
  uint64_t composeGraphsTimestamp_ = 0;
  uint64_t composeGraphsDuration_ = 0;
  uint64_t initTimestamp_ = 0;
  uint64_t initDuration_ = 0;
  uint64_t netRunTimestamp_ = 0;
  uint64_t netRunDuration_ = 0;
  uint64_t deInitTimestamp_ = 0;
  uint64_t deInitDuration_ = 0;
  uint64_t libLoadTimestamp_ = 0;
  uint64_t libLoadDuration_ = 0;

  bool hasInitEvents_ = false;
  bool initSeen_ = false;
  bool applyBinarySectionSeen_ = false;
  bool finalizeSeen_ = false;
  bool hasFinalizeEvents_ = false;
  bool netRunSeen_ = false;
  bool graphRunSeen_ = false;
  bool libLoadSeen_ = false;
  bool queueWaitSeen_ = false;  ///< executions were measured as host round trips

  std::vector<ProfileEvent> initEvents_;
  std::vector<ProfileEvent> initMethodEvents_;
  std::vector<ProfileEvent> netRunEvents_;
  std::vector<ProfileEvent> deInitEvents_;
  std::vector<ProfileEvent> libLoadEvents_;
  std::vector<GraphEventSet> graphEventSets_;  ///< finalisation records, in arrival order
  GraphExecutionList graphExecutions_;
  GraphExecutionList applyBinarySectionExecutions_;

  // Statistics, one entry per graph, built after the last chunk.
  std::vector<GraphEventSet> executeAverages_;
  std::vector<GraphEventSet> applyBinarySectionAverages_;
  std::vector<GraphEventSet> applyBinarySectionMaxima_;
  std::vector<GraphEventSet> applyBinarySectionMinima_;
  std::vector<GraphEventSet> executeMaxima_;
  std::vector<GraphEventSet> executeMinima_;

  // Empty when the log has no queue waits or they cannot be told apart.
  std::vector<GraphQueueWaits> queueWaitAverages_;
  std::vector<GraphQueueWait> queueWaitMaxima_;
  std::vector<GraphQueueWait> queueWaitMinima_;

  /// The texts that string values point at: a list, so that they stay where they are.
  std::list<std::string> stringValues_;
};

}  // namespace ryx::profiling

#endif
