// SPDX-License-Identifier: Apache-2.0
// What a comparison takes: a log, or what statistics said of one.
//
// A source is one run. It has rows (the executions of a graph by a method, the messages of a
// phase), and each row has entries: itself as a whole, then each path of events in each unit.

#ifndef RYX_ANALYSIS_COMPARISON_SOURCE_H
#define RYX_ANALYSIS_COMPARISON_SOURCE_H

#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis/distribution.h"
#include "analysis/event_statistics.h"
#include "analysis/log_samples.h"
#include "analysis/steady_row.h"

namespace ryx::profiling {

/// The unit of durations.
constexpr char kMicrosecondsName[] = "us";

struct SourceRow {
  bool isExecution = false;
  std::optional<std::string> graph;
  std::optional<std::string> method;  ///< of a phase its name

  /// The same for rows that are to be compared with each other, and for no others.
  [[nodiscard]] std::string key() const;
};

struct SourceEntry {
  EventPath path;  ///< empty for the whole
  std::optional<std::string> unit;
  Distribution distribution;

  /// The samples that the distribution is made of; null where only it is known.
  const Samples* samples = nullptr;
  std::vector<SampleRange> ranges;

  [[nodiscard]] std::string key() const;
};

class ComparisonSource {
 public:
  virtual ~ComparisonSource() = default;

  /// What its user calls it.
  [[nodiscard]] virtual const std::string& name() const = 0;

  [[nodiscard]] virtual const std::vector<SourceRow>& rows() const = 0;

  /// The entries of the row at that position, the whole first. Valid as long as the source.
  [[nodiscard]] virtual std::vector<SourceEntry> entries(size_t row) = 0;
};

/// A log as a source.
class LogSource : public ComparisonSource {
 public:
  LogSource(LogSamples samples, const WarmUpRule& warmUp, const EventView& view);

  const std::string& name() const override { return samples_.logs().front().name; }
  const std::vector<SourceRow>& rows() const override { return rows_; }
  std::vector<SourceEntry> entries(size_t row) override;

 private:
  [[nodiscard]] SourceEntry entryOf(const SteadyRow& row, const Samples& samples,
                                    const PositionList& occurrences);

  LogSamples samples_;
  WarmUpRule warmUp_;
  EventView view_;
  std::vector<SourceRow> rows_;
  DistributionMaker maker_;
  std::list<GroupedEvents> groups_;  ///< what entries point to
};

/// The samples of the entry, in the order of the log. Where only their distribution is known,
/// samples that would have it, at most 1000, in ascending order: they tell nothing about the order
/// of the log.
[[nodiscard]] std::vector<double> samplesOf(const SourceEntry& entry);

}  // namespace ryx::profiling

#endif
