// SPDX-License-Identifier: Apache-2.0
// Where the events of one message lie in time.
//
// An event's value may be a duration, and its timestamp the time when it began; a log seldom has
// both. A timeline needs both of every slice, children inside their parents, and neighbours that do
// not overlap. Siblings whose timestamps make such a picture are drawn where they were. All others
// are laid out one after the other from the start of their parent, in the order of the log, as far
// as they fit; no duration is ever changed.

#ifndef RYX_EXPORTS_TRACE_LAYOUT_H
#define RYX_EXPORTS_TRACE_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ryx::profiling {

constexpr uint64_t kNoTime = UINT64_MAX;

/// The latest time that is drawn: what most readers of traces take for a number.
constexpr uint64_t kMaxTraceTime = INT64_MAX;

/// An event as far as time is concerned.
struct TimedEvent {
  uint32_t name = 0;             ///< of siblings equal where their names are
  uint8_t depth = 0;             ///< of a root 0
  bool isNegative = false;       ///< its duration is; then neither it nor what is in it is drawn
  uint64_t duration = kNoTime;   ///< without one, and not negative: as long as its children
  uint64_t timestamp = kNoTime;  ///< when it began

  // What `layOut` finds.
  bool isSlice = false;      ///< it has a duration, of its own or of its children
  bool isSynthetic = false;  ///< it is drawn where there was room
  uint64_t start = kNoTime;  ///< when it is drawn; kNoTime: not at all
};

struct TimeSpan {
  uint64_t start = 0;
  uint64_t duration = 0;
};

/// The events of one message, in pre-order, and then drawn.
class TraceLayout {
 public:
  void clear() { events_.clear(); }
  void add(const TimedEvent& event) { events_.push_back(event); }

  [[nodiscard]] const std::vector<TimedEvent>& events() const { return events_; }

  /// Finds which events are slices, and of those without a duration how long they are. Returns how
  /// long their message is, which began at `began`, when it has no duration of its own; kNoTime
  /// where none of its events is a slice.
  [[nodiscard]] uint64_t measure(uint64_t began);

  /// After `measure`: places the slices inside the message, which is drawn at `span`. `began` is
  /// the start of that span by the clock of the timestamps, kNoTime where that is not known.
  void place(TimeSpan span, uint64_t began);

 private:
  /// Siblings: the roots, or the children of one event, from one index to before another.
  struct Siblings {
    size_t begin;
    size_t end;
  };

  [[nodiscard]] Siblings childrenOf(size_t event) const { return {event + 1, next_[event]}; }

  void findSlices(Siblings siblings);
  [[nodiscard]] bool haveTimes();
  [[nodiscard]] TimeSpan spanOf(uint64_t timestamp);
  void place(Siblings siblings, TimeSpan parent, uint64_t began);
  [[nodiscard]] bool placeByTimes(TimeSpan parent, uint64_t began);
  void layOut(TimeSpan parent);

  std::vector<TimedEvent> events_;
  std::vector<uint32_t> next_;    ///< by event: the first one that is not in it
  std::vector<uint32_t> slices_;  ///< of the siblings at hand
  std::vector<uint32_t> byTime_;
};

}  // namespace ryx::profiling

#endif
