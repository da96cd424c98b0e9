// SPDX-License-Identifier: Apache-2.0
// Condenses the executions of one graph into its longest, shortest and average execution.
//
// Plain functions of their input: a list without executions yields a record of duration 0,
// timestamp 0 and no events.

#ifndef RYX_EVENTS_EXECUTION_STATISTICS_H
#define RYX_EVENTS_EXECUTION_STATISTICS_H

#include <vector>

#include "events/profile_data.h"
#include "ryx/profile_event.h"

namespace ryx::profiling {

/// The longest execution, with its timestamp and events; the last one of several equally long.
ExecutionRecord buildMaximumExecution(const std::vector<ExecutionRecord>& executions);

/// The shortest execution; the last one of several equally short.
ExecutionRecord buildMinimumExecution(const std::vector<ExecutionRecord>& executions);

/// The mean duration, the last timestamp, and the events of all executions merged by identifier.
/// The payload of a merged event is the mean over all its occurrences, as unsigned integers
/// whatever their types; its `timingSource` is left holding the number of occurrences.
ExecutionRecord buildAverageExecution(const std::vector<ExecutionRecord>& executions);

/// Builds all three for every graph of a log and appends them to its statistics.
void appendExecutionStatistics(ProfileData& data);

}  // namespace ryx::profiling

#endif
