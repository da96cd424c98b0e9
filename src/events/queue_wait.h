// SPDX-License-Identifier: Apache-2.0
// The queue waits inside host round trips, which the reports subtract from the round-trip times.

#ifndef RYX_EVENTS_QUEUE_WAIT_H
#define RYX_EVENTS_QUEUE_WAIT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/keyed_hash.h"
#include "events/profile_data.h"

namespace ryx::profiling {

/// Fills the queue-wait lists of `data` from its executions and statistics. Every execution must
/// have exactly one queue-wait event; a list for which one has none or several is left empty, and
/// a line that says so is appended to `notes`.
void collectQueueWaits(ProfileData& data, std::string& notes);

/// The queue wait of each graph; the names need to outlive the table.
using QueueWaitsByGraph = std::unordered_map<std::string_view, uint64_t, KeyedHash>;

/// The mean of a graph's queue waits in whole microseconds; 0 when there is none.
uint64_t meanQueueWait(const GraphQueueWaits& waits);

}  // namespace ryx::profiling

#endif
