// SPDX-License-Identifier: Apache-2.0
// All of it is std::to_chars, which knows no locale. CSV reports format millions of numbers.

#include "base/number_text.h"

#include <limits>

namespace ryx {
namespace {

// A sign, the integer digits of the largest double, the point and its decimals.
constexpr int kMaxDecimals = 6;
constexpr size_t kFixedBytes = 3 + std::numeric_limits<double>::max_exponent10 + kMaxDecimals;

}  // namespace

std::string decimal(uint64_t number) {
  std::string text;
  appendDecimal(text, number);
  return text;
}

std::string counted(uint64_t count, const std::string& noun) {
  return decimal(count) + " " + noun + (count == 1 ? "" : "s");
}

void appendFixed(std::string& text, double number, int decimals) {
  char digits[kFixedBytes];
  const auto end = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed,
                                 decimals < kMaxDecimals ? decimals : kMaxDecimals)
                       .ptr;
  text.append(digits, end);
}

std::string fixedPoint(double number, int decimals) {
  std::string text;
  appendFixed(text, number, decimals);
  return text;
}

std::string generalNumber(double number) {
  constexpr int kSignificantDigits = 6;
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::general,
                                 kSignificantDigits)
                       .ptr;
  return std::string(digits, end);
}

}  // namespace ryx
