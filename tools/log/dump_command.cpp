// SPDX-License-Identifier: Apache-2.0
// The one command that shows a chunk which the end of the file cut short, as readers see it:
// whoever looks for what is wrong with a log wants to see just that. It is still reported as
// damage.

#include <string>

#include "common/input.h"
#include "common/program.h"
#include "common/progress.h"
#include "log/chunk_printer.h"
#include "log/commands.h"
#include "stream/log_damage.h"

namespace ryx::profiling {

Status dumpLog(const std::string& operand) {
  const auto input = tools::InputPath::of(operand);
  if (!input) return input.status();
  const std::string name = tools::inputName(operand);
  CheckedLog log(DamageScope::AllAsRead);
  if (!log.open(input->path()))
    return Status::failure("cannot read " + name + ": " + log.damage()->text);
  tools::silenceProgressBeside(tools::kStandardStream);
  const tools::Progress progress("dumping", tools::bytesOf({operand}));
  ChunkPrinter printer(tools::printOutput);
  while (const LogChunk* chunk = log.next())
    if (Status status = printer.print(*chunk); !status) return status;
  if (log.damage()) return Status::failure(name + ": " + describe(*log.damage()));
  if (log.chunkCount() == 0) tools::printError(name + ": " + kEmptyLogText);
  return {};
}

}  // namespace ryx::profiling
