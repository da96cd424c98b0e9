// SPDX-License-Identifier: Apache-2.0
// What a person wants to know first comes first: how long executions take, whether that is steady,
// and where the time goes; then what overlaps, what is no time, and the phases. All numbers of a
// table are in one unit, which its largest value decides, so that columns can be compared by eye.
// Tables end after a number of rows, and say what they leave out.
//
// Nothing but sums of shares is worked out here: the figures are the analysis's, so that the report
// and its JSON cannot disagree.

#include "exports/stats_report.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "analysis/warm_up.h"
#include "base/number_text.h"
#include "exports/shown_name.h"
#include "exports/time_scale.h"
#include "stream/log_text.h"

namespace ryx::profiling {

namespace {

using Kind = ReportTable::Kind;

constexpr uint32_t kNoUnit = 6;

/// As part of a column's header.
std::string headerOf(const std::optional<uint32_t>& unit) {
  return unit && *unit != kNoUnit ? unitText(*unit) : "";
}

/// What values of phases in that unit are.
std::string headingOf(const std::optional<uint32_t>& unit) {
  if (unit == kBytes) return "memory";
  return unit && *unit != kNoUnit ? "values in " + unitText(*unit) : "values without a unit";
}

double largestOf(const std::vector<const EventStatistics*>& events) {
  double largest = 0;
  for (const EventStatistics* event : events)
    if (event->total.count > 0) largest = std::max(largest, event->total.max.real());
  return largest;
}

/// What the columns of a distribution hold, in a given scale.
std::vector<std::string> distributionCells(const Distribution& d, const TimeScale& scale) {
  if (d.count == 0) return std::vector<std::string>(8, "-");
  return {scale.text(d.first), scale.text(Number(d.mean)), scale.text(d.p50), scale.text(d.p90),
          scale.text(d.p95),   scale.text(d.p99),          scale.text(d.max), decimalText(d.cv, 3)};
}

/// Statistics on their way to their readers.
class StatsReport {
 public:
  StatsReport(const Statistics& statistics, size_t top, ReportWriter& writer)
      : statistics_(statistics), top_(top), writer_(writer) {}

  void write() {
    statistics_.visitRows(
        [this](const LogSamples& samples, const Row& row, const RowStatistics& numbers) {
          writeRow(samples, row, numbers);
        });
    for (const LogSamples& samples : statistics_.samples()) {
      writePhases(samples);
      writePhaseValues(samples);
    }
  }

 private:
  // --- Executions ---

  void writeRow(const LogSamples& samples, const Row& row, const RowStatistics& numbers) {
    std::string heading = writer_.name(*row.graph) + " (" + methodText(*row.method) +
                          "): " + counted(row.occurrences, "execution");
    if (numbers.ratePerSecond)
      heading += ", " + decimalText(numbers.ratePerSecond, 1) + " per second";
    writer_.heading(heading + logsOf(samples, row));
    writeDurations(numbers);
    writeFindings(samples, numbers);
    writeEvents(numbers);
    writeEventsBeside(numbers);
    writeOtherUnits(numbers);
  }

  /// Which log the row is of, where there are several.
  [[nodiscard]] std::string logsOf(const LogSamples& samples, const Row& row) const {
    if (statistics_.samples().size() < 2 && samples.logs().size() < 2) return {};
    if (row.parts.size() > 1) return " in " + counted(row.parts.size(), "log");
    return " in " + writer_.name(samples.logs()[row.parts.front().log].name);
  }

  void writeDurations(const RowStatistics& numbers) {
    const double largest = numbers.durationOfAll.count > 0 ? numbers.durationOfAll.max.real() : 0;
    const TimeScale scale(largest);
    ReportTable table;
    table.columns = {{scale.unit(), Kind::Label}};
    for (const char* header : {"first", "mean", "p50", "p90", "p95", "p99", "max", "cv"})
      table.columns.push_back({header, Kind::Number});
    const auto add = [&](const char* label, const Distribution& distribution) {
      table.rows.push_back({label});
      for (std::string& cell : distributionCells(distribution, scale))
        table.rows.back().push_back(std::move(cell));
    };
    add("duration", numbers.duration);
    if (numbers.warmUp.excluded > 0) add("with warm-up", numbers.durationOfAll);
    if (numbers.queueWait.count > 0) add("queue wait", numbers.queueWait);
    writer_.table(table);
  }

  void writeFindings(const LogSamples& samples, const RowStatistics& numbers) {
    std::vector<ReportField> fields = {{"warm-up", warmUpText(numbers)},
                                       {"outliers", outlierText(samples, numbers)}};
    if (numbers.unattributedShare && std::isfinite(*numbers.unattributedShare))
      fields.push_back({"time", attributionText(numbers)});
    writer_.fields(fields);
  }

  /// What is left out, and what --warmup auto would leave out.
  [[nodiscard]] std::string warmUpText(const RowStatistics& numbers) const {
    const WarmUp& warmUp = numbers.warmUp;
    const auto first = [](uint64_t count) {
      return count > 0 ? "the first " + counted(count, "execution") : std::string("nothing");
    };
    std::string detected = "would leave out " + first(warmUp.detected.value_or(0));
    if (!warmUp.detected)
      detected = numbers.durationOfAll.count < kMinWarmUpSamples ? "needs 20 executions to tell"
                                                                 : "finds no steady state";
    if (statistics_.options().warmUp.mode == WarmUpRule::Mode::Auto)
      return warmUp.detected ? first(warmUp.excluded) + " left out"
                             : "nothing left out: --warmup auto " + detected;
    return first(warmUp.excluded) + " left out; --warmup auto " + detected;
  }

  [[nodiscard]] std::string outlierText(const LogSamples& samples,
                                        const RowStatistics& numbers) const {
    if (numbers.outlierCount == 0) return "none";
    const auto& listed = numbers.outliers;
    const auto severe = std::count_if(listed.begin(), listed.end(),
                                      [](const OutlierStatistics& each) { return each.isSevere; });
    std::string text = std::to_string(numbers.outlierCount);
    if (severe > 0) text += " (" + std::to_string(severe) + " severe)";
    const auto slowest = std::max_element(
        listed.begin(), listed.end(), [](const OutlierStatistics& a, const OutlierStatistics& b) {
          return a.duration < b.duration;
        });
    const TimeScale scale(slowest->duration.real());
    text += "; execution " + std::to_string(slowest->execution);
    if (samples.logs().size() > 1) text += " of " + writer_.name(samples.logs()[slowest->log].name);
    text += " took " + scale.text(slowest->duration) + " " + scale.unit();
    if (slowest->path)
      text += ", " + scale.text(slowest->excess) + " " + scale.unit() + " more than usual in " +
              writer_.name(joinedPath(*slowest->path));
    return text;
  }

  [[nodiscard]] std::string attributionText(const RowStatistics& numbers) const {
    const double rest = *numbers.unattributedShare;
    std::string text = decimalText(100 - rest * 100, 1) + " % in ";
    text += numbers.mainRoot ? writer_.name(numbers.mainRoot->front()) : "events";
    if (rest < 0) return text + ": more than the executions took (over-attributed)";
    return text + ", " + percentText(rest) + " % unattributed";
  }

  // --- Events ---

  using Events = std::vector<const EventStatistics*>;

  template <typename Condition>
  static Events eventsWhere(const RowStatistics& numbers, const Condition& condition) {
    Events events;
    for (const EventStatistics& event : numbers.events)
      if (condition(event)) events.push_back(&event);
    return events;
  }

  void writeEvents(const RowStatistics& numbers) {
    const Events events = eventsWhere(numbers, [](const EventStatistics& event) {
      return event.unit == kMicroseconds && !event.isBesideMainRoot;
    });
    if (events.empty()) return;
    const TimeScale scale(largestOf(events));
    const bool isGrouped = static_cast<bool>(statistics_.options().events.groupOf);
    const bool isBelowRoot = numbers.mainRoot && !isGrouped;
    ReportTable table;
    table.columns = {{"#"}, {"self %"}, {"cum %"}};
    for (const char* header : {"self", "total", "p50", "p99", "max"})
      table.columns.push_back({header, Kind::Number, scale.unit()});
    table.columns.insert(table.columns.end(),
                         {{"cv"}, {"calls"}, {isGrouped ? "group" : "event", Kind::Name}});
    double cumulated = 0;
    for (const EventStatistics* event : events) {
      if (table.rows.size() == top_) break;
      cumulated += event->selfShare.value_or(0);
      addEvent(*event, cumulated, scale, isBelowRoot, table);
    }
    writer_.table(table);
    writeRest(events, table.rows.size());
  }

  static void addEvent(const EventStatistics& event, double cumulated, const TimeScale& scale,
                       bool isBelowRoot, ReportTable& table) {
    const bool isRoot = event.path.size() == 1;
    const std::string name = isBelowRoot && isRoot ? joinedPath(event.path) + " (itself)"
                                                   : joinedPath(event.path, isBelowRoot);
    const Distribution& d = event.total;
    const bool hasSamples = d.count > 0;
    const auto time = [&](const auto& value) { return hasSamples ? scale.text(value) : "-"; };
    table.rows.push_back({std::to_string(table.rows.size() + 1), percentText(event.selfShare),
                          event.selfShare ? percentText(cumulated) : "-",
                          time(Number(event.self.mean)), time(Number(d.mean)), time(d.p50),
                          time(d.p99), time(d.max), decimalText(d.cv, 3),
                          std::to_string(event.calls), name});
  }

  void writeRest(const Events& events, size_t shown) {
    if (shown == events.size()) return;
    double rest = 0;
    for (size_t i = shown; i < events.size(); ++i) rest += events[i]->selfShare.value_or(0);
    writer_.paragraph("and " + std::to_string(events.size() - shown) + " more with " +
                      percentText(rest) + " % self; --top N shows more");
  }

  /// The roots that have the main root's time again.
  void writeEventsBeside(const RowStatistics& numbers) {
    Events events = eventsWhere(numbers, [](const EventStatistics& event) {
      return event.isBesideMainRoot && event.path.size() == 1;
    });
    if (events.empty()) return;
    std::stable_sort(events.begin(), events.end(),
                     [](const EventStatistics* a, const EventStatistics* b) {
                       return a->total.sum > b->total.sum;
                     });
    const TimeScale scale(largestOf(events));
    ReportTable table;
    table.columns = {{"total %"}};
    for (const char* header : {"total", "p50", "p99", "max"})
      table.columns.push_back({header, Kind::Number, scale.unit()});
    table.columns.push_back({"beside it (overlapping)", Kind::Name});
    for (const EventStatistics* event : events) {
      if (table.rows.size() == std::min(top_, kMaxBeside)) break;
      const Distribution& d = event->total;
      if (d.count == 0) continue;
      table.rows.push_back({percentText(event->share), scale.text(Number(d.mean)),
                            scale.text(d.p50), scale.text(d.p99), scale.text(d.max),
                            joinedPath(event->path)});
    }
    writer_.table(table);
  }

  /// Events of the executions that are no time, unit by unit.
  void writeOtherUnits(const RowStatistics& numbers) {
    std::vector<std::optional<uint32_t>> units;
    for (const EventStatistics& event : numbers.events)
      if (event.unit != kMicroseconds &&
          std::find(units.begin(), units.end(), event.unit) == units.end())
        units.push_back(event.unit);
    for (const auto& unit : units) {
      const Events events = eventsWhere(
          numbers, [&unit](const EventStatistics& event) { return event.unit == unit; });
      ReportTable table;
      for (const char* header : {"p50", "min", "max"})
        table.columns.push_back({header, Kind::Number, headerOf(unit)});
      table.columns.insert(table.columns.end(), {{"cv"}, {"calls"}, {"event", Kind::Name}});
      for (const EventStatistics* event : events) {
        if (table.rows.size() == top_) break;
        const Distribution& d = event->total;
        if (d.count == 0) continue;
        table.rows.push_back({plainText(d.p50), plainText(d.min), plainText(d.max),
                              decimalText(d.cv, 3), std::to_string(event->calls),
                              joinedPath(event->path)});
      }
      if (!table.rows.empty()) writer_.table(table);
    }
  }

  // --- Phases ---

  void writePhases(const LogSamples& samples) {
    if (samples.phases().empty()) return;
    // Of executions, too: phases are shown by when they were in the run.
    const uint64_t start = earliestStart(samples);
    uint64_t latest = start;
    for (const PhaseMessage& phase : samples.phases())
      latest = std::max(latest, phase.end.value_or(0));
    const TimeScale scale(static_cast<double>(latest - start));
    ReportTable table;
    for (const char* header : {"start", "end", "duration"})
      table.columns.push_back({header, Kind::Number, scale.unit()});
    table.columns.push_back({"phase", Kind::Label});
    table.columns.push_back({"graph", Kind::Name});
    size_t left = 0;
    for (const PhaseMessage& phase : samples.phases()) {
      if (table.rows.size() == kMaxPhases) {
        ++left;
        continue;
      }
      const auto since = [start](const std::optional<uint64_t>& time) {
        return time ? std::optional<Number>(Number(*time) - Number(start)) : std::nullopt;
      };
      const Row& row = samples.rows()[phase.row];
      table.rows.push_back(
          {scale.text(since(phase.start)), scale.text(since(phase.end)),
           scale.text(phase.duration ? std::optional<Number>(*phase.duration) : std::nullopt),
           row.method ? methodText(*row.method) : "-", row.graph.value_or("-")});
    }
    writer_.heading("phases" + logsOf(samples) + ", from the log's first start on");
    writer_.table(table);
    if (left > 0) writer_.paragraph("and " + std::to_string(left) + " more");
  }

  [[nodiscard]] std::string logsOf(const LogSamples& samples) const {
    if (samples.logs().size() > 1) return " of " + counted(samples.logs().size(), "log");
    return statistics_.samples().size() > 1 ? " of " + writer_.name(samples.logs().front().name)
                                            : "";
  }

  static uint64_t earliestStart(const LogSamples& samples) {
    uint64_t earliest = UINT64_MAX;
    for (const Row& row : samples.rows()) earliest = std::min(earliest, row.earliestStart);
    for (const PhaseMessage& phase : samples.phases())
      earliest = std::min(earliest, phase.start.value_or(UINT64_MAX));
    return earliest == UINT64_MAX ? 0 : earliest;
  }

  /// What the events of the phases say that is no time: memory above all.
  void writePhaseValues(const LogSamples& samples) {
    std::map<std::optional<uint32_t>, ReportTable> tables;
    for (size_t i = 0; i < samples.phases().size() && i < kMaxPhases; ++i)
      for (const PhaseValue& value : samples.phaseValues(i))
        addPhaseValue(samples, i, value, tables);
    for (const auto& [unit, table] : tables) {
      writer_.heading(headingOf(unit) + logsOf(samples));
      writer_.table(table);
    }
  }

  void addPhaseValue(const LogSamples& samples, size_t phase, const PhaseValue& value,
                     std::map<std::optional<uint32_t>, ReportTable>& tables) const {
    const Series& series = samples.series(value.series);
    const EventPath path = samples.paths().path(series.node);
    if (series.unit == kMicroseconds || !value.sample) return;
    if (!isWanted(path, statistics_.options().events)) return;
    ReportTable& table = tables[series.unit];
    const std::string unit = headerOf(series.unit);
    const std::string header = unit.empty() ? "value" : unit;
    table.columns = {
        {header}, {"phase", Kind::Label}, {"graph", Kind::Name}, {"event", Kind::Name}};
    const Row& row = samples.rows()[samples.phases()[phase].row];
    table.rows.push_back({plainText(series.totals[*value.sample]),
                          row.method ? methodText(*row.method) : "-", row.graph.value_or("-"),
                          joinedPath(path)});
  }

  static constexpr size_t kMaxBeside = 5;
  static constexpr size_t kMaxPhases = 100;

  const Statistics& statistics_;
  const size_t top_;
  ReportWriter& writer_;
};

}  // namespace

void writeStatsReport(const Statistics& statistics, size_t top, ReportWriter& writer) {
  StatsReport(statistics, top, writer).write();
}

}  // namespace ryx::profiling
