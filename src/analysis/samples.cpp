// SPDX-License-Identifier: Apache-2.0
// The list widens by itself and never narrows: 32 bits, 64 bits, and a Number each for what neither
// holds, or for whole numbers and doubles together, because none may be rounded to the other's
// type. Only a list that begins with a double is one of doubles, until a whole number joins it.

#include "analysis/samples.h"

#include <algorithm>
#include <limits>
#include <type_traits>

namespace ryx::profiling {

namespace {

template <typename Integer>
bool fits(const Number& value) {
  return value.isWhole() && value.whole() >= std::numeric_limits<Integer>::min() &&
         value.whole() <= std::numeric_limits<Integer>::max();
}

/// Whether a list of `T` can hold the value as it is.
template <typename T>
bool isStorable(const Number& value) {
  if constexpr (std::is_same_v<T, Number>)
    return true;
  else if constexpr (std::is_same_v<T, double>)
    return !value.isWhole();
  else
    return fits<T>(value);
}

template <typename T>
T stored(const Number& value) {
  if constexpr (std::is_same_v<T, Number>)
    return value;
  else if constexpr (std::is_same_v<T, double>)
    return value.real();
  else
    return static_cast<T>(value.whole());
}

}  // namespace

void Samples::appendWide(const Number& value) {
  const auto appendIfStorable = [&value](auto& values) {
    using T = typename std::decay_t<decltype(values)>::value_type;
    if (!isStorable<T>(value)) return false;
    values.push_back(stored<T>(value));
    return true;
  };
  if (std::visit(appendIfStorable, values_)) return;
  widenFor(value);
  std::visit(appendIfStorable, values_);
}

bool Samples::areWhole() const {
  return visit([](const auto& values) {
    using T = typename std::decay_t<decltype(values)>::value_type;
    if constexpr (std::is_same_v<T, Number>)
      return std::all_of(values.begin(), values.end(), [](const Number& n) { return n.isWhole(); });
    else
      return std::is_integral_v<T>;
  });
}

void Samples::widenFor(const Number& value) {
  const auto widened = [this](auto empty) {
    using T = typename decltype(empty)::value_type;
    visit([&empty](const auto& values) {
      empty.reserve(2 * values.size());
      for (const auto& each : values) empty.push_back(stored<T>(Number(each)));
    });
    return empty;
  };
  if (isEmpty() && !value.isWhole())
    values_ = std::vector<double>();
  else if (fits<int64_t>(value) && std::holds_alternative<std::vector<int32_t>>(values_))
    values_ = widened(std::vector<int64_t>());
  else
    values_ = widened(std::vector<Number>());
}

Samples selectSamples(const Samples& samples, const std::vector<SampleRange>& ranges, bool clamps) {
  Samples selected;
  for (const SampleRange& range : ranges)
    for (size_t i = range.begin; i < range.end; ++i) {
      const Number value = samples[i];
      selected.append(clamps && value < Number() ? Number() : value);
    }
  return selected;
}

}  // namespace ryx::profiling
