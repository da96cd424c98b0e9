// SPDX-License-Identifier: Apache-2.0
#include "exports/html/comparison_data.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "base/number_text.h"
#include "exports/diff_report.h"
#include "exports/html/block.h"
#include "exports/html/graph_view.h"
#include "exports/html/page_data.h"

namespace ryx::profiling {
namespace {

std::string headOf(const ComparisonView& view, size_t graphs, std::string_view metric) {
  return pageDataHead("comparison", [&](JsonWriter& json) {
    json.member("metric", metric);
    json.key("graphs");
    json.startArray();
    for (size_t i = 0; i < graphs; ++i) {
      const ComparedGraph& graph = view.graphs()[i];
      json.startObject();
      json.member("graph", graph.whole->graph.value_or(""));
      json.member("method", graph.whole->method.value_or(""));
      json.member("main_row", graph.mainRow);
      json.endObject();
    }
    json.endArray();
  });
}

void addDurations(Block& block, std::string_view side, const std::vector<double>& durations) {
  block.beginTable(side, durations.size());
  block.addColumn("duration", durations);
}

/// A number of a row that both sides may not have.
struct Quantity {
  std::string_view name;
  double (*of)(const ComparedRow&);
};

double orNan(const std::optional<double>& number) { return number.value_or(std::nan("")); }

constexpr Quantity kQuantities[] = {
    {"base", [](const ComparedRow& row) { return realOrNan(row.base); }},
    {"new", [](const ComparedRow& row) { return realOrNan(row.next); }},
    {"change", [](const ComparedRow& row) { return realOrNan(row.change); }},
    {"change_percent", [](const ComparedRow& row) { return orNan(row.changePercent); }},
    {"ci_low",
     [](const ComparedRow& row) {
       return row.intervalPercent ? row.intervalPercent->low : std::nan("");
     }},
    {"ci_high",
     [](const ComparedRow& row) {
       return row.intervalPercent ? row.intervalPercent->high : std::nan("");
     }},
    {"probability", [](const ComparedRow& row) { return orNan(row.probability); }},
    {"base_samples", [](const ComparedRow& row) { return static_cast<double>(row.baseSamples); }},
    {"new_samples", [](const ComparedRow& row) { return static_cast<double>(row.nextSamples); }},
    {"gates", [](const ComparedRow& row) { return row.gates ? 1.0 : 0.0; }},
};

std::string blockOf(const ComparisonView& view, size_t index, Deflater& deflater) {
  const ComparedGraph& graph = view.graphs()[index];
  Block block;
  addDurations(block, "base", graph.baseDurations);
  addDurations(block, "new", graph.nextDurations);
  block.beginTable("rows", graph.tree.size());
  const auto add = [&](std::string_view name, const std::function<double(size_t)>& valueAt) {
    std::vector<double> column(graph.tree.size());
    for (size_t node = 0; node < column.size(); ++node) column[node] = valueAt(node);
    block.addColumn(name, column);
  };
  add("parent", [&](size_t node) {
    const auto& parent = graph.tree[node].parent;
    return parent ? static_cast<double>(*parent) : std::nan("");
  });
  add("name", [&](size_t node) { return block.textIndex(graph.tree[node].name); });
  add("unit", [&](size_t node) {
    const auto& unit = graph.tree[node].unit;
    return unit ? block.textIndex(view.unitOf(*unit)) : std::nan("");
  });
  const auto addOfRow = [&](std::string_view name, const auto& of) {
    add(name, [&](size_t node) {
      const ComparedRow* row = graph.rowAt(node);
      return row != nullptr ? of(*row) : std::nan("");
    });
  };
  for (const Quantity& quantity : kQuantities) addOfRow(quantity.name, quantity.of);
  addOfRow("verdict", [&](const ComparedRow& row) { return block.textIndex(textOf(row.verdict)); });
  return block.script("ryx-graph-" + decimal(index), deflater);
}

}  // namespace

std::string comparisonScripts(const ComparisonView& view, size_t graphs, std::string_view metric) {
  Deflater deflater;
  std::string scripts = dataScript("ryx-head", headOf(view, graphs, metric), deflater);
  for (size_t graph = 0; graph < graphs; ++graph) scripts += blockOf(view, graph, deflater);
  return scripts;
}

}  // namespace ryx::profiling
