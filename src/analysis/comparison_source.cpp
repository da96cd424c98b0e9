// SPDX-License-Identifier: Apache-2.0
// Keys are what makes rows of different files the same: each part goes in with its length, so that
// no two lists of names give one key, whatever characters they have. Statistics that were saved
// have no samples, only percentiles; samples made from these lie on straight lines between them,
// which is right at the percentiles and a guess elsewhere.

#include "analysis/comparison_source.h"

#include <algorithm>
#include <array>
#include <utility>

#include "analysis/row_statistics.h"
#include "stream/log_text.h"

namespace ryx::profiling {

namespace {

/// Appends a part such that no two lists of parts give the same key.
void appendPart(const std::optional<std::string_view>& part, std::string& key) {
  key += part ? std::to_string(part->size()) : "-";
  key += ':';
  if (part) key += *part;
}

/// The distribution's quantile function: straight lines between what is known of it.
std::vector<double> samplesBetweenPercentiles(const Distribution& d) {
  constexpr uint64_t kMost = 1000;
  struct Knot {
    double share;
    double value;
  };
  std::vector<Knot> knots = {{0, d.min.real()},
                             {0.5, d.p50.real()},
                             {0.75, d.p75.real()},
                             {0.9, d.p90.real()},
                             {0.95, d.p95.real()}};
  if (d.p99) knots.push_back({0.99, d.p99->real()});
  if (d.p99_9) knots.push_back({0.999, d.p99_9->real()});
  knots.push_back({1, d.max.real()});
  const uint64_t count = std::min(d.count, kMost);
  std::vector<double> samples;
  samples.reserve(count);
  size_t knot = 1;
  for (uint64_t i = 0; i < count; ++i) {
    const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(count);
    while (knots[knot].share < share) ++knot;
    const Knot& low = knots[knot - 1];
    const Knot& high = knots[knot];
    const double part = (share - low.share) / (high.share - low.share);
    samples.push_back(low.value + part * (high.value - low.value));
  }
  return samples;
}

}  // namespace

std::string SourceRow::key() const {
  std::string key = isExecution ? "x" : "p";
  appendPart(graph, key);
  appendPart(method, key);
  return key;
}

std::string SourceEntry::key() const {
  std::string key;
  appendPart(unit, key);
  for (const std::string_view name : path) appendPart(name, key);
  return key;
}

LogSource::LogSource(LogSamples samples, const WarmUpRule& warmUp, const EventView& view)
    : samples_(std::move(samples)), warmUp_(warmUp), view_(view) {
  rows_.reserve(samples_.rows().size());
  for (const Row& row : samples_.rows())
    rows_.push_back(
        {row.isExecution, row.graph,
         row.method ? std::optional<std::string>(methodText(*row.method)) : std::nullopt});
}

std::vector<SourceEntry> LogSource::entries(size_t row) {
  const Row& content = samples_.rows()[row];
  // Phases have no warm-up: each of their messages counts.
  const SteadyRow steady(content, content.isExecution ? warmUp_ : WarmUpRule());
  std::vector<SourceEntry> entries = {entryOf(steady, content.durations, content.timed)};
  entries.front().unit = kMicrosecondsName;
  const auto add = [&](const EventPath& path, const std::optional<uint32_t>& unit,
                       const Samples& samples, const PositionList& occurrences) {
    entries.push_back(entryOf(steady, samples, occurrences));
    entries.back().path = path;
    if (unit) entries.back().unit = unitText(*unit);
  };
  if (view_.groupOf) {
    auto groups = groupEvents(eventsOf(samples_, steady, maker_), view_, steady);
    const auto first = groups_.insert(groups_.end(), std::make_move_iterator(groups.begin()),
                                      std::make_move_iterator(groups.end()));
    for (auto group = first; group != groups_.end(); ++group)
      add({group->name}, group->unit, group->samples, group->occurrences);
    return entries;
  }
  for (const uint32_t index : content.series) {
    const Series& series = samples_.series(index);
    const EventPath path = samples_.paths().path(series.node);
    if (isWanted(path, view_)) add(path, series.unit, series.totals, series.occurrences);
  }
  return entries;
}

SourceEntry LogSource::entryOf(const SteadyRow& row, const Samples& samples,
                               const PositionList& occurrences) {
  SourceEntry entry;
  entry.distribution = row.distributionOf(samples, occurrences, maker_);
  entry.samples = &samples;
  entry.ranges = row.within(occurrences);
  return entry;
}

std::vector<double> samplesOf(const SourceEntry& entry) {
  if (entry.samples == nullptr) return samplesBetweenPercentiles(entry.distribution);
  std::vector<double> samples;
  samples.reserve(entry.distribution.count);
  for (const SampleRange& range : entry.ranges)
    for (size_t i = range.begin; i < range.end; ++i) samples.push_back((*entry.samples)[i].real());
  return samples;
}

}  // namespace ryx::profiling
