// SPDX-License-Identifier: Apache-2.0
// Two passes. `measure` goes from the leaves up: an event without a duration is as long as its
// children take. `place` goes from the root down: children are put inside their parents, by their
// timestamps where these are possible, one after the other where they are not. Both are linear in
// the events but for sorting siblings by time; `next_` leads from an event to its next sibling,
// without a tree being built.
//
// Values and timestamps are what the log says, so any of them may be near 2^64. Sums are cut off at
// the latest time that can be drawn, and differences are taken only where they are known not to be
// negative.

#include "exports/trace_layout.h"

#include <algorithm>

namespace ryx::profiling {

namespace {

uint64_t addUpTo(uint64_t limit, uint64_t sum, uint64_t more) {
  return more > limit || sum > limit - more ? limit : sum + more;
}

}  // namespace

uint64_t TraceLayout::measure(uint64_t began) {
  next_.assign(events_.size(), static_cast<uint32_t>(events_.size()));
  std::vector<uint32_t> open;  // the events that the present one may be in, by depth
  for (uint32_t i = 0; i < events_.size(); ++i) {
    while (open.size() > events_[i].depth) {
      next_[open.back()] = i;
      open.pop_back();
    }
    open.push_back(i);
  }
  // From the back, so that children come before their parents.
  for (size_t i = events_.size(); i-- > 0;) {
    TimedEvent& event = events_[i];
    if (event.isNegative) continue;
    event.isSlice = event.duration != kNoTime;
    if (event.isSlice) continue;
    findSlices(childrenOf(i));
    if (slices_.empty()) continue;
    const TimeSpan span = spanOf(event.timestamp);
    event.isSlice = true;
    event.timestamp = span.start;
    event.duration = span.duration;
  }
  findSlices({0, events_.size()});
  return slices_.empty() ? kNoTime : spanOf(began).duration;
}

void TraceLayout::place(TimeSpan span, uint64_t began) { place({0, events_.size()}, span, began); }

void TraceLayout::findSlices(Siblings siblings) {
  slices_.clear();
  for (size_t i = siblings.begin; i < siblings.end; i = next_[i])
    if (events_[i].isSlice) slices_.push_back(static_cast<uint32_t>(i));
}

/// Whether all slices have timestamps by which none overlaps another; `byTime_` is then their
/// order.
bool TraceLayout::haveTimes() {
  const auto hasNone = [this](uint32_t i) { return events_[i].timestamp == kNoTime; };
  if (std::any_of(slices_.begin(), slices_.end(), hasNone)) return false;
  byTime_ = slices_;
  std::stable_sort(byTime_.begin(), byTime_.end(), [this](uint32_t one, uint32_t other) {
    return events_[one].timestamp < events_[other].timestamp;
  });
  for (size_t i = 1; i < byTime_.size(); ++i) {
    const TimedEvent& before = events_[byTime_[i - 1]];
    if (events_[byTime_[i]].timestamp - before.timestamp < before.duration) return false;
  }
  return true;
}

/// What its slices make of a parent without a duration that began at `timestamp`, if it has one.
TimeSpan TraceLayout::spanOf(uint64_t timestamp) {
  if (haveTimes()) {
    const uint64_t first = events_[byTime_.front()].timestamp;
    const uint64_t start = timestamp == kNoTime ? first : timestamp;
    const TimedEvent& last = events_[byTime_.back()];
    if (start <= first)
      return {start, addUpTo(kMaxTraceTime, last.timestamp - start, last.duration)};
  }
  TimeSpan span = {timestamp, 0};
  for (size_t i = 0; i < slices_.size(); ++i) {
    const bool isNamesake = i > 0 && events_[slices_[i]].name == events_[slices_[i - 1]].name;
    span.duration = addUpTo(kMaxTraceTime, span.duration, isNamesake ? 1 : 0);
    span.duration = addUpTo(kMaxTraceTime, span.duration, events_[slices_[i]].duration);
  }
  return span;
}

void TraceLayout::place(Siblings siblings, TimeSpan parent, uint64_t began) {
  findSlices(siblings);
  if (slices_.empty()) return;
  if (!placeByTimes(parent, began)) layOut(parent);
  for (size_t i = siblings.begin; i < siblings.end; i = next_[i]) {
    const TimedEvent& event = events_[i];
    if (event.start != kNoTime)
      place(childrenOf(i), {event.start, event.duration},
            event.isSynthetic ? kNoTime : event.timestamp);
  }
}

/// False where the slices' timestamps do not fit into the parent.
bool TraceLayout::placeByTimes(TimeSpan parent, uint64_t began) {
  if (began == kNoTime || !haveTimes()) return false;
  const TimedEvent& first = events_[byTime_.front()];
  const TimedEvent& last = events_[byTime_.back()];
  if (first.timestamp < began || last.timestamp - began > parent.duration ||
      last.duration > parent.duration - (last.timestamp - began))
    return false;
  for (const uint32_t i : slices_) events_[i].start = parent.start + (events_[i].timestamp - began);
  return true;
}

void TraceLayout::layOut(TimeSpan parent) {
  uint64_t total = 0;
  for (const uint32_t i : slices_) total = addUpTo(kMaxTraceTime, total, events_[i].duration);
  // Readers take a slice that begins where its namesake ends to be inside it.
  uint64_t spare = parent.duration - std::min(parent.duration, total);
  uint64_t at = 0;
  const TimedEvent* previous = nullptr;
  for (const uint32_t i : slices_) {
    TimedEvent& event = events_[i];
    if (previous != nullptr && previous->name == event.name && spare > 0) {
      --spare;
      ++at;
    }
    // It does not fit, and what comes after it would be drawn too early without it.
    if (event.duration > parent.duration - at) return;
    event.start = parent.start + at;
    event.isSynthetic = true;
    at += event.duration;
    previous = &event;
  }
}

}  // namespace ryx::profiling
