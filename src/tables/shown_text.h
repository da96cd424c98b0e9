// SPDX-License-Identifier: Apache-2.0
// Texts of a log as tables show them: up to their first NUL, and UTF-8 whatever the log holds.
//
// Nearly all texts are ASCII, and taken as they are. Whether one is, is tested eight bytes at a
// time.

#ifndef RYX_TABLES_SHOWN_TEXT_H
#define RYX_TABLES_SHOWN_TEXT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "profile_log_generated.h"
#include "tables/event_fields.h"

namespace ryx::profiling {

/// Whether each of eight bytes is an ASCII character other than NUL.
[[nodiscard]] inline bool isPlain(uint64_t word) {
  constexpr uint64_t kLowBits = 0x0101010101010101;
  constexpr uint64_t kHighBits = 0x8080808080808080;
  // Taking 1 from a byte of 0 sets its highest bit; bytes that are not ASCII have it already.
  return (((word - kLowBits) | word) & kHighBits) == 0;
}

[[nodiscard]] inline bool isPlain(uint8_t byte) { return byte != 0 && byte < 0x80; }

/// How many bytes from the front are ASCII characters other than NUL. Copies at least those to
/// `copy`, which has room for the whole text.
inline size_t copyPlain(LogBytes text, uint8_t* copy) {
  size_t at = 0;
  uint64_t word;
  for (; text.size - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data + at, sizeof word);
    if (!isPlain(word)) break;
    std::memcpy(copy + at, &word, sizeof word);
  }
  for (; at < text.size && isPlain(text.data[at]); ++at) copy[at] = text.data[at];
  return at;
}

/// The text as tables show it: within the log where it can be taken from there as it is, else in
/// `storage`. Valid as long as both.
[[nodiscard]] std::string_view shownText(LogBytes text, std::string& storage);
[[nodiscard]] std::string_view shownText(const flatbuffers::String& text, std::string& storage);

}  // namespace ryx::profiling

#endif
