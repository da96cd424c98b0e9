// SPDX-License-Identifier: Apache-2.0
// The cheap questions come first: whether a change passes the thresholds is asked before an
// interval is worked out, because most do not, and an interval needs all samples. What passes and
// cannot be told from chance is inconclusive, never the same: a regression that three samples
// cannot prove is not one that is absent.
//
// Bytes are exact, so their thresholds alone decide. Units that are neither time nor bytes can only
// change, since nobody knows which direction is worse.

#include "analysis/verdict.h"

#include <algorithm>
#include <cmath>

namespace ryx::profiling {

namespace {

constexpr uint64_t kMinSamples = 6;
constexpr double kMinProbability = 0.56;
constexpr double kMinShareOfExecution = 0.001;
constexpr double kThreshold = 5;
constexpr double kThresholdOfPooledEvents = 10;

size_t permilleOf(Metric metric) {
  switch (metric) {
    case Metric::P50:
    case Metric::Mean: return 500;
    case Metric::P90: return 900;
    case Metric::P99: return 990;
  }
  return 500;
}

std::vector<double> realsOf(const std::vector<Number>& numbers) {
  std::vector<double> reals;
  reals.reserve(numbers.size());
  for (const Number& number : numbers) reals.push_back(number.real());
  return reals;
}

std::optional<double> ownThreshold(const ComparedRow& row, const ComparisonOptions& options) {
  std::optional<double> percent;
  for (const RowThreshold& each : options.thresholds) {
    const bool isIt = row.path.empty()
                          ? each.name == row.graph || (!row.isExecution && each.name == row.method)
                          : each.name == joinedPath(row.path) || each.name == row.path.back();
    if (isIt) percent = each.percent;
  }
  return percent;
}

std::optional<Estimate> estimate(Metric metric, const SideValue& side,
                                 const PooledSamples& samples) {
  if (metric == Metric::Mean) {
    if (!side.pooled.stddev) return std::nullopt;
    return estimateMean(side.pooled.mean, *side.pooled.stddev, samples.effective);
  }
  auto result = estimatePercentile(samples.sorted, permilleOf(metric), samples.effective);
  if (result) result->value = side.value->real();
  return result;
}

Verdict exactVerdict(const ComparedRow& row, double threshold) {
  if (row.changePercent && std::abs(*row.changePercent) < threshold) return Verdict::Changed;
  return *row.change > Number() ? Verdict::Worse : Verdict::Better;
}

}  // namespace

/// How sure a change is.
struct Judge::Evidence {
  std::optional<Interval> interval;
  std::optional<double> probability;
  bool hasEnoughSamples = false;

  /// Whether a change beyond the thresholds stands; `noise` is in the interval's unit.
  [[nodiscard]] bool isConclusive(bool isSlower, double noise) const {
    if (!hasEnoughSamples || !interval) return false;
    const double nearest = isSlower ? interval->low : -interval->high;
    const double likely = isSlower ? probability.value_or(1) : 1 - probability.value_or(0);
    return nearest > noise && likely >= kMinProbability;
  }
};

Number ComparedRow::cost() const {
  const Number value = change.value_or(next.value_or(base.value_or(Number())));
  return value < Number() ? Number() - value : value;
}

bool isTimeUnit(const std::optional<std::string>& unit) {
  return unit == kMicrosecondsName || unit == "cycles";
}

bool isBytesUnit(const std::optional<std::string>& unit) { return unit == "bytes"; }

void Judge::judge(ComparedRow& row, const SideEntry& base, const SideValue& baseValue,
                  const SideEntry& next, const SideValue& nextValue, double execution) const {
  row.change = *row.next - *row.base;
  if (*row.base > Number()) row.changePercent = row.change->real() / row.base->real() * 100;
  if (*row.change == Number()) return;  // the same
  double threshold = thresholdOf(row);
  if (!isTimeUnit(row.unit)) {
    row.verdict = isBytesUnit(row.unit) ? exactVerdict(row, threshold) : Verdict::Changed;
    return;
  }
  if (isByRun_) threshold = std::max(threshold, spreadPercent(baseValue.runs));
  if (!passesThresholds(row, threshold, execution)) return;
  const bool isSlower = *row.change > Number();
  const Verdict beyondThresholds = isSlower ? Verdict::Worse : Verdict::Better;
  if (row.happensOnce) {
    row.verdict = beyondThresholds;
    return;
  }
  Evidence evidence = evidenceOf(row.metric, base, baseValue, next, nextValue);
  row.probability = evidence.probability;
  if (evidence.interval && row.changePercent) {
    const double percent = row.base->real() / 100;
    evidence.interval = {evidence.interval->low / percent, evidence.interval->high / percent};
    row.intervalPercent = evidence.interval;
  }
  // Of a base of 0 there are no percents: the interval has to exclude 0 itself.
  const double noise = row.changePercent ? options_.noise : 0;
  row.verdict = evidence.isConclusive(isSlower, noise) ? beyondThresholds : Verdict::Inconclusive;
}

Judge::Evidence Judge::evidenceOf(Metric metric, const SideEntry& base, const SideValue& baseValue,
                                  const SideEntry& next, const SideValue& nextValue) const {
  Evidence evidence;
  if (isByRun_) {
    evidence.hasEnoughSamples = baseValue.runs.size() >= 2 && nextValue.runs.size() >= 2;
    if (evidence.hasEnoughSamples)
      evidence.interval = welchInterval(realsOf(baseValue.runs), realsOf(nextValue.runs));
    return evidence;
  }
  const PooledSamples baseSamples = poolSamples(base);
  const PooledSamples nextSamples = poolSamples(next);
  const auto baseEstimate = estimate(metric, baseValue, baseSamples);
  const auto nextEstimate = estimate(metric, nextValue, nextSamples);
  if (baseEstimate && nextEstimate)
    evidence.interval = changeInterval(*baseEstimate, *nextEstimate);
  evidence.probability = probabilityOfExceeding(baseSamples.sorted, nextSamples.sorted);
  evidence.hasEnoughSamples = base.samples() >= kMinSamples && next.samples() >= kMinSamples;
  return evidence;
}

double Judge::thresholdOf(const ComparedRow& row) const {
  if (const auto own = ownThreshold(row, options_)) return *own;
  const bool isPooledEvent = !isByRun_ && !row.path.empty() && !isBytesUnit(row.unit);
  return options_.threshold.value_or(isPooledEvent ? kThresholdOfPooledEvents : kThreshold);
}

bool Judge::passesThresholds(const ComparedRow& row, double threshold, double execution) const {
  if (row.changePercent && std::abs(*row.changePercent) < threshold) return false;
  // The execution is in microseconds, and says nothing about cycles.
  const double ofExecution = row.unit == kMicrosecondsName ? kMinShareOfExecution * execution : 0;
  return std::abs(row.change->real()) >= std::max(options_.minMicroseconds, ofExecution);
}

}  // namespace ryx::profiling
