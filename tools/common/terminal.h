// SPDX-License-Identifier: Apache-2.0
// What is known of the terminals that standard output and standard error may be.

#ifndef RYX_COMMON_TERMINAL_H
#define RYX_COMMON_TERMINAL_H

#include <cstddef>
#include <optional>

#include "common/names.h"

namespace ryx::tools {

/// The width of the terminal in columns; nothing for what is no terminal.
[[nodiscard]] std::optional<size_t> terminalColumns(int descriptor);

/// Whether TERM names a terminal that can do no more than print one line after the other.
[[nodiscard]] bool isTerminalDumb();

/// What --color says, by its names.
enum class Color { Auto, Always, Never };
[[nodiscard]] const Names& colorNames();

/// Whether output is coloured. `Auto` is by the environment, NO_COLOR before CLICOLOR_FORCE, and
/// where that says nothing, colours are for terminals.
[[nodiscard]] bool isColored(Color color, int descriptor);

}  // namespace ryx::tools

#endif
