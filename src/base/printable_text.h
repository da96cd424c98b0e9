// SPDX-License-Identifier: Apache-2.0
// Texts of a log, which may hold any bytes, made fit for a terminal or a JSON document: nothing in
// a log can move the cursor or set the terminal up.

#ifndef RYX_BASE_PRINTABLE_TEXT_H
#define RYX_BASE_PRINTABLE_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ryx {

/// Appends `text` to `out` with every control character (but tab and newline) and every byte that
/// is not UTF-8 written as \xNN. Unless this is the `last` piece, a character cut off at the end is
/// left out. Returns how many bytes were taken.
size_t appendPrintable(std::string& out, std::string_view text, bool last);

/// The whole of a text in that form.
[[nodiscard]] std::string printable(std::string_view text);

/// The text with every byte that is not UTF-8 written as \xNN, and nothing else changed.
[[nodiscard]] std::string validUtf8(std::string_view text);

/// The text with one U+FFFD for each longest part of it that is not UTF-8, and nothing else
/// changed.
[[nodiscard]] std::string replacedUtf8(std::string_view text);

}  // namespace ryx

#endif
