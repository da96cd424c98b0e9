// SPDX-License-Identifier: Apache-2.0
// Numbers for people: grouped, with the unit that fits. page/src/numbers.ts writes the same.

#ifndef RYX_EXPORTS_HTML_QUANTITIES_H
#define RYX_EXPORTS_HTML_QUANTITIES_H

#include <cstdint>
#include <string>
#include <string_view>

namespace ryx::profiling {

/// "12,345".
[[nodiscard]] std::string groupedCount(uint64_t count);

/// "12,345.68"; an en dash for what is no number.
[[nodiscard]] std::string groupedFixed(double value, int decimals);

/// A unit that values are shown in.
struct Scale {
  std::string_view unit;
  double divisor;
  int decimals;
};

/// The scale for values of a unit of the log, of which `largest` is the largest.
[[nodiscard]] Scale scaleOf(std::string_view unit, double largest);

/// The value in that scale, without its unit.
[[nodiscard]] std::string inScale(double value, const Scale& scale);

/// A value with the unit that fits it: "16.54 ms", "179.0 MB".
[[nodiscard]] std::string quantityText(double value, std::string_view unit);
[[nodiscard]] std::string durationText(double microseconds);

/// A share of one with one decimal, "12.7 %"; "<0.1 %" for a small one that is not zero.
[[nodiscard]] std::string shareText(double share);

/// A change in percent with its sign, always: "+38.2 %".
[[nodiscard]] std::string changeText(double percent);

/// A change in a unit of the log, "+1,446 µs".
[[nodiscard]] std::string changeText(double change, std::string_view unit);

}  // namespace ryx::profiling

#endif
