// SPDX-License-Identifier: Apache-2.0
// A document has to give the same bytes again, and any JSON reader has to take it. The first is why
// a run of backslashes is counted before it is known what they mean: only an "x" or a damaged byte
// after them makes them ambiguous, and only then are they doubled. The second is why all that is
// not ASCII is written as \u escapes, and numbers that JSON has not as texts.

#include "log/json_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "base/utf8.h"

namespace ryx::profiling {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

void appendHex(std::string& out, uint32_t number, int digits) {
  for (int i = digits - 1; i >= 0; --i) out += kDigits[number >> (4 * i) & 15];
}

void appendUtf16(std::string& out, uint32_t unit) {
  out += "\\u";
  appendHex(out, unit, 4);
}

void appendCharacter(std::string& out, uint32_t code) {
  switch (code) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\b': out += "\\b"; return;
    case '\f': out += "\\f"; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default: break;
  }
  constexpr uint32_t kFirstOfTwoUnits = 0x10000;
  if (code >= 0x20 && code < 0x7F) {
    out += static_cast<char>(code);
  } else if (code < kFirstOfTwoUnits) {
    appendUtf16(out, code);
  } else {
    appendUtf16(out, 0xD800 + ((code - kFirstOfTwoUnits) >> 10));
    // 0x10000 has none of the lowest ten bits, so they are the same without it.
    appendUtf16(out, 0xDC00 + (code & 0x3FF));
  }
}

bool readHexByte(std::string_view digits, uint8_t& byte) {
  const char* end = digits.data() + digits.size();
  return digits.size() == 2 && std::from_chars(digits.data(), end, byte, 16).ptr == end;
}

// Floating-point numbers are handled by their bits: not all that a NaN can be survives as a number.
template <typename Float>
struct FloatBits;
template <>
struct FloatBits<float> {
  using Type = uint32_t;
  static constexpr Type kSign = Type{1} << 31;
  static constexpr Type kQuietNan = 0x7FC00000;
};
template <>
struct FloatBits<double> {
  using Type = uint64_t;
  static constexpr Type kSign = Type{1} << 63;
  static constexpr Type kQuietNan = 0x7FF8000000000000;
};

constexpr std::string_view kNanStart = "nan(0x";

template <typename To, typename From>
To reinterpreted(From from) {
  static_assert(sizeof(To) == sizeof(From));
  To to;
  std::memcpy(&to, &from, sizeof to);
  return to;
}

template <typename Float>
void appendFloat(std::string& out, typename FloatBits<Float>::Type bits) {
  using Bits = FloatBits<Float>;
  const auto number = reinterpreted<Float>(bits);
  char digits[32];
  char* const end = digits + sizeof digits;
  if (std::isfinite(number)) {
    out.append(digits, std::to_chars(digits, end, number).ptr);
    return;
  }
  const auto magnitude = bits & ~Bits::kSign;
  out += '"';
  if (std::isinf(number) || magnitude == Bits::kQuietNan) {
    if (magnitude != bits) out += '-';
    out += std::isinf(number) ? "inf" : "nan";
  } else {
    out += kNanStart;
    out.append(digits, std::to_chars(digits, end, bits, 16).ptr);
    out += ')';
  }
  out += '"';
}

template <typename Float>
std::optional<uint64_t> readFloat(std::string_view text) {
  using Bits = FloatBits<Float>;
  const bool isNegative = !text.empty() && text.front() == '-';
  const std::string_view magnitude = text.substr(isNegative ? 1 : 0);
  const auto sign = isNegative ? Bits::kSign : 0;
  if (magnitude == "nan") return sign | Bits::kQuietNan;
  if (magnitude == "inf")
    return sign | reinterpreted<typename Bits::Type>(std::numeric_limits<Float>::infinity());

  const char* end = text.data() + text.size();
  if (text.substr(0, kNanStart.size()) == kNanStart) {
    typename Bits::Type bits = 0;
    const auto result = std::from_chars(text.data() + kNanStart.size(), end, bits, 16);
    const bool isWhole = result.ec == std::errc() && end - result.ptr == 1 && *result.ptr == ')';
    return isWhole && std::isnan(reinterpreted<Float>(bits)) ? std::optional<uint64_t>(bits)
                                                             : std::nullopt;
  }
  Float number = 0;
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(number)) return std::nullopt;
  return reinterpreted<typename Bits::Type>(number);
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text) {
  out += '"';
  size_t backslashes = 0;  // directly before this place
  while (!text.empty()) {
    const Utf8Start start = decodeUtf8(text);
    if (!start.isCharacter || start.code == 'x')
      for (; backslashes > 0; --backslashes) out += "\\\\";
    if (start.isCharacter) {
      appendCharacter(out, start.code);
    } else {
      for (const char c : text.substr(0, start.bytes)) {
        out += "\\\\x";
        appendHex(out, static_cast<uint8_t>(c), 2);
      }
    }
    backslashes = start.code == '\\' ? backslashes + 1 : 0;
    text.remove_prefix(start.bytes);
  }
  out += '"';
}

std::string textFromDocument(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const size_t start = std::min(text.find('\\'), text.size());
    out += text.substr(0, start);
    text.remove_prefix(start);
    const size_t backslashes = std::min(text.find_first_not_of('\\'), text.size());
    text.remove_prefix(backslashes);
    if (text.empty() || text.front() != 'x') {
      out.append(backslashes, '\\');
      continue;
    }
    // Before an "x" each two stand for one, and one that is left begins a byte if digits follow.
    out.append(backslashes / 2, '\\');
    if (backslashes % 2 == 0) continue;
    uint8_t byte = 0;
    if (readHexByte(text.substr(1, 2), byte)) {
      out += static_cast<char>(byte);
      text.remove_prefix(3);
    } else {
      out += '\\';
    }
  }
  return out;
}

void appendFloat32(std::string& out, uint64_t bits) {
  appendFloat<float>(out, static_cast<uint32_t>(bits));
}

void appendFloat64(std::string& out, uint64_t bits) { appendFloat<double>(out, bits); }

std::optional<uint64_t> readFloat32(std::string_view text) { return readFloat<float>(text); }
std::optional<uint64_t> readFloat64(std::string_view text) { return readFloat<double>(text); }

}  // namespace ryx::profiling
