// What is known of the terminals that standard output and standard error may be.

#ifndef RYX_COMMON_TERMINAL_H
#define RYX_COMMON_TERMINAL_H

#include <cstddef>
#include <optional>

namespace ryx::tools {

/// The width of the terminal in columns; nothing for what is no terminal.
[[nodiscard]] std::optional<size_t> terminalColumns(int descriptor);

/// Whether TERM names a terminal that can do no more than print one line after the other.
[[nodiscard]] bool isTerminalDumb();

}  // namespace ryx::tools

#endif
