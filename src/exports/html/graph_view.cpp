// SPDX-License-Identifier: Apache-2.0
// The statistics of a row as the page needs them: events as a tree instead of paths, with what is
// ranked, grouped and left out decided once, so that the tables, the findings and the data for the
// script agree. Only time that no other ranked event has as well is ranked: what is below the main
// root where there is one, or shares would add up to more than the whole.
//
// What is left out is the smallest, never the parents of what stays: a tree with holes could not be
// drawn.

#include "exports/html/graph_view.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <unordered_map>

#include "exports/html/event_forest.h"
#include "stream/log_text.h"

namespace ryx::profiling {
namespace {

bool isWordCharacter(char character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
         (character >= 'a' && character <= 'z') || character == '_';
}

double selfOf(const std::vector<EventGroup>& groups, bool isNamed) {
  double sum = 0;
  for (const EventGroup& group : groups)
    if (!isNamed || !group.name.empty()) sum += group.self;
  return sum;
}

}  // namespace

double EventNode::self() const {
  return statistics != nullptr && statistics->self.count > 0 ? statistics->self.sum.real() : 0;
}

GraphView::GraphView(const LogSamples& samples, const Row& row, DistributionMaker& maker)
    : row_(&row),
      statistics_(std::make_unique<RowStatistics>(
          statisticsOf(samples, row, WarmUpRule{}, EventView{}, maker))) {
  addEvents(samples);
  if (events_.size() > kMaxShownEvents) keepLargest();
  rank();
  group();
}

std::string GraphView::method() const { return row_->method ? methodText(*row_->method) : ""; }

double GraphView::whole() const {
  const Distribution& duration = statistics_->duration;
  return duration.count > 0 ? duration.sum.real() : 0;
}

void GraphView::addEvents(const LogSamples& samples) {
  EventForest forest;
  for (size_t i = 0; i < statistics_->events.size(); ++i)
    forest.add(statistics_->events[i].path, statistics_->events[i].unit, i);
  for (const EventForest::Node& node : forest.inPreOrder()) {
    EventNode event;
    event.name = node.name;
    event.parent = node.parent;
    event.unit = node.unit;
    if (node.item) {
      event.series = &samples.series(row_->series[*node.item]);
      event.statistics = &statistics_->events[*node.item];
    }
    events_.push_back(event);
  }
}

void GraphView::keepLargest() {
  std::vector<size_t> order(events_.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [this](size_t a, size_t b) { return events_[a].self() > events_[b].self(); });
  std::vector<bool> isKept(events_.size());
  for (size_t i = 0; i < kMaxShownEvents; ++i) isKept[order[i]] = true;
  for (size_t i = events_.size(); i-- > 0;)
    if (isKept[i] && events_[i].parent) isKept[*events_[i].parent] = true;
  std::vector<EventNode> kept;
  std::vector<size_t> positions(events_.size());
  for (size_t i = 0; i < events_.size(); ++i) {
    if (!isKept[i]) continue;
    positions[i] = kept.size();
    kept.push_back(events_[i]);
    if (kept.back().parent) kept.back().parent = positions[*kept.back().parent];
  }
  leftOut_ = events_.size() - kept.size();
  events_ = std::move(kept);
}

void GraphView::rank() {
  for (size_t i = 0; i < events_.size(); ++i) {
    EventNode& event = events_[i];
    if (event.unit != kMicroseconds) continue;
    const bool isMainRoot =
        statistics_->mainRoot && !event.parent && event.name == statistics_->mainRoot->front();
    if (isMainRoot) mainRow_ = i;
    event.isRanked =
        event.parent ? events_[*event.parent].isRanked : isMainRoot || !statistics_->mainRoot;
    if (event.isRanked) ranked_.push_back(i);
  }
  std::stable_sort(ranked_.begin(), ranked_.end(),
                   [this](size_t a, size_t b) { return events_[a].self() > events_[b].self(); });
}

template <typename NameOf>
std::vector<EventGroup> GraphView::groupsBy(NameOf nameOf) const {
  std::vector<EventGroup> groups;
  std::unordered_map<std::string_view, size_t, KeyedHash> positions;
  for (size_t i = 0; i < events_.size(); ++i) {
    if (!events_[i].isRanked) continue;
    const std::string_view name = nameOf(i);
    const auto [place, isNew] = positions.try_emplace(name, groups.size());
    if (isNew) groups.push_back({name, 0, 0});
    EventGroup& group = groups[place->second];
    group.self += events_[i].self();
    ++group.events;
  }
  std::stable_sort(groups.begin(), groups.end(),
                   [](const EventGroup& a, const EventGroup& b) { return a.self > b.self; });
  return groups;
}

// By type, where most of the time has one and the types are few enough to group anything.
void GraphView::group() {
  groups_ = groupsBy([this](size_t event) { return typeOfName(events_[event].name); });
  isGroupedByType_ = groups_.size() <= std::max<size_t>(8, ranked_.size() / 2) &&
                     selfOf(groups_, true) * 3 >= selfOf(groups_, false) * 2;
  if (!isGroupedByType_) groups_ = groupsBy([this](size_t event) { return partOf(event); });
}

/// The child of the main root, or without one the root, that the event is below.
std::string_view GraphView::partOf(size_t event) const {
  if (mainRow_ && event == *mainRow_) return {};
  while (events_[event].parent != mainRow_) event = *events_[event].parent;
  return events_[event].name;
}

std::string_view typeOfName(std::string_view name) {
  size_t start = name.size();
  while (start > 0 && isWordCharacter(name[start - 1])) --start;
  return start > 0 && start < name.size() && name[start - 1] == ':' ? name.substr(start)
                                                                    : std::string_view();
}

std::string unitName(std::optional<uint32_t> unit) { return unit ? unitText(*unit) : ""; }

double realOrNan(const std::optional<Number>& number) {
  return number && number->isFinite() ? number->real() : std::nan("");
}

}  // namespace ryx::profiling
