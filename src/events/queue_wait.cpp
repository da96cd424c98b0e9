// SPDX-License-Identifier: Apache-2.0
// An execution's queue wait is its one event of that type, at the root or directly below. Where an
// execution has none, or several, nobody can tell what to subtract. That spoils the whole list it
// is in, not only its graph: the reports then leave the line out for all graphs, and a note says
// so.

#include "events/queue_wait.h"

#include <cmath>
#include <utility>

namespace ryx::profiling {
namespace {

constexpr char kNote[] =
    "Multiple queue-wait time events found per execution. "
    "Cannot calculate Host Round-Trip excluding queue wait\n";

/// The one queue-wait event among root events and their direct sub-events; null for none or more.
const ProfileEvent* soleQueueWait(const std::vector<ProfileEvent>& events) {
  const ProfileEvent* found = nullptr;
  size_t count = 0;
  const auto look = [&](const ProfileEvent& event) {
    if (event.eventType != kQueueWaitEventType) return;
    found = &event;
    ++count;
  };
  for (const ProfileEvent& event : events) {
    look(event);
    for (const ProfileEvent& subEvent : event.subEvents) look(subEvent);
  }
  return count == 1 ? found : nullptr;
}

bool collectAll(const std::vector<GraphExecutions>& graphs, std::vector<GraphQueueWaits>& result) {
  for (const GraphExecutions& graph : graphs) {
    GraphQueueWaits waits{graph.graphName, {}};
    waits.waits.reserve(graph.executions.size());
    for (const ExecutionRecord& execution : graph.executions) {
      const ProfileEvent* event = soleQueueWait(execution.events);
      if (event == nullptr) return false;
      waits.waits.push_back(event->value);
    }
    result.push_back(std::move(waits));
  }
  return true;
}

bool collectOfExtremes(const std::vector<GraphEventSet>& extremes,
                       std::vector<GraphQueueWait>& result) {
  for (const GraphEventSet& extreme : extremes) {
    const ProfileEvent* event = soleQueueWait(extreme.events);
    if (event == nullptr) return false;
    result.push_back({extreme.graphName, event->value.payload});
  }
  return true;
}

}  // namespace

void collectQueueWaits(ProfileData& data, std::string& notes) {
  if (!collectAll(data.graphExecutions_.graphs(), data.queueWaitAverages_)) {
    data.queueWaitAverages_.clear();
    notes += kNote;
  }
  if (!collectOfExtremes(data.executeMaxima_, data.queueWaitMaxima_)) {
    data.queueWaitMaxima_.clear();
    notes += kNote;
  }
  if (!collectOfExtremes(data.executeMinima_, data.queueWaitMinima_)) {
    data.queueWaitMinima_.clear();
    notes += kNote;
  }
}

uint64_t meanQueueWait(const GraphQueueWaits& waits) {
  if (waits.waits.empty()) return 0;
  double sum = 0;
  for (const EventValue& wait : waits.waits) sum += static_cast<double>(wait.payload);
  const double mean = sum / static_cast<double>(waits.waits.size());
  // The largest waits round up to 2^64, one more than fits: the subtraction that the mean is for
  // wraps around, so it counts as 0.
  return mean < std::ldexp(1.0, 64) ? static_cast<uint64_t>(mean) : 0;
}

}  // namespace ryx::profiling
