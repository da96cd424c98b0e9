// SPDX-License-Identifier: Apache-2.0
// A comparison as its page shows it: graph by graph in the order of the log, and what is no
// execution.

#ifndef RYX_EXPORTS_HTML_COMPARISON_VIEW_H
#define RYX_EXPORTS_HTML_COMPARISON_VIEW_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "analysis/comparison.h"
#include "exports/html/event_forest.h"

namespace ryx::profiling {

/// The executions of a graph by a method.
struct ComparedGraph {
  const ComparedRow* whole = nullptr;
  std::vector<const ComparedRow*> events;  ///< as the new side has them; then what is gone
  /// The same as a tree in pre-order: an item is a position among `events`, a unit one that
  /// `unitOf` knows.
  std::vector<EventForest::Node> tree;
  std::vector<bool> isMain;  ///< of each node: time that no root has again
  std::optional<size_t> mainRow;
  // Of the executions that are compared, run after run.
  std::vector<double> baseDurations;
  std::vector<double> nextDurations;

  /// The row at that node; null where the path only leads to others.
  [[nodiscard]] const ComparedRow* rowAt(size_t node) const {
    return tree[node].item ? events[*tree[node].item] : nullptr;
  }
};

class ComparisonView {
 public:
  /// All of them must outlive the view.
  ComparisonView(const Comparison& comparison, const Sources& base, const Sources& next);

  /// Those that changed most first.
  [[nodiscard]] const std::vector<ComparedGraph>& graphs() const { return graphs_; }

  /// Phases, each followed by its events, and what executions take of memory.
  [[nodiscard]] const std::vector<const ComparedRow*>& others() const { return others_; }

  /// The unit of a node.
  [[nodiscard]] const std::string& unitOf(uint32_t unit) const { return units_[unit]; }

 private:
  class Builder;

  std::vector<ComparedGraph> graphs_;
  std::vector<const ComparedRow*> others_;
  std::vector<std::string> units_;
};

/// A row at a node of a graph's tree.
struct ChangedEvent {
  size_t graph = 0;
  size_t node = 0;
  const ComparedRow* row = nullptr;
};

/// The events below the main roots, the largest change first.
[[nodiscard]] std::vector<ChangedEvent> rankChanges(const ComparisonView& view);

/// Whether most of a node's change is that of the nodes right below it.
[[nodiscard]] bool isExplainedBelow(const ComparedGraph& graph, size_t node);

}  // namespace ryx::profiling

#endif
