#include <string>
#include <vector>

#include "log/commands.h"
#include "log/log_summary.h"
#include "stream/log_damage.h"

namespace ryx::profiling {

namespace {

bool verifyLog(const std::string& path) {
  CheckedLog log;
  uint64_t messages = 0;
  uint64_t events = 0;
  if (log.open(path)) {
    while (const LogChunk* chunk = log.next()) {
      if (chunk->messages() == nullptr) continue;
      messages += chunk->messages()->size();
      for (const Message* message : *chunk->messages()) events += countEvents(*message);
    }
  }
  if (!log.damage())
    return printText(path + ": sound: " + counted(log.chunkCount(), "chunk") + ", " +
                     counted(messages, "message") + ", " + counted(events, "event") + ", " +
                     counted(log.end(), "byte") + "\n");
  if (log.damage()->kind == DamageKind::CannotOpen)
    return reportError("cannot read " + path + ": " + log.damage()->text);
  static_cast<void>(printText(path + ": damaged: " + describe(*log.damage()) + "\n"));
  return false;
}

}  // namespace

bool verifyLogs(const std::vector<std::string>& paths) {
  bool areSound = true;
  for (const std::string& path : paths) areSound = verifyLog(path) && areSound;
  return areSound;
}

}  // namespace ryx::profiling
