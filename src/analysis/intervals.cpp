// SPDX-License-Identifier: Apache-2.0
// Percentiles have intervals of order statistics, which assume nothing about the shape of a
// distribution; durations have long tails, and no interval that supposes a bell fits them. All of
// these assume that samples are independent, which consecutive executions are not: they drift with
// clocks and heat. So fewer samples are counted, by how much the ranks of neighbours agree, before
// anything is called sure.
//
// Quantiles come from Boost, whose headers are used here and nowhere else: compiling them takes a
// while.

#include "analysis/intervals.h"

#include <algorithm>
#include <boost/math/distributions/binomial.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <limits>
#include <numeric>

#include "analysis/distribution.h"

namespace ryx::profiling {

namespace {

constexpr double kTail = 0.025;  // on either side of a 95 % interval

struct Ranked {
  double value;
  size_t position;  ///< among all samples of all runs
};

/// The rank of each sample, from 1, ties having the mean of theirs.
std::vector<double> ranksOf(const std::vector<std::vector<double>>& runs) {
  std::vector<Ranked> sorted;
  for (const auto& run : runs)
    for (const double value : run) sorted.push_back({value, sorted.size()});
  std::sort(sorted.begin(), sorted.end(),
            [](const Ranked& a, const Ranked& b) { return a.value < b.value; });
  std::vector<double> ranks(sorted.size());
  for (size_t first = 0; first < sorted.size();) {
    size_t end = first + 1;
    while (end < sorted.size() && sorted[end].value == sorted[first].value) ++end;
    const double rank = static_cast<double>(first + 1 + end) / 2;
    for (; first < end; ++first) ranks[sorted[first].position] = rank;
  }
  return ranks;
}

/// The largest rank, from 1, of which the order statistic of `count` samples is above the quantile
/// `p` in at most one of 40 cases; 0 when even the first one is.
size_t lowerRank(size_t count, double p) {
  const boost::math::binomial samplesBelow(static_cast<double>(count), p);
  size_t low = 0;
  size_t high = count;
  while (low < high) {
    const size_t rank = low + (high - low + 1) / 2;
    if (boost::math::cdf(samplesBelow, static_cast<double>(rank - 1)) <= kTail)
      low = rank;
    else
      high = rank - 1;
  }
  return low;
}

struct MeanAndVariance {
  double mean;
  double varianceOfMean;
  double degrees;
};

MeanAndVariance meanAndVariance(const std::vector<double>& values) {
  const auto count = static_cast<double>(values.size());
  const double mean = std::accumulate(values.begin(), values.end(), 0.0) / count;
  double squares = 0;
  for (const double value : values) squares += (value - mean) * (value - mean);
  return {mean, squares / (count - 1) / count, count - 1};
}

}  // namespace

double studentQuantile(double degrees) {
  return boost::math::quantile(boost::math::students_t(degrees), 1 - kTail);
}

double rankAutocorrelation(const std::vector<std::vector<double>>& runs) {
  constexpr double kMost = 0.95;
  const std::vector<double> ranks = ranksOf(runs);
  const double mean = static_cast<double>(ranks.size() + 1) / 2;
  double products = 0;
  double squares = 0;
  size_t position = 0;
  for (const auto& run : runs)
    for (size_t i = 0; i < run.size(); ++i, ++position) {
      const double distance = ranks[position] - mean;
      squares += distance * distance;
      if (i > 0) products += distance * (ranks[position - 1] - mean);
    }
  return squares > 0 ? std::clamp(products / squares, 0.0, kMost) : 0;
}

double effectiveCount(size_t count, double autocorrelation) {
  return static_cast<double>(count) * (1 - autocorrelation) / (1 + autocorrelation);
}

std::optional<Estimate> estimatePercentile(const std::vector<double>& sorted, size_t permille,
                                           double effective) {
  const auto independent = static_cast<size_t>(effective);
  if (sorted.empty() || independent == 0) return std::nullopt;
  const double p = static_cast<double>(permille) / 1000;
  const size_t lower = lowerRank(independent, p);
  const size_t upper = lowerRank(independent, 1 - p);  // from the other end
  if (lower == 0 || upper == 0) return std::nullopt;
  // A rank among the independent ones stands for the same share of all, rounded outwards.
  const double share = static_cast<double>(sorted.size()) / static_cast<double>(independent);
  const auto rankAmongAll = [share](size_t rank) {
    return static_cast<size_t>((static_cast<double>(rank) - 0.5) * share);
  };
  const double value = sorted[rankOfPermille(sorted.size(), permille)];
  const double low = sorted[rankAmongAll(lower)];
  const double high = sorted[sorted.size() - 1 - rankAmongAll(upper)];
  return Estimate{value, std::max(0.0, value - low), std::max(0.0, high - value)};
}

std::optional<Estimate> estimateMean(double mean, double stddev, double effective) {
  if (effective < 2) return std::nullopt;
  const double reach = studentQuantile(effective - 1) * stddev / std::sqrt(effective);
  return Estimate{mean, reach, reach};
}

Interval changeInterval(const Estimate& base, const Estimate& next) {
  const double change = next.value - base.value;
  return {change - std::hypot(base.above, next.below), change + std::hypot(base.below, next.above)};
}

Interval welchInterval(const std::vector<double>& base, const std::vector<double>& next) {
  const MeanAndVariance a = meanAndVariance(base);
  const MeanAndVariance b = meanAndVariance(next);
  const double change = b.mean - a.mean;
  const double variance = a.varianceOfMean + b.varianceOfMean;
  if (variance == 0) return {change, change};
  constexpr double kUnbounded = std::numeric_limits<double>::infinity();
  if (!std::isfinite(change) || !std::isfinite(variance)) return {-kUnbounded, kUnbounded};
  // By Welch and Satterthwaite; of shares, whose squares neither overflow nor vanish together.
  const double shareOfA = a.varianceOfMean / variance;
  const double shareOfB = b.varianceOfMean / variance;
  const double degrees = 1 / (shareOfA * shareOfA / a.degrees + shareOfB * shareOfB / b.degrees);
  const double reach = studentQuantile(degrees) * std::sqrt(variance);
  return {change - reach, change + reach};
}

double probabilityOfExceeding(const std::vector<double>& base, const std::vector<double>& next) {
  size_t less = 0;   // of the base samples, than the current new one
  size_t equal = 0;  // or equal to it
  double wins = 0;
  for (const double value : next) {
    while (less < base.size() && base[less] < value) ++less;
    equal = std::max(equal, less);
    while (equal < base.size() && base[equal] <= value) ++equal;
    wins += static_cast<double>(less) + static_cast<double>(equal - less) / 2;
  }
  return wins / static_cast<double>(base.size()) / static_cast<double>(next.size());
}

}  // namespace ryx::profiling
