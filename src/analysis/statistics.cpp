// SPDX-License-Identifier: Apache-2.0
// The numbers of rows are made when they are asked for, and not kept. That makes `warnings` do some
// of the work twice, because warnings are printed before the first row is: only for rows that can
// have one.

#include "analysis/statistics.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "analysis/distribution.h"
#include "base/number_text.h"
#include "stream/log_text.h"
#include "stream/salvage_hint.h"

namespace ryx::profiling {

namespace {

void addLogWarnings(const ReadLog& log, std::vector<std::string>& warnings) {
  if (log.damage) {
    std::string warning = log.name + ": " + log.damage->line;
    if (log.canBeRescued)
      warning += "; the numbers are of what comes before it; to rescue the rest: " +
                 salvageCommand(log.name);
    warnings.push_back(warning);
  }
  if (log.leftOut > 0)
    warnings.push_back(log.name + ": " + counted(log.leftOut, "value") +
                       " left out: NaN or infinite");
  if (log.overflown > 0)
    warnings.push_back(log.name + ": " + counted(log.overflown, "sum") +
                       " of an event's values left out: too large for a double");
}

/// Whether the samples are small whole numbers, of which no sum is too large for anything.
bool areSmall(const Samples& samples) {
  return samples.visit([](const auto& values) {
    return std::is_same_v<typename std::decay_t<decltype(values)>::value_type, int32_t>;
  });
}

bool areSmall(const LogSamples& samples, const Row& row) {
  return areSmall(row.durations) &&
         std::all_of(row.series.begin(), row.series.end(),
                     [&samples](uint32_t index) { return areSmall(samples.series(index).totals); });
}

/// Whether any sample is a double: only sums of those can leave the doubles.
bool hasReals(const LogSamples& samples, const Row& row) {
  return std::any_of(row.series.begin(), row.series.end(), [&samples](uint32_t index) {
    return !samples.series(index).totals.areWhole();
  });
}

/// Whether it is a whole number that neither a signed nor an unsigned one of 64 bits can be.
bool isBeyond64Bits(const Number& number) {
  return number.isWhole() && (number.whole() < std::numeric_limits<int64_t>::min() ||
                              number.whole() > std::numeric_limits<uint64_t>::max());
}

bool hasSumBeyond64Bits(const Samples& samples, bool isPhase) {
  if (areSmall(samples)) return false;
  if (!isPhase) return isBeyond64Bits(sumOf(samples));
  for (size_t i = 0; i < samples.size(); ++i)
    if (isBeyond64Bits(samples[i])) return true;
  return false;
}

void addRoundingWarning(const LogSamples& samples, const Row& row, const std::string& name,
                        std::vector<std::string>& warnings) {
  uint64_t count = hasSumBeyond64Bits(row.durations, !row.isExecution) ? 1 : 0;
  for (const uint32_t index : row.series)
    if (hasSumBeyond64Bits(samples.series(index).totals, !row.isExecution)) ++count;
  if (count > 0)
    warnings.push_back(name + ": " + counted(count, "sum") +
                       " beyond 64 bits, given as the nearest double");
}

void addOutlierWarning(size_t outliers, const std::string& name,
                       std::vector<std::string>& warnings) {
  if (outliers > kMaxListedOutliers)
    warnings.push_back(name + ": " + counted(outliers - kMaxListedOutliers, "further outlier") +
                       " not listed");
}

void addOverflowWarning(const RowStatistics& statistics, const std::string& name,
                        std::vector<std::string>& warnings) {
  const auto count = std::count_if(statistics.events.begin(), statistics.events.end(),
                                   [](const EventStatistics& event) {
                                     return hasOverflown(event.total) || hasOverflown(event.self);
                                   });
  if (count > 0)
    warnings.push_back(name + ": " + counted(static_cast<uint64_t>(count), "event") +
                       " with numbers too large for a double, which are null");
}

}  // namespace

std::string rowName(const Row& row) {
  const std::string method = row.method ? methodText(*row.method) : "no method";
  return row.graph ? *row.graph + " (" + method + ")" : method;
}

Status Statistics::read(const std::string& path, const std::string& name) {
  const bool isNew = samples_.empty() || !options_.merges;
  if (isNew) samples_.emplace_back();
  Status status = samples_.back().read(path, name, options_.filter);
  if (!status) {
    if (isNew) samples_.pop_back();
    unread_.push_back(status.text());
  }
  isWhole_ = isWhole_ && status && !samples_.back().logs().back().damage;
  return status;
}

std::vector<std::string> Statistics::warnings() const {
  std::vector<std::string> warnings = unread_;
  for (const LogSamples& samples : samples_)
    for (const ReadLog& log : samples.logs()) addLogWarnings(log, warnings);
  DistributionMaker maker;
  for (const LogSamples& samples : samples_)
    for (const Row& row : samples.rows()) {
      const std::string name =
          options_.merges ? rowName(row) : samples.logs().front().name + ": " + rowName(row);
      // Most rows cannot have any, and need no second look.
      const bool mayBeHuge = !areSmall(samples, row);
      if (mayBeHuge) addRoundingWarning(samples, row, name, warnings);
      if (!row.isExecution) continue;
      if (row.occurrences > kMaxListedOutliers)
        addOutlierWarning(countOutliers(row, options_.warmUp), name, warnings);
      if (mayBeHuge && hasReals(samples, row))
        addOverflowWarning(statisticsOf(samples, row, options_.warmUp, options_.events, maker),
                           name, warnings);
    }
  return warnings;
}

void Statistics::visitRows(const RowVisitor& visitor) const {
  DistributionMaker maker;
  for (const LogSamples& samples : samples_)
    for (const Row& row : samples.rows())
      if (row.isExecution)
        visitor(samples, row, statisticsOf(samples, row, options_.warmUp, options_.events, maker));
}

}  // namespace ryx::profiling
