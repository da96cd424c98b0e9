// SPDX-License-Identifier: Apache-2.0
// A figure that can be read at a glance beats one with all its digits: a value gets the unit that
// keeps it short. The script writes numbers by the same rules (page/src/numbers.ts); where the two
// differ, a figure changes when it is drawn, which looks like an error in the data.

#include "exports/html/quantities.h"

#include <cmath>
#include <functional>

#include "base/number_text.h"

namespace ryx::profiling {
namespace {

constexpr std::string_view kNone = "–";

/// Digits with commas between the thousands; what follows a point stays as it is.
std::string grouped(std::string_view number) {
  const size_t whole = std::min(number.find('.'), number.size());
  std::string text;
  for (size_t i = 0; i < whole; ++i) {
    if (i > 0 && (whole - i) % 3 == 0) text += ',';
    text += number[i];
  }
  return text.append(number.substr(whole));
}

bool isZero(std::string_view number) {
  return number.find_first_of("123456789") == std::string_view::npos;
}

std::string signedText(double value, const std::function<std::string(double)>& textOf) {
  if (!std::isfinite(value)) return std::string(kNone);
  const std::string magnitude = textOf(std::fabs(value));
  return (isZero(magnitude) ? "±" : value > 0 ? "+" : "−") + magnitude;
}

}  // namespace

std::string groupedCount(uint64_t count) { return grouped(decimal(count)); }

std::string groupedFixed(double value, int decimals) {
  if (!std::isfinite(value)) return std::string(kNone);
  const std::string magnitude = grouped(fixedPoint(std::fabs(value), decimals));
  return value < 0 && !isZero(magnitude) ? "−" + magnitude : magnitude;
}

Scale scaleOf(std::string_view unit, double largest) {
  const double size = std::fabs(largest);
  if (unit == "us") {
    if (!(size >= 1e4)) return {"µs", 1, 0};
    return size < 1e7 ? Scale{"ms", 1e3, 2} : Scale{"s", 1e6, 2};
  }
  if (unit == "bytes") {
    if (!(size >= 1e4)) return {"B", 1, 0};
    if (size < 1e7) return {"kB", 1e3, 1};
    return size < 1e10 ? Scale{"MB", 1e6, 1} : Scale{"GB", 1e9, 2};
  }
  const bool isPlain = unit == "count" || unit == "none";
  return {isPlain ? std::string_view() : unit, 1, size == std::floor(size) ? 0 : 2};
}

std::string inScale(double value, const Scale& scale) {
  return groupedFixed(value / scale.divisor, scale.decimals);
}

std::string quantityText(double value, std::string_view unit) {
  if (!std::isfinite(value)) return std::string(kNone);
  const Scale scale = scaleOf(unit, value);
  std::string text = inScale(value, scale);
  if (!scale.unit.empty()) text.append(" ").append(scale.unit);
  return text;
}

std::string durationText(double microseconds) { return quantityText(microseconds, "us"); }

std::string shareText(double share) {
  if (!std::isfinite(share)) return std::string(kNone);
  if (share > 0 && share < 0.0005) return "<0.1 %";
  return groupedFixed(share * 100, 1) + " %";
}

std::string changeText(double percent) {
  return signedText(percent, [](double size) { return groupedFixed(size, 1) + " %"; });
}

std::string changeText(double change, std::string_view unit) {
  return signedText(change, [unit](double size) { return quantityText(size, unit); });
}

}  // namespace ryx::profiling
