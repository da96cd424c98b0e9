// SPDX-License-Identifier: Apache-2.0
// The verdict on one row of a comparison, and the rules that it is reached by.

#ifndef RYX_ANALYSIS_VERDICT_H
#define RYX_ANALYSIS_VERDICT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/comparison_side.h"
#include "analysis/intervals.h"
#include "analysis/number.h"

namespace ryx::profiling {

/// Which rows decide, beside phases and what is in bytes.
enum class Gate {
  Graphs,  ///< executions
  Events,  ///< and events
  All,     ///< and what is only on one side
};

enum class Verdict {
  Worse,
  Better,
  Same,
  Changed,       ///< it differs, and is nothing that could be worse
  Inconclusive,  ///< it differs by more than the thresholds, and may be chance
  Added,
  Removed,
  NotComparable,  ///< a side has no value
};

/// A row's own threshold.
struct RowThreshold {
  std::string name;  ///< of a graph, a phase or an event: its joined path or its last identifier
  double percent = 0;
};

struct ComparisonOptions {
  Metric metric = Metric::P50;      ///< of phases, which have few samples, the median for a p99
  std::optional<double> threshold;  ///< percent; by default 5, of events of pooled runs 10
  double minMicroseconds = 5;
  double noise = 1;  ///< percent
  Gate gate = Gate::Graphs;
  bool isStrict = false;  ///< what is inconclusive and gates, is not comparable
  std::vector<RowThreshold> thresholds;
  /// By the name of a graph or phase, or the joined path of an event; empty: nothing.
  std::function<bool(std::string_view name)> ignores;
};

struct ComparedRow {
  bool isExecution = false;
  std::optional<std::string> graph;
  std::optional<std::string> method;  ///< of a phase its name
  EventPath path;                     ///< empty for the whole
  std::optional<std::string> unit;
  Metric metric = Metric::P50;

  // Of several runs the mean of theirs.
  std::optional<Number> base;
  std::optional<Number> next;
  uint64_t baseSamples = 0;
  uint64_t nextSamples = 0;

  std::optional<Number> change;
  std::optional<double> changePercent;
  // Worked out only for changes that pass the thresholds.
  std::optional<Interval> intervalPercent;
  std::optional<double> probability;  ///< that a new sample exceeds a base one

  Verdict verdict = Verdict::Same;
  bool gates = false;
  bool happensOnce = false;  ///< one sample a side: judged by the thresholds alone
  /// Of an added one: the removed one that it may be under a new name.
  std::optional<EventPath> maybeRenamedFrom;

  /// What orders rows: the size of the change, or of what is on one side only its own.
  [[nodiscard]] Number cost() const;
};

/// Times, which can be worse; memory, which is exact; and what can only change.
[[nodiscard]] bool isTimeUnit(const std::optional<std::string>& unit);
[[nodiscard]] bool isBytesUnit(const std::optional<std::string>& unit);

/// How rows of one comparison are judged.
class Judge {
 public:
  /// `options` must outlive this.
  Judge(const ComparisonOptions& options, bool isByRun) : options_(options), isByRun_(isByRun) {}

  /// Fills in the change of a row that has its two values, and the verdict on it. `execution` is
  /// the base value of the whole that the row is a part of, in microseconds.
  void judge(ComparedRow& row, const SideEntry& base, const SideValue& baseValue,
             const SideEntry& next, const SideValue& nextValue, double execution) const;

 private:
  struct Evidence;

  [[nodiscard]] Evidence evidenceOf(Metric metric, const SideEntry& base,
                                    const SideValue& baseValue, const SideEntry& next,
                                    const SideValue& nextValue) const;
  [[nodiscard]] double thresholdOf(const ComparedRow& row) const;
  [[nodiscard]] bool passesThresholds(const ComparedRow& row, double threshold,
                                      double execution) const;

  const ComparisonOptions& options_;
  bool isByRun_;
};

}  // namespace ryx::profiling

#endif
