// SPDX-License-Identifier: Apache-2.0
// Every log is checked, whatever is wrong with those before it, and gets one line. Verdicts go to
// standard output, damage included, because they are what was asked for; only what keeps a log from
// being read at all is an error.

#include <string>
#include <vector>

#include "base/number_text.h"
#include "common/input.h"
#include "common/progress.h"
#include "log/commands.h"
#include "log/log_summary.h"
#include "stream/log_damage.h"

namespace ryx::profiling {

namespace {

bool verifyLog(const std::string& operand) {
  const auto input = tools::InputPath::of(operand);
  if (!input) return reportIfFailed(input.status());
  const std::string name = tools::inputName(operand);
  CheckedLog log;
  uint64_t messages = 0;
  uint64_t events = 0;
  if (log.open(input->path())) {
    while (const LogChunk* chunk = log.next()) {
      if (chunk->messages() == nullptr) continue;
      messages += chunk->messages()->size();
      for (const Message* message : *chunk->messages()) events += countEvents(*message);
    }
  }
  if (!log.damage()) {
    if (log.chunkCount() == 0) return printText(name + ": " + kEmptyLogText + "\n");
    return printText(name + ": sound: " + counted(log.chunkCount(), "chunk") + ", " +
                     counted(messages, "message") + ", " + counted(events, "event") + ", " +
                     counted(log.end(), "byte") + "\n");
  }
  if (log.damage()->kind == DamageKind::CannotOpen)
    return reportError("cannot read " + name + ": " + log.damage()->text);
  const char* verdict = log.damage()->kind == DamageKind::NotALog ? ": " : ": damaged: ";
  static_cast<void>(printText(name + verdict + describe(*log.damage()) + "\n"));
  return false;
}

}  // namespace

bool verifyLogs(const std::vector<std::string>& paths) {
  const tools::Progress progress("verifying", tools::bytesOf(paths));
  bool areSound = true;
  for (const std::string& path : paths) areSound = verifyLog(path) && areSound;
  return areSound;
}

}  // namespace ryx::profiling
