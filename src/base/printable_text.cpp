// SPDX-License-Identifier: Apache-2.0
// Two ways to mend a text, for two kinds of readers. Escapes (\xNN) keep what the log holds, for
// people who look for what is wrong with it; U+FFFD is what databases and other programs expect,
// and keeps nothing. Beside control characters, those that reverse the direction of text are
// escaped: they can make a terminal show a name as another one.

#include "base/printable_text.h"

#include <cstdint>

#include "base/utf8.h"

namespace ryx {
namespace {

/// Characters that a terminal obeys instead of showing, and those that reorder what it shows.
bool isHarmful(uint32_t code) {
  if (code == '\t' || code == '\n') return false;
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x202A && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

void appendEscaped(std::string& out, std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<uint8_t>(c);
    out += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
  }
}

size_t append(std::string& out, std::string_view text, bool last, bool escapeHarmful) {
  size_t at = 0;
  while (at < text.size()) {
    const Utf8Start start = decodeUtf8(text.substr(at));
    if (start.isCutOff && !last) break;
    const std::string_view bytes = text.substr(at, start.bytes);
    if (!start.isCharacter || (escapeHarmful && isHarmful(start.code)))
      appendEscaped(out, bytes);
    else
      out += bytes;
    at += bytes.size();
  }
  return at;
}

}  // namespace

size_t appendPrintable(std::string& out, std::string_view text, bool last) {
  return append(out, text, last, true);
}

std::string printable(std::string_view text) {
  std::string out;
  append(out, text, true, true);
  return out;
}

std::string validUtf8(std::string_view text) {
  std::string out;
  append(out, text, true, false);
  return out;
}

std::string replacedUtf8(std::string_view text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::string out;
  while (!text.empty()) {
    const Utf8Start start = decodeUtf8(text);
    out += start.isCharacter ? text.substr(0, start.bytes) : kReplacement;
    text.remove_prefix(start.bytes);
  }
  return out;
}

}  // namespace ryx
