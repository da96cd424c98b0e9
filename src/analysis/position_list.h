// SPDX-License-Identifier: Apache-2.0
// Increasing positions, of which all that follow one another cost nothing: nearly every event
// occurs in every execution.

#ifndef RYX_ANALYSIS_POSITION_LIST_H
#define RYX_ANALYSIS_POSITION_LIST_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "analysis/samples.h"

namespace ryx::profiling {

class PositionList {
 public:
  /// `position` is above all before it.
  void append(uint32_t position) {
    if (size_ == 0) first_ = position;
    if (!each_.empty()) {
      each_.push_back(position);
    } else if (position != first_ + size_) {
      for (uint32_t i = 0; i < size_; ++i) each_.push_back(first_ + i);
      each_.push_back(position);
    }
    ++size_;
  }

  [[nodiscard]] size_t size() const { return size_; }

  [[nodiscard]] uint32_t operator[](size_t index) const {
    return each_.empty() ? first_ + static_cast<uint32_t>(index) : each_[index];
  }

  /// How many are below `position`.
  [[nodiscard]] size_t countBelow(size_t position) const {
    if (each_.empty()) return position <= first_ ? 0 : std::min<size_t>(size_, position - first_);
    return static_cast<size_t>(std::lower_bound(each_.begin(), each_.end(), position) -
                               each_.begin());
  }

  /// Where it stands, or nothing: `size()`.
  [[nodiscard]] size_t find(uint32_t position) const {
    const size_t index = countBelow(position);
    return index < size_ && (*this)[index] == position ? index : size_;
  }

  /// The indexes of the positions that lie in those ranges, of which there are as many ranges.
  [[nodiscard]] std::vector<SampleRange> within(const std::vector<SampleRange>& ranges) const {
    std::vector<SampleRange> indexes;
    indexes.reserve(ranges.size());
    for (const SampleRange& range : ranges)
      indexes.push_back({countBelow(range.begin), countBelow(range.end)});
    return indexes;
  }

 private:
  uint32_t first_ = 0;
  uint32_t size_ = 0;
  std::vector<uint32_t> each_;  ///< empty as long as they follow one another
};

}  // namespace ryx::profiling

#endif
