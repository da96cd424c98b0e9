// SPDX-License-Identifier: Apache-2.0
#include "exports/run_source.h"

#include <memory>
#include <utility>

#include "exports/stats_document.h"
#include "stream/salvage_hint.h"

namespace ryx::profiling {

namespace {

std::optional<RunFailure> readDocument(const std::string& path, const std::string& name,
                                       const EventView& view, Sources& sources) {
  if (view.groupOf)
    return RunFailure{name + ": only the events of logs can be grouped with --by", {}};
  auto document = readStatsDocument(path, name, view);
  if (!document) return RunFailure{document.status().text(), {}};
  for (auto& source : document->sources) sources.push_back(std::move(source));
  if (document->isDamaged) return RunFailure{name + ": is of a damaged log, up to its damage", {}};
  return std::nullopt;
}

std::optional<RunFailure> readLog(const std::string& path, const std::string& name,
                                  const WarmUpRule& warmUp, const EventView& view,
                                  Sources& sources) {
  LogSamples samples;
  if (const Status status = samples.read(path, name, {}); !status)
    return RunFailure{status.text(), {}};
  std::optional<RunFailure> failure;
  const ReadLog& log = samples.logs().front();
  if (log.damage) {
    failure = {name + ": " + log.damage->line, log.damage};
    if (log.canBeRescued)
      failure->text += "; compared up to there; to rescue the rest: " + salvageCommand(name);
  }
  sources.push_back(std::make_unique<LogSource>(std::move(samples), warmUp, view));
  return failure;
}

}  // namespace

std::optional<RunFailure> readRun(const std::string& path, const std::string& name,
                                  const WarmUpRule& warmUp, const EventView& view,
                                  Sources& sources) {
  return isStatsDocument(path) ? readDocument(path, name, view, sources)
                               : readLog(path, name, warmUp, view, sources);
}

}  // namespace ryx::profiling
