#include "log/side_reader.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "common/input.h"
#include "common/progress.h"
#include "exports/stats_document.h"
#include "log/commands.h"
#include "stream/salvage_hint.h"

namespace ryx::profiling {

Sources SideReader::read(const std::vector<std::string>& operands) {
  const tools::Progress progress("reading", tools::bytesOf(operands));
  Sources sources;
  for (const std::string& operand : operands) read(operand, sources);
  return sources;
}

void SideReader::read(const std::string& operand, Sources& sources) {
  const auto input = tools::InputPath::of(operand, /*needsSeeking=*/true);
  const std::string name = tools::inputName(operand);
  if (!input)
    fail(input.status().text());
  else if (isStatsDocument(input->path()))
    readDocument(input->path(), name, sources);
  else
    readLog(input->path(), name, sources);
}

void SideReader::readDocument(const std::string& path, const std::string& name, Sources& sources) {
  if (view_.groupOf) return fail(name + ": only the events of logs can be grouped with --by");
  auto document = readStatsDocument(path, name, view_);
  if (!document) return fail(document.status().text());
  if (document->isDamaged) fail(name + ": is of a damaged log, up to its damage");
  for (auto& source : document->sources) sources.push_back(std::move(source));
}

void SideReader::readLog(const std::string& path, const std::string& name, Sources& sources) {
  LogSamples samples;
  if (const Status status = samples.read(path, name, {}); !status) return fail(status.text());
  const ReadLog& log = samples.logs().front();
  if (log.damage)
    fail(name + ": " + *log.damage +
         (log.canBeRescued ? "; compared up to there; to rescue the rest: " + salvageCommand(name)
                           : ""));
  sources.push_back(std::make_unique<LogSource>(std::move(samples), warmUp_, view_));
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
