// SPDX-License-Identifier: Apache-2.0
// The one place where a log's text becomes markup. Names come from logs of anybody, and the page is
// opened in a browser by somebody else: an escape that is missing here is a script that runs there.
// What cannot be seen is shown as an escape, because marks of direction can make a name read as
// another.

#include "exports/html/markup.h"

#include <cstdint>

namespace ryx::profiling {
namespace {

struct CodePoint {
  uint32_t value;
  size_t bytes;
};

/// The first character of UTF-8 that is not empty.
CodePoint firstCodePoint(std::string_view text) {
  const auto byte = [&](size_t i) -> uint32_t {
    return i < text.size() ? static_cast<uint8_t>(text[i]) & 0x3FU : 0;
  };
  const auto first = static_cast<uint8_t>(text[0]);
  if (first < 0x80) return {first, 1};
  if (first < 0xE0) return {(first & 0x1FU) << 6 | byte(1), 2};
  if (first < 0xF0) return {(first & 0x0FU) << 12 | byte(1) << 6 | byte(2), 3};
  return {(first & 0x07U) << 18 | byte(1) << 12 | byte(2) << 6 | byte(3), 4};
}

bool isUnseen(uint32_t character) {
  struct Range {
    uint32_t first, last;
  };
  static constexpr Range kUnseen[] = {
      {0x00, 0x1F},     {0x7F, 0x9F},     {0x61C, 0x61C},   {0x200B, 0x200B}, {0x200E, 0x200F},
      {0x2028, 0x202E}, {0x2060, 0x2069}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB},
  };
  for (const Range& range : kUnseen)
    if (character >= range.first && character <= range.last) return true;
  return false;
}

void appendEscape(std::string& out, uint32_t character) {
  const bool isShort = character < 0x100;
  out += isShort ? "\\x" : "\\u";
  for (int shift = isShort ? 4 : 12; shift >= 0; shift -= 4)
    out += "0123456789ABCDEF"[character >> shift & 0xF];
}

}  // namespace

std::string shownName(std::string_view text) {
  if (text.empty()) return "\"\"";
  std::string shown;
  while (!text.empty()) {
    const CodePoint character = firstCodePoint(text);
    const size_t bytes = std::min(character.bytes, text.size());
    if (isUnseen(character.value))
      appendEscape(shown, character.value);
    else
      shown += text.substr(0, bytes);
    text.remove_prefix(bytes);
  }
  return shown;
}

Markup& Markup::text(std::string_view text) {
  for (const char character : text) switch (character) {
      case '&': out_ += "&amp;"; break;
      case '<': out_ += "&lt;"; break;
      case '>': out_ += "&gt;"; break;
      case '"': out_ += "&quot;"; break;
      case '\'': out_ += "&#39;"; break;
      default: out_ += character;
    }
  return *this;
}

Markup& Markup::name(std::string_view text, std::string_view classes) {
  if (classes.empty())
    raw("<bdi>");
  else
    raw("<bdi class=\"").raw(classes).raw("\">");
  return this->text(shownName(text)).raw("</bdi>");
}

}  // namespace ryx::profiling
