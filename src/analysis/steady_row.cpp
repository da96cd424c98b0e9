// SPDX-License-Identifier: Apache-2.0
// Warm-up is at the front of each log's executions, not of the row's: a row that several logs are
// merged into has a part to leave out for each. What counts are ranges of occurrences. A series has
// samples of some of these only, so ranges are translated by its list of occurrences before samples
// are taken.

#include "analysis/steady_row.h"

#include <algorithm>

#include "analysis/warm_up.h"

namespace ryx::profiling {

namespace {

/// How many occurrences at the front of those are warm-up.
std::optional<uint64_t> detectWarmUp(const Row& row, SampleRange occurrences) {
  const SampleRange samples = row.timed.within({occurrences}).front();
  std::vector<double> durations;
  durations.reserve(samples.end - samples.begin);
  for (size_t i = samples.begin; i < samples.end; ++i) durations.push_back(row.durations[i].real());
  const std::optional<size_t> steady = findWarmUp(durations);
  if (!steady) return std::nullopt;
  return *steady == 0 ? 0 : row.timed[samples.begin + *steady] - occurrences.begin;
}

uint64_t excludedBy(const WarmUpRule& rule, const std::optional<uint64_t>& detected,
                    uint64_t occurrences) {
  switch (rule.mode) {
    case WarmUpRule::Mode::None: break;
    case WarmUpRule::Mode::Auto: return detected.value_or(0);
    case WarmUpRule::Mode::Count: return std::min(rule.count, occurrences);
  }
  return 0;
}

}  // namespace

SampleRange occurrencesOf(const Row& row, size_t part) {
  const bool isLast = part + 1 == row.parts.size();
  return {row.parts[part].firstOccurrence,
          isLast ? row.occurrences : row.parts[part + 1].firstOccurrence};
}

SteadyRow::SteadyRow(const Row& row, const WarmUpRule& rule) : row_(row) {
  for (size_t part = 0; part < row.parts.size(); ++part) {
    SampleRange range = occurrencesOf(row, part);
    const std::optional<uint64_t> detected = detectWarmUp(row, range);
    if (detected) warmUp_.detected = warmUp_.detected.value_or(0) + *detected;
    const uint64_t excluded = excludedBy(rule, detected, range.end - range.begin);
    warmUp_.excluded += excluded;
    range.begin += excluded;
    if (!steady_.empty() && steady_.back().end == range.begin)
      steady_.back().end = range.end;
    else
      steady_.push_back(range);
  }
}

Samples SteadyRow::select(const Samples& samples, const PositionList& occurrences,
                          bool clamps) const {
  return selectSamples(samples, within(occurrences), clamps);
}

Distribution SteadyRow::distributionOf(const Samples& samples, const PositionList& occurrences,
                                       DistributionMaker& maker, bool clamps) const {
  const std::vector<SampleRange> ranges = within(occurrences);
  if (ranges.size() == 1 && !clamps) return maker.of(samples, ranges.front());
  return maker.of(selectSamples(samples, ranges, clamps));
}

Number SteadyRow::timedSum(const Samples& samples, const PositionList& occurrences,
                           bool clamps) const {
  std::vector<SampleRange> timed;
  for (const SampleRange& range : within(occurrences))
    for (size_t i = range.begin; i < range.end; ++i)
      if (row_.timed.find(occurrences[i]) != row_.timed.size()) timed.push_back({i, i + 1});
  return sumOf(selectSamples(samples, timed, clamps));
}

}  // namespace ryx::profiling
