// SPDX-License-Identifier: Apache-2.0
// The bounds of the second byte are where overlong forms, surrogates and codes above U+10FFFF are
// refused; the bytes after it are all alike. What is not UTF-8 ends before the first byte that
// could not go on with it, so that a stray lead byte does not swallow the character after it.

#include "base/utf8.h"

namespace ryx {
namespace {

/// Whether `byte` can be the second of a character that begins with `lead`: not where the character
/// would be overlong, a surrogate, or above the last one.
bool canFollow(uint8_t lead, uint8_t byte) {
  switch (lead) {
    case 0xE0: return byte >= 0xA0 && byte < 0xC0;
    case 0xED: return byte >= 0x80 && byte < 0xA0;
    case 0xF0: return byte >= 0x90 && byte < 0xC0;
    case 0xF4: return byte >= 0x80 && byte < 0x90;
    default: return (byte & 0xC0) == 0x80;
  }
}

}  // namespace

Utf8Start decodeUtf8(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = byte(0);
  if (lead < 0x80) return {1, lead, true, false};
  if (lead < 0xC2 || lead > 0xF4) return {};
  const size_t bytes = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  uint32_t code = lead & (0x7FU >> bytes);
  for (size_t i = 1; i < bytes; ++i) {
    if (i == text.size()) return {i, 0, false, true};
    if (i == 1 ? !canFollow(lead, byte(i)) : (byte(i) & 0xC0) != 0x80) return {i, 0, false, false};
    code = code << 6 | (byte(i) & 0x3F);
  }
  return {bytes, code, true, false};
}

}  // namespace ryx
