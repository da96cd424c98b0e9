// SPDX-License-Identifier: Apache-2.0
// The back end reports memory as events in bytes, some of which sum up what is below them. Adding
// all would count such bytes twice, so an event is marked that has another one with bytes below it.
// Children come right after their parents in the order of the log, which is why only the one before
// is compared.

#include "exports/html/memory.h"

#include <algorithm>

#include "stream/log_text.h"

namespace ryx::profiling {
namespace {

void addUse(std::vector<MemoryUse>& uses, MemoryUse use) {
  const auto isParent = [&use](const MemoryUse& before) {
    return before.method == use.method && before.graph == use.graph &&
           before.path.size() < use.path.size() &&
           std::equal(before.path.begin(), before.path.end(), use.path.begin());
  };
  if (!uses.empty() && isParent(uses.back())) uses.back().isLeaf = false;
  uses.push_back(std::move(use));
}

}  // namespace

std::vector<MemoryUse> findMemory(const LogSamples& samples, const std::vector<GraphView>& graphs) {
  std::vector<MemoryUse> uses;
  for (size_t i = 0; i < samples.phases().size(); ++i) {
    const Row& row = samples.rows()[samples.phases()[i].row];
    for (const PhaseValue& value : samples.phaseValues(i)) {
      const Series& series = samples.series(value.series);
      if (series.unit != kBytes || !value.sample) continue;
      addUse(uses, {samples.paths().path(series.node), row.method ? methodText(*row.method) : "",
                    row.graph ? std::string_view(*row.graph) : std::string_view(),
                    series.totals[*value.sample].real()});
    }
  }
  for (const GraphView& graph : graphs)
    for (const EventNode& event : graph.events())
      if (event.unit == kBytes && event.statistics != nullptr && event.statistics->total.count > 0)
        addUse(uses, {event.statistics->path, graph.method(), graph.graph(),
                      event.statistics->total.max.real()});
  return uses;
}

}  // namespace ryx::profiling
