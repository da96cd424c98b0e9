// SPDX-License-Identifier: Apache-2.0
// The numbers of the events of one row, by path or by group.

#ifndef RYX_ANALYSIS_EVENT_STATISTICS_H
#define RYX_ANALYSIS_EVENT_STATISTICS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/distribution.h"
#include "analysis/log_samples.h"
#include "analysis/steady_row.h"

namespace ryx::profiling {

/// Identifiers from the root down. Points into the samples that it comes from.
using EventPath = std::vector<std::string_view>;

/// A path in one text, "Device execute / stem", from its element `from` on.
[[nodiscard]] std::string joinedPath(const EventPath& path, size_t from = 0);

/// Names the group that an event belongs to, or nothing for one that belongs to none.
using GroupOf = std::function<std::optional<std::string>(const EventPath& path)>;

/// The group of the events that belong to none.
constexpr std::string_view kOtherGroup = "(other)";

enum class EventOrder { FirstAppearance, Self, Total, P99, Cv };

/// Which events are wanted, and in what form.
struct EventView {
  std::function<bool(std::string_view identifier)> matches;  ///< empty: all
  std::optional<size_t> depth;                               ///< none deeper than this; a root is 0
  GroupOf groupOf;                                           ///< empty: each path by itself
  EventOrder order = EventOrder::FirstAppearance;
  /// Only so many of each row: the first by `order`, or where that is the order of appearance those
  /// with the largest selves, which then stand in that order.
  std::optional<size_t> top;
};

/// Whether the view wants the event of that path.
[[nodiscard]] bool isWanted(const EventPath& path, const EventView& view);

struct EventStatistics {
  EventPath path;  ///< of a group its name alone
  std::optional<uint32_t> unit;
  std::optional<uint32_t> eventType;
  uint64_t calls = 0;
  Distribution total;
  Distribution self;
  /// Of those in microseconds, of the executions that have a duration.
  std::optional<double> share;
  std::optional<double> selfShare;
  bool isBesideMainRoot = false;  ///< its time is that of the main root once more

  [[nodiscard]] size_t depth() const { return path.size() - 1; }
};

/// The events of a row while its numbers are worked out.
struct EventWork {
  EventStatistics statistics;
  const Series* series = nullptr;  ///< null for a group
  Number timedTotal;               ///< sums over the executions that have a duration
  Number timedSelf;
};

/// All events of the row, by path, in the order of their first numbers, without shares.
[[nodiscard]] std::vector<EventWork> gatherEvents(const LogSamples& samples, const SteadyRow& row,
                                                  DistributionMaker& maker);

/// Events taken together. A sample is the sum of its members' selves in one occurrence.
struct GroupedEvents {
  std::string name;
  std::optional<uint32_t> unit;
  std::optional<uint32_t> eventType;
  uint64_t calls = 0;
  Samples samples;
  PositionList occurrences;
};

/// The groups of the wanted events that are not beside the main root, in the order of their first
/// members.
[[nodiscard]] std::list<GroupedEvents> groupEvents(const std::vector<EventWork>& events,
                                                   const EventView& view, const SteadyRow& row);

/// The numbers of groups, whose paths point to their names.
[[nodiscard]] std::vector<EventWork> workOnGroups(const std::list<GroupedEvents>& groups,
                                                  const SteadyRow& row, DistributionMaker& maker);

/// Leaves out the events that the view does not want.
void filterEvents(std::vector<EventWork>& events, const EventView& view);

/// Sorts and cuts as the view says: those in microseconds first, then unit by unit.
void sortEvents(std::vector<EventStatistics>& events, const EventView& view);

}  // namespace ryx::profiling

#endif
