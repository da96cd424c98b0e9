// SPDX-License-Identifier: Apache-2.0
#include "common/program.h"
#include "exports/output_file.h"
#include "log/commands.h"

namespace ryx::profiling {

bool reportError(const std::string& text) {
  tools::printError(text);
  return false;
}

bool printText(const std::string& text) { return reportIfFailed(tools::printOutput(text)); }

bool writeReport(const std::string& path, const ReportPrinter& print) {
  OutputFile output;
  if (!reportIfFailed(output.open(path))) return false;
  print([&output](std::string_view text) { output.append(text); });
  return reportIfFailed(output.commit());
}

}  // namespace ryx::profiling
