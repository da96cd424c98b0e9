// SPDX-License-Identifier: Apache-2.0
// Numbers of a report, each column in one unit.

#ifndef RYX_EXPORTS_TIME_SCALE_H
#define RYX_EXPORTS_TIME_SCALE_H

#include <optional>
#include <string>

#include "analysis/number.h"

namespace ryx::profiling {

/// The unit in which times are printed next to each other: microseconds as long as these are
/// readable.
class TimeScale {
 public:
  /// For times up to `largest` microseconds.
  explicit TimeScale(double largest);

  /// "us", "ms" or "s".
  [[nodiscard]] const char* unit() const { return unit_; }

  /// Whole microseconds in all their digits.
  [[nodiscard]] std::string text(const Number& microseconds) const;
  /// "-" where there is none.
  [[nodiscard]] std::string text(const std::optional<Number>& microseconds) const;

 private:
  const char* unit_;
  double divisor_;
  int decimals_;
};

/// With so many digits after the point; in scientific notation where it is huge.
[[nodiscard]] std::string decimalText(double number, int decimals);
/// "-" where there is none.
[[nodiscard]] std::string decimalText(const std::optional<double>& number, int decimals);

/// Whole numbers in all their digits, others with one digit after the point.
[[nodiscard]] std::string plainText(const Number& number);
[[nodiscard]] std::string plainText(const std::optional<Number>& number);

/// 0.1234 as "12.3"; "-" where there is none.
[[nodiscard]] std::string percentText(const std::optional<double>& share);

}  // namespace ryx::profiling

#endif
