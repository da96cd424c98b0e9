// SPDX-License-Identifier: Apache-2.0
// Parse, read all logs, write once. All that can be wrong with the options is found before the
// first log is read, because reading takes minutes and a wrong order is a waste of them; the output
// is opened only when there is something to write, so that a failure leaves no empty file.
//
// People and programs want different things of the same figures. Tables and Markdown are sorted by
// cost and cut to the top ones by the writer; JSON and CSV keep all events in the order of the log,
// unless told otherwise, so that two files can be compared line by line.

#include "log/stats_command.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/statistics.h"
#include "common/command_line.h"
#include "common/input.h"
#include "common/progress.h"
#include "exports/output_file.h"
#include "exports/report_writer.h"
#include "exports/stats_csv.h"
#include "exports/stats_json.h"
#include "exports/stats_report.h"
#include "log/choices.h"
#include "log/commands.h"
#include "log/expressions.h"
#include "log/options.h"
#include "log/terminal.h"

namespace ryx::profiling {

namespace {

enum class Format { Table, Json, Csv, Markdown };

constexpr NamedChoice<Format> kFormats[] = {{"table", Format::Table},
                                            {"json", Format::Json},
                                            {"csv", Format::Csv},
                                            {"markdown", Format::Markdown}};

constexpr size_t kTopOfTables = 20;

struct StatsOptions {
  std::vector<std::string> logPaths;
  StatisticsOptions statistics;
  std::string events;
  std::string by = "path";
  std::string order;
  std::optional<size_t> top;
  std::string warmUp = "none";
  std::string format;
  std::string outputPath = kStandardOutput;
  tools::Color color = tools::Color::Auto;
};

Format formatOf(const StatsOptions& options) {
  if (!options.format.empty()) return chosen(options.format, kFormats);
  const std::string extension = std::filesystem::path(options.outputPath).extension().string();
  if (extension == ".json") return Format::Json;
  if (extension == ".csv") return Format::Csv;
  return extension == ".md" ? Format::Markdown : Format::Table;
}

/// What the options say of the statistics, whose events come as the format wants them.
StatisticsOptions statisticsOptions(const StatsOptions& options, bool isForPeople) {
  StatisticsOptions statistics = options.statistics;
  requireUsage(checkFilter(statistics.filter));
  statistics.warmUp = readWarmUp(options.warmUp);
  if (!options.events.empty()) {
    auto matches = makeMatcher(options.events);
    requireUsage(matches.status().of("--event"));
    statistics.events.matches = *std::move(matches);
  }
  auto groupOf = makeGrouping(options.by);
  requireUsage(groupOf.status().of("--by"));
  statistics.events.groupOf = *std::move(groupOf);
  if (!options.order.empty())
    statistics.events.order = chosen(options.order, kEventOrders);
  else if (isForPeople)
    statistics.events.order = EventOrder::Self;
  // Tables are cut by their writer, which says how much it leaves out.
  if (!isForPeople) statistics.events.top = options.top;
  return statistics;
}

void write(const Statistics& statistics, const StatsOptions& options, Format format,
           const TextSink& sink) {
  const size_t top = options.top.value_or(kTopOfTables);
  const bool isShown = options.outputPath == kStandardOutput;
  switch (format) {
    case Format::Json: return writeStatsJson(statistics, sink);
    case Format::Csv: return writeStatsCsv(statistics, sink);
    case Format::Table:
      return writeStatsReport(
          statistics, top,
          *makeTerminalWriter(sink, isShown ? standardOutputTerminal(options.color) : Terminal()));
    case Format::Markdown: return writeStatsReport(statistics, top, *makeMarkdownWriter(sink));
  }
}

bool readLogs(const std::vector<std::string>& operands, Statistics& statistics) {
  const uint64_t passes = statistics.options().filter.last ? 2 : 1;
  const tools::Progress progress("reading", tools::bytesOf(operands, passes));
  for (const std::string& operand : operands) {
    const auto input = tools::InputPath::of(operand);
    if (!input) return reportIfFailed(input.status());
    static_cast<void>(statistics.read(input->path(), tools::inputName(operand)));  // warns
  }
  return true;
}

bool run(const StatsOptions& options) {
  const Format format = formatOf(options);
  const bool isForPeople = format == Format::Table || format == Format::Markdown;
  Statistics statistics(statisticsOptions(options, isForPeople));
  for (const std::string& path : options.logPaths) requireDifferentFiles(path, options.outputPath);
  requireUsage(tools::checkInputs(options.logPaths));
  if (!readLogs(options.logPaths, statistics)) return false;
  for (const std::string& warning : statistics.warnings()) reportError(warning);
  if (statistics.samples().empty()) return false;
  for (const LogSamples& samples : statistics.samples()) {
    if (!samples.rows().empty()) continue;
    for (const ReadLog& log : samples.logs())
      if (!log.damage) reportError(log.name + ": no message is selected");
  }
  const auto print = [&](const TextSink& sink) { write(statistics, options, format, sink); };
  return writeReport(options.outputPath, print) && statistics.isWhole();
}

}  // namespace

const char kStatsDetails[] =
    "For each graph and method: percentiles, warm-up and outliers of its executions,\n"
    "and which of its events cost most; then phases and memory. Percentiles are by\n"
    "nearest rank; docs/statistics.md says how every number is made. JSON and CSV\n"
    "have all events unless --top is given. The numbers of a damaged log are of what\n"
    "comes before the damage, with exit status 1.\n\n"
    "Examples:\n"
    "  ryx-profile-log stats run.log\n"
    "  ryx-profile-log stats run.log --by type --warmup auto\n"
    "  ryx-profile-log stats *.log --merge -o base.json\n";

Run declareStats(CLI::App& app) {
  const auto options = std::make_shared<StatsOptions>();
  addOperands(app, "LOG", options->logPaths, "Logs to work out");
  addFilter(app, options->statistics.filter);
  app.add_option("--event", options->events, "Only events whose identifier matches REGEX")
      ->option_text("REGEX");
  app.add_option("--by", options->by,
                 "Group events by path, identifier, type (what\n"
                 "follows the last colon), or the first capture\n"
                 "of REGEX in the identifier; default path")
      ->check(tools::suggested({"path", "identifier", "type"}))
      ->option_text("WHAT");
  tools::addNumber<size_t>(app, "--depth", "N", "Only events of a depth up to N; roots are 0",
                           [options](size_t depth) { options->statistics.events.depth = depth; });
  app.add_option("--sort", options->order,
                 "Sort events by self, total, p99, cv or order (of\n"
                 "appearance); default self, in JSON and CSV order")
      ->check(tools::oneOf("order", namesOf(kEventOrders)))
      ->option_text("KEY");
  tools::addNumber<size_t>(app, "--top", "N", "Only so many events; default 20 in tables",
                           [options](size_t top) { options->top = top; });
  addWarmUp(app, options->warmUp);
  app.add_flag("--merge", options->statistics.merges, "Take the executions of all logs together");
  app.add_option("-f,--format", options->format,
                 "table, json, csv or markdown; default by the\n"
                 "output's extension, else table")
      ->check(tools::oneOf("format", namesOf(kFormats)))
      ->option_text("FORMAT");
  app.add_option("-o,--output", options->outputPath, "File to write; default standard output")
      ->option_text("PATH");
  addColor(app, options->color);
  return [options] { return run(*options); };
}

}  // namespace ryx::profiling
