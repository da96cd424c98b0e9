// SPDX-License-Identifier: Apache-2.0
// A text is written at once into room for the longest that it can become, so that no character
// needs a check for space. Texts are UTF-8 by now, and JSON takes that as it is: only quotes,
// backslashes and control characters are escaped.

#include "exports/json_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ryx::profiling {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

/// By character: 0 where it stands for itself, 'u' where only its code will do, else the letter of
/// its escape.
constexpr auto kEscapes = [] {
  std::array<char, 256> escapes = {};
  for (size_t i = 0; i < 0x20; ++i) escapes[i] = 'u';
  escapes['"'] = '"';
  escapes['\\'] = '\\';
  escapes['\b'] = 'b';
  escapes['\f'] = 'f';
  escapes['\n'] = 'n';
  escapes['\r'] = 'r';
  escapes['\t'] = 't';
  return escapes;
}();

/// The most bytes that the string takes.
size_t maxSize(std::string_view text) {
  constexpr size_t kMaxEscapeBytes = 6;
  return 2 + kMaxEscapeBytes * text.size();
}

/// Writes the string to where there is room for `maxSize`. Returns its end.
char* writeString(std::string_view text, char* at) {
  *at++ = '"';
  for (const char c : text) {
    const char escape = kEscapes[static_cast<uint8_t>(c)];
    if (escape == 0) {
      *at++ = c;
      continue;
    }
    *at++ = '\\';
    *at++ = escape;
    if (escape != 'u') continue;
    const char code[] = {'0', '0', kHexDigits[static_cast<uint8_t>(c) >> 4], kHexDigits[c & 0xF]};
    std::memcpy(at, code, sizeof code);
    at += sizeof code;
  }
  *at++ = '"';
  return at;
}

}  // namespace

void appendJsonString(std::string_view text, OutputFile& out) {
  out.take(writeString(text, out.room(maxSize(text))));
}

std::string jsonString(std::string_view text) {
  std::string json(maxSize(text), '\0');
  json.resize(static_cast<size_t>(writeString(text, json.data()) - json.data()));
  return json;
}

}  // namespace ryx::profiling
