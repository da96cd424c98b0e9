#include "log/command_table.h"

#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "log/commands.h"
#include "log/whole_file.h"

namespace ryx::profiling {

namespace {

using Run = std::function<bool()>;

/// `paths` of the type std::string or std::vector<std::string>.
template <typename Paths>
void addOperand(CLI::App& app, const char* name, Paths& paths, const char* description,
                const char* hint = " ") {
  app.add_option(name, paths, description)->required()->option_text(hint);
}

void addOutput(CLI::App& app, std::string& path, const char* name) {
  app.add_option("-o,--output", path, "Log to write; replaces a file that is there")
      ->required()
      ->option_text(name);
}

void refuseSameFile(const std::string& input, const std::string& output) {
  if (isSameFile(input, output))
    throw CLI::ValidationError(output + ": is the same file as " + input);
}

/// An option with a decimal number.
void addNumber(CLI::App& app, const std::string& name, uint64_t& number, const char* description,
               const char* hint) {
  const auto parse = [&number, name](const std::string& text) {
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end)
      throw CLI::ValidationError(name + ": " + text +
                                 " is no number from 0 to 18446744073709551615");
  };
  app.add_option_function<std::string>(name, parse, description)->option_text(hint);
}

Run declareMake(CLI::App& app) {
  struct Options {
    std::string casePath;
    std::string logPath;
  };
  const auto options = std::make_shared<Options>();
  addOperand(app, "CASE.json", options->casePath, "File of JSON documents");
  addOperand(app, "OUT.log", options->logPath, "Log to write");
  return [options] { return makeLog(options->casePath, options->logPath); };
}

Run declareDump(CLI::App& app) {
  const auto logPath = std::make_shared<std::string>();
  addOperand(app, "LOG", *logPath, "Log to print");
  return [logPath] { return dumpLog(*logPath); };
}

Run declareVerify(CLI::App& app) {
  const auto logPaths = std::make_shared<std::vector<std::string>>();
  addOperand(app, "LOG", *logPaths, "Logs to check", "...");
  return [logPaths] { return verifyLogs(*logPaths); };
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
    refuseSameFile(options->brokenPath, options->goodPath);
    return salvageLog(options->brokenPath, options->goodPath);
  };
}

struct CutOptions {
  std::string logPath;
  std::string partPath;
  CutSelection selection;
  std::string graph;
  int level = 0;
  std::vector<std::string> methods;
};

/// The selection, completed by the options that are not part of it as they are parsed.
CutSelection selectionOf(const CLI::App& app, const CutOptions& options) {
  CutSelection selection = options.selection;
  if (app.count("--graph") > 0) selection.graph = options.graph;
  if (app.count("--level") > 0) selection.level = static_cast<int8_t>(options.level);
  for (const std::string& method : options.methods) {
    const auto code = methodCode(method);
    if (!code) throw CLI::ValidationError("--method: " + method + " is no method");
    selection.methods.push_back(*code);
  }
  return selection;
}

Run declareCut(CLI::App& app) {
  const auto options = std::make_shared<CutOptions>();
  CutSelection& selection = options->selection;
  addOperand(app, "LOG", options->logPath, "Log to cut from");
  addOutput(app, options->partPath, "PART");
  app.add_option("--graph", options->graph, "Only messages about this graph")->option_text("NAME");
  app.add_option("--method", options->methods,
                 "Only messages of this method: Execute, NetRun,\n"
                 "..., in any case, or a number; may be repeated")
      ->allow_extra_args(false)
      ->option_text("NAME");
  app.add_option("--level", options->level,
                 "Only messages that a reader made with level N\n"
                 "shows, those of a level below N (-128..127)")
      ->check(CLI::Range(-128, 127))
      ->option_text("N");
  addNumber(app, "--from", selection.fromTime, "Only messages of this timestamp or later", "US");
  addNumber(app, "--to", selection.toTime, "Only messages of this timestamp or earlier", "US");
  addNumber(app, "--first", selection.first,
            "Begin with message N of those that the options\n"
            "above select, counted from 1",
            "N");
  addNumber(app, "--last", selection.last, "End with message N of those", "N");
  return [&app, options] {
    const CutSelection selected = selectionOf(app, *options);
    refuseSameFile(options->logPath, options->partPath);
    return cutLog(options->logPath, options->partPath, selected);
  };
}

}  // namespace

const std::vector<Command>& commandTable() {
  // clang-format off
  static const std::vector<Command> kCommands = {
    {"make", "Write the log that JSON documents describe",
     "CASE.json holds any number of JSON documents, one for each chunk of the log,\n"
     "in the form that 'dump' prints. Comments are allowed. OUT.log appears only\n"
     "when it is whole.\n\n"
     "Example:\n"
     "  ryx-profile-log make case.json case.log\n",
     declareMake},

    {"dump", "Print a log as JSON documents, one for each chunk",
     "A field that is absent from the log is absent from the document. Bytes that\n"
     "are not UTF-8 appear as \\xNN, floats with 6 and doubles with 12 digits behind\n"
     "the point. Stops at the first damaged chunk; one that the end of the file cut\n"
     "short is printed as readers see it, with zeros for what is missing.\n\n"
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

    {"salvage", "Write what is good in a damaged log to a new log",
     "Every chunk that verifies is kept. Behind a damaged one, salvage goes on at\n"
     "the next chunk, or where sizes are damaged too, at the next place where a\n"
     "chunk verifies; a chunk of which only the size is damaged is mended. Prints\n"
     "what was kept and what was lost. GOOD appears only when it is whole, and not\n"
     "at all when nothing can be kept.\n\n"
     "Example:\n"
     "  ryx-profile-log salvage broken.log -o good.log\n",
     declareSalvage},

    {"cut", "Write selected messages of a log to a new log",
     "Messages that meet all conditions are copied with every field that this\n"
     "version knows, and the log's first header. PART appears only when it is whole;\n"
     "it is written even when no message is selected. An absent timestamp or level\n"
     "counts as 0. A damaged log is refused: salvage it first.\n\n"
     "Example:\n"
     "  ryx-profile-log cut run.log -o part.log --method Execute --last 100\n",
     declareCut},
  };
  // clang-format on
  return kCommands;
}

}  // namespace ryx::profiling
