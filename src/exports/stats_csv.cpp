// SPDX-License-Identifier: Apache-2.0
// One table for figures of different kinds, because spreadsheets and data frames want one. Every
// row has every field of the header: what a quantity does not have is empty, which is what
// `addEmpty` is for. It counts fields, so a field that is added to the header has to be added to
// each of its calls.

#include "exports/stats_csv.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "base/number_text.h"
#include "base/printable_text.h"
#include "stream/log_text.h"

namespace ryx::profiling {

namespace {

constexpr char kHeader[] =
    "log,graph,method,quantity,path,unit,event_type,depth,calls,executions,share,count,sum,mean,"
    "stddev,cv,mad,min,p50,p75,p90,p95,p99,p99_9,max,first,start_us,end_us\n";
constexpr size_t kDistributionFields = 15;

/// One line of CSV, field by field.
class CsvRow {
 public:
  void add(std::string_view text) {
    startField();
    const bool isQuoted = text.empty() || text.find_first_of("\",\r\n") != std::string_view::npos;
    if (!isQuoted) {
      line_ += text;
      return;
    }
    line_ += '"';
    for (const char c : text) {
      if (c == '"') line_ += '"';
      line_ += c;
    }
    line_ += '"';
  }
  void add(uint64_t number) {
    startField();
    appendDecimal(line_, number);
  }
  void add(double number) {
    startField();
    if (!std::isfinite(number)) return;
    char text[32];
    line_.append(text, std::to_chars(text, text + sizeof text, number).ptr);
  }
  void add(const Number& number) {
    const bool isStored = number.isWhole() &&
                          number.whole() >= std::numeric_limits<int64_t>::min() &&
                          number.whole() <= std::numeric_limits<uint64_t>::max();
    if (!isStored) return add(number.real());
    if (number.whole() >= 0) return add(static_cast<uint64_t>(number.whole()));
    startField();
    appendDecimal(line_, static_cast<int64_t>(number.whole()));
  }
  template <typename T>
  void add(const std::optional<T>& value) {
    value ? add(*value) : startField();
  }
  void addEmpty(size_t fields) {
    for (size_t i = 0; i < fields; ++i) startField();
  }

  void add(const Distribution& d) {
    add(d.count);
    if (d.count == 0) return addEmpty(kDistributionFields - 1);
    add(d.sum);
    add(d.mean);
    add(d.stddev);
    add(d.cv);
    for (const Number* number : {&d.mad, &d.min, &d.p50, &d.p75, &d.p90, &d.p95}) add(*number);
    add(d.p99);
    add(d.p99_9);
    add(d.max);
    add(d.first);
  }

  [[nodiscard]] std::string finish() { return std::move(line_ += '\n'); }

 private:
  void startField() {
    if (!isFirst_) line_ += ',';
    isFirst_ = false;
  }

  std::string line_;
  bool isFirst_ = true;
};

/// The fields by which a row is found.
CsvRow startRow(const std::optional<std::string>& log, const Row& row, std::string_view quantity) {
  CsvRow line;
  line.add(log);
  line.add(row.graph);
  line.add(row.method ? std::optional<std::string>(methodText(*row.method)) : std::nullopt);
  line.add(quantity);
  return line;
}

/// Path, unit, event type, depth.
void addEvent(CsvRow& line, const EventPath& path, const std::optional<uint32_t>& unit,
              const std::optional<uint32_t>& eventType) {
  line.add(joinedPath(path));
  line.add(unit ? std::optional<std::string>(unitText(*unit)) : std::nullopt);
  line.add(eventType ? std::optional<uint64_t>(*eventType) : std::nullopt);
  line.add(uint64_t{path.size() - 1});
}

class StatsCsv {
 public:
  StatsCsv(const Statistics& statistics, const TextSink& sink)
      : statistics_(statistics), sink_(sink) {}

  void write() {
    sink_(kHeader);
    statistics_.visitRows(
        [this](const LogSamples& samples, const Row& row, const RowStatistics& numbers) {
          writeRow(logOf(samples, row.parts.front().log), row, numbers);
        });
    for (const LogSamples& samples : statistics_.samples())
      for (size_t i = 0; i < samples.phases().size(); ++i) writePhase(samples, i);
  }

 private:
  [[nodiscard]] std::optional<std::string> logOf(const LogSamples& samples, size_t log) const {
    if (statistics_.options().merges) return std::nullopt;
    return replacedUtf8(samples.logs()[log].name);
  }

  void writeRow(const std::optional<std::string>& log, const Row& row,
                const RowStatistics& numbers) {
    writeDuration(log, row, "duration", numbers.duration);
    if (statistics_.options().warmUp.mode != WarmUpRule::Mode::None)
      writeDuration(log, row, "duration_all", numbers.durationOfAll);
    if (numbers.queueWait.count > 0) writeDuration(log, row, "queue_wait", numbers.queueWait);
    for (const EventStatistics& event : numbers.events) {
      writeEvent(log, row, "total", event, event.total, event.share);
      writeEvent(log, row, "self", event, event.self, event.selfShare);
    }
  }

  void writeDuration(const std::optional<std::string>& log, const Row& row,
                     std::string_view quantity, const Distribution& distribution) {
    CsvRow line = startRow(log, row, quantity);
    line.addEmpty(1);
    line.add(std::string_view("us"));
    line.addEmpty(3);
    line.add(uint64_t{row.occurrences});
    line.addEmpty(1);
    line.add(distribution);
    line.addEmpty(2);
    sink_(line.finish());
  }

  void writeEvent(const std::optional<std::string>& log, const Row& row, std::string_view quantity,
                  const EventStatistics& event, const Distribution& distribution,
                  const std::optional<double>& share) {
    CsvRow line = startRow(log, row, quantity);
    addEvent(line, event.path, event.unit, event.eventType);
    line.add(event.calls);
    line.add(event.total.count);
    line.add(share);
    line.add(distribution);
    line.addEmpty(2);
    sink_(line.finish());
  }

  /// A phase has one duration and no distribution: it is under `sum`, as is the value of an event.
  void writePhase(const LogSamples& samples, size_t index) {
    const PhaseMessage& phase = samples.phases()[index];
    const Row& row = samples.rows()[phase.row];
    const std::optional<std::string> log = logOf(samples, phase.log);
    CsvRow line = startRow(log, row, "phase");
    line.addEmpty(1);
    line.add(std::string_view("us"));
    line.addEmpty(6);
    line.add(phase.duration);
    line.addEmpty(kDistributionFields - 2);
    line.add(phase.start);
    line.add(phase.end);
    sink_(line.finish());
    for (const PhaseValue& value : samples.phaseValues(index)) writeValue(samples, log, row, value);
  }

  void writeValue(const LogSamples& samples, const std::optional<std::string>& log, const Row& row,
                  const PhaseValue& value) {
    const Series& series = samples.series(value.series);
    const EventPath path = samples.paths().path(series.node);
    if (!isWanted(path, statistics_.options().events)) return;
    CsvRow line = startRow(log, row, "phase_event");
    addEvent(line, path, series.unit, series.eventType);
    line.addEmpty(4);
    line.add(value.sample ? std::optional<Number>(series.totals[*value.sample]) : std::nullopt);
    line.addEmpty(kDistributionFields);
    sink_(line.finish());
  }

  const Statistics& statistics_;
  const TextSink& sink_;
};

}  // namespace

void writeStatsCsv(const Statistics& statistics, const TextSink& sink) {
  StatsCsv(statistics, sink).write();
}

}  // namespace ryx::profiling
