// SPDX-License-Identifier: Apache-2.0
// A timeline of a long run is looked at for three things: how it began, what went wrong, and how it
// usually is. The first executions, the slowest and the median one stand for these; the rest of the
// room goes to executions at even distances, which show whether anything drifts.

#include "exports/trace_choice.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace ryx::profiling {

namespace {

constexpr size_t kFirst = 5;
constexpr size_t kSlowest = 10;

using Candidates = std::vector<TraceCandidate>;

/// The executions that no timeline should be without, the most important ones first.
std::vector<size_t> landmarks(const Candidates& candidates) {
  std::vector<size_t> order(candidates.size());
  std::iota(order.begin(), order.end(), size_t{0});
  const auto at = [&](size_t rank) { return order.begin() + static_cast<std::ptrdiff_t>(rank); };
  std::vector<size_t> chosen(order.begin(), at(std::min(kFirst, order.size())));
  const auto isSlower = [&](size_t one, size_t other) {
    const uint64_t durations[] = {candidates[one].duration, candidates[other].duration};
    return durations[0] != durations[1] ? durations[0] > durations[1] : one < other;
  };
  const auto slowest = at(std::min(kSlowest, order.size()));
  std::partial_sort(order.begin(), slowest, order.end(), isSlower);
  chosen.insert(chosen.end(), order.begin(), slowest);
  // The nearest rank, from the fast end.
  const auto median = at(order.size() - (order.size() + 1) / 2);
  std::nth_element(order.begin(), median, order.end(), isSlower);
  chosen.push_back(*median);
  return chosen;
}

/// A growing choice that never takes an execution twice.
class Choice {
 public:
  explicit Choice(const Candidates& candidates)
      : candidates_(candidates), isChosen_(candidates.size()) {}

  void add(size_t position) {
    if (isChosen_[position]) return;
    isChosen_[position] = true;
    events_ += candidates_[position].events;
  }

  void addEvenlySpaced(size_t count) {
    for (size_t i = 0; i < count; ++i) add(i * candidates_.size() / count);
  }

  [[nodiscard]] bool wouldExceed(size_t position, uint64_t maxEvents) const {
    return !isChosen_[position] && events_ + candidates_[position].events > maxEvents;
  }

  [[nodiscard]] uint64_t events() const { return events_; }

  [[nodiscard]] std::vector<size_t> positions() const {
    std::vector<size_t> positions;
    for (size_t i = 0; i < isChosen_.size(); ++i)
      if (isChosen_[i]) positions.push_back(i);
    return positions;
  }

 private:
  const Candidates& candidates_;
  std::vector<bool> isChosen_;
  uint64_t events_ = 0;
};

}  // namespace

std::vector<size_t> chooseForTrace(const Candidates& candidates, uint64_t maxEvents) {
  Choice chosen(candidates);
  if (candidates.empty()) return {};
  chosen.add(0);
  for (const size_t position : landmarks(candidates))
    if (!chosen.wouldExceed(position, maxEvents)) chosen.add(position);
  // The most evenly spaced ones that fit beside these. More of them nearly always have more events,
  // which is what the search relies on; where they do not, it finds a number that fits and is not
  // the largest.
  size_t low = 0;
  size_t high = candidates.size();
  while (low < high) {
    const size_t count = high - (high - low) / 2;
    Choice larger = chosen;
    larger.addEvenlySpaced(count);
    if (larger.events() <= maxEvents)
      low = count;
    else
      high = count - 1;
  }
  chosen.addEvenlySpaced(low);
  return chosen.positions();
}

}  // namespace ryx::profiling
