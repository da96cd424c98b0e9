// SPDX-License-Identifier: Apache-2.0
// One log, or two sides, and one page. What can be refused is refused before a log is read: an
// output that is a log, a file that is there, a build without the page. The page is made in memory
// as a whole, and its file appears only then.

#include "log/html_command.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "analysis/comparison.h"
#include "analysis/statistics.h"
#include "common/input.h"
#include "common/progress.h"
#include "exports/html/html.h"
#include "exports/output_file.h"
#include "log/commands.h"
#include "log/options.h"
#include "log/side_reader.h"

namespace ryx::profiling {

namespace {

struct HtmlOptions {
  std::vector<std::string> operands;
  std::vector<std::string> base;
  std::vector<std::string> next;
  std::string outputPath;
  bool isForced = false;
};

std::string defaultOutput(const std::string& logPath) {
  if (logPath == kStandardOutput) return kStandardOutput;
  std::filesystem::path name = std::filesystem::path(logPath).filename();
  if (name.extension() == ".gz" || name.extension() == ".zst") name = name.stem();
  return name.stem().string() + ".html";
}

bool writePage(const std::string& outputPath, const std::string& page) {
  return writeReport(outputPath, [&page](const TextSink& sink) { sink(page); });
}

bool showRun(const HtmlOptions& options) {
  const std::string& log = options.operands.front();
  const auto input = tools::InputPath::of(log);
  if (!input) return reportIfFailed(input.status());
  Statistics statistics{StatisticsOptions()};
  {
    const tools::Progress progress("reading", tools::bytesOf({log}));
    static_cast<void>(statistics.read(input->path(), tools::inputName(log)));  // warns
  }
  for (const std::string& warning : statistics.warnings()) reportError(warning);
  return !statistics.samples().empty() &&
         writePage(options.outputPath, runPage(statistics.samples().front())) &&
         statistics.isWhole();
}

/// Compares as `diff` does unless it is told otherwise.
bool showComparison(const HtmlOptions& options) {
  const std::string warmUp = "auto";
  const EventView view;
  SideReader reader(readWarmUp(warmUp), view);
  const Sources base = reader.read(options.base);
  const Sources next = reader.read(options.next);
  if (base.empty() || next.empty()) return false;
  const ComparisonOptions comparison;
  const ComparisonResult result = {
      compareRuns(base, next, comparison), comparison, options.base, options.next, warmUp, "path"};
  return writePage(options.outputPath, comparisonPage(result, base, next, reader.failures())) &&
         reader.isWhole();
}

bool run(HtmlOptions options) {
  const bool isRun = options.operands.size() == 1 && options.base.empty() && options.next.empty();
  std::vector<std::string> inputs = options.operands;
  if (!isRun) {
    settleSides(options.operands, options.base, options.next);
    inputs = options.base;
    inputs.insert(inputs.end(), options.next.begin(), options.next.end());
  }
  requireUsage(tools::checkInputs(inputs));
  if (options.outputPath.empty()) options.outputPath = defaultOutput(inputs.back());
  for (const std::string& input : inputs) requireDifferentFiles(input, options.outputPath);
  if (!options.isForced) requireAbsent(options.outputPath);
  if (!reportIfFailed(requirePage())) return false;
  return isRun ? showRun(options) : showComparison(options);
}

}  // namespace

const char kHtmlDetails[] =
    "One file that opens in any browser, offline: what to fix first, phases, each\n"
    "execution, all events, an icicle, memory. With two logs, or several a side, what\n"
    "changed between them, as 'diff' compares them. The page of a damaged log shows\n"
    "what comes before the damage, with exit status 1.\n\n"
    "Examples:\n"
    "  ryx-profile-log html run.log -o run.html\n"
    "  ryx-profile-log html base.log new.log -o change.html\n"
    "  ryx-profile-log html --base a1.log a2.log a3.log --new b1.log b2.log b3.log\n";

Run declareHtml(CLI::App& app) {
  const auto options = std::make_shared<HtmlOptions>();
  app.add_option("LOG", options->operands, "Log to show, or BASE and NEW to compare")
      ->option_text("...");
  app.add_option("--base", options->base, "Logs of the base")->option_text("LOG...");
  app.add_option("--new", options->next, "Logs to compare with it")->option_text("LOG...");
  app.add_option(
         "-o,--output", options->outputPath,
         "File to write; - is standard output. Default:\nthe last log's name with .html, here")
      ->option_text("OUT");
  app.add_flag("--force", options->isForced, "Replace OUT if it is there");
  return [options] { return run(*options); };
}

}  // namespace ryx::profiling
