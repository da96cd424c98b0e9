// SPDX-License-Identifier: Apache-2.0
// Rows of two sides are matched by their keys, then the entries within them, so that an event is
// compared only with itself in the same graph and method. Whatever is on one side only is reported,
// and decides something only where it was asked for, or where a graph that should be there has
// gone: a comparison must not turn green because what got worse was not run.
//
// The run is the unit from three runs a side on. With fewer, nothing is known of how runs differ,
// and samples are pooled.

#include "analysis/comparison.h"

#include <algorithm>
#include <utility>

namespace ryx::profiling {

namespace {

constexpr size_t kRunsThatTell = 3;

bool isIgnored(const SourceRow& row, const EventPath& path, const ComparisonOptions& options) {
  if (!options.ignores) return false;
  return (row.graph && options.ignores(*row.graph)) ||
         (!row.isExecution && row.method && options.ignores(*row.method)) ||
         (!path.empty() && options.ignores(joinedPath(path)));
}

/// Whether rows of that kind decide when they are on both sides.
bool isGating(const SideEntry& entry, Gate gate) {
  return entry.path.empty() || isBytesUnit(entry.unit) ||
         (isTimeUnit(entry.unit) && gate != Gate::Graphs);
}

bool isOneSided(const ComparedRow& row) {
  return row.verdict == Verdict::Added || row.verdict == Verdict::Removed;
}

/// A phase, which happens once or a few times, has no p99.
Metric metricFor(const SourceRow& row, const ComparisonOptions& options) {
  return !row.isExecution && options.metric == Metric::P99 ? Metric::P50 : options.metric;
}

ComparedRow startRow(const SourceRow& row, const SideEntry& entry,
                     const ComparisonOptions& options) {
  ComparedRow result;
  result.isExecution = row.isExecution;
  result.graph = row.graph;
  result.method = row.method;
  result.path = entry.path;
  result.unit = entry.unit;
  result.metric = metricFor(row, options);
  return result;
}

/// The removed entry with the same parent, unit and position as the added one.
std::optional<EventPath> renamedFrom(const SideEntry& added,
                                     const std::vector<const SideEntry*>& removed) {
  for (const SideEntry* entry : removed)
    if (entry->unit == added.unit && entry->position == added.position &&
        entry->path.size() == added.path.size() &&
        std::equal(added.path.begin(), added.path.end() - 1, entry->path.begin()))
      return entry->path;
  return std::nullopt;
}

size_t unitRank(const ComparedRow& row) {
  if (row.unit == kMicrosecondsName) return 0;
  if (isTimeUnit(row.unit)) return 1;
  return isBytesUnit(row.unit) ? 2 : 3;
}

bool comesBefore(const ComparedRow& a, const ComparedRow& b) {
  if (unitRank(a) != unitRank(b)) return unitRank(a) < unitRank(b);
  return a.cost() > b.cost();
}

/// Compares the rows of two sides.
class Comparer {
 public:
  Comparer(const ComparisonOptions& options, bool isByRun)
      : options_(options), judge_(options, isByRun) {
    result_.isByRun = isByRun;
  }

  Comparison run(const Sources& baseSources, const Sources& nextSources) {
    const KeyedList<SideRow> base = rowsOf(baseSources);
    const KeyedList<SideRow> next = rowsOf(nextSources);
    for (const SideRow& row : base.items()) {
      const SideRow* other = next.find(row.row.key());
      other != nullptr ? compareRows(row, *other) : addOneSided(row, Verdict::Removed);
    }
    for (const SideRow& row : next.items())
      if (base.find(row.row.key()) == nullptr) addOneSided(row, Verdict::Added);
    std::stable_sort(result_.rows.begin(), result_.rows.end(), comesBefore);
    result_.verdict = overallVerdict();
    return std::move(result_);
  }

 private:
  /// Everything of a row that only one side has.
  void addOneSided(const SideRow& row, Verdict verdict) {
    const KeyedList<SideEntry> entries = row.entries();
    for (const SideEntry& entry : entries.items())
      if (!isIgnored(row.row, entry.path, options_)) addOneSided(row.row, entry, verdict);
  }

  ComparedRow& addOneSided(const SourceRow& row, const SideEntry& entry, Verdict verdict) {
    ComparedRow result = startRow(row, entry, options_);
    const bool isAdded = verdict == Verdict::Added;
    (isAdded ? result.next : result.base) = valueOf(entry, result.metric, result_.isByRun).value;
    (isAdded ? result.nextSamples : result.baseSamples) = entry.samples();
    result.verdict = verdict;
    // An event that comes or goes decides nothing but with --gate all; what always decides and has
    // gone cannot be compared.
    result.gates = options_.gate == Gate::All || (!isAdded && isGating(entry, Gate::Graphs));
    result_.rows.push_back(std::move(result));
    return result_.rows.back();
  }

  void compareRows(const SideRow& base, const SideRow& next) {
    const KeyedList<SideEntry> baseEntries = base.entries();
    const KeyedList<SideEntry> nextEntries = next.entries();
    const auto whole =
        valueOf(baseEntries.items().front(), metricFor(base.row, options_), result_.isByRun).value;
    std::vector<const SideEntry*> removed;
    for (const SideEntry& entry : baseEntries.items()) {
      if (isIgnored(base.row, entry.path, options_)) continue;
      if (const SideEntry* other = nextEntries.find(entry.key))
        compareEntries(base.row, entry, *other, whole ? whole->real() : 0);
      else
        removed.push_back(&entry);
    }
    for (const SideEntry* entry : removed) addOneSided(base.row, *entry, Verdict::Removed);
    for (const SideEntry& entry : nextEntries.items())
      if (!isIgnored(next.row, entry.path, options_) && baseEntries.find(entry.key) == nullptr)
        addOneSided(next.row, entry, Verdict::Added).maybeRenamedFrom = renamedFrom(entry, removed);
  }

  void compareEntries(const SourceRow& row, const SideEntry& base, const SideEntry& next,
                      double execution) {
    ComparedRow result = startRow(row, base, options_);
    const SideValue baseValue = valueOf(base, result.metric, result_.isByRun);
    const SideValue nextValue = valueOf(next, result.metric, result_.isByRun);
    result.base = baseValue.value;
    result.next = nextValue.value;
    result.baseSamples = base.samples();
    result.nextSamples = next.samples();
    result.gates = isGating(base, options_.gate);
    result.happensOnce =
        !row.isExecution && !result_.isByRun && result.baseSamples == 1 && result.nextSamples == 1;
    if (result.base && result.next)
      judge_.judge(result, base, baseValue, next, nextValue, execution);
    else if (result.base || result.next)
      result.verdict = Verdict::NotComparable;
    else if (result.baseSamples > 0 && result.nextSamples > 0)
      result.verdict = Verdict::Inconclusive;  // too few samples for a p99
    result_.rows.push_back(std::move(result));
  }

  [[nodiscard]] Verdict overallVerdict() const {
    bool hasGraph = false;
    bool isWorse = false;
    bool isBetter = false;
    bool isIncomplete = false;
    for (const ComparedRow& row : result_.rows) {
      hasGraph = hasGraph || (row.isExecution && row.path.empty() && row.base && row.next);
      if (!row.gates) continue;
      isWorse = isWorse || row.verdict == Verdict::Worse ||
                (isOneSided(row) && options_.gate == Gate::All);
      isBetter = isBetter || row.verdict == Verdict::Better;
      isIncomplete = isIncomplete || isOneSided(row) || row.verdict == Verdict::NotComparable ||
                     (options_.isStrict && row.verdict == Verdict::Inconclusive);
    }
    if (!hasGraph) return Verdict::NotComparable;
    if (isWorse) return Verdict::Worse;
    if (isIncomplete) return Verdict::NotComparable;
    return isBetter ? Verdict::Better : Verdict::Same;
  }

  const ComparisonOptions& options_;
  Judge judge_;
  Comparison result_;
};

}  // namespace

Comparison compareRuns(const Sources& base, const Sources& next, const ComparisonOptions& options) {
  const bool isByRun = base.size() >= kRunsThatTell && next.size() >= kRunsThatTell;
  return Comparer(options, isByRun).run(base, next);
}

std::vector<RowSpread> measureSpread(const Sources& runs, const ComparisonOptions& options) {
  std::vector<RowSpread> spreads;
  const KeyedList<SideRow> rows = rowsOf(runs);
  for (const SideRow& row : rows.items()) {
    const KeyedList<SideEntry> entries = row.entries();
    for (const SideEntry& entry : entries.items()) {
      if (!isGating(entry, options.gate) || isIgnored(row.row, entry.path, options)) continue;
      const SideValue side = valueOf(entry, metricFor(row.row, options), /*isByRun=*/true);
      if (side.runs.size() < 2) continue;
      RowSpread spread;
      spread.row = startRow(row.row, entry, options);
      const auto [least, most] = std::minmax_element(side.runs.begin(), side.runs.end());
      spread.least = *least;
      spread.most = *most;
      spread.spreadPercent = spreadPercent(side.runs);
      if (*least > Number())
        spread.thresholdPercent = (*most - *least).real() / least->real() * 100;
      spreads.push_back(std::move(spread));
    }
  }
  return spreads;
}

}  // namespace ryx::profiling
