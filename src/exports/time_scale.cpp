// SPDX-License-Identifier: Apache-2.0
// Values of 128 bits, for which the library has no text: sums of 64-bit values over a whole log
// must neither overflow nor be rounded. Only where a unit makes a fraction of them do they go
// through a double.

#include "exports/time_scale.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/number_text.h"

namespace ryx::profiling {

namespace {

constexpr char kNothing[] = "-";

/// All digits of a whole number, of which there may be 39.
std::string wholeText(Int128 number) {
  __extension__ using Magnitude = unsigned __int128;
  Magnitude rest =
      number < 0 ? Magnitude{0} - static_cast<Magnitude>(number) : static_cast<Magnitude>(number);
  std::string digits;
  do {
    digits += static_cast<char>('0' + static_cast<int>(rest % 10));
    rest /= 10;
  } while (rest > 0);
  if (number < 0) digits += '-';
  std::reverse(digits.begin(), digits.end());
  return digits;
}

}  // namespace

TimeScale::TimeScale(double largest) : unit_("us"), divisor_(1), decimals_(1) {
  constexpr double kPreciseEnough = 1000;  // without a digit after the point
  if (largest >= 1e9) {
    unit_ = "s";
    divisor_ = 1e6;
    decimals_ = 3;
  } else if (largest >= 1e6) {
    unit_ = "ms";
    divisor_ = 1e3;
    decimals_ = 3;
  } else if (largest >= kPreciseEnough) {
    decimals_ = 0;
  }
}

std::string TimeScale::text(const Number& microseconds) const {
  if (divisor_ == 1 && microseconds.isWhole()) return wholeText(microseconds.whole());
  return decimalText(microseconds.real() / divisor_, decimals_);
}

std::string TimeScale::text(const std::optional<Number>& microseconds) const {
  return microseconds ? text(*microseconds) : kNothing;
}

std::string decimalText(double number, int decimals) {
  constexpr double kHuge = 1e15;
  if (!std::isfinite(number)) return kNothing;
  return std::abs(number) < kHuge ? fixedPoint(number, decimals) : generalNumber(number);
}

std::string decimalText(const std::optional<double>& number, int decimals) {
  return number ? decimalText(*number, decimals) : kNothing;
}

std::string plainText(const Number& number) {
  return number.isWhole() ? wholeText(number.whole()) : decimalText(number.real(), 1);
}

std::string plainText(const std::optional<Number>& number) {
  return number ? plainText(*number) : kNothing;
}

std::string percentText(const std::optional<double>& share) {
  return share ? decimalText(*share * 100, 1) : kNothing;
}

}  // namespace ryx::profiling
