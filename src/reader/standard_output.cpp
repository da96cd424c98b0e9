#include "reader/standard_output.h"

#include <iostream>

#include "base/logger.h"

namespace ryx::profiling {

void writeStandardOutput(std::string_view text) {
  if (text.empty()) return;
  std::cout.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
  if (std::cout) return;
  RYX_LOG_ERROR("Invalid output file: [%s]", "standard output");
  std::cout.clear();  // a later report is tried anew
}

}  // namespace ryx::profiling
