// SPDX-License-Identifier: Apache-2.0
// How sure a comparison is: 95 % confidence intervals, and the size of an effect.

#ifndef RYX_ANALYSIS_INTERVALS_H
#define RYX_ANALYSIS_INTERVALS_H

#include <cstddef>
#include <optional>
#include <vector>

namespace ryx::profiling {

/// A number and how far it may be from the true one, to either side.
struct Estimate {
  double value = 0;
  double below = 0;  ///< the true one is at most so much less
  double above = 0;
};

struct Interval {
  double low = 0;
  double high = 0;
};

/// The quantile of Student's t distribution that a two-sided 95 % interval takes, 0.975, with
/// `degrees` (more than 0, not necessarily whole) of freedom.
[[nodiscard]] double studentQuantile(double degrees);

/// The correlation of the samples' ranks with those of the samples before them, ties having the
/// mean of their ranks. Each inner list is a run of its own: no pair reaches from one into the
/// next. At least 0, at most 0.95.
[[nodiscard]] double rankAutocorrelation(const std::vector<std::vector<double>>& runs);

/// How many independent samples say as much as `count` that are so correlated.
[[nodiscard]] double effectiveCount(size_t count, double autocorrelation);

/// A percentile (in permille) of sorted samples, and the order statistics that hold the true one
/// between them in 95 of 100 cases, were `effective` of the samples independent. Nothing where so
/// few samples have none.
[[nodiscard]] std::optional<Estimate> estimatePercentile(const std::vector<double>& sorted,
                                                         size_t permille, double effective);

/// A mean and its t interval. Nothing where there are too few samples for one.
[[nodiscard]] std::optional<Estimate> estimateMean(double mean, double stddev, double effective);

/// The interval of `next` minus `base`, which are independent: errors add up in quadrature.
[[nodiscard]] Interval changeInterval(const Estimate& base, const Estimate& next);

/// The interval of the mean of `next` minus that of `base` by Welch's t; both have at least two.
[[nodiscard]] Interval welchInterval(const std::vector<double>& base,
                                     const std::vector<double>& next);

/// The probability that one of `next` exceeds one of `base`, ties counting half. Both are sorted,
/// and not empty.
[[nodiscard]] double probabilityOfExceeding(const std::vector<double>& base,
                                            const std::vector<double>& next);

}  // namespace ryx::profiling

#endif
