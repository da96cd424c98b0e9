#include "common/program.h"
#include "log/commands.h"

namespace ryx::profiling {

std::string counted(uint64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

bool reportError(const std::string& text) {
  tools::printError(text);
  return false;
}

bool reportIfFailed(const Status& status) { return tools::reportIfFailed(status); }

bool printText(const std::string& text) { return reportIfFailed(writeText(text)); }

Status writeText(std::string_view text) { return tools::printOutput(text); }

}  // namespace ryx::profiling
