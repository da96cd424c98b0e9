// SPDX-License-Identifier: Apache-2.0
// Each command is a row of the table, with a function that declares its options and returns what
// runs it. The options are kept by a shared pointer, because CLI11 writes into them while it
// parses, when the function that declared them has long returned. Usage that only shows when all
// options are known (an output that is the input, a range that ends before it begins) is checked at
// the start of the run, and thrown as a validation error: it then ends like any other wrong usage,
// with status 2.

#include "log/command_table.h"

#include <memory>
#include <string>

#include "common/input.h"
#include "common/progress.h"
#include "common/shell_completion.h"
#include "exports/export_format.h"
#include "log/commands.h"
#include "log/diff_command.h"
#include "log/html_command.h"
#include "log/options.h"
#include "log/stats_command.h"

namespace ryx::profiling {

namespace {

tools::Names tableNames() {
  tools::Names names;
  for (size_t i = 0; i < kTableCount; ++i) names.emplace_back(table(static_cast<TableId>(i)).name);
  return names;
}

TableId readTable(const std::string& name) {
  if (const auto table = tableNamed(name)) return *table;
  throw CLI::ValidationError("--table: " + tools::unknownValue("table", name, tableNames()));
}

Run declareMake(CLI::App& app) {
  app.alias("build");
  struct Options {
    std::string casePath;
    std::string logPath;
  };
  const auto options = std::make_shared<Options>();
  addOperand(app, "CASE.json", options->casePath, "File of JSON documents");
  addOperand(app, "OUT.log", options->logPath, "Log to write");
  return [options] {
    requireDifferentFiles(options->casePath, options->logPath);
    return makeLog(options->casePath, options->logPath);
  };
}

Run declareDump(CLI::App& app) {
  const auto logPath = std::make_shared<std::string>();
  addOperand(app, "LOG", *logPath, "Log to print");
  return [logPath] { return dumpLog(*logPath); };
}

Run declareVerify(CLI::App& app) {
  const auto logPaths = std::make_shared<std::vector<std::string>>();
  addOperands(app, "LOG", *logPaths, "Logs to check");
  return [logPaths] {
    requireUsage(tools::checkInputs(*logPaths));
    return verifyLogs(*logPaths);
  };
}

Run declareInfo(CLI::App& app) {
  struct Options {
    std::string logPath;
    bool asJson = false;
  };
  const auto options = std::make_shared<Options>();
  addOperand(app, "LOG", options->logPath, "Log to sum up");
  app.add_flag("--json", options->asJson, "Print a JSON document");
  return [options] { return printInfo(options->logPath, options->asJson); };
}

Run declareSalvage(CLI::App& app) {
  struct Options {
    std::string brokenPath;
    std::string goodPath;
  };
  const auto options = std::make_shared<Options>();
  addOperand(app, "BROKEN", options->brokenPath, "Damaged log; is never changed");
  addOutput(app, options->goodPath, "GOOD");
  return [options] {
    requireDifferentFiles(options->brokenPath, options->goodPath);
    return salvageLog(options->brokenPath, options->goodPath);
  };
}

Run declareCut(CLI::App& app) {
  struct Options {
    std::string logPath;
    std::string partPath;
    MessageFilter filter;
    Redaction redaction;
  };
  const auto options = std::make_shared<Options>();
  addOperand(app, "LOG", options->logPath, "Log to cut from");
  addOutput(app, options->partPath, "PART");
  addFilter(app, options->filter);
  app.add_flag("--no-payloads", options->redaction.dropsPayloads,
               "Leave out all payloads (the bytes of events)");
  app.add_flag("--hash-names", options->redaction.hashesNames,
               "Replace every text (names of events and graphs,\n"
               "header texts, file names, values that are texts)\n"
               "by the first 12 digits of its SHA-256");
  return [options] {
    requireUsage(checkFilter(options->filter));
    requireDifferentFiles(options->logPath, options->partPath);
    return cutLog(options->logPath, options->partPath, options->filter, options->redaction);
  };
}

Run declareExport(CLI::App& app) {
  struct Options {
    std::vector<std::string> logPaths;
    std::string format;
    std::string tableName;
    bool isForced = false;
    MessageFilter filter;
    ExportOptions sink;
  };
  const auto options = std::make_shared<Options>();
  addOperands(app, "LOG", options->logPaths, "Logs to export");
  app.add_option("-o,--output", options->sink.outputPath,
                 "File to write; - is standard output, for all but sqlite")
      ->required()
      ->option_text("OUT");
  app.add_option("--format", options->format,
                 "Format, where OUT's extension says none:\n" + exportFormats())
      ->check(tools::suggested(exportFormatNames()))
      ->option_text("FORMAT");
  app.add_option("--table", options->tableName,
                 "Table to export as csv or ndjson: events (the\n"
                 "default), executions, messages or logs")
      ->check(tools::suggested(tableNames()))
      ->option_text("NAME");
  app.add_option("--columns", options->sink.columns,
                 "Only these columns, in this order, of csv and\nndjson")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->option_text("A,B");
  // With a "!", giving the flag stores false.
  app.add_flag("!--no-indexes", options->sink.hasIndexes,
               "Leave the indexes of an SQLite database out: it is written sooner");
  app.add_flag("--all", options->sink.isWhole,
               "Draw all executions in a trace, instead of 200000 events a thread");
  app.add_flag("--force", options->isForced, "Replace OUT if it is there");
  addFilter(app, options->filter);
  return [options] {
    requireUsage(checkFilter(options->filter));
    if (!options->tableName.empty()) options->sink.table = readTable(options->tableName);
    const auto format = chooseExportFormat(options->format, options->sink.outputPath);
    requireUsage(format.status());
    const auto sink = makeSink(*format, options->sink);
    requireUsage(sink.status());
    requireUsage(tools::checkInputs(options->logPaths));
    for (const std::string& path : options->logPaths)
      requireDifferentFiles(path, options->sink.outputPath);
    if (!options->isForced) requireAbsent(options->sink.outputPath);
    tools::silenceProgressBeside(options->sink.outputPath);
    return exportTables(options->logPaths, options->filter, **sink);
  };
}

Run declareCompletion(CLI::App& app) {
  const auto shell = std::make_shared<std::string>();
  app.add_option("SHELL", *shell, "bash, zsh or fish")
      ->required()
      ->check(tools::oneOf("shell", tools::completedShells()))
      ->option_text(" ");
  return [&app, shell] {
    const CLI::App& tool = *app.get_parent();
    const std::string source = tool.get_name() + " completion " + *shell;
    return tools::printOutput(tools::completionScript(tools::describe(tool), *shell, source));
  };
}

}  // namespace

const std::vector<Command>& commandTable() {
  // clang-format off
  static const std::vector<Command> kCommands = {
    {"make", "Write the log that JSON documents describe",
     "CASE.json holds any number of JSON documents, one for each chunk of the log,\n"
     "in the form that 'dump' prints. Comments, hexadecimal numbers and names without\n"
     "quotes are allowed. OUT.log appears only when it is whole. 'build' is another\n"
     "name for this command.\n\n"
     "Example:\n"
     "  ryx-profile-log make case.json case.log\n",
     declareMake},

    {"dump", "Print a log as JSON documents, one for each chunk",
     "A field that is absent from the log is absent from the document. 'make' gives\n"
     "the same content again: numbers that JSON has not are the texts \"nan\", \"inf\"\n"
     "and \"-inf\", a byte that is not UTF-8 is the text \\xNN, and where a text holds\n"
     "\\x itself that backslash is doubled. Stops at the first damaged chunk; one that\n"
     "the end of the file cut short is printed as readers see it, with zeros for what\n"
     "is missing.\n\n"
     "Example:\n"
     "  ryx-profile-log dump run.log > run.json\n",
     declareDump},

    {"verify", "Tell whether logs are sound, or where they are damaged",
     "Prints one line for each log: its chunks, messages, events and bytes, or the\n"
     "first damage: which chunk, counted from 1, the byte at which its size stands,\n"
     "and what is wrong. Exit status 0 when all logs are sound, 1 otherwise.\n\n"
     "Example:\n"
     "  ryx-profile-log verify *.log\n",
     declareVerify},

    {"info", "Sum up what a log holds",
     "Prints the header, the number of messages by method and level, the graphs\n"
     "with their executions and events, the span of the messages' timestamps, and\n"
     "the largest chunk. Bytes of texts that are not UTF-8, and in the table control\n"
     "characters, appear as \\xNN. A damaged log is summed up until its damage, with\n"
     "exit status 1.\n\n"
     "Example:\n"
     "  ryx-profile-log info --json run.log | jq .graphs\n",
     declareInfo},

    {"stats", "Show where the time went, and how steady it is", kStatsDetails, declareStats},

    {"diff", "Compare logs, and tell whether something became worse", kDiffDetails, declareDiff},

    {"salvage", "Write what is good in a damaged log to a new log",
     "Every chunk that verifies is kept. After a damaged one, salvage goes on at\n"
     "the next chunk, or where sizes are damaged too, at the next place where a\n"
     "chunk verifies; a chunk of which only the size is damaged is mended. Prints\n"
     "what was kept and what was lost, on standard error where the log itself goes to\n"
     "standard output. GOOD appears only when it is whole, and not at all when nothing\n"
     "can be kept.\n\n"
     "Example:\n"
     "  ryx-profile-log salvage broken.log -o good.log\n",
     declareSalvage},

    {"cut", "Write selected messages of a log to a new log",
     "Messages that meet all conditions are copied with every field that this\n"
     "version knows, and the log's first header. PART appears only when it is whole;\n"
     "it is written even when no message is selected. An absent timestamp, level or\n"
     "method counts as 0. A damaged log is refused: salvage it first.\n\n"
     "Examples:\n"
     "  ryx-profile-log cut run.log -o part.log --method Execute --last 100\n"
     "  ryx-profile-log cut run.log -o public.log --no-payloads --hash-names\n",
     declareCut},

    {"export", "Write logs as tables, for other programs to read",
     "Each format holds what the log holds, in the columns of docs/tables.md;\n"
     "docs/exports.md shows each with what to do with it. OUT appears only when it\n"
     "is whole. A damaged log is exported up to its damage, with exit status 1.\n\n"
     "Examples:\n"
     "  ryx-profile-log export monday.log tuesday.log -o runs.sqlite\n"
     "  ryx-profile-log export run.log -o events.csv\n"
     "  ryx-profile-log export run.log -o run.trace.json.gz\n"
     "  ryx-profile-log export run.log -o - --format ndjson | jq .identifier\n",
     declareExport},

    {"html", "Write a page that shows where the time and memory went", kHtmlDetails, declareHtml},

    {"completion", "Print what completes this tool's command line in a shell",
     "Completes commands, options and values. The script of the viewer is printed by\n"
     "'ryx-profile-viewer --completion SHELL'.\n\n"
     "Examples:\n"
     "  source <(ryx-profile-log completion bash)\n"
     "  ryx-profile-log completion zsh > ~/.zfunc/_ryx-profile-log\n"
     "  ryx-profile-log completion fish > ~/.config/fish/completions/ryx-profile-log.fish\n",
     declareCompletion},
  };
  // clang-format on
  return kCommands;
}

}  // namespace ryx::profiling
