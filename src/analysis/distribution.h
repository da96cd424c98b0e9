// SPDX-License-Identifier: Apache-2.0
// What the samples of a quantity look like: how many, how large, how far apart.
//
// Percentiles are observed samples, by nearest rank, never interpolated: of n sorted samples the
// ceil(p n / 100)-th. Whole numbers give whole percentiles, and a sum that is exact.

#ifndef RYX_ANALYSIS_DISTRIBUTION_H
#define RYX_ANALYSIS_DISTRIBUTION_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <tuple>
#include <vector>

#include "analysis/number.h"
#include "analysis/samples.h"

namespace ryx::profiling {

/// Of no samples only `count` means anything. A double here that is not finite (a sum that left the
/// doubles, and what is made of it) has no value.
struct Distribution {
  uint64_t count = 0;
  Number sum;
  double mean = 0;
  std::optional<double> stddev;  ///< of a sample, with n - 1; from 2 samples on
  std::optional<double> cv;      ///< stddev / mean, where that is not 0
  Number mad;                    ///< the median distance from p50
  Number min;
  Number p50;
  Number p75;
  Number p90;
  Number p95;
  std::optional<Number> p99;    ///< from 100 samples on
  std::optional<Number> p99_9;  ///< from 1,000 samples on
  Number max;
  Number first;  ///< in the order of the log
};

/// Whether a value that the samples give has left the doubles.
[[nodiscard]] bool hasOverflown(const Distribution& distribution);

/// The position, from 0, of a percentile among `count` (more than 0) sorted samples.
[[nodiscard]] constexpr size_t rankOfPermille(size_t count, size_t permille) {
  return (count * permille + 999) / 1000 - 1;
}

/// A sum of doubles by Neumaier's method: what each addition rounds away is added up apart.
class CompensatedSum {
 public:
  void add(double value) {
    const double sum = sum_ + value;
    lost_ += std::abs(sum_) >= std::abs(value) ? (sum_ - sum) + value : (value - sum) + sum_;
    sum_ = sum;
  }
  [[nodiscard]] double value() const { return std::isfinite(sum_) ? sum_ + lost_ : sum_; }

 private:
  double sum_ = 0;
  double lost_ = 0;
};

/// Exact if all are whole, else compensated.
[[nodiscard]] Number sumOf(const Samples& samples);

/// Makes distributions, in storage that it uses again.
class DistributionMaker {
 public:
  [[nodiscard]] Distribution of(const Samples& samples, SampleRange range);
  [[nodiscard]] Distribution of(const Samples& samples) { return of(samples, {0, samples.size()}); }

 private:
  template <typename T>
  struct Storage {
    std::vector<T> sorted;
    std::vector<T> scratch;
  };
  std::tuple<Storage<int32_t>, Storage<int64_t>, Storage<double>, Storage<Number>> storage_;
};

}  // namespace ryx::profiling

#endif
