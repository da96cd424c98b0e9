#include <cerrno>
#include <cstdio>
#include <cstring>

#include "log/commands.h"

namespace ryx::profiling {

std::string counted(uint64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

bool reportError(const std::string& text) {
  std::fprintf(stderr, "ryx-profile-log: %s\n", text.c_str());
  return false;
}

bool printText(const std::string& text) {
  const size_t printed = std::fwrite(text.data(), 1, text.size(), stdout);
  if (printed == text.size() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  return reportError(std::string("cannot write standard output: ") + std::strerror(errno));
}

}  // namespace ryx::profiling
