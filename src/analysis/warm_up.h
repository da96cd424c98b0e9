// SPDX-License-Identifier: Apache-2.0
// Where a series of executions becomes steady.
//
// The second half of the series is taken to be steady. The series is cut into windows, and steady
// begins with the first window whose median is as near to that of the second half as the medians of
// steady windows are, from which on nine in ten windows are so. docs/statistics.md has the figures.

#ifndef RYX_ANALYSIS_WARM_UP_H
#define RYX_ANALYSIS_WARM_UP_H

#include <cstddef>
#include <optional>
#include <vector>

namespace ryx::profiling {

/// Shorter series are not judged.
constexpr size_t kMinWarmUpSamples = 20;

/// How many samples at the front are warm-up; nothing where the series never becomes steady, or is
/// too short to tell.
[[nodiscard]] std::optional<size_t> findWarmUp(const std::vector<double>& durations);

}  // namespace ryx::profiling

#endif
