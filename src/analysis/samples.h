// SPDX-License-Identifier: Apache-2.0
// The samples of one quantity in the order of the log, in as few bytes as they need.
//
// Nearly all are microseconds that fit into 32 bits; a log of millions of events is kept in a tenth
// of its size because of that. The first sample that does not fit makes the list a wider one.

#ifndef RYX_ANALYSIS_SAMPLES_H
#define RYX_ANALYSIS_SAMPLES_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

#include "analysis/number.h"

namespace ryx::profiling {

class Samples {
 public:
  void append(const Number& value) {
    auto* narrow = std::get_if<std::vector<int32_t>>(&values_);
    if (narrow != nullptr && value.isWhole() &&
        value.whole() == static_cast<int32_t>(value.whole())) {
      if (narrow->capacity() == 0) narrow->reserve(kSamplesOfOneBlock);
      narrow->push_back(static_cast<int32_t>(value.whole()));
    } else {
      appendWide(value);
    }
  }

  /// Has the processor fetch what the next append writes to.
  void prefetch() const {
    if (const auto* narrow = std::get_if<std::vector<int32_t>>(&values_))
      __builtin_prefetch(narrow->data() + narrow->size(), /*rw=*/1);
  }

  /// Calls `visitor` with the std::vector of int32_t, int64_t, double or Number that holds them.
  template <typename Visitor>
  decltype(auto) visit(Visitor&& visitor) const {
    return std::visit(std::forward<Visitor>(visitor), values_);
  }

  [[nodiscard]] size_t size() const {
    return visit([](const auto& values) { return values.size(); });
  }
  [[nodiscard]] bool isEmpty() const { return size() == 0; }
  [[nodiscard]] Number operator[](size_t index) const {
    return visit([index](const auto& values) { return Number(values[index]); });
  }

  /// Whether all are whole numbers.
  [[nodiscard]] bool areWhole() const;

 private:
  /// What the smallest block of memory holds anyway.
  static constexpr size_t kSamplesOfOneBlock = 6;

  void appendWide(const Number& value);
  void widenFor(const Number& value);

  std::variant<std::vector<int32_t>, std::vector<int64_t>, std::vector<double>, std::vector<Number>>
      values_;
};

/// A part of a list of samples, [begin, end).
struct SampleRange {
  size_t begin = 0;
  size_t end = 0;
};

/// The samples of those ranges, one after the other, and each below 0 made 0 if `clamps`.
[[nodiscard]] Samples selectSamples(const Samples& samples, const std::vector<SampleRange>& ranges,
                                    bool clamps = false);

}  // namespace ryx::profiling

#endif
