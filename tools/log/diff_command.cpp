// SPDX-License-Identifier: Apache-2.0
// The exit status is what this command is for: a pipeline stops at it, so it must not be 0 unless
// everything was read and compared. What was damaged or could not be written makes it 2, after all
// outputs that could be written have been; what has no verdict makes it 3.
//
// --calibrate turns the question round: logs of one build differ by nothing but chance, so how much
// they do is what thresholds have to allow.

#include "log/diff_command.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "analysis/comparison.h"
#include "base/file.h"
#include "base/number_text.h"
#include "common/command_line.h"
#include "common/input.h"
#include "exports/diff_json.h"
#include "exports/diff_report.h"
#include "exports/output_file.h"
#include "exports/report_writer.h"
#include "exports/shown_name.h"
#include "exports/time_scale.h"
#include "log/choices.h"
#include "log/commands.h"
#include "log/expressions.h"
#include "log/options.h"
#include "log/side_reader.h"
#include "log/terminal.h"

namespace ryx::profiling {

namespace {

enum class Format { Table, Json, Markdown, Junit };

constexpr NamedChoice<Format> kFormats[] = {{"table", Format::Table},
                                            {"json", Format::Json},
                                            {"markdown", Format::Markdown},
                                            {"junit", Format::Junit}};
constexpr NamedChoice<Format> kExtensions[] = {{".txt", Format::Table},
                                               {".json", Format::Json},
                                               {".md", Format::Markdown},
                                               {".xml", Format::Junit}};

struct DiffOptions {
  std::vector<std::string> operands;
  std::vector<std::string> base;
  std::vector<std::string> next;
  std::vector<std::string> calibrate;
  ComparisonOptions comparison;
  std::string metric = "p50";
  std::string gate = "graphs";
  std::string by = "path";
  std::string warmUp = "auto";
  std::string ignore;
  std::string thresholdsPath;
  std::string format = "table";
  std::vector<std::string> outputPaths;
  tools::Color color = tools::Color::Auto;
};

// --- Options -------------------------------------------------------------------------------------

void refuse(const std::string& why) { throw CLI::ValidationError(why); }

/// A number that is not negative, or nothing.
std::optional<double> readAmount(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return std::isfinite(number) && number >= 0 ? std::optional<double>(number) : std::nullopt;
}

template <typename Set>
void addAmount(CLI::App& app, const char* name, const char* hint, const char* description,
               Set set) {
  app.add_option_function<std::string>(
         name,
         [name, set](const std::string& text) {
           const auto amount = readAmount(text);
           if (!amount)
             refuse(std::string(name) + ": '" + text + "' is not a number from 0 on");
           else
             set(*amount);
         },
         description)
      ->option_text(hint);
}

/// The lines of a thresholds file: a number, blanks, and the name of a graph, phase or event.
std::vector<RowThreshold> readThresholds(const std::string& path) {
  const auto text = readWholeFile(path);
  requireUsage(text.status().of("cannot read " + path));
  std::vector<RowThreshold> thresholds;
  size_t number = 0;
  for (std::string_view rest = *text; !rest.empty();) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    ++number;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == '#') continue;
    const size_t end = line.find_first_of(" \t");
    const size_t name = line.find_first_not_of(" \t", end);
    const auto percent = readAmount(line.substr(0, end));
    if (!percent || name == std::string_view::npos)
      refuse(path + ":" + std::to_string(number) +
             ": is not a threshold in percent and the name of a graph, phase or event");
    thresholds.push_back({std::string(line.substr(name)), *percent});
  }
  return thresholds;
}

Format formatOf(const std::string& outputPath) {
  const std::string extension = std::filesystem::path(outputPath).extension().string();
  for (const auto& [known, format] : kExtensions)
    if (extension == known) return format;
  throw CLI::ValidationError("--output: " + outputPath +
                             " does not end in .json, .md, .xml (JUnit) or .txt");
}

/// What the options say, and how the sources are to be read.
EventView readOptions(DiffOptions& options) {
  ComparisonOptions& comparison = options.comparison;
  comparison.metric = chosen(options.metric, kMetrics);
  comparison.gate = chosen(options.gate, kGates);
  if (!options.thresholdsPath.empty())
    comparison.thresholds = readThresholds(options.thresholdsPath);
  if (!options.ignore.empty()) {
    auto ignores = makeMatcher(options.ignore);
    requireUsage(ignores.status().of("--ignore"));
    comparison.ignores = *std::move(ignores);
  }
  EventView view;
  auto groupOf = makeGrouping(options.by);
  requireUsage(groupOf.status().of("--by"));
  view.groupOf = *std::move(groupOf);
  for (const std::string& path : options.outputPaths) static_cast<void>(formatOf(path));
  return view;
}

// --- Writing -------------------------------------------------------------------------------------

void write(const ComparisonResult& result, Format format, const Terminal& terminal,
           const TextSink& sink) {
  switch (format) {
    case Format::Table: return writeDiffReport(result, *makeTerminalWriter(sink, terminal));
    case Format::Json: return writeDiffJson(result, sink);
    case Format::Markdown: return writeDiffMarkdown(result, sink);
    case Format::Junit: return writeDiffJunit(result, sink);
  }
}

bool writeTo(const std::string& path, const ComparisonResult& result, Format format,
             tools::Color color) {
  const Terminal terminal = path == kStandardOutput ? standardOutputTerminal(color) : Terminal();
  return writeReport(path, [&](const TextSink& sink) { write(result, format, terminal, sink); });
}

tools::ExitStatus exitStatusOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::Worse: return tools::kExitFailed;
    case Verdict::Same:
    case Verdict::Better: return tools::kExitGood;
    default: return tools::kExitNotComparable;
  }
}

tools::ExitStatus compare(const DiffOptions& options, const EventView& view) {
  SideReader reader(readWarmUp(options.warmUp), view);
  const Sources base = reader.read(options.base);
  const Sources next = reader.read(options.next);
  if (base.empty() || next.empty()) return tools::kExitUsage;
  const ComparisonResult result = {compareRuns(base, next, options.comparison),
                                   options.comparison,
                                   options.base,
                                   options.next,
                                   options.warmUp,
                                   options.by};
  bool isWritten =
      writeTo(kStandardOutput, result, chosen(options.format, kFormats), options.color);
  for (const std::string& path : options.outputPaths)
    isWritten = writeTo(path, result, formatOf(path), options.color) && isWritten;
  if (!reader.isWhole() || !isWritten) return tools::kExitUsage;
  return exitStatusOf(result.comparison.verdict);
}

/// Prints a thresholds file that keeps runs of one build quiet.
tools::ExitStatus calibrate(const DiffOptions& options, const EventView& view) {
  SideReader reader(readWarmUp(options.warmUp), view);
  const Sources runs = reader.read(options.calibrate);
  std::string text = "# The spread of " + options.metric + " between " +
                     counted(runs.size(), "log") +
                     " of one build, and the thresholds in percent that\n"
                     "# keep them quiet: for --thresholds.\n";
  for (const RowSpread& spread : measureSpread(runs, options.comparison)) {
    const ComparedRow& row = spread.row;
    std::string name = joinedPath(row.path);
    if (row.path.empty()) name = (row.isExecution ? row.graph : row.method).value_or("");
    name = terminalName(name);
    text += "# " + terminalName(ownerOf(row)) + (row.path.empty() ? "" : ": " + name) + ": " +
            plainText(spread.least) + " to " + plainText(spread.most) + " " +
            row.unit.value_or("") + ", spread " + decimalText(spread.spreadPercent, 1) + " %\n";
    if (spread.thresholdPercent > 0)
      text += decimalText(std::floor(spread.thresholdPercent) + 1, 0) + " " + name + "\n";
  }
  if (!printText(text) || !reader.isWhole()) return tools::kExitUsage;
  return tools::kExitGood;
}

void settleInputs(DiffOptions& options) {
  if (options.calibrate.empty()) return settleSides(options.operands, options.base, options.next);
  if (!options.operands.empty() || !options.base.empty() || !options.next.empty())
    refuse("--calibrate takes no other logs");
  if (options.calibrate.size() < 2) refuse("--calibrate needs at least two logs");
}

tools::ExitStatus run(DiffOptions& options) {
  settleInputs(options);
  const EventView view = readOptions(options);
  std::vector<std::string> inputs = options.calibrate;
  inputs.insert(inputs.end(), options.base.begin(), options.base.end());
  inputs.insert(inputs.end(), options.next.begin(), options.next.end());
  requireUsage(tools::checkInputs(inputs));
  for (const std::string& input : inputs)
    for (const std::string& output : options.outputPaths) requireDifferentFiles(input, output);
  return options.calibrate.empty() ? compare(options, view) : calibrate(options, view);
}

}  // namespace

const char kDiffDetails[] =
    "A row is worse when it is slower by more than a threshold, the 95 % confidence\n"
    "interval of that excludes the noise, and a new execution is likely to be slower\n"
    "than an old one; docs/statistics.md has every rule. Three logs a side tell\n"
    "slower builds from slower runs, one cannot. A side may be JSON of 'stats'.\n\n"
    "Exit status: 0 when nothing that gates is worse, 1 when something is, 2 for\n"
    "wrong usage, and when a log or output is missing or damaged, 3 when the logs\n"
    "cannot be compared. docs/ci.md has a pipeline step.\n\n"
    "Examples:\n"
    "  ryx-profile-log diff base.log new.log\n"
    "  ryx-profile-log diff --base a1.log a2.log a3.log --new b1.log b2.log b3.log\n"
    "  ryx-profile-log diff base.json new.log -o diff.md -o diff.xml\n";

Run declareDiff(CLI::App& app) {
  const auto options = std::make_shared<DiffOptions>();
  ComparisonOptions& comparison = options->comparison;
  app.add_option("LOG", options->operands, "BASE and NEW: two logs, or JSON of 'stats'")
      ->option_text("...");
  app.add_option("--base", options->base, "Logs of the base")->option_text("LOG...");
  app.add_option("--new", options->next, "Logs to compare with it")->option_text("LOG...");
  app.add_option("--metric", options->metric, "p50 (the default), mean, p90 or p99")
      ->check(tools::oneOf("metric", namesOf(kMetrics)))
      ->option_text("NAME");
  addAmount(app, "--threshold", "PCT",
            "Smaller changes are the same; default 5, for\nevents of fewer than three logs 10",
            [&comparison](double percent) { comparison.threshold = percent; });
  addAmount(app, "--min-us", "N", "So are those of fewer microseconds; default 5",
            [&comparison](double amount) { comparison.minMicroseconds = amount; });
  addAmount(app, "--noise", "PCT", "What the interval has to exceed; default 1",
            [&comparison](double percent) { comparison.noise = percent; });
  app.add_option("--gate", options->gate,
                 "What decides beside phases and memory: graphs\n"
                 "(the default), events as well, or all: also what\n"
                 "is only on one side")
      ->check(tools::oneOf("gate", namesOf(kGates)))
      ->option_text("WHAT");
  app.add_flag("--strict", comparison.isStrict, "Exit with 3 when a gated row is inconclusive");
  app.add_option("--by", options->by, "Group events as 'stats --by' does")->option_text("WHAT");
  addWarmUp(app, options->warmUp);
  app.add_option("--ignore", options->ignore,
                 "Leave out graphs, phases and events whose name\nmatches REGEX")
      ->option_text("REGEX");
  app.add_option("--thresholds", options->thresholdsPath,
                 "File of lines with a threshold in percent and the\n"
                 "graph, phase or event that it is for")
      ->option_text("FILE");
  app.add_option("--calibrate", options->calibrate,
                 "Print the spread between logs of one build, as a\nfile for --thresholds")
      ->option_text("LOG...");
  app.add_option("-f,--format", options->format,
                 "On standard output: table (the default), json,\nmarkdown or junit")
      ->check(tools::oneOf("format", namesOf(kFormats)))
      ->option_text("FORMAT");
  app.add_option("-o,--output", options->outputPaths,
                 "File to write as well, by its extension: .json,\n"
                 ".md, .xml (JUnit) or .txt; may be repeated")
      ->allow_extra_args(false)
      ->option_text("PATH");
  addColor(app, options->color);
  return [options] { return run(*options); };
}

}  // namespace ryx::profiling
