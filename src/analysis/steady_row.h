// SPDX-License-Identifier: Apache-2.0
// A row without its warm-up: the occurrences that count, and what is made of their samples.

#ifndef RYX_ANALYSIS_STEADY_ROW_H
#define RYX_ANALYSIS_STEADY_ROW_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "analysis/distribution.h"
#include "analysis/log_samples.h"

namespace ryx::profiling {

/// What is left out at the front of each log's executions.
struct WarmUpRule {
  enum class Mode { None, Auto, Count };
  Mode mode = Mode::None;
  uint64_t count = 0;
};

struct WarmUp {
  uint64_t excluded = 0;
  /// What Mode::Auto leaves out; nothing where no log has a steady state that can be told.
  std::optional<uint64_t> detected;
};

class SteadyRow {
 public:
  /// `row` must outlive this.
  SteadyRow(const Row& row, const WarmUpRule& rule);

  [[nodiscard]] const Row& row() const { return row_; }
  [[nodiscard]] const WarmUp& warmUp() const { return warmUp_; }

  /// The steady ones of the samples that those occurrences have; those below 0 made 0 if `clamps`.
  [[nodiscard]] Samples select(const Samples& samples, const PositionList& occurrences,
                               bool clamps = false) const;
  /// Their distribution.
  [[nodiscard]] Distribution distributionOf(const Samples& samples, const PositionList& occurrences,
                                            DistributionMaker& maker, bool clamps = false) const;

  /// The indexes of the steady ones among the samples of those occurrences.
  [[nodiscard]] std::vector<SampleRange> within(const PositionList& occurrences) const {
    return occurrences.within(steady_);
  }

  /// Whether each occurrence has a duration.
  [[nodiscard]] bool isAllTimed() const { return row_.timed.size() == row_.occurrences; }
  /// The sum of the steady samples of occurrences that have a duration.
  [[nodiscard]] Number timedSum(const Samples& samples, const PositionList& occurrences,
                                bool clamps) const;

 private:
  const Row& row_;
  WarmUp warmUp_;
  std::vector<SampleRange> steady_;  ///< occurrences
};

/// The occurrences that the row has of one of its parts.
[[nodiscard]] SampleRange occurrencesOf(const Row& row, size_t part);

}  // namespace ryx::profiling

#endif
