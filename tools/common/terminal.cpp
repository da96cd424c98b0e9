// SPDX-License-Identifier: Apache-2.0
// The environment's words on colour: NO_COLOR, set to anything but nothing, and CLICOLOR_FORCE, set
// to anything but nothing and 0, are conventions of many tools. What the command line says stands
// above both.

#include "common/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace ryx::tools {

namespace {

std::string_view environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

std::optional<size_t> terminalColumns(int descriptor) {
  constexpr size_t kUnknownWidth = 80;
  if (::isatty(descriptor) == 0) return std::nullopt;
  winsize size{};
  const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : kUnknownWidth;
}

bool isTerminalDumb() { return environment("TERM").empty() || environment("TERM") == "dumb"; }

const Names& colorNames() {
  static const Names kNames = {"auto", "always", "never"};
  return kNames;
}

bool isColored(Color color, int descriptor) {
  if (color != Color::Auto) return color == Color::Always;
  if (!environment("NO_COLOR").empty()) return false;
  const std::string_view force = environment("CLICOLOR_FORCE");
  if (!force.empty() && force != "0") return true;
  return ::isatty(descriptor) != 0 && !isTerminalDumb();
}

}  // namespace ryx::tools
