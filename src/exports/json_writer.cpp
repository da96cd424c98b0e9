// SPDX-License-Identifier: Apache-2.0
// Many readers of JSON take all numbers for doubles. A double of 2^53 and more is written with an
// exponent, so that nobody takes its digits for exact ones, and whole numbers are written in full
// only as far as 64 bits go, which readers that care can hold.

#include "exports/json_writer.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace ryx::profiling {

void JsonWriter::value(double number) {
  if (!std::isfinite(number)) return null();
  // In all its digits a large one would pass for a whole number that is exact.
  constexpr double kFirstInexact = 0x1p53;
  char text[32];
  const auto end =
      std::abs(number) < kFirstInexact
          ? std::to_chars(text, text + sizeof text, number).ptr
          : std::to_chars(text, text + sizeof text, number, std::chars_format::scientific).ptr;
  writer_.RawValue(text, static_cast<size_t>(end - text), rapidjson::kNumberType);
}

void JsonWriter::value(const Number& number) {
  const bool isStored = number.isWhole() && number.whole() >= std::numeric_limits<int64_t>::min() &&
                        number.whole() <= std::numeric_limits<uint64_t>::max();
  if (!isStored)
    value(number.real());
  else if (number.whole() < 0)
    writer_.Int64(static_cast<int64_t>(number.whole()));
  else
    writer_.Uint64(static_cast<uint64_t>(number.whole()));
}

void JsonWriter::value(const std::vector<std::string_view>& texts) {
  startArray();
  for (const std::string_view text : texts) value(text);
  endArray();
}

}  // namespace ryx::profiling
