// SPDX-License-Identifier: Apache-2.0
// The document is written as it is worked out, row by row, and never held in memory: a log can have
// hundreds of thousands of paths. Only options add or remove keys; what a row does not have is
// null, so that scripts need not ask first. Lines are broken at rows and events only: a person can
// find a place, and two files can be compared.

#include "exports/stats_json.h"

#include <string>

#include "base/printable_text.h"
#include "stream/log_text.h"

namespace ryx::profiling {

namespace {

void writeDistribution(JsonWriter& json, const Distribution& d) {
  const bool hasSamples = d.count > 0;
  const auto member = [&](const char* name, const auto& value) {
    json.key(name);
    hasSamples ? json.value(value) : json.null();
  };
  json.startObject();
  json.member("count", d.count);
  member("sum", d.sum);
  member("mean", d.mean);
  member("stddev", d.stddev);
  member("cv", d.cv);
  member("mad", d.mad);
  member("min", d.min);
  member("p50", d.p50);
  member("p75", d.p75);
  member("p90", d.p90);
  member("p95", d.p95);
  member("p99", d.p99);
  member("p99_9", d.p99_9);
  member("max", d.max);
  member("first", d.first);
  json.endObject();
}

std::optional<std::string> unitOf(const std::optional<uint32_t>& unit) {
  return unit ? std::optional<std::string>(unitText(*unit)) : std::nullopt;
}

std::optional<std::string> methodOf(const Row& row) {
  return row.method ? std::optional<std::string>(methodText(*row.method)) : std::nullopt;
}

std::string modeText(const WarmUpRule& rule) {
  switch (rule.mode) {
    case WarmUpRule::Mode::None: break;
    case WarmUpRule::Mode::Auto: return "auto";
    case WarmUpRule::Mode::Count: return std::to_string(rule.count);
  }
  return "none";
}

/// One statistics document on its way out.
class StatsJson {
 public:
  StatsJson(const Statistics& statistics, const TextSink& sink)
      : statistics_(statistics), json_(sink) {}

  void write() {
    json_.startObject();
    json_.member("schema", "ryx-profile-stats/1");
    json_.member("percentile_method", "nearest_rank");
    startList("warnings");
    for (const std::string& warning : statistics_.warnings()) json_.value(replacedUtf8(warning));
    json_.endArray();
    startList("logs");
    for (const LogSamples& samples : statistics_.samples())
      for (const ReadLog& log : samples.logs()) writeLog(log);
    json_.endArray();
    startList("graphs");
    statistics_.visitRows(
        [this](const LogSamples& samples, const Row& row, const RowStatistics& numbers) {
          writeRow(samples, row, numbers);
        });
    json_.endArray();
    startList("phases");
    for (const LogSamples& samples : statistics_.samples())
      for (size_t i = 0; i < samples.phases().size(); ++i) writePhase(samples, i);
    json_.endArray();
    json_.endObject();
    json_.finish();
  }

 private:
  void startList(const char* name) {
    json_.breakLine();
    json_.key(name);
    json_.startArray();
  }

  void writeLog(const ReadLog& log) {
    json_.startObject();
    json_.member("path", replacedUtf8(log.name));
    json_.key("damage");
    log.damage ? json_.value(log.damage->line) : json_.null();
    json_.endObject();
  }

  void writeRow(const LogSamples& samples, const Row& row, const RowStatistics& numbers) {
    json_.breakLine();
    json_.startObject();
    json_.key("log");
    statistics_.options().merges ? json_.null() : writeLogPath(samples, row.parts.front().log);
    json_.member("graph", row.graph);
    json_.member("method", methodOf(row));
    json_.member("executions", uint64_t{row.occurrences});
    json_.key("duration_us");
    writeDistribution(json_, numbers.duration);
    if (statistics_.options().warmUp.mode != WarmUpRule::Mode::None) {
      json_.key("duration_all_us");
      writeDistribution(json_, numbers.durationOfAll);
    }
    json_.key("queue_wait_us");
    if (numbers.queueWait.count > 0)
      writeDistribution(json_, numbers.queueWait);
    else
      json_.null();
    json_.member("rate_per_second", numbers.ratePerSecond);
    json_.member("main_root", numbers.mainRoot);
    writeUnattributed(numbers);
    writeWarmUp(numbers.warmUp);
    writeOutliers(samples, numbers);
    json_.key("events");
    json_.startArray();
    for (const EventStatistics& event : numbers.events) writeEvent(event);
    json_.endArray();
    json_.endObject();
  }

  void writeLogPath(const LogSamples& samples, size_t log) {
    json_.value(replacedUtf8(samples.logs()[log].name));
  }

  void writeUnattributed(const RowStatistics& numbers) {
    json_.key("unattributed_us");
    json_.startObject();
    json_.member("sum", numbers.unattributed);
    json_.member("share", numbers.unattributedShare);
    json_.endObject();
  }

  void writeWarmUp(const WarmUp& warmUp) {
    json_.key("warmup");
    json_.startObject();
    json_.member("mode", modeText(statistics_.options().warmUp));
    json_.member("excluded", warmUp.excluded);
    json_.member("detected", warmUp.detected);
    json_.endObject();
  }

  void writeOutliers(const LogSamples& samples, const RowStatistics& numbers) {
    json_.key("outliers");
    json_.startArray();
    for (const OutlierStatistics& outlier : numbers.outliers) {
      json_.startObject();
      if (statistics_.options().merges) {
        json_.key("log");
        writeLogPath(samples, outlier.log);
      }
      json_.member("execution", uint64_t{outlier.execution});
      json_.member("duration_us", outlier.duration);
      json_.member("severity", outlier.isSevere ? "severe" : "mild");
      json_.member("path", outlier.path);
      json_.key("excess_us");
      outlier.path ? json_.value(outlier.excess) : json_.null();
      json_.endObject();
    }
    json_.endArray();
  }

  void writeEvent(const EventStatistics& event) {
    json_.breakLine();
    json_.startObject();
    json_.member("path", event.path);
    json_.member("unit", unitOf(event.unit));
    json_.key("event_type");
    event.eventType ? json_.value(uint64_t{*event.eventType}) : json_.null();
    json_.member("depth", uint64_t{event.depth()});
    json_.member("calls", event.calls);
    json_.member("executions", event.total.count);
    json_.key("total");
    writeDistribution(json_, event.total);
    json_.key("self");
    writeDistribution(json_, event.self);
    json_.member("share", event.share);
    json_.member("self_share", event.selfShare);
    json_.endObject();
  }

  void writePhase(const LogSamples& samples, size_t index) {
    const PhaseMessage& phase = samples.phases()[index];
    const Row& row = samples.rows()[phase.row];
    json_.breakLine();
    json_.startObject();
    json_.key("log");
    statistics_.options().merges ? json_.null() : writeLogPath(samples, phase.log);
    json_.member("phase", methodOf(row));
    json_.member("graph", row.graph);
    json_.member("start_us", phase.start);
    json_.member("end_us", phase.end);
    json_.member("duration_us", phase.duration);
    json_.key("events");
    json_.startArray();
    for (const PhaseValue& value : samples.phaseValues(index)) writePhaseValue(samples, value);
    json_.endArray();
    json_.endObject();
  }

  void writePhaseValue(const LogSamples& samples, const PhaseValue& value) {
    const Series& series = samples.series(value.series);
    const EventView& view = statistics_.options().events;
    const EventPath path = samples.paths().path(series.node);
    if (!isWanted(path, view)) return;
    json_.startObject();
    json_.member("path", path);
    json_.member("unit", unitOf(series.unit));
    json_.key("value");
    value.sample ? json_.value(series.totals[*value.sample]) : json_.null();
    json_.endObject();
  }

  const Statistics& statistics_;
  JsonWriter json_;
};

}  // namespace

void writeStatsJson(const Statistics& statistics, const TextSink& sink) {
  StatsJson(statistics, sink).write();
}

}  // namespace ryx::profiling
