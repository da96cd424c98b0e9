// SPDX-License-Identifier: Apache-2.0
// Merges executions event by event, by identifier: the sums behind an average.
//
// The rule is simple and, taken literally, slow: every incoming event is added to the *first*
// accumulated event with the same identifier, found by a search from the front. Two observations
// make it fast without changing what is found. Executions of one graph repeat their events in the
// same order, so the event after the last match is nearly always the next match. And where it is
// not, a keyed hash of the identifiers leads to the first position that holds one.

#ifndef RYX_EVENTS_EVENT_MERGER_H
#define RYX_EVENTS_EVENT_MERGER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ryx/profile_event.h"

namespace ryx::profiling {

/// Finds the first event of an identifier in one list of events that only grows at its end. The
/// list must be the same in every call, with no event changing its identifier.
class FirstMatchIndex {
 public:
  static constexpr size_t kNone = SIZE_MAX;

  /// The position of the first event called `identifier`, or kNone.
  [[nodiscard]] size_t find(const std::vector<ProfileEvent>& events, const std::string& identifier);

  /// The next search is likely for the first event of the list.
  void rewind() { next_ = 0; }

 private:
  void indexNewEvents(const std::vector<ProfileEvent>& events);
  size_t& slotOf(const std::vector<ProfileEvent>& events, const std::string& identifier);

  size_t next_ = 0;            // where the next match is expected
  size_t indexed_ = 0;         // how many events of the list are in the table
  bool hasRepeats_ = false;    // some identifier occurs twice, so a match may not be the first
  std::vector<size_t> slots_;  // open addressing: position + 1 of the first event of an identifier
};

/// Merges the events of any number of executions into one list.
class EventMerger {
 public:
  /// Adds the events of one execution, with their sub-events, to `accumulated`: the same list in
  /// every call, empty in the first, and changed by nothing else.
  void mergeEventsForAverage(std::vector<ProfileEvent>& accumulated,
                             const std::vector<ProfileEvent>& events);

 private:
  // What is known about one accumulated list; made only for lists that are merged into.
  struct ListIndex {
    FirstMatchIndex firstMatches;
    std::vector<ListIndex> subLists;  // by position of the event; may be shorter than the list
  };

  static void merge(std::vector<ProfileEvent>& accumulated, ListIndex& index,
                    const std::vector<ProfileEvent>& events);

  ListIndex index_;
};

/// Divides every sum of `accumulated` by the number of events that were merged into it.
void divideMergedEvents(std::vector<ProfileEvent>& accumulated);

}  // namespace ryx::profiling

#endif
