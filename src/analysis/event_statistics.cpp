// SPDX-License-Identifier: Apache-2.0
// Where a path never had children, its self is its total, and the distribution of the one is copied
// instead of being worked out again. That fails only for negative totals, of which a self is 0: the
// least sample tells whether there are any.
//
// Groups are summed up for each occurrence before anything else, since percentiles of members
// cannot be added: the 99th percentile of a group is that of its sums.

#include "analysis/event_statistics.h"

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>
#include <utility>

namespace ryx::profiling {

namespace {

EventWork workOn(const Series& series, const LogSamples& samples, const SteadyRow& row,
                 DistributionMaker& maker) {
  EventWork work;
  work.series = &series;
  EventStatistics& event = work.statistics;
  event.path = samples.paths().path(series.node);
  event.unit = series.unit;
  event.eventType = series.eventType;
  event.calls = series.calls.sum(row.within(series.occurrences));
  event.total = row.distributionOf(series.totals, series.occurrences, maker);
  const bool hasSelves = series.selves != nullptr;
  const Samples& selves = hasSelves ? *series.selves : series.totals;
  const bool clamps = !hasSelves && event.total.count > 0 && event.total.min < Number();
  event.self = hasSelves || clamps ? row.distributionOf(selves, series.occurrences, maker, clamps)
                                   : event.total;
  if (row.isAllTimed() || series.unit != kMicroseconds) {
    work.timedTotal = event.total.sum;
    work.timedSelf = event.self.sum;
  } else {
    work.timedTotal = row.timedSum(series.totals, series.occurrences, false);
    work.timedSelf = row.timedSum(selves, series.occurrences, clamps);
  }
  return work;
}

// --- Groups --------------------------------------------------------------------------------------

/// Sums of samples, one for each occurrence that has any. Used for one group after the other.
class OccurrenceSums {
 public:
  explicit OccurrenceSums(size_t occurrences) : sums_(occurrences) {}

  void add(uint32_t occurrence, const Number& sample) {
    std::optional<Number>& sum = sums_[occurrence];
    if (!sum) touched_.push_back(occurrence);
    sum = sum.value_or(Number()) + sample;
  }

  /// Appends the sums in the order of the occurrences, and forgets them.
  void moveTo(Samples& samples, PositionList& occurrences) {
    std::sort(touched_.begin(), touched_.end());
    for (const uint32_t occurrence : touched_) {
      samples.append(*sums_[occurrence]);
      occurrences.append(occurrence);
      sums_[occurrence].reset();
    }
    touched_.clear();
  }

 private:
  std::vector<std::optional<Number>> sums_;
  std::vector<uint32_t> touched_;
};

void addSelves(const Series& series, OccurrenceSums& sums) {
  for (size_t i = 0; i < series.totals.size(); ++i) {
    const Number self =
        series.selves != nullptr ? (*series.selves)[i] : std::max(series.totals[i], Number());
    sums.add(series.occurrences[i], self);
  }
}

// --- Order ---------------------------------------------------------------------------------------

/// What the order goes by, the largest first; nothing goes last.
std::optional<Number> keyOf(const EventStatistics& event, EventOrder order) {
  if (event.total.count == 0) return std::nullopt;
  switch (order) {
    case EventOrder::FirstAppearance:
    case EventOrder::Self: return event.self.sum;
    case EventOrder::Total: return event.total.sum;
    case EventOrder::P99: return event.total.p99;
    case EventOrder::Cv:
      return event.total.cv ? std::optional<Number>(*event.total.cv) : std::nullopt;
  }
  return std::nullopt;
}

struct SortKey {
  size_t unit = 0;  ///< 0 for microseconds, then by first appearance
  std::optional<Number> value;
  size_t position = 0;
};

bool comesBefore(const SortKey& a, const SortKey& b) {
  if (a.unit != b.unit) return a.unit < b.unit;
  if (a.value.has_value() != b.value.has_value()) return a.value.has_value();
  if (a.value && *a.value != *b.value) return *a.value > *b.value;
  return a.position < b.position;
}

std::vector<SortKey> sortKeys(const std::vector<EventStatistics>& events, EventOrder order) {
  std::map<std::optional<uint32_t>, size_t> units = {{kMicroseconds, 0}};
  std::vector<SortKey> keys;
  keys.reserve(events.size());
  for (const EventStatistics& event : events) {
    const size_t unit = units.emplace(event.unit, units.size()).first->second;
    std::optional<Number> value = keyOf(event, order);
    if (value && !value->isFinite()) value.reset();
    keys.push_back({unit, value, keys.size()});
  }
  return keys;
}

}  // namespace

std::string joinedPath(const EventPath& path, size_t from) {
  std::string text;
  for (size_t i = from; i < path.size(); ++i) {
    if (i > from) text += " / ";
    text += path[i];
  }
  return text;
}

bool isWanted(const EventPath& path, const EventView& view) {
  return (!view.depth || path.size() - 1 <= *view.depth) &&
         (!view.matches || view.matches(path.back()));
}

std::vector<EventWork> gatherEvents(const LogSamples& samples, const SteadyRow& row,
                                    DistributionMaker& maker) {
  std::vector<EventWork> events;
  events.reserve(row.row().series.size());
  for (const uint32_t index : row.row().series)
    events.push_back(workOn(samples.series(index), samples, row, maker));
  return events;
}

std::list<GroupedEvents> groupEvents(const std::vector<EventWork>& events, const EventView& view,
                                     const SteadyRow& row) {
  std::list<GroupedEvents> groups;
  std::map<std::pair<std::string, std::optional<uint32_t>>, GroupedEvents*> places;
  std::map<GroupedEvents*, std::vector<const Series*>> members;
  for (const EventWork& work : events) {
    const EventStatistics& event = work.statistics;
    if (event.isBesideMainRoot || !isWanted(event.path, view)) continue;
    const std::string name = view.groupOf(event.path).value_or(std::string(kOtherGroup));
    GroupedEvents*& group = places[{name, event.unit}];
    if (group == nullptr) {
      groups.push_back({name, event.unit, std::nullopt, 0, {}, {}});
      group = &groups.back();
    }
    group->calls += event.calls;
    if (!group->eventType) group->eventType = event.eventType;
    members[group].push_back(work.series);
  }
  OccurrenceSums sums(row.row().occurrences);
  for (GroupedEvents& group : groups) {
    for (const Series* series : members[&group]) addSelves(*series, sums);
    sums.moveTo(group.samples, group.occurrences);
  }
  return groups;
}

std::vector<EventWork> workOnGroups(const std::list<GroupedEvents>& groups, const SteadyRow& row,
                                    DistributionMaker& maker) {
  std::vector<EventWork> result;
  result.reserve(groups.size());
  for (const GroupedEvents& group : groups) {
    result.emplace_back();
    EventWork& work = result.back();
    EventStatistics& event = work.statistics;
    event.path = {group.name};
    event.unit = group.unit;
    event.eventType = group.eventType;
    event.calls = group.calls;
    event.total = event.self = row.distributionOf(group.samples, group.occurrences, maker);
    work.timedTotal = work.timedSelf =
        row.isAllTimed() ? event.total.sum : row.timedSum(group.samples, group.occurrences, false);
  }
  return result;
}

void filterEvents(std::vector<EventWork>& events, const EventView& view) {
  const auto isUnwanted = [&view](const EventWork& work) {
    return !isWanted(work.statistics.path, view);
  };
  events.erase(std::remove_if(events.begin(), events.end(), isUnwanted), events.end());
}

void sortEvents(std::vector<EventStatistics>& events, const EventView& view) {
  const bool isSorted = view.order != EventOrder::FirstAppearance;
  const size_t count = std::min(events.size(), view.top.value_or(events.size()));
  if (!isSorted && count == events.size()) return;
  std::vector<SortKey> keys = sortKeys(events, view.order);
  const auto end = keys.begin() + static_cast<ptrdiff_t>(count);
  std::partial_sort(keys.begin(), end, keys.end(), comesBefore);
  keys.erase(end, keys.end());
  if (!isSorted)
    std::sort(keys.begin(), keys.end(),
              [](const SortKey& a, const SortKey& b) { return a.position < b.position; });
  std::vector<EventStatistics> sorted;
  sorted.reserve(count);
  for (const SortKey& key : keys) sorted.push_back(std::move(events[key.position]));
  events = std::move(sorted);
}

}  // namespace ryx::profiling
