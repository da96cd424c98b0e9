#include "base/printable_text.h"

#include <cstdint>

namespace ryx::log {
namespace {

struct Character {
  uint32_t code = 0;
  size_t bytes = 0;     // 0: not UTF-8
  bool cutOff = false;  // the text ends within it
};

/// The character that `text`, which is not empty, starts with.
Character decode(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = byte(0);
  if (lead < 0x80) return {lead, 1, false};
  if (lead < 0xC2 || lead > 0xF4) return {};
  const size_t bytes = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  uint32_t code = lead & (0x7FU >> bytes);
  for (size_t i = 1; i < bytes; ++i) {
    if (i == text.size()) return {0, 0, true};
    if ((byte(i) & 0xC0) != 0x80) return {};
    code = code << 6 | (byte(i) & 0x3F);
  }
  constexpr uint32_t kSmallestOf[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kSmallestOf[bytes] || code > 0x10FFFF || isSurrogate) return {};
  return {code, bytes, false};
}

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
    const std::string_view rest = text.substr(at);
    const Character character = decode(rest);
    if (character.cutOff && !last) break;
    const std::string_view bytes = rest.substr(0, character.bytes == 0 ? 1 : character.bytes);
    if (character.bytes == 0 || (escapeHarmful && isHarmful(character.code)))
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

}  // namespace ryx::log
