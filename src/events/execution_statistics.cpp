#include "events/execution_statistics.h"

#include <utility>

#include "events/event_merger.h"

namespace ryx::profiling {
namespace {

/// The last execution that no other one precedes; `precedes(a, b)` compares durations strictly.
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
    merger.mergeEventsForAverage(execution.events);
  }
  average.duration /= executions.size();
  average.events = merger.takeAverages();
  return average;
}

void appendExecutionStatistics(ProfileData& data) {
  appendStatistics(data.graphExecutions_, data.executeAverages_, data.executeMaxima_,
                   data.executeMinima_);
  appendStatistics(data.applyBinarySectionExecutions_, data.applyBinarySectionAverages_,
                   data.applyBinarySectionMaxima_, data.applyBinarySectionMinima_);
}

}  // namespace ryx::profiling
