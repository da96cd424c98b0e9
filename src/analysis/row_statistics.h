// SPDX-License-Identifier: Apache-2.0
// The numbers of one row: what `stats` prints of the executions of a graph.

#ifndef RYX_ANALYSIS_ROW_STATISTICS_H
#define RYX_ANALYSIS_ROW_STATISTICS_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/distribution.h"
#include "analysis/event_statistics.h"
#include "analysis/log_samples.h"
#include "analysis/steady_row.h"

namespace ryx::profiling {

struct OutlierStatistics {
  size_t log = 0;
  uint32_t execution = 0;  ///< its number in the log
  Number duration;
  bool isSlow = false;
  bool isSevere = false;
  /// Of a slow one: the event whose self exceeds its own p50 most, and by how much.
  std::optional<EventPath> path;
  Number excess;
};

/// So many outliers of a row are described.
constexpr size_t kMaxListedOutliers = 100;

struct RowStatistics {
  Distribution duration;  ///< of the steady executions
  Distribution durationOfAll;
  Distribution queueWait;
  std::optional<double> ratePerSecond;
  WarmUp warmUp;

  /// The root that has all time below it, where other roots have the same time again.
  std::optional<EventPath> mainRoot;
  /// The durations less the main root's total, or without one less all roots'. Negative where the
  /// events have more time than the executions.
  std::optional<Number> unattributed;
  std::optional<double> unattributedShare;

  std::vector<OutlierStatistics> outliers;  ///< in the order of the log
  size_t outlierCount = 0;
  std::vector<EventStatistics> events;
  size_t eventCount = 0;  ///< before `EventView::top`

  std::list<GroupedEvents> groups;  ///< what the paths of groups point to
};

/// The events of a row, by path, and which of them are beside its main root.
[[nodiscard]] std::vector<EventWork> eventsOf(const LogSamples& samples, const SteadyRow& row,
                                              DistributionMaker& maker);

/// The numbers of a row, which point into `samples`.
[[nodiscard]] RowStatistics statisticsOf(const LogSamples& samples, const Row& row,
                                         const WarmUpRule& warmUp, const EventView& view,
                                         DistributionMaker& maker);

/// How many outliers it has: those listed, and those beyond.
[[nodiscard]] size_t countOutliers(const Row& row, const WarmUpRule& warmUp);

}  // namespace ryx::profiling

#endif
