// SPDX-License-Identifier: Apache-2.0
// One graph as the page shows it: its events as a tree, what is ranked, and groups of it.

#ifndef RYX_EXPORTS_HTML_GRAPH_VIEW_H
#define RYX_EXPORTS_HTML_GRAPH_VIEW_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/log_samples.h"
#include "analysis/row_statistics.h"

namespace ryx::profiling {

/// A path and unit. Paths that only lead to others have neither series nor statistics.
struct EventNode {
  std::string_view name;
  std::optional<size_t> parent;  ///< the position of its node, which is before this one
  std::optional<uint32_t> unit;
  const Series* series = nullptr;
  const EventStatistics* statistics = nullptr;
  bool isRanked = false;  ///< time that no other ranked event has as well

  /// The sum of its self times; 0 without samples.
  [[nodiscard]] double self() const;
};

/// Events by the type in their names, or by the part of the graph that they belong to.
struct EventGroup {
  std::string_view name;  ///< empty: those that belong to none
  double self = 0;
  size_t events = 0;
};

/// So many events of a graph are shown, and those above them.
constexpr size_t kMaxShownEvents = 50'000;

class GraphView {
 public:
  /// `samples` and `row`, one of its rows, must outlive the view.
  GraphView(const LogSamples& samples, const Row& row, DistributionMaker& maker);

  [[nodiscard]] const Row& row() const { return *row_; }
  [[nodiscard]] const RowStatistics& statistics() const { return *statistics_; }
  [[nodiscard]] std::string_view graph() const { return *row_->graph; }
  [[nodiscard]] std::string method() const;

  /// The sum of the durations, which shares are of.
  [[nodiscard]] double whole() const;

  /// In pre-order, children in the order of their first samples.
  [[nodiscard]] const std::vector<EventNode>& events() const { return events_; }
  /// How many more the row has, all smaller than those shown.
  [[nodiscard]] size_t leftOut() const { return leftOut_; }
  [[nodiscard]] std::optional<size_t> mainRow() const { return mainRow_; }
  /// Positions of the ranked events, the largest self first.
  [[nodiscard]] const std::vector<size_t>& ranked() const { return ranked_; }

  /// The largest first. page/src/event_tree.ts groups by the same rule.
  [[nodiscard]] const std::vector<EventGroup>& groups() const { return groups_; }
  [[nodiscard]] bool isGroupedByType() const { return isGroupedByType_; }

 private:
  void addEvents(const LogSamples& samples);
  void keepLargest();
  void rank();
  void group();
  [[nodiscard]] std::string_view partOf(size_t event) const;
  template <typename NameOf>
  [[nodiscard]] std::vector<EventGroup> groupsBy(NameOf nameOf) const;

  const Row* row_;
  std::unique_ptr<RowStatistics> statistics_;  // on the heap: events point into it
  std::vector<EventNode> events_;
  size_t leftOut_ = 0;
  std::optional<size_t> mainRow_;
  std::vector<size_t> ranked_;
  std::vector<EventGroup> groups_;
  bool isGroupedByType_ = false;
};

/// The type in a name like "conv1:Convolution"; empty where it has none.
[[nodiscard]] std::string_view typeOfName(std::string_view name);

/// The unit as tables have it; empty where absent.
[[nodiscard]] std::string unitName(std::optional<uint32_t> unit);

/// A number that may be absent or not finite, as a double; then NaN.
[[nodiscard]] double realOrNan(const std::optional<Number>& number);

}  // namespace ryx::profiling

#endif
