// SPDX-License-Identifier: Apache-2.0
// Shares are of the executions' durations, so they are taken over the executions that have one;
// distributions are of all. A log may have the same time twice: in a tree, and beside it as roots
// of another kind. Adding up all roots would then give more than the executions took. Where it
// gives over 5 % more, the largest root that has children and at least half of the time stands for
// the whole, and the other roots are beside it.

#include "analysis/row_statistics.h"

#include <algorithm>

#include "analysis/outliers.h"

namespace ryx::profiling {

namespace {

std::optional<double> ratePerSecond(const Row& row) {
  if (row.occurrences < 2 || row.isUntimed || row.latestEnd <= row.earliestStart)
    return std::nullopt;
  return static_cast<double>(row.occurrences) * 1e6 /
         static_cast<double>(row.latestEnd - row.earliestStart);
}

// --- The main root -------------------------------------------------------------------------------

bool isTimeRoot(const EventWork& event) {
  return event.statistics.unit == kMicroseconds && event.statistics.path.size() == 1;
}

/// Whether `a` is more than `b` and 5 %.
bool exceedsByFivePercent(const Number& a, const Number& b) {
  if (a.isWhole() && b.isWhole()) return 20 * a.whole() > 21 * b.whole();
  return 20 * a.real() > 21 * b.real();
}

/// The largest root that has children and at least half of the durations, or null.
const EventWork* largestRoot(const std::vector<EventWork>& events, const PathTree& paths,
                             const Number& durations) {
  std::vector<uint32_t> parents;  // of the events just below the roots
  for (const EventWork& event : events)
    if (event.statistics.unit == kMicroseconds && event.statistics.path.size() == 2)
      parents.push_back(paths.parent(event.series->node));
  std::sort(parents.begin(), parents.end());
  const EventWork* largest = nullptr;
  for (const EventWork& event : events) {
    if (!isTimeRoot(event) || event.timedTotal + event.timedTotal < durations) continue;
    if (!std::binary_search(parents.begin(), parents.end(), event.series->node)) continue;
    if (largest == nullptr || event.timedTotal > largest->timedTotal) largest = &event;
  }
  return largest;
}

/// Finds the main root and what is left beside it, and marks the events that are not below it.
void findMainRoot(std::vector<EventWork>& events, const PathTree& paths, const Number& durations,
                  RowStatistics& result) {
  Number roots;
  for (const EventWork& event : events)
    if (isTimeRoot(event)) roots += event.timedTotal;
  if (exceedsByFivePercent(roots, durations)) {
    if (const EventWork* largest = largestRoot(events, paths, durations)) {
      result.mainRoot = largest->statistics.path;
      roots = largest->timedTotal;
      for (EventWork& event : events)
        event.statistics.isBesideMainRoot =
            event.statistics.unit == kMicroseconds &&
            event.statistics.path.front() != result.mainRoot->front();
    }
  }
  result.unattributed = durations - roots;
  result.unattributedShare = result.unattributed->real() / durations.real();
}

void addShares(std::vector<EventWork>& events, const Number& durations) {
  for (EventWork& event : events) {
    if (event.statistics.unit != kMicroseconds) continue;
    event.statistics.share = event.timedTotal.real() / durations.real();
    event.statistics.selfShare = event.timedSelf.real() / durations.real();
  }
}

// --- Outliers ------------------------------------------------------------------------------------

/// Finds the event to blame for a slow execution.
void blame(const std::vector<EventWork>& events, uint32_t occurrence, OutlierStatistics& outlier) {
  for (const EventWork& event : events) {
    const Series& series = *event.series;
    const size_t sample = series.occurrences.find(occurrence);
    if (series.unit != kMicroseconds || sample == series.occurrences.size()) continue;
    const Number self = series.selves != nullptr ? (*series.selves)[sample]
                                                 : std::max(series.totals[sample], Number());
    const Number excess = self - event.statistics.self.p50;
    if (excess <= (outlier.path ? outlier.excess : Number())) continue;
    outlier.path = event.statistics.path;
    outlier.excess = excess;
  }
}

OutlierStatistics describe(const Outlier& outlier, size_t sample, const Row& row,
                           const std::vector<EventWork>& events) {
  const uint32_t occurrence = row.timed[sample];
  auto part = row.parts.rbegin();
  while (part->firstOccurrence > occurrence) ++part;
  OutlierStatistics result;
  result.log = part->log;
  result.execution = part->numbers[occurrence - part->firstOccurrence];
  result.duration = row.durations[sample];
  result.isSlow = outlier.isSlow;
  result.isSevere = outlier.isSevere;
  if (outlier.isSlow) blame(events, occurrence, result);
  return result;
}

void findOutliers(const SteadyRow& row, const std::vector<EventWork>& events,
                  RowStatistics& result) {
  const std::vector<SampleRange> ranges = row.within(row.row().timed);
  const Samples durations = selectSamples(row.row().durations, ranges);
  const std::vector<Outlier> outliers = findOutliers(durations, {0, durations.size()});
  result.outlierCount = outliers.size();
  size_t passed = 0;  // samples selected by the ranges before this one
  auto range = ranges.begin();
  for (const Outlier& outlier : outliers) {
    if (result.outliers.size() == kMaxListedOutliers) break;
    for (; outlier.sample - passed >= range->end - range->begin; ++range)
      passed += range->end - range->begin;
    const size_t sample = range->begin + outlier.sample - passed;
    result.outliers.push_back(describe(outlier, sample, row.row(), events));
  }
}

void groupEventsOf(std::vector<EventWork>& events, const EventView& view, const SteadyRow& row,
                   DistributionMaker& maker, RowStatistics& result) {
  result.groups = groupEvents(events, view, row);
  events = workOnGroups(result.groups, row, maker);
}

}  // namespace

std::vector<EventWork> eventsOf(const LogSamples& samples, const SteadyRow& row,
                                DistributionMaker& maker) {
  std::vector<EventWork> events = gatherEvents(samples, row, maker);
  const Number durations = row.distributionOf(row.row().durations, row.row().timed, maker).sum;
  RowStatistics ignored;
  if (durations > Number()) findMainRoot(events, samples.paths(), durations, ignored);
  return events;
}

size_t countOutliers(const Row& row, const WarmUpRule& warmUp) {
  const Samples durations = SteadyRow(row, warmUp).select(row.durations, row.timed);
  return findOutliers(durations, {0, durations.size()}).size();
}

RowStatistics statisticsOf(const LogSamples& samples, const Row& row, const WarmUpRule& warmUp,
                           const EventView& view, DistributionMaker& maker) {
  RowStatistics result;
  const SteadyRow steady(row, warmUp);
  result.warmUp = steady.warmUp();
  result.duration = steady.distributionOf(row.durations, row.timed, maker);
  result.durationOfAll = maker.of(row.durations);
  result.queueWait = maker.of(row.queueWaits);
  result.ratePerSecond = ratePerSecond(row);

  std::vector<EventWork> events = gatherEvents(samples, steady, maker);
  const Number& durations = result.duration.sum;
  const bool hasDurations = durations > Number();
  if (hasDurations) findMainRoot(events, samples.paths(), durations, result);
  findOutliers(steady, events, result);
  if (view.groupOf)
    groupEventsOf(events, view, steady, maker, result);
  else
    filterEvents(events, view);
  if (hasDurations) addShares(events, durations);

  result.eventCount = events.size();
  result.events.reserve(events.size());
  for (EventWork& event : events) result.events.push_back(std::move(event.statistics));
  sortEvents(result.events, view);
  return result;
}

}  // namespace ryx::profiling
