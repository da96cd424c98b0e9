// SPDX-License-Identifier: Apache-2.0
// Distributions go in for every event; the samples behind them, one number for each execution, only
// for as many events as the size of a page allows: the most expensive ones first, because these are
// the ones that people look into. Each is packed and deflated before it is decided whether it goes
// in, because what it takes is known only then.

#include "exports/html/run_data.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "base/number_text.h"
#include "exports/html/page_data.h"
#include "exports/html/quantities.h"

namespace ryx::profiling {
namespace {

/// What the samples of a page may take, as the text that they are in it.
constexpr uint64_t kMaxSampleBase64 = 2'000'000;

/// An event's self times, one for each execution of its row.
std::vector<double> selfTimes(const Series& series, size_t executions) {
  std::vector<double> values(executions, std::nan(""));
  const Samples& selves = series.selves != nullptr ? *series.selves : series.totals;
  for (size_t i = 0; i < selves.size(); ++i)
    values[series.occurrences[i]] = std::max(realOrNan(selves[i]), 0.0);
  return values;
}

std::vector<double> column(const GraphView& graph,
                           const std::function<double(const EventNode&)>& value) {
  std::vector<double> values;
  values.reserve(graph.events().size());
  for (const EventNode& event : graph.events()) values.push_back(value(event));
  return values;
}

/// The numbers of a distribution that the page has, and what they are called there.
struct Quantity {
  std::string_view name;
  std::optional<Number> (*of)(const Distribution&);
};
using D = const Distribution&;
using MaybeNumber = std::optional<Number>;
constexpr Quantity kQuantities[] = {
    {"sum", [](D d) -> MaybeNumber { return d.sum; }},
    {"stddev", [](D d) { return d.stddev ? MaybeNumber(*d.stddev) : std::nullopt; }},
    {"min", [](D d) -> MaybeNumber { return d.min; }},
    {"p50", [](D d) -> MaybeNumber { return d.p50; }},
    {"p90", [](D d) -> MaybeNumber { return d.p90; }},
    {"p95", [](D d) -> MaybeNumber { return d.p95; }},
    {"p99", [](D d) { return d.p99; }},
    {"max", [](D d) -> MaybeNumber { return d.max; }},
};

constexpr std::pair<std::string_view, Distribution EventStatistics::*> kSides[] = {
    {"total_", &EventStatistics::total}, {"self_", &EventStatistics::self}};

void writeOutlier(JsonWriter& json, const OutlierStatistics& outlier) {
  json.startObject();
  json.member("execution", uint64_t{outlier.execution});
  json.member("duration_us", outlier.duration);
  json.member("severity", outlier.isSevere ? "severe" : "mild");
  if (outlier.path) {
    json.member("path", *outlier.path);
    json.member("excess_us", outlier.excess);
  }
  json.endObject();
}

void writeGraph(JsonWriter& json, const GraphView& graph) {
  json.startObject();
  json.member("graph", graph.graph());
  json.member("method", graph.method());
  json.member("executions", uint64_t{graph.row().occurrences});
  json.member("main_row", graph.mainRow());
  json.member("whole_us", graph.whole());
  json.member("warmup", graph.statistics().warmUp.detected.value_or(0));
  json.key("outliers");
  json.startArray();
  for (const OutlierStatistics& outlier : graph.statistics().outliers) writeOutlier(json, outlier);
  json.endArray();
  json.endObject();
}

}  // namespace

RunData::RunData(const std::vector<GraphView>& graphs) : graphs_(graphs), sampled_(graphs.size()) {
  chooseSamples();
}

// --- Samples -------------------------------------------------------------------------------------

// All events of all graphs, the largest self first; times before other units.
void RunData::chooseSamples() {
  struct Candidate {
    size_t graph;
    size_t event;
    bool isRanked;
    double self;
  };
  std::vector<Candidate> candidates;
  for (size_t graph = 0; graph < graphs_.size(); ++graph)
    for (size_t event = 0; event < graphs_[graph].events().size(); ++event)
      if (const EventNode& node = graphs_[graph].events()[event]; node.series != nullptr)
        candidates.push_back({graph, event, node.isRanked, node.self()});
  std::stable_sort(candidates.begin(), candidates.end(), [](const auto& a, const auto& b) {
    return a.isRanked != b.isRanked ? a.isRanked : a.self > b.self;
  });
  eventsWithSamples_ = candidates.size();
  uint64_t bytes = 0;
  for (const Candidate& candidate : candidates) {
    const GraphView& graph = graphs_[candidate.graph];
    const Series& series = *graph.events()[candidate.event].series;
    PackedColumn packed = packColumn(selfTimes(series, graph.row().occurrences));
    DeflatedPiece piece = deflater_.deflate(packed.planes);
    packed.planes.clear();
    // Its entry in the directory is some bytes more.
    constexpr uint64_t kEntryBytes = 24;
    bytes += base64Size(piece.bytes.size() + kEntryBytes);
    if (bytes > kMaxSampleBase64) return;
    sampled_[candidate.graph].push_back({candidate.event, std::move(packed), std::move(piece)});
    ++sampledEvents_;
  }
}

std::string RunData::whatIsLeftOut() const {
  if (sampledEvents_ == eventsWithSamples_) return {};
  return "Single executions are kept of the " + groupedCount(sampledEvents_) +
         " events that take most time; the other " +
         groupedCount(eventsWithSamples_ - sampledEvents_) + " have their summaries.";
}

// --- Blocks --------------------------------------------------------------------------------------

std::string RunData::scripts() {
  std::string scripts = dataScript("ryx-head", head(), deflater_);
  for (size_t graph = 0; graph < graphs_.size(); ++graph) {
    scripts += graphBlock(graph);
    if (!sampled_[graph].empty()) scripts += samplesBlock(graph);
  }
  return scripts;
}

std::string RunData::graphBlock(size_t index) {
  const GraphView& graph = graphs_[index];
  Block block;
  block.beginTable("executions", graph.row().occurrences);
  block.addColumn("duration", durationColumn(graph.row()));
  block.beginTable("events", graph.events().size());
  const auto add = [&](std::string_view name, const std::function<double(const EventNode&)>& of) {
    block.addColumn(name, column(graph, of));
  };
  const auto statistic = [](double (*of)(const EventStatistics&)) {
    return [of](const EventNode& event) {
      return event.statistics != nullptr ? of(*event.statistics) : std::nan("");
    };
  };
  add("parent", [](const EventNode& event) {
    return event.parent ? static_cast<double>(*event.parent) : std::nan("");
  });
  add("name", [&](const EventNode& event) { return block.textIndex(event.name); });
  add("unit", [&](const EventNode& event) {
    return event.unit ? block.textIndex(unitName(event.unit)) : std::nan("");
  });
  add("event_type", statistic([](const EventStatistics& event) {
        return event.eventType ? static_cast<double>(*event.eventType) : std::nan("");
      }));
  add("calls", statistic([](const EventStatistics& e) { return static_cast<double>(e.calls); }));
  add("executions", statistic([](const EventStatistics& event) {
        return static_cast<double>(event.total.count);
      }));
  for (const auto& [prefix, side] : kSides)
    for (const Quantity& quantity : kQuantities)
      add(std::string(prefix).append(quantity.name), [&, member = side](const EventNode& event) {
        const bool hasSamples =
            event.statistics != nullptr && (event.statistics->*member).count > 0;
        return hasSamples ? realOrNan(quantity.of(event.statistics->*member)) : std::nan("");
      });
  return block.script("ryx-graph-" + decimal(index), deflater_);
}

std::string RunData::samplesBlock(size_t index) {
  Block block;
  block.beginTable("samples", graphs_[index].row().occurrences);
  for (SampledEvent& sampled : sampled_[index])
    block.addColumn(decimal(sampled.event), sampled.column, std::move(sampled.piece));
  return block.script("ryx-samples-" + decimal(index), deflater_);
}

// --- Head ----------------------------------------------------------------------------------------

std::string RunData::head() const {
  return pageDataHead("run", [this](JsonWriter& json) {
    json.key("graphs");
    json.startArray();
    for (const GraphView& graph : graphs_) writeGraph(json, graph);
    json.endArray();
  });
}

}  // namespace ryx::profiling
