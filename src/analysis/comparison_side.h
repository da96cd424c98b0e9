// SPDX-License-Identifier: Apache-2.0
// One side of a comparison: what its runs have in common, row by row and entry by entry.

#ifndef RYX_ANALYSIS_COMPARISON_SIDE_H
#define RYX_ANALYSIS_COMPARISON_SIDE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "analysis/comparison_source.h"
#include "analysis/distribution.h"
#include "base/keyed_hash.h"

namespace ryx::profiling {

enum class Metric { P50, Mean, P90, P99 };

/// Nothing where the distribution has no such number.
[[nodiscard]] std::optional<Number> metricOf(const Distribution& distribution, Metric metric);

using Sources = std::vector<std::unique_ptr<ComparisonSource>>;

/// Things by their keys, in the order in which they first appear.
template <typename Content>
class KeyedList {
 public:
  /// Made where there is none.
  Content& operator[](const std::string& key) {
    const auto [place, isNew] = places_.emplace(key, items_.size());
    if (isNew) items_.emplace_back();
    return items_[place->second];
  }
  /// Null where there is none.
  [[nodiscard]] const Content* find(const std::string& key) const {
    const auto place = places_.find(key);
    return place == places_.end() ? nullptr : &items_[place->second];
  }
  [[nodiscard]] std::vector<Content>& items() { return items_; }
  [[nodiscard]] const std::vector<Content>& items() const { return items_; }

 private:
  std::vector<Content> items_;
  std::unordered_map<std::string, size_t, KeyedHash> places_;
};

/// An entry as the runs of one side have it.
struct SideEntry {
  std::string key;
  EventPath path;
  std::optional<std::string> unit;
  std::vector<SourceEntry> runs;  ///< of the runs that have samples of it
  size_t position = 0;            ///< among its siblings in its unit

  [[nodiscard]] uint64_t samples() const;
};

/// A row, and where the runs of a side have it.
struct SideRow {
  SourceRow row;
  std::vector<std::pair<ComparisonSource*, size_t>> places;

  /// The whole first. They point into the sources.
  [[nodiscard]] KeyedList<SideEntry> entries() const;
};

[[nodiscard]] KeyedList<SideRow> rowsOf(const Sources& sources);

/// What an entry is compared by.
struct SideValue {
  std::optional<Number> value;  ///< where the run is the unit, the mean of the runs' metrics
  std::vector<Number> runs;     ///< these, where the run is the unit
  Distribution pooled;          ///< of all runs taken together, where it is not
};

[[nodiscard]] SideValue valueOf(const SideEntry& entry, Metric metric, bool isByRun);

/// (most - least) / median in percent; 0 where there is nothing to divide by.
[[nodiscard]] double spreadPercent(const std::vector<Number>& values);

/// The samples of all runs.
struct PooledSamples {
  std::vector<double> sorted;
  double effective = 0;  ///< how many independent samples they are worth
};

[[nodiscard]] PooledSamples poolSamples(const SideEntry& entry);

}  // namespace ryx::profiling

#endif
