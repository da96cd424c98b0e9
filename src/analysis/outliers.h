// SPDX-License-Identifier: Apache-2.0
// Executions far from the others. They are marked, and stay in every number.

#ifndef RYX_ANALYSIS_OUTLIERS_H
#define RYX_ANALYSIS_OUTLIERS_H

#include <cstddef>
#include <vector>

#include "analysis/samples.h"

namespace ryx::profiling {

struct Outlier {
  size_t sample = 0;  ///< its position among the samples
  bool isSlow = false;
  bool isSevere = false;  ///< beyond three interquartile ranges instead of one and a half
};

/// The samples of the range beyond one and a half interquartile ranges (which count as at least 1)
/// above p75 or below p25, in their order.
[[nodiscard]] std::vector<Outlier> findOutliers(const Samples& samples, SampleRange range);

}  // namespace ryx::profiling

#endif
