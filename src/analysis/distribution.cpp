// SPDX-License-Identifier: Apache-2.0
// Everything of a distribution but its sums is made from one sorted copy, in storage that is kept
// from one to the next: there are two distributions for each path of events. Whole numbers stay
// whole until they have to be divided. The sum of squares is taken around the mean in a second
// pass; the formula that needs only one loses all digits where the mean is large and the spread
// small.

#include "analysis/distribution.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "analysis/sorting.h"

namespace ryx::profiling {

namespace {

template <typename T>
double toReal(const T& value) {
  if constexpr (std::is_same_v<T, Number>)
    return value.real();
  else
    return static_cast<double>(value);
}

template <typename T>
Number sumOf(const std::vector<T>& values, SampleRange range) {
  if constexpr (std::is_integral_v<T>) {
    Int128 sum = 0;
    for (size_t i = range.begin; i < range.end; ++i) sum += values[i];
    return sum;
  } else {
    CompensatedSum sum;
    Number whole;
    bool isWhole = std::is_same_v<T, Number>;
    for (size_t i = range.begin; i < range.end; ++i) {
      sum.add(toReal(values[i]));
      isWhole = isWhole && Number(values[i]).isWhole();
      if (isWhole) whole += values[i];
    }
    return isWhole ? whole : Number(sum.value());
  }
}

template <typename T>
double deviationOf(const std::vector<T>& values, SampleRange range, double mean) {
  CompensatedSum squares;
  for (size_t i = range.begin; i < range.end; ++i) {
    const double distance = toReal(values[i]) - mean;
    squares.add(distance * distance);
  }
  return std::sqrt(squares.value() / static_cast<double>(range.end - range.begin - 1));
}

/// The nearest-rank median of the distances from `center`, one of the `sorted` values. The k values
/// nearest to it stand next to each other; of all runs of k the nearest one is where the distance
/// of its last value begins to exceed that of its first.
template <typename T>
Number medianDistance(const std::vector<T>& sorted, const Number& center) {
  const size_t k = rankOfPermille(sorted.size(), 500) + 1;
  const auto below = [&](size_t start) { return center - Number(sorted[start]); };
  const auto above = [&](size_t start) { return Number(sorted[start + k - 1]) - center; };
  size_t low = 0;
  size_t high = sorted.size() - k;
  while (low < high) {
    const size_t middle = low + (high - low) / 2;
    if (above(middle) >= below(middle))
      high = middle;
    else
      low = middle + 1;
  }
  const Number last = std::max(above(low), below(low));
  return low > 0 ? std::min(last, std::max(above(low - 1), below(low - 1))) : last;
}

template <typename T, typename Storage>
Distribution describe(const std::vector<T>& values, SampleRange range, Storage& storage) {
  Distribution result;
  const size_t count = range.end - range.begin;
  result.count = count;
  if (count == 0) return result;
  result.first = values[range.begin];
  result.sum = sumOf(values, range);
  result.mean = result.sum.real() / static_cast<double>(count);
  if (count >= 2) {
    result.stddev = deviationOf(values, range, result.mean);
    if (result.mean != 0) result.cv = *result.stddev / result.mean;
  }
  // Assigned, so that its memory is used again.
  std::vector<T>& sorted = storage.sorted;
  sorted.assign(values.begin() + static_cast<ptrdiff_t>(range.begin),
                values.begin() + static_cast<ptrdiff_t>(range.end));
  sortSamples(sorted, storage.scratch);
  const auto percentile = [&](size_t permille) {
    return Number(sorted[rankOfPermille(count, permille)]);
  };
  result.min = sorted.front();
  result.p50 = percentile(500);
  result.p75 = percentile(750);
  result.p90 = percentile(900);
  result.p95 = percentile(950);
  if (count >= 100) result.p99 = percentile(990);
  if (count >= 1000) result.p99_9 = percentile(999);
  result.max = sorted.back();
  result.mad = medianDistance(sorted, result.p50);
  return result;
}

}  // namespace

bool hasOverflown(const Distribution& distribution) {
  if (distribution.count == 0) return false;
  const auto isLost = [](const std::optional<double>& value) {
    return value && !std::isfinite(*value);
  };
  return !distribution.sum.isFinite() || !distribution.mad.isFinite() ||
         !std::isfinite(distribution.mean) || isLost(distribution.stddev) ||
         isLost(distribution.cv);
}

Number sumOf(const Samples& samples) {
  return samples.visit([](const auto& values) { return sumOf(values, {0, values.size()}); });
}

Distribution DistributionMaker::of(const Samples& samples, SampleRange range) {
  return samples.visit([&](const auto& values) {
    using T = typename std::decay_t<decltype(values)>::value_type;
    return describe(values, range, std::get<Storage<T>>(storage_));
  });
}

}  // namespace ryx::profiling
