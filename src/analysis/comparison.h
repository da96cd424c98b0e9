// SPDX-License-Identifier: Apache-2.0
// Two sets of runs compared: what is worse, and how sure is it.
//
// A difference is judged by three things together: its size (thresholds), how sure it is (a 95 %
// interval that excludes the noise), and whether it matters in a single execution (the probability
// that a new one is slower). Each alone cries wolf: with thousands of samples everything is
// "significant". Where there are three or more runs on both sides the run is the unit, because runs
// of one build differ by more than the samples within one can tell. docs/statistics.md has the
// rules.

#ifndef RYX_ANALYSIS_COMPARISON_H
#define RYX_ANALYSIS_COMPARISON_H

#include <vector>

#include "analysis/comparison_side.h"
#include "analysis/comparison_source.h"
#include "analysis/number.h"
#include "analysis/verdict.h"

namespace ryx::profiling {

struct Comparison {
  std::vector<ComparedRow> rows;    ///< by cost, the largest first: times, bytes, the rest
  Verdict verdict = Verdict::Same;  ///< Worse, Same, Better or NotComparable
  bool isByRun = false;             ///< else the variation between runs is unknown
};

/// Compares; what it returns points into the sources.
[[nodiscard]] Comparison compareRuns(const Sources& base, const Sources& next,
                                     const ComparisonOptions& options);

/// How much a row differs between runs of one build.
struct RowSpread {
  ComparedRow row;  ///< which one
  Number least;
  Number most;
  double spreadPercent = 0;     ///< (most - least) / median
  double thresholdPercent = 0;  ///< that no two of the runs exceed
};

/// The rows that gate, and how much they differ, in the order of the first run.
[[nodiscard]] std::vector<RowSpread> measureSpread(const Sources& runs,
                                                   const ComparisonOptions& options);

}  // namespace ryx::profiling

#endif
