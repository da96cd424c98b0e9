// SPDX-License-Identifier: Apache-2.0
// UTF-8, one character at a time.

#ifndef RYX_BASE_UTF8_H
#define RYX_BASE_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ryx {

/// What a text starts with: a character, or the longest part that can be taken for damage to one.
struct Utf8Start {
  size_t bytes = 1;
  uint32_t code = 0;
  bool isCharacter = false;
  bool isCutOff = false;  ///< the text ends within a character
};

/// `text` is not empty.
[[nodiscard]] Utf8Start decodeUtf8(std::string_view text);

}  // namespace ryx

#endif
