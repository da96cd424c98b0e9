// SPDX-License-Identifier: Apache-2.0
// Three rules, each of which makes one execution that stands for all of a graph's. Longest and
// shortest are executions that took place, with the events they had; only the average is made up,
// and its work is in merging events by identifier (event_merger.h). Each rule is one pass.

#include "events/execution_statistics.h"

#include <utility>

#include "events/event_merger.h"

namespace ryx::profiling {
namespace {

/// The first execution in the order of `precedes`, which compares two durations strictly; of those
/// that are equal, the last in the list.
template <typename Precedes>
ExecutionRecord lastOfFirst(const std::vector<ExecutionRecord>& executions, Precedes precedes) {
  if (executions.empty()) return {};
  const ExecutionRecord* chosen = &executions.front();
  for (const ExecutionRecord& execution : executions)
    if (!precedes(chosen->duration, execution.duration)) chosen = &execution;
  return *chosen;
}

GraphEventSet namedRecord(const std::string& graphName, ExecutionRecord record) {
  return {graphName, record.duration, record.timestamp, std::move(record.events)};
}

/// Graph by graph, so that all three rules find a graph's events in the processor's caches.
void appendStatistics(const GraphExecutionList& list, std::vector<GraphEventSet>& averages,
                      std::vector<GraphEventSet>& maxima, std::vector<GraphEventSet>& minima) {
  for (const GraphExecutions& graph : list.graphs()) {
    averages.push_back(namedRecord(graph.graphName, buildAverageExecution(graph.executions)));
    maxima.push_back(namedRecord(graph.graphName, buildMaximumExecution(graph.executions)));
    minima.push_back(namedRecord(graph.graphName, buildMinimumExecution(graph.executions)));
  }
}

}  // namespace

ExecutionRecord buildMaximumExecution(const std::vector<ExecutionRecord>& executions) {
  return lastOfFirst(executions, [](uint64_t a, uint64_t b) { return a > b; });
}

ExecutionRecord buildMinimumExecution(const std::vector<ExecutionRecord>& executions) {
  return lastOfFirst(executions, [](uint64_t a, uint64_t b) { return a < b; });
}

ExecutionRecord buildAverageExecution(const std::vector<ExecutionRecord>& executions) {
  ExecutionRecord average;
  if (executions.empty()) return average;
  EventMerger merger;
  for (const ExecutionRecord& execution : executions) {
    average.duration += execution.duration;
    average.timestamp = execution.timestamp;
    merger.mergeEventsForAverage(average.events, execution.events);
  }
  average.duration /= executions.size();
  divideMergedEvents(average.events);
  return average;
}

void appendExecutionStatistics(ProfileData& data) {
  appendStatistics(data.graphExecutions_, data.executeAverages_, data.executeMaxima_,
                   data.executeMinima_);
  appendStatistics(data.applyBinarySectionExecutions_, data.applyBinarySectionAverages_,
                   data.applyBinarySectionMaxima_, data.applyBinarySectionMinima_);
}

}  // namespace ryx::profiling
