// SPDX-License-Identifier: Apache-2.0
// Names of a log on one line of a terminal or in a cell of Markdown, whatever they hold.

#ifndef RYX_EXPORTS_SHOWN_NAME_H
#define RYX_EXPORTS_SHOWN_NAME_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ryx::profiling {

/// For a terminal: printable, and line breaks and tabs as \xNN as well.
[[nodiscard]] std::string terminalName(std::string_view name);

/// For Markdown, as code in which nothing has a meaning: no markup, link, mention or cell's end.
[[nodiscard]] std::string markdownName(std::string_view name);

/// How many columns of a terminal the UTF-8 text takes.
[[nodiscard]] size_t displayWidth(std::string_view text);

/// The text with so much of its middle replaced by "…" that it takes at most `width` columns, at
/// least 1.
[[nodiscard]] std::string shortenedMiddle(std::string_view text, size_t width);

}  // namespace ryx::profiling

#endif
