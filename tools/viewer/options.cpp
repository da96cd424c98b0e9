// SPDX-License-Identifier: Apache-2.0
// Two steps: CLI11 stores what was given, and `interpret` makes sense of it together, because what
// one option means can depend on another (the format on the extension, what becomes of a file on
// the format). Wrong usage is refused before a plug-in is loaded or a file is touched.

#include "viewer/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/file.h"
#include "base/status.h"
#include "common/input.h"
#include "ryx/logging.h"

namespace ryx::viewer {
namespace {

namespace fs = std::filesystem;

// In the order of the enumerations.
const tools::Names kFormats = {"text", "csv", "json"};
const tools::Names kExtensions = {".txt", ".csv", ".json"};
const tools::Names kLogLevels = {"off", "error", "warn", "info", "verbose", "debug"};

/// Where `name` stands in `names`; their number where it does not.
size_t indexOf(const std::string& name, const tools::Names& names) {
  return static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

constexpr char kExamples[] =
    "Exit status: 0 on success, 1 on failure, 2 on wrong usage.\n\n"
    "Examples:\n"
    "  ryx-profile-viewer run.log\n"
    "      the text report on standard output\n"
    "  ryx-profile-viewer -o runs.csv monday.log tuesday.log\n"
    "      both text reports, and the reports of both runs in runs.csv\n"
    "  zcat run.log.gz | ryx-profile-viewer -f json - | jq .execute\n"
    "      the JSON report into a pipe, the summary on standard error";

/// The option values as given, before they are made sense of together.
struct RawOptions {
  std::string format;
  std::string outputPath;
  bool append = false;
  bool force = false;
  int8_t level = 127;
  std::string payloadFolder;
  bool unconfined = false;
  std::string pluginPath;
  std::string logLevel = "error";
  std::vector<std::string> logs;
};

void addOptions(CLI::App& app, RawOptions& raw) {
  app.add_option("LOG", raw.logs, "Profiling logs, read and reported in turn; - is standard input")
      ->required()
      ->option_text("...");

  app.add_option("-f,--format", raw.format,
                 "Report as text, csv or json; default: by the extension of PATH, else text")
      ->check(tools::oneOf("format", kFormats))
      ->option_text("FORMAT")
      ->group("Report");
  app.add_option("-o,--output", raw.outputPath,
                 "Write the report to PATH (.txt, .csv or .json); - is standard output, with the "
                 "summary on standard error, and the default of csv and json")
      ->option_text("PATH")
      ->group("Report");
  CLI::Option* append = app.add_flag("--append", raw.append,
                                     "A CSV report is meant to be appended to what is in PATH")
                            ->group("Report");
  app.add_flag("--force", raw.force, "Start PATH anew, a CSV file too")
      ->excludes(append)
      ->group("Report");
  app.add_flag("--save-objects{.}", raw.payloadFolder,
               "Save object payloads to files in DIR, and nowhere else; default: the current "
               "folder")
      ->option_text("[=DIR]")
      ->group("Report");
  app.add_flag("--unconfined", raw.unconfined,
               "Save object payloads wherever the log says. Only for logs that you trust")
      ->needs("--save-objects")
      ->group("Report");

  tools::addNumber<int8_t>(app, "-l,--level", "N",
                           "Leave out messages of level N and above, -128..127; default 127",
                           [&raw](int8_t level) { raw.level = level; })
      ->group("Reading");
  app.add_option("--plugin", raw.pluginPath, "Load this reader plug-in instead of the format's own")
      ->option_text("PATH")
      ->group("Reading");

  app.add_option("--log-level", raw.logLevel,
                 "Show log lines on standard error: off, error, warn, info, verbose or debug; "
                 "default error")
      ->check(tools::oneOf("level", kLogLevels))
      ->option_text("LEVEL")
      ->group("Information");
}

std::string listOfFormats() {
  std::string list;
  for (size_t i = 0; i < kFormats.size(); ++i)
    list += (i == 0 ? "" : ", ") + kFormats[i] + " (" + kExtensions[i] + ")";
  return list;
}

/// The extension of a path that has one and may be a file's; else empty.
std::string extensionOf(const std::string& path) {
  if (isWrittenInPlace(path)) return {};
  std::string extension = fs::path(path).extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

Result<Format> chooseFormat(const RawOptions& raw) {
  const size_t given = raw.format.empty() ? 0 : indexOf(raw.format, kFormats);
  const std::string extension = extensionOf(raw.outputPath);
  if (extension.empty()) return static_cast<Format>(given);
  const size_t known = indexOf(extension, kExtensions);
  if (known == kExtensions.size())
    return Status::failure(raw.outputPath + ": unknown extension '" + extension +
                           "'; the formats are " + listOfFormats());
  if (!raw.format.empty() && known != given)
    return Status::failure(raw.outputPath + ": the extension contradicts --format " + raw.format +
                           "; the formats are " + listOfFormats());
  return static_cast<Format>(known);
}

/// What is wrong with values that are good each on its own.
Status check(const Options& options) {
  if (options.existing == Existing::Append && options.format != Format::Csv)
    return Status::failure("--append: only a csv report can be appended");
  if (Status status = tools::checkInputs(options.logs); !status) return status;
  for (const std::string& log : options.logs)
    if (isSameFile(options.outputPath, log == tools::kStandardStream ? "/dev/stdin" : log))
      return Status::failure(tools::inputName(log) +
                             " is also the output and would be overwritten");
  return {};
}

Result<Options> interpret(const RawOptions& raw) {
  const Result<Format> format = chooseFormat(raw);
  if (!format) return format.status();
  Options options;
  options.format = *format;
  options.outputPath = raw.outputPath;
  if (options.outputPath.empty() && options.format != Format::Text)
    options.outputPath = tools::kStandardStream;
  if (raw.append) options.existing = Existing::Append;
  if (raw.force) options.existing = Existing::Replace;
  options.level = raw.level;
  options.saveObjects = !raw.payloadFolder.empty();
  options.payloadFolder = raw.payloadFolder;
  options.unconfined = raw.unconfined;
  options.pluginPath = raw.pluginPath;
  options.shownLogLevel = static_cast<uint32_t>(indexOf(raw.logLevel, kLogLevels));
  options.logs = raw.logs;
  if (Status status = check(options); !status) return status;
  return options;
}

/// "--save-objects payloads run.log" makes a log of what was meant for the folder. Returns the
/// argument after a bare --save-objects if it cannot be a log.
std::string misplacedFolder(int argc, const char* const* argv) {
  const char* const* const end = argv + argc;
  const auto isBare = [](std::string_view argument) { return argument == "--save-objects"; };
  const char* const* const option = std::find_if(argv, end, isBare);
  if (option == end || option + 1 == end || option[1][0] == '-') return {};
  std::error_code ignored;
  const fs::file_status status = fs::status(option[1], ignored);
  return fs::is_directory(status) || !fs::exists(status) ? option[1] : std::string();
}

}  // namespace

std::variant<Options, Answer, UsageError> parseOptions(int argc, const char* const* argv) {
  CLI::App app("Reports what profiling logs of GPU inference runs hold.", kProgramName);
  app.footer(kExamples);
  RawOptions raw;
  addOptions(app, raw);
  const auto refusal = [](const std::string& text) {
    return UsageError{text, kProgramName + std::string(" --help")};
  };
  const auto outcome = tools::parseCommandLine(app, argc, argv);
  if (const auto* answer = std::get_if<Answer>(&outcome)) return *answer;
  // Before whatever else is wrong, which may only follow from this.
  const std::string folder = misplacedFolder(argc, argv);
  if (!folder.empty())
    return refusal("'" + folder + "' is not a log; did you mean --save-objects=" + folder + "?");
  if (const auto* error = std::get_if<UsageError>(&outcome)) return *error;
  for (const char* name : {"--output", "--plugin"})
    if (app.count(name) > 0 && app.get_option(name)->as<std::string>().empty())
      return refusal(name + std::string(": empty path"));
  const Result<Options> options = interpret(raw);
  if (!options) return refusal(options.status().text());
  return *options;
}

}  // namespace ryx::viewer
