#include "viewer/options.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

#include "ryx/logging.h"

namespace ryx::viewer {
namespace {

const std::map<std::string, Format> kFormats = {
    {"text", Format::Text}, {"csv", Format::Csv}, {"json", Format::Json}};

const std::map<std::string, uint32_t> kLogLevels = {{"off", 0},
                                                    {"error", log::RYX_LOG_LEVEL_ERROR},
                                                    {"warn", log::RYX_LOG_LEVEL_WARN},
                                                    {"info", log::RYX_LOG_LEVEL_INFO},
                                                    {"verbose", log::RYX_LOG_LEVEL_VERBOSE},
                                                    {"debug", log::RYX_LOG_LEVEL_DEBUG}};

constexpr char kExamples[] =
    "Examples:\n"
    "  ryx-profile-viewer run.log\n"
    "      the text report on standard output\n"
    "  ryx-profile-viewer -o runs.csv monday.log tuesday.log\n"
    "      both text reports, and the reports of both runs in runs.csv\n"
    "  ryx-profile-viewer -f json -o - run.log | jq .execute\n"
    "      the JSON report into a pipe, the summary on standard error";

/// The option values as given, before they are made sense of together.
struct RawOptions {
  std::string format;
  std::string outputPath;
  int level = 127;
  std::string payloadFolder;
  bool unconfined = false;
  std::string pluginPath;
  std::string logLevel = "error";
  std::vector<std::string> logs;
};

void addOptions(CLI::App& app, RawOptions& raw) {
  app.add_option("LOG", raw.logs, "Profiling logs, read and reported in turn")
      ->required()
      ->option_text("...");

  app.add_option("-f,--format", raw.format,
                 "Report as text, csv or json; default: by the\n"
                 "extension of PATH (.csv, .json), else text")
      ->check(CLI::IsMember(kFormats))
      ->option_text("FORMAT")
      ->group("Report");
  app.add_option("-o,--output", raw.outputPath,
                 "Write the report to PATH; - is standard output,\n"
                 "with the summary on standard error")
      ->option_text("PATH")
      ->group("Report");
  app.add_flag("--save-objects{.}", raw.payloadFolder,
               "Save object payloads to files in DIR, and\n"
               "nowhere else; default: the current folder")
      ->option_text("[=DIR]")
      ->group("Report");
  app.add_flag("--unconfined", raw.unconfined,
               "Save object payloads wherever the log says.\n"
               "Only for logs that you trust")
      ->needs("--save-objects")
      ->group("Report");

  app.add_option("-l,--level", raw.level,
                 "Leave out messages of level N and above,\n-128..127; default 127")
      ->check(CLI::Range(-128, 127))
      ->option_text("N")
      ->group("Reading");
  app.add_option("--plugin", raw.pluginPath,
                 "Load this reader plug-in instead of the\nformat's own")
      ->option_text("PATH")
      ->group("Reading");

  app.add_option("--log-level", raw.logLevel,
                 "Show log lines on standard error: off, error,\n"
                 "warn, info, verbose or debug; default error")
      ->check(CLI::IsMember(kLogLevels))
      ->option_text("LEVEL")
      ->group("Information");
  app.set_version_flag("-V,--version", "ryx-profile-viewer " RYX_PROFILE_VERSION,
                       "Print the version")
      ->group("Information");
  app.set_help_flag("-h,--help", "Print this help")->group("Information");
}

/// The parser's help, with the long names in a column of their own and single blank lines.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() { column_width(29); }

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    std::string help = CLI::Formatter::make_help(app, std::move(name), mode);
    for (size_t at; (at = help.find("\n\n\n")) != std::string::npos;) help.erase(at, 1);
    return help;
  }

  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    if (isPositional) return CLI::Formatter::make_option_name(option, isPositional);
    const auto& shortNames = option->get_snames();
    return (shortNames.empty() ? "    " : "-" + shortNames.front() + ", ") + "--" +
           option->get_lnames().front();
  }

  /// An optional value stands right behind the name, as it has to be given.
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string& text = option->get_option_text();
    return text.empty() || text.front() == '[' ? text : " " + text;
  }
};

/// The parser takes a positional like "[a,b]" for a list of two. A NUL at its end, which no
/// argument can have of its own, keeps the name whole.
std::string shielded(std::string argument) {
  if (!argument.empty() && argument.front() == '[') argument += '\0';
  return argument;
}

void unshield(std::string& argument) {
  if (!argument.empty() && argument.back() == '\0') argument.pop_back();
}

/// Throws when an option comes as "--name=": the parser would take the next argument, perhaps a
/// log, for the option's value.
void refuseEmptyValues(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") return;
    if (argument.rfind("--", 0) == 0 && argument.back() == '=')
      throw std::invalid_argument(argument.substr(0, argument.size() - 1) + ": empty value");
  }
}

void parseRaw(CLI::App& app, RawOptions& raw, int argc, const char* const* argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(shielded(argv[i]));
  refuseEmptyValues(arguments);
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser wants
  app.parse(std::move(arguments));

  if (app.count("--output") > 0 && raw.outputPath.empty())
    throw std::invalid_argument("--output: empty path");
  if (app.count("--plugin") > 0 && raw.pluginPath.empty())
    throw std::invalid_argument("--plugin: empty path");
  unshield(raw.outputPath);
  unshield(raw.payloadFolder);
  unshield(raw.pluginPath);
  for (std::string& log : raw.logs) unshield(log);
}

bool endsWith(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

Format chooseFormat(const RawOptions& raw) {
  if (!raw.format.empty()) return kFormats.at(raw.format);
  if (endsWith(raw.outputPath, ".csv")) return Format::Csv;
  if (endsWith(raw.outputPath, ".json")) return Format::Json;
  return Format::Text;
}

bool isSameFile(const std::string& one, const std::string& other) {
  struct stat a = {};
  struct stat b = {};
  return stat(one.c_str(), &a) == 0 && stat(other.c_str(), &b) == 0 && S_ISREG(a.st_mode) &&
         a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

Options interpret(const RawOptions& raw) {
  Options options;
  options.format = chooseFormat(raw);
  options.outputPath = raw.outputPath;
  options.level = static_cast<int8_t>(raw.level);
  options.saveObjects = !raw.payloadFolder.empty();
  if (options.saveObjects) options.payloadFolder = raw.payloadFolder;
  options.unconfined = raw.unconfined;
  options.pluginPath = raw.pluginPath;
  options.shownLogLevel = kLogLevels.at(raw.logLevel);
  options.logs = raw.logs;

  if (options.format == Format::Json && options.outputPath.empty())
    throw std::invalid_argument("the json format needs --output");
  if (options.outputPath == kStandardOutputPath) return options;
  for (const std::string& log : options.logs)
    if (isSameFile(options.outputPath, log))
      throw std::invalid_argument(log + ": is also the output and would be overwritten");
  return options;
}

}  // namespace

std::variant<Options, Answer, UsageError> parseOptions(int argc, const char* const* argv) {
  CLI::App app("Reports what profiling logs of GPU inference runs hold.\n", "ryx-profile-viewer");
  app.formatter(std::make_shared<HelpFormatter>());
  app.footer(kExamples);
  RawOptions raw;
  addOptions(app, raw);
  try {
    parseRaw(app, raw, argc, argv);
    return interpret(raw);
  } catch (const CLI::CallForHelp&) {
    return Answer{app.help()};
  } catch (const CLI::CallForVersion& version) {
    return Answer{std::string(version.what()) + "\n"};
  } catch (const CLI::Error& error) {
    return UsageError{error.what()};
  } catch (const std::invalid_argument& error) {
    return UsageError{error.what()};
  }
}

}  // namespace ryx::viewer
