// SPDX-License-Identifier: Apache-2.0
// The index of an accumulated list is a table of positions with open addressing; a map of strings
// would hold every identifier a second time. Lists of sub-events have indexes of their own, made
// only once something is merged into them. The hash is keyed, because identifiers come from the
// log: names that are chosen to collide would otherwise make a merge quadratic.

#include "events/event_merger.h"

#include "base/keyed_hash.h"

namespace ryx::profiling {
namespace {

constexpr size_t kMinSlots = 16;

}  // namespace

size_t FirstMatchIndex::find(const std::vector<ProfileEvent>& events,
                             const std::string& identifier) {
  indexNewEvents(events);
  // The expected event is the first of its identifier only if no identifier occurs twice.
  if (!hasRepeats_ && next_ < events.size() && events[next_].identifier == identifier)
    return next_++;
  if (events.empty()) return kNone;
  const size_t slot = slotOf(events, identifier);
  if (slot == 0) return kNone;
  next_ = slot;
  return slot - 1;
}

void FirstMatchIndex::indexNewEvents(const std::vector<ProfileEvent>& events) {
  // At most half full, so that searches end soon.
  if (events.size() * 2 > slots_.size()) {
    size_t slots = kMinSlots;
    while (slots < events.size() * 4) slots *= 2;
    slots_.assign(slots, 0);
    indexed_ = 0;
  }
  for (; indexed_ < events.size(); ++indexed_) {
    size_t& slot = slotOf(events, events[indexed_].identifier);
    if (slot == 0)
      slot = indexed_ + 1;
    else
      hasRepeats_ = true;
  }
}

size_t& FirstMatchIndex::slotOf(const std::vector<ProfileEvent>& events,
                                const std::string& identifier) {
  const size_t mask = slots_.size() - 1;
  size_t at = KeyedHash()(identifier) & mask;
  while (slots_[at] != 0 && events[slots_[at] - 1].identifier != identifier) at = (at + 1) & mask;
  return slots_[at];
}

void EventMerger::mergeEventsForAverage(std::vector<ProfileEvent>& accumulated,
                                        const std::vector<ProfileEvent>& events) {
  if (accumulated.empty()) accumulated.reserve(events.size());
  merge(accumulated, index_, events);
}

void EventMerger::merge(std::vector<ProfileEvent>& accumulated, ListIndex& index,
                        const std::vector<ProfileEvent>& events) {
  index.firstMatches.rewind();
  for (const ProfileEvent& event : events) {
    const size_t position = index.firstMatches.find(accumulated, event.identifier);
    if (position == FirstMatchIndex::kNone) {
      accumulated.push_back(event);
      continue;
    }
    ProfileEvent& sum = accumulated[position];
    sum.value.dataType = EventDataType::Uint64;
    sum.value.payload += event.value.payload;
    ++sum.timingSource;
    if (event.subEvents.empty()) continue;
    if (index.subLists.size() <= position) index.subLists.resize(accumulated.size());
    merge(sum.subEvents, index.subLists[position], event.subEvents);
  }
}

void divideMergedEvents(std::vector<ProfileEvent>& accumulated) {
  for (ProfileEvent& event : accumulated) {
    if (event.value.dataType == EventDataType::Uint64)
      event.value.payload = event.timingSource != 0 ? event.value.payload / event.timingSource : 0;
    divideMergedEvents(event.subEvents);
  }
}

}  // namespace ryx::profiling
