// SPDX-License-Identifier: Apache-2.0
// Durations are noisy and have outliers, so windows are compared by their medians, and how near is
// near enough is taken from the series itself: from the spread of its samples, and from how far the
// windows of its second half are apart, but not less than 2 %. Nine in ten windows have to be near,
// not all: a burst of slow executions in the middle does not make what came before it warm-up. The
// window says where the steady part begins to within its width; within it, samples that are clearly
// slow still count as warm-up.

#include "analysis/warm_up.h"

#include <algorithm>
#include <cmath>

#include "analysis/distribution.h"

namespace ryx::profiling {

namespace {

/// By nearest rank.
double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(rankOfPermille(values.size(), 500));
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double medianDistance(std::vector<double> values, double center) {
  for (double& value : values) value = std::abs(value - center);
  return medianOf(std::move(values));
}

/// What the second half of a series is like.
struct Tail {
  size_t begin;
  double median;
  double mad;
};

Tail tailOf(const std::vector<double>& durations) {
  const size_t begin = durations.size() / 2;
  const std::vector<double> values(durations.begin() + static_cast<ptrdiff_t>(begin),
                                   durations.end());
  const double median = medianOf(values);
  return {begin, median, medianDistance(values, median)};
}

std::vector<double> windowMedians(const std::vector<double>& durations, size_t width) {
  std::vector<double> medians;
  for (size_t begin = 0; durations.size() - begin >= width; begin += width) {
    const auto first = durations.begin() + static_cast<ptrdiff_t>(begin);
    medians.push_back(medianOf({first, first + static_cast<ptrdiff_t>(width)}));
  }
  return medians;
}

/// How far the medians of the tail's windows usually are from its own.
double tailSpread(const std::vector<double>& medians, size_t width, const Tail& tail) {
  constexpr size_t kMinWindows = 5;
  const size_t first = (tail.begin + width - 1) / width;
  if (medians.size() < first + kMinWindows) return 0;
  return medianDistance({medians.begin() + static_cast<ptrdiff_t>(first), medians.end()},
                        tail.median);
}

/// The first window that fits and from which on nine in ten do.
std::optional<size_t> firstSteadyWindow(const std::vector<bool>& fits) {
  std::optional<size_t> first;
  size_t fitting = 0;
  for (size_t i = fits.size(); i-- > 0;) {
    if (!fits[i]) continue;
    ++fitting;
    if (10 * fitting >= 9 * (fits.size() - i)) first = i;
  }
  return first;
}

}  // namespace

std::optional<size_t> findWarmUp(const std::vector<double>& durations) {
  const size_t count = durations.size();
  if (count < kMinWarmUpSamples) return std::nullopt;
  const Tail tail = tailOf(durations);
  const size_t width = std::max<size_t>(10, count / 50);
  const std::vector<double> medians = windowMedians(durations, width);
  const double twoPercent = tail.median * 2 / 100;
  const double reach = std::max({twoPercent, 7 * tail.mad / std::sqrt(static_cast<double>(width)),
                                 6 * tailSpread(medians, width, tail)});
  std::vector<bool> fits;
  fits.reserve(medians.size());
  for (const double median : medians) fits.push_back(std::abs(median - tail.median) <= reach);
  const std::optional<size_t> window = firstSteadyWindow(fits);
  if (!window) return std::nullopt;

  const double slow = tail.median + std::max(twoPercent, 5 * tail.mad);
  size_t begin = *window * width;
  const size_t end = begin + width;
  while (begin < end && durations[begin] > slow) ++begin;
  if (begin > tail.begin) return std::nullopt;
  return begin;
}

}  // namespace ryx::profiling
