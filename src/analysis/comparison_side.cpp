// SPDX-License-Identifier: Apache-2.0
// What the runs of one side have of the same entry is brought together here, in one of two ways.
// Where the run is the unit, each gives one number, and these are averaged and spread; else their
// samples are pooled as if they were of one run. Samples that are only known as a distribution are
// made up from its percentiles, and say nothing about how neighbours agree: then none are taken for
// correlated.

#include "analysis/comparison_side.h"

#include <algorithm>

#include "analysis/intervals.h"

namespace ryx::profiling {

namespace {

void numberSiblings(KeyedList<SideEntry>& entries) {
  std::unordered_map<std::string, size_t, KeyedHash> siblings;
  for (SideEntry& entry : entries.items()) {
    if (entry.path.empty()) continue;
    SourceEntry parent;
    parent.unit = entry.unit;
    parent.path.assign(entry.path.begin(), entry.path.end() - 1);
    entry.position = siblings[parent.key()]++;
  }
}

/// All runs taken together.
Distribution poolDistributions(const SideEntry& entry) {
  if (entry.runs.size() == 1) return entry.runs.front().distribution;
  Samples all;
  for (const SourceEntry& run : entry.runs) {
    if (run.samples == nullptr) {
      for (const double sample : samplesOf(run)) all.append(Number(sample));
      continue;
    }
    const Samples selected = selectSamples(*run.samples, run.ranges);
    for (size_t i = 0; i < selected.size(); ++i) all.append(selected[i]);
  }
  return DistributionMaker().of(all);
}

Number meanOf(const std::vector<Number>& numbers) {
  // What is the same everywhere stays the whole number that it is.
  const bool allEqual =
      std::all_of(numbers.begin(), numbers.end(),
                  [&numbers](const Number& number) { return number == numbers.front(); });
  if (allEqual) return numbers.front();
  Number sum;
  for (const Number& number : numbers) sum += number;
  return sum.real() / static_cast<double>(numbers.size());
}

}  // namespace

std::optional<Number> metricOf(const Distribution& distribution, Metric metric) {
  if (distribution.count == 0) return std::nullopt;
  switch (metric) {
    case Metric::P50: return distribution.p50;
    case Metric::Mean: return Number(distribution.mean);
    case Metric::P90: return distribution.p90;
    case Metric::P99: return distribution.p99;
  }
  return std::nullopt;
}

uint64_t SideEntry::samples() const {
  uint64_t sum = 0;
  for (const SourceEntry& run : runs) sum += run.distribution.count;
  return sum;
}

KeyedList<SideEntry> SideRow::entries() const {
  KeyedList<SideEntry> entries;
  for (const auto& [source, position] : places)
    for (SourceEntry& entry : source->entries(position)) {
      const std::string key = entry.key();
      SideEntry& side = entries[key];
      side.key = key;
      side.path = entry.path;
      side.unit = entry.unit;
      if (entry.distribution.count > 0) side.runs.push_back(std::move(entry));
    }
  numberSiblings(entries);
  return entries;
}

KeyedList<SideRow> rowsOf(const Sources& sources) {
  KeyedList<SideRow> rows;
  for (const auto& source : sources)
    for (size_t i = 0; i < source->rows().size(); ++i) {
      SideRow& row = rows[source->rows()[i].key()];
      row.row = source->rows()[i];
      row.places.emplace_back(source.get(), i);
    }
  return rows;
}

SideValue valueOf(const SideEntry& entry, Metric metric, bool isByRun) {
  SideValue side;
  if (entry.runs.empty()) return side;
  if (isByRun) {
    for (const SourceEntry& run : entry.runs)
      if (const auto number = metricOf(run.distribution, metric)) side.runs.push_back(*number);
    if (!side.runs.empty()) side.value = meanOf(side.runs);
  } else {
    side.pooled = poolDistributions(entry);
    side.value = metricOf(side.pooled, metric);
  }
  if (side.value && !side.value->isFinite()) side.value.reset();
  return side;
}

double spreadPercent(const std::vector<Number>& values) {
  if (values.size() < 2) return 0;
  std::vector<Number> sorted = values;
  std::sort(sorted.begin(), sorted.end());
  const double median = sorted[rankOfPermille(sorted.size(), 500)].real();
  return median > 0 ? (sorted.back() - sorted.front()).real() / median * 100 : 0;
}

PooledSamples poolSamples(const SideEntry& entry) {
  PooledSamples pooled;
  std::vector<std::vector<double>> runs;
  bool isOrdered = true;
  for (const SourceEntry& run : entry.runs) {
    runs.push_back(samplesOf(run));
    isOrdered = isOrdered && run.samples != nullptr;
    pooled.sorted.insert(pooled.sorted.end(), runs.back().begin(), runs.back().end());
  }
  std::sort(pooled.sorted.begin(), pooled.sorted.end());
  pooled.effective = effectiveCount(entry.samples(), isOrdered ? rankAutocorrelation(runs) : 0);
  return pooled;
}

}  // namespace ryx::profiling
