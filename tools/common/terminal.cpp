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

}  // namespace ryx::tools
