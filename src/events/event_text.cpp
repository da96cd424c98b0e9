// SPDX-License-Identifier: Apache-2.0
// A value reads the same in all reports; a unit does not, because each report has names of its own
// for units. They are in one table, with a column for each report.

#include "events/event_text.h"

#include <array>
#include <cstring>
#include <stdexcept>

#include "base/number_text.h"

namespace ryx::profiling {
namespace {

struct UnitText {
  std::string_view upperCase;
  std::string_view suffix;
  std::string_view json;
};

// By unit code; unknown codes share the first entry.
constexpr std::array<UnitText, 7> kUnitTexts = {{
    {"US", " us", "unknown"},
    {"US", " us", "us"},
    {"BYTES", " bytes", "bytes"},
    {"CYCLES", " cycles", "cycles"},
    {"COUNT", " count", "unknown"},
    {"OBJECT", " object", "object"},
    {"NONE", " ", "none"},
}};

const UnitText& unitText(uint32_t unit) { return kUnitTexts[unit < kUnitTexts.size() ? unit : 0]; }

template <typename Value, typename Bits>
Value fromBits(Bits bits) {
  static_assert(sizeof(Value) == sizeof(Bits));
  Value value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

}  // namespace

void appendText(std::string& text, const EventValue& value) {
  constexpr int kDecimals = 6;
  const uint64_t bits = value.payload;
  switch (value.dataType) {
    case EventDataType::Int8: appendDecimal(text, int{static_cast<int8_t>(bits)}); return;
    case EventDataType::Int16: appendDecimal(text, static_cast<int16_t>(bits)); return;
    case EventDataType::Int32: appendDecimal(text, static_cast<int32_t>(bits)); return;
    case EventDataType::Int64: appendDecimal(text, static_cast<int64_t>(bits)); return;
    case EventDataType::Bool8:
    case EventDataType::Uint8: appendDecimal(text, unsigned{static_cast<uint8_t>(bits)}); return;
    case EventDataType::Uint16: appendDecimal(text, static_cast<uint16_t>(bits)); return;
    case EventDataType::Uint32: appendDecimal(text, static_cast<uint32_t>(bits)); return;
    case EventDataType::Uint64: appendDecimal(text, bits); return;
    case EventDataType::Float32:
      appendFixed(text, double{fromBits<float>(static_cast<uint32_t>(bits))}, kDecimals);
      return;
    case EventDataType::Float64: appendFixed(text, fromBits<double>(bits), kDecimals); return;
    case EventDataType::String:
      if (bits == 0) throw std::logic_error("basic_string::_M_construct null not valid");
      text += fromBits<const char*>(bits);
      return;
    case EventDataType::Unset: return;
  }
}

std::string toText(const EventValue& value) {
  std::string text;
  appendText(text, value);
  return text;
}

std::string_view unitUpperCaseText(uint32_t unit) { return unitText(unit).upperCase; }

std::string_view unitSuffixText(uint32_t unit) { return unitText(unit).suffix; }

std::string_view unitJsonText(uint32_t unit) { return unitText(unit).json; }

}  // namespace ryx::profiling
