// SPDX-License-Identifier: Apache-2.0
// Numbers as text, the same under every locale.

#ifndef RYX_BASE_NUMBER_TEXT_H
#define RYX_BASE_NUMBER_TEXT_H

#include <charconv>
#include <cstdint>
#include <string>

namespace ryx {

/// Appends a whole number in plain decimal.
template <typename Integer>
void appendDecimal(std::string& text, Integer number) {
  char digits[20];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text.append(digits, end);
}

/// A whole number in plain decimal.
std::string decimal(uint64_t number);

/// "1 chunk", "2 chunks".
std::string counted(uint64_t count, const std::string& noun);

/// Appends a number with `decimals` digits after the point, 6 at most, as printf's "%.<decimals>f".
void appendFixed(std::string& text, double number, int decimals);
std::string fixedPoint(double number, int decimals);

/// A number with six significant digits, as printf's "%g".
std::string generalNumber(double number);

}  // namespace ryx

#endif
