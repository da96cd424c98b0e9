// SPDX-License-Identifier: Apache-2.0
// Fences by quartiles, because a few extreme samples do not move these, as they do a mean and a
// deviation. The comparisons are made on doubled numbers, so that one and a half ranges need no
// fraction and whole numbers stay exact. A range of 0 counts as 1: where most executions take the
// same microseconds, one more is no event.

#include "analysis/outliers.h"

#include <algorithm>
#include <type_traits>

#include "analysis/distribution.h"
#include "analysis/sorting.h"

namespace ryx::profiling {

namespace {

struct Quartiles {
  Number lower;
  Number upper;
};

Quartiles quartilesOf(const Samples& samples, SampleRange range) {
  return samples.visit([range](const auto& values) -> Quartiles {
    using T = typename std::decay_t<decltype(values)>::value_type;
    std::vector<T> sorted(values.begin() + static_cast<ptrdiff_t>(range.begin),
                          values.begin() + static_cast<ptrdiff_t>(range.end));
    std::vector<T> scratch;
    sortSamples(sorted, scratch);
    return {sorted[rankOfPermille(sorted.size(), 250)], sorted[rankOfPermille(sorted.size(), 750)]};
  });
}

}  // namespace

std::vector<Outlier> findOutliers(const Samples& samples, SampleRange range) {
  std::vector<Outlier> outliers;
  if (range.begin == range.end) return outliers;
  const Quartiles quartiles = quartilesOf(samples, range);
  const Number spread = std::max(quartiles.upper - quartiles.lower, Number(int64_t{1}));
  const Number mildTwice = spread + spread + spread;
  const Number severeTwice = mildTwice + mildTwice;
  for (size_t i = range.begin; i < range.end; ++i) {
    const Number value = samples[i];
    const bool isSlow = value > quartiles.upper;
    if (!isSlow && value >= quartiles.lower) continue;
    const Number distance = isSlow ? value - quartiles.upper : quartiles.lower - value;
    const Number twice = distance + distance;
    if (twice > mildTwice) outliers.push_back({i, isSlow, twice > severeTwice});
  }
  return outliers;
}

}  // namespace ryx::profiling
