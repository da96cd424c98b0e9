// SPDX-License-Identifier: Apache-2.0
// How many columns a character takes is a table of its own, small and approximate: the C library's
// wcwidth depends on the locale, and a report must not. Where the table is wrong, a column is out
// of line, and nothing else happens. A name made of marks without width is no wider however long it
// is, so shortening counts each mark as one column.

#include "exports/shown_name.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>
#include <vector>

#include "base/printable_text.h"

namespace ryx::profiling {

namespace {

struct Character {
  std::string_view bytes;
  size_t width = 1;
};

struct CodeRange {
  uint32_t first;
  uint32_t last;
};

/// Marks that join the character before them.
constexpr CodeRange kWithoutWidth[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};

/// East Asian characters and pictures.
constexpr CodeRange kTwoWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},
                                  {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
                                  {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F},
                                  {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <size_t N>
bool isWithin(uint32_t code, const CodeRange (&ranges)[N]) {
  return std::any_of(std::begin(ranges), std::end(ranges), [code](const CodeRange& range) {
    return code >= range.first && code <= range.last;
  });
}

size_t widthOf(uint32_t code) {
  if (isWithin(code, kWithoutWidth)) return 0;
  return isWithin(code, kTwoWide) ? 2 : 1;
}

/// The characters of a text that is UTF-8.
std::vector<Character> charactersOf(std::string_view text) {
  std::vector<Character> characters;
  while (!text.empty()) {
    const auto lead = static_cast<uint8_t>(text[0]);
    const size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const std::string_view bytes = text.substr(0, size);
    uint32_t code = size == 1 ? lead : lead & (0x7FU >> size);
    for (const char c : bytes.substr(1)) code = code << 6 | (static_cast<uint8_t>(c) & 0x3F);
    characters.push_back({bytes, widthOf(code)});
    text.remove_prefix(bytes.size());
  }
  return characters;
}

}  // namespace

std::string terminalName(std::string_view name) {
  if (name.empty()) return "\"\"";
  std::string shown;
  for (const char c : printable(name)) {
    if (c == '\n')
      shown += "\\x0a";
    else if (c == '\t')
      shown += "\\x09";
    else
      shown += c;
  }
  return shown;
}

std::string markdownName(std::string_view name) {
  const std::string shown = terminalName(name);
  // Between backticks nothing has a meaning, but for a backtick and, in a table, a bar.
  if (shown.find_first_of("`|") == std::string::npos) return "`" + shown + "`";
  std::string escaped = "<code>";
  for (const char c : shown) {
    const auto code = static_cast<uint8_t>(c);
    const bool isPlain = code >= 0x80 || std::isalnum(code) != 0 || c == ' ';
    escaped += isPlain ? std::string(1, c) : "&#" + std::to_string(code) + ";";
  }
  return escaped + "</code>";
}

size_t displayWidth(std::string_view text) {
  size_t width = 0;
  for (const Character& character : charactersOf(text)) width += character.width;
  return width;
}

std::string shortenedMiddle(std::string_view text, size_t width) {
  // Marks take no room, but a name made of them is too long all the same.
  constexpr size_t kMostBytesOfColumn = 8;
  if (text.size() <= kMostBytesOfColumn * width && displayWidth(text) <= width)
    return std::string(text);
  const std::vector<Character> characters = charactersOf(text);
  const auto columns = [](const Character& each) { return std::max<size_t>(each.width, 1); };
  const size_t kept = width - 1;
  std::string front;
  size_t used = 0;
  for (const Character& character : characters) {
    if (used + columns(character) > kept - kept / 2) break;
    used += columns(character);
    front += character.bytes;
  }
  std::string back;
  used = 0;
  for (auto character = characters.rbegin(); character != characters.rend(); ++character) {
    if (used + columns(*character) > kept / 2) break;
    used += columns(*character);
    back.insert(0, character->bytes);
  }
  return front + "…" + back;
}

}  // namespace ryx::profiling
