// SPDX-License-Identifier: Apache-2.0
#include "log/side_reader.h"

#include <CLI/CLI.hpp>

#include "common/input.h"
#include "common/progress.h"
#include "exports/run_source.h"
#include "log/commands.h"

namespace ryx::profiling {

Sources SideReader::read(const std::vector<std::string>& operands) {
  const tools::Progress progress("reading", tools::bytesOf(operands));
  Sources sources;
  for (const std::string& operand : operands) read(operand, sources);
  return sources;
}

void SideReader::read(const std::string& operand, Sources& sources) {
  const auto input = tools::InputPath::of(operand, /*needsSeeking=*/true);
  if (!input) return fail(input.status().text());
  const auto failure = readRun(input->path(), tools::inputName(operand), warmUp_, view_, sources);
  if (failure) fail(failure->text);
}

void SideReader::fail(const std::string& why) {
  reportError(why);
  failures_.push_back(why);
}

void settleSides(const std::vector<std::string>& operands, std::vector<std::string>& base,
                 std::vector<std::string>& next) {
  const auto refuse = [](const char* why) { throw CLI::ValidationError(why); };
  if (!base.empty() || !next.empty()) {
    if (!operands.empty()) refuse("either BASE and NEW, or --base and --new");
    if (base.empty() || next.empty()) refuse("--base and --new go together");
    return;
  }
  if (operands.size() != 2) refuse("BASE and NEW are required, or --base and --new");
  base = {operands[0]};
  next = {operands[1]};
}

}  // namespace ryx::profiling
