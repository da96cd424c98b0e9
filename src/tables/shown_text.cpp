// SPDX-License-Identifier: Apache-2.0
// The slow path of texts. A text of the log is bytes with a count, which may go on after a NUL and
// need not be UTF-8; both are settled here and in `ColumnBuilder::addReplaced`, so that no sink has
// to.

#include "tables/shown_text.h"

#include "base/printable_text.h"

namespace ryx::profiling {

namespace {

size_t plainPrefix(LogBytes text) {
  size_t at = 0;
  uint64_t word;
  for (; text.size - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data + at, sizeof word);
    if (!isPlain(word)) break;
  }
  while (at < text.size && isPlain(text.data[at])) ++at;
  return at;
}

}  // namespace

std::string_view shownText(LogBytes text, std::string& storage) {
  const char* characters = reinterpret_cast<const char*>(text.data);
  const size_t plain = plainPrefix(text);
  if (plain == text.size || text.data[plain] == 0) return {characters, plain};
  storage = replacedUtf8({characters, strnlen(characters, text.size)});
  return storage;
}

std::string_view shownText(const flatbuffers::String& text, std::string& storage) {
  return shownText(LogBytes{text.Data(), text.size()}, storage);
}

}  // namespace ryx::profiling
