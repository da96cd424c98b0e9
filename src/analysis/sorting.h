// SPDX-License-Identifier: Apache-2.0
// Sorting samples. Whole numbers are sorted by their digits, lowest byte first, as many bytes as
// their range has: for the few thousand microseconds of an event two passes over the samples, where
// comparing them takes eleven.

#ifndef RYX_ANALYSIS_SORTING_H
#define RYX_ANALYSIS_SORTING_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace ryx::profiling {

/// Sorts `values` by their bytes; `scratch` is overwritten.
template <typename Integer>
void sortByDigits(std::vector<Integer>& values, std::vector<Integer>& scratch) {
  using Unsigned = std::make_unsigned_t<Integer>;
  constexpr size_t kDigits = 256;
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  const auto lowest = static_cast<Unsigned>(*least);
  const auto range = static_cast<Unsigned>(static_cast<Unsigned>(*most) - lowest);
  scratch.resize(values.size());
  for (unsigned shift = 0; shift < 8 * sizeof(Unsigned) && (range >> shift) != 0; shift += 8) {
    const auto digit = [&](Integer value) {
      return static_cast<uint8_t>((static_cast<Unsigned>(value) - lowest) >> shift);
    };
    std::array<size_t, kDigits + 1> starts{};
    for (const Integer value : values) ++starts[digit(value) + size_t{1}];
    for (size_t i = 0; i < kDigits; ++i) starts[i + 1] += starts[i];
    for (const Integer value : values) scratch[starts[digit(value)]++] = value;
    values.swap(scratch);
  }
}

template <typename T>
void sortSamples(std::vector<T>& values, std::vector<T>& scratch) {
  constexpr size_t kWorthCounting = 128;
  if constexpr (std::is_integral_v<T>) {
    if (values.size() >= kWorthCounting) return sortByDigits(values, scratch);
  }
  std::sort(values.begin(), values.end());
}

}  // namespace ryx::profiling

#endif
