// SPDX-License-Identifier: Apache-2.0
#include "exports/html/comparison_view.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/keyed_hash.h"

namespace ryx::profiling {
namespace {

std::string keyOf(const SourceRow& row, const EventPath& path,
                  const std::optional<std::string>& unit) {
  SourceEntry entry;
  entry.path = path;
  entry.unit = unit;
  return row.key() + entry.key();
}

/// The samples of an entry's runs, one after the other; none where only their distribution is
/// known.
std::vector<double> durationsOf(const SideEntry& whole) {
  std::vector<double> durations;
  for (const SourceEntry& run : whole.runs) {
    if (run.samples == nullptr) continue;
    const std::vector<double> samples = samplesOf(run);
    durations.insert(durations.end(), samples.begin(), samples.end());
  }
  return durations;
}

double sumOf(const SideEntry& entry) {
  double sum = 0;
  for (const SourceEntry& run : entry.runs) sum += run.distribution.sum.real();
  return sum;
}

/// The main root as statistics have it: where the roots have more time than the executions, the
/// largest of those that have children and half of that time.
std::optional<std::string_view> mainRootOf(const std::vector<SideEntry>& entries) {
  std::unordered_set<std::string_view, KeyedHash> parents;  // of the events just below the roots
  for (const SideEntry& entry : entries)
    if (entry.path.size() == 2 && entry.unit == kMicrosecondsName)
      parents.insert(entry.path.front());
  const double whole = sumOf(entries.front());
  double roots = 0;
  double most = 0;
  std::optional<std::string_view> mainRoot;
  for (const SideEntry& entry : entries) {
    if (entry.path.size() != 1 || entry.unit != kMicrosecondsName) continue;
    const double sum = sumOf(entry);
    roots += sum;
    if (2 * sum < whole || sum <= most || parents.count(entry.path.front()) == 0) continue;
    most = sum;
    mainRoot = entry.path.front();
  }
  return 20 * roots > 21 * whole ? mainRoot : std::nullopt;
}

double changeOf(const ComparedRow& row) { return row.change ? row.change->real() : 0; }

}  // namespace

// Puts the rows, which come by what they cost, back into the order of the logs.
class ComparisonView::Builder {
 public:
  Builder(ComparisonView& view, const Comparison& comparison) : view_(view) {
    for (const ComparedRow& row : comparison.rows)
      rows_.emplace(keyOf({row.isExecution, row.graph, row.method}, row.path, row.unit), &row);
  }

  void run(const Sources& base, const Sources& next) {
    const KeyedList<SideRow> baseRows = rowsOf(base);
    const KeyedList<SideRow> nextRows = rowsOf(next);
    for (const SideRow& row : nextRows.items()) add(baseRows.find(row.row.key()), &row);
    for (const SideRow& row : baseRows.items())
      if (nextRows.find(row.row.key()) == nullptr) add(&row, nullptr);
    std::stable_sort(view_.graphs_.begin(), view_.graphs_.end(), [](const auto& a, const auto& b) {
      return a.whole->cost() > b.whole->cost();
    });
  }

 private:
  /// A row of both sides, or of one.
  void add(const SideRow* base, const SideRow* next) {
    const KeyedList<SideEntry> none;
    const KeyedList<SideEntry> baseEntries = base != nullptr ? base->entries() : none;
    const KeyedList<SideEntry> nextEntries = next != nullptr ? next->entries() : none;
    const SourceRow& row = (next != nullptr ? next : base)->row;
    std::vector<const ComparedRow*> rows;
    const auto take = [&](const SideEntry& entry) {
      const auto found = rows_.find(keyOf(row, entry.path, entry.unit));
      if (found != rows_.end()) rows.push_back(found->second);
    };
    for (const SideEntry& entry : nextEntries.items()) take(entry);
    for (const SideEntry& entry : baseEntries.items())
      if (nextEntries.find(entry.key) == nullptr) take(entry);
    if (row.isExecution)
      addGraph(rows, baseEntries.items(), nextEntries.items());
    else
      view_.others_.insert(view_.others_.end(), rows.begin(), rows.end());
  }

  void addGraph(const std::vector<const ComparedRow*>& rows, const std::vector<SideEntry>& base,
                const std::vector<SideEntry>& next) {
    if (rows.empty() || !rows.front()->path.empty()) return;
    ComparedGraph graph;
    graph.whole = rows.front();
    graph.events.assign(rows.begin() + 1, rows.end());
    EventForest forest;
    for (size_t i = 0; i < graph.events.size(); ++i) {
      const ComparedRow& event = *graph.events[i];
      forest.add(event.path, event.unit ? std::optional(unitIndex(*event.unit)) : std::nullopt, i);
      if (isBytesUnit(event.unit)) view_.others_.push_back(&event);
    }
    graph.tree = forest.inPreOrder();
    findMain(graph, mainRootOf(next.empty() ? base : next));
    if (!base.empty()) graph.baseDurations = durationsOf(base.front());
    if (!next.empty()) graph.nextDurations = durationsOf(next.front());
    view_.graphs_.push_back(std::move(graph));
  }

  void findMain(ComparedGraph& graph, const std::optional<std::string_view>& mainRoot) {
    const uint32_t microseconds = unitIndex(kMicrosecondsName);
    for (size_t i = 0; i < graph.tree.size(); ++i) {
      const EventForest::Node& node = graph.tree[i];
      const bool isTimeRoot = !node.parent && node.unit == microseconds;
      if (isTimeRoot && node.name == mainRoot) graph.mainRow = i;
      graph.isMain.push_back(node.parent ? graph.isMain[*node.parent]
                                         : isTimeRoot && (!mainRoot || graph.mainRow == i));
    }
  }

  uint32_t unitIndex(const std::string& unit) {
    auto& units = view_.units_;
    const auto place = std::find(units.begin(), units.end(), unit);
    if (place != units.end()) return static_cast<uint32_t>(place - units.begin());
    units.push_back(unit);
    return static_cast<uint32_t>(units.size() - 1);
  }

  ComparisonView& view_;
  std::unordered_map<std::string, const ComparedRow*, KeyedHash> rows_;
};

ComparisonView::ComparisonView(const Comparison& comparison, const Sources& base,
                               const Sources& next) {
  Builder(*this, comparison).run(base, next);
}

std::vector<ChangedEvent> rankChanges(const ComparisonView& view) {
  std::vector<ChangedEvent> changes;
  for (size_t graph = 0; graph < view.graphs().size(); ++graph) {
    const ComparedGraph& compared = view.graphs()[graph];
    for (size_t node = 0; node < compared.tree.size(); ++node)
      if (const ComparedRow* row = compared.rowAt(node); row != nullptr && compared.isMain[node])
        changes.push_back({graph, node, row});
  }
  std::stable_sort(changes.begin(), changes.end(),
                   [](const auto& a, const auto& b) { return a.row->cost() > b.row->cost(); });
  return changes;
}

bool isExplainedBelow(const ComparedGraph& graph, size_t node) {
  const ComparedRow* row = graph.rowAt(node);
  if (row == nullptr) return true;
  double below = 0;
  for (size_t i = node + 1; i < graph.tree.size() && graph.tree[i].parent >= node; ++i)
    if (const ComparedRow* child = graph.rowAt(i); child != nullptr && graph.tree[i].parent == node)
      below += changeOf(*child);
  return below != 0 && std::fabs(changeOf(*row) - below) < std::fabs(changeOf(*row)) / 2;
}

}  // namespace ryx::profiling
