// SPDX-License-Identifier: Apache-2.0
// The statistics of logs, as `stats` prints them: what is read and how, and one place to get at it.

#ifndef RYX_ANALYSIS_STATISTICS_H
#define RYX_ANALYSIS_STATISTICS_H

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "analysis/event_statistics.h"
#include "analysis/log_samples.h"
#include "analysis/row_statistics.h"
#include "analysis/steady_row.h"
#include "base/status.h"
#include "ryx/message_filter.h"

namespace ryx::profiling {

struct StatisticsOptions {
  MessageFilter filter;
  WarmUpRule warmUp;
  EventView events;
  bool merges = false;  ///< one row for all executions of a graph and method, whatever their log
};

class Statistics {
 public:
  explicit Statistics(StatisticsOptions options) : options_(std::move(options)) {}

  /// Reads the log at `path`, which its user calls `name`, up to its damage where it has one. One
  /// that cannot be opened is a failure, and a warning.
  Status read(const std::string& path, const std::string& name);

  /// Whether all logs could be opened, and are intact.
  [[nodiscard]] bool isWhole() const { return isWhole_; }

  /// What the reader of the numbers has to know, a sentence each.
  [[nodiscard]] std::vector<std::string> warnings() const;

  /// The samples of each log, or of all of them where they are merged.
  [[nodiscard]] const std::list<LogSamples>& samples() const { return samples_; }
  [[nodiscard]] const StatisticsOptions& options() const { return options_; }

  /// Works out the numbers of each row of executions, in order, and hands them over. They are not
  /// kept, since those of 20,000 graphs would take more than the samples.
  using RowVisitor = std::function<void(const LogSamples&, const Row&, const RowStatistics&)>;
  void visitRows(const RowVisitor& visitor) const;

 private:
  StatisticsOptions options_;
  std::list<LogSamples> samples_;  // which never move: paths point into them
  std::vector<std::string> unread_;
  bool isWhole_ = true;
};

/// "det (Execute)", as messages name a row.
[[nodiscard]] std::string rowName(const Row& row);

}  // namespace ryx::profiling

#endif
