// SPDX-License-Identifier: Apache-2.0
// A double is compared by its floor, which is a whole number that 128 bits hold unless the double
// is beyond all of them. Turning the whole number into a double instead would round it, and make
// numbers equal that are not.

#include "analysis/number.h"

namespace ryx::profiling {

namespace {

int sign(bool isLess, bool isMore) { return isLess ? -1 : isMore ? 1 : 0; }

/// A whole number against a double, without rounding either.
int compareWithReal(Int128 whole, double real) {
  constexpr double kLimit = 0x1p127;
  if (real >= kLimit) return -1;
  if (real < -kLimit) return 1;
  const double floor = std::floor(real);
  const auto floored = static_cast<Int128>(floor);
  if (whole != floored) return sign(whole<floored, whole> floored);
  return real > floor ? -1 : 0;
}

}  // namespace

int compare(const Number& a, const Number& b) {
  if (a.isWhole() && b.isWhole()) return sign(a.whole() < b.whole(), a.whole() > b.whole());
  if (a.isWhole()) return compareWithReal(a.whole(), b.real());
  if (b.isWhole()) return -compareWithReal(b.whole(), a.real());
  return sign(a.real() < b.real(), a.real() > b.real());
}

}  // namespace ryx::profiling
