// SPDX-License-Identifier: Apache-2.0
// Most of this takes something out of CLI11 that would surprise a user, and each place says what.
// It happens around the parser, not in it: before, on the arguments; in a formatter; and after, on
// the text of its exceptions. What `explain` compares with are the texts of the version that is
// built against; should another one word them differently, its own text comes through, which is
// correct, if less plain.

#include "common/command_line.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "base/version.h"
#include "common/manual_page.h"
#include "common/progress.h"
#include "common/shell_completion.h"
#include "common/version_text.h"

namespace ryx::tools {
namespace {

constexpr size_t kHelpColumn = 29;
constexpr size_t kHelpWidth = 80;

using Arguments = std::vector<std::string>;

/// Breaks lines between words, where a description would leave a terminal of 80 columns.
std::string wrapped(const std::string& text) {
  std::istringstream words(text);
  std::string lines;
  size_t lineLength = 0;
  for (std::string word; words >> word; lineLength += word.size()) {
    if (!lines.empty()) {
      const bool fits = kHelpColumn + lineLength + 1 + word.size() <= kHelpWidth;
      lines += fits ? ' ' : '\n';
      lineLength = fits ? lineLength + 1 : 0;
    }
    lines += word;
  }
  return lines;
}

/// The parser's help: commands before options, the long names of these in a column of their own,
/// and single blank lines.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    column_width(kHelpColumn);
    label("Positionals", "Operands");
    label("SUBCOMMAND", "COMMAND");
  }

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    std::string help = make_description(app) + make_usage(app, std::move(name)) +
                       make_positionals(app) + make_subcommands(app, mode) +
                       make_groups(app, mode) + "\n" + make_footer(app);
    for (size_t at; (at = help.find("\n\n\n")) != std::string::npos;) help.erase(at, 1);
    while (help.size() > 1 && help.compare(help.size() - 2, 2, "\n\n") == 0) help.pop_back();
    return help;
  }

  std::string make_description(const CLI::App* app) const override {
    return app->get_description() + "\n\n";
  }

  std::string make_usage(const CLI::App* app, std::string name) const override {
    std::string usage = CLI::Formatter::make_usage(app, std::move(name));
    usage.pop_back();
    for (const CLI::Option* option : app->get_options({}))
      if (option->nonpositional() && option->get_required())
        usage += " -" + option->get_snames().front() + " " + option->get_option_text();
    return usage + '\n';
  }

  std::string make_subcommand(const CLI::App* app) const override {
    std::ostringstream line;
    CLI::detail::format_help(line, app->get_display_name(true), wrapped(app->get_description()),
                             kHelpColumn);
    return line.str();
  }

  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    if (isPositional) return CLI::Formatter::make_option_name(option, isPositional);
    const auto& shortNames = option->get_snames();
    return (shortNames.empty() ? "    " : "-" + shortNames.front() + ", ") + "--" +
           option->get_lnames().front();
  }

  /// An optional value stands right after the name, as it has to be given.
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string& text = option->get_option_text();
    return text.empty() || text.front() == '[' ? text : " " + text;
  }

  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapped(option->get_description());
  }
};

/// The parser takes an operand like "[a,b]" for a list of two. A NUL at its end, which no argument
/// can have of its own, keeps it whole until it has been stored.
std::string shielded(std::string argument) {
  if (!argument.empty() && argument.front() == '[') argument += '\0';
  return argument;
}

std::string unshield(std::string& argument) {
  if (!argument.empty() && argument.back() == '\0') argument.pop_back();
  return {};
}

/// Thrown by an option that asks for a completion script.
struct CallForCompletion {
  std::string script;
};

void addCompletion(CLI::App& app) {
  const auto print = [&app](const std::string& shell) {
    const std::string source = app.get_name() + " --completion " + shell;
    throw CallForCompletion{completionScript(describe(app), shell, source)};
  };
  app.add_option_function<std::string>(
         "--completion", print, "Print what completes this command line in bash, zsh or fish")
      ->check(oneOf("shell", completedShells()))
      ->option_text("SHELL")
      ->group("Information");
}

/// Adds to `app` and its commands what all of them have in common.
void complete(CLI::App& app, const std::shared_ptr<CLI::FormatterBase>& formatter) {
  constexpr char kGroup[] = "Information";
  app.formatter(formatter);
  if (app.get_parent() == nullptr) {
    app.set_version_flag(
           "-V,--version", [name = app.get_name()] { return versionText(name); },
           "Print the version, the build, and where the plug-ins are")
        ->group(kGroup);
  }
  app.set_help_flag("-h,--help", "Print this help")->group(kGroup);
  app.set_help_all_flag("--manual")->group("");
  if (app.get_parent() == nullptr && app.get_subcommands({}).empty()) addCompletion(app);
  if (app.get_subcommands({}).empty())
    app.add_flag_callback("-q,--quiet", silenceProgress,
                          "Show no progress on a terminal while work takes long")
        ->group(kGroup);
  for (CLI::Option* option : app.get_options({})) option->transform(CLI::Validator(unshield, ""));
  for (CLI::App* command : app.get_subcommands({})) {
    app.require_subcommand(1);
    command->group("Commands");
    complete(*command, formatter);
  }
}

Names namesOf(const CLI::App& app) {
  Names names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

bool isCommand(const CLI::App& app, const std::string& name) {
  const auto commands = app.get_subcommands({});
  return std::any_of(commands.begin(), commands.end(),
                     [&name](const CLI::App* command) { return command->check_name(name); });
}

Names optionsOf(const CLI::App& app) {
  Names options;
  for (const CLI::Option* option : app.get_options({}))
    for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
  return options;
}

/// The command that was given, or the tool itself.
const CLI::App& activeCommand(const CLI::App& app) {
  const auto given = app.get_subcommands();
  return given.empty() ? app : *given.front();
}

std::string helpCommand(const CLI::App& app) {
  const CLI::App& command = activeCommand(app);
  return app.get_name() + (&command == &app ? "" : " " + command.get_name()) + " --help";
}

/// What the parser says of `error`, in the words of these tools.
std::string explain(const CLI::App& app, const CLI::ParseError& error) {
  for (const std::string& argument : app.remaining(true)) {
    if (argument == "--") continue;
    if (argument.front() != '-') return "unexpected argument '" + argument + "'";
    const std::string name = argument.substr(0, argument.find('='));
    const std::string nearest = nearestName(name, optionsOf(activeCommand(app)));
    return "unknown option '" + name + "'" +
           (nearest.empty() ? "" : "; did you mean '" + nearest + "'?");
  }
  std::string text = error.what();
  const std::string name = text.substr(0, text.find(':'));
  if (text == name + ": 1 required TEXT missing") return name + ": needs a value";
  if (text.find(": At Most 1 required") != std::string::npos) return name + ": given twice";
  return text;
}

/// "help" in front of a command line, put as the option that it stands for. Of a tool without
/// commands "help" may also be an operand.
void replaceHelp(const CLI::App& app, Arguments& arguments) {
  if (arguments.empty() || arguments.front() != "help") return;
  const bool hasCommands = !namesOf(app).empty();
  std::error_code ignored;
  if (!hasCommands && (arguments.size() > 1 || std::filesystem::exists("help", ignored))) return;
  arguments.erase(arguments.begin());
  arguments.emplace_back("--help");
}

/// The command that `arguments` name; empty where they begin with options, or name none.
std::string commandOf(const Arguments& arguments) {
  const auto isOption = [](const std::string& argument) { return argument.rfind('-', 0) == 0; };
  return arguments.empty() || isOption(arguments.front()) ? std::string() : arguments.front();
}

/// "--name=" as an argument would have the parser take the next one, perhaps a log, for the value.
std::string emptyValue(const Arguments& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") break;
    if (argument.rfind("--", 0) == 0 && argument.back() == '=')
      return argument.substr(0, argument.size() - 1);
  }
  return {};
}

}  // namespace

std::variant<Parsed, Answer, UsageError> parseCommandLine(CLI::App& app, int argc,
                                                          const char* const* argv) {
  complete(app, std::make_shared<HelpFormatter>());
  Arguments arguments(argv + std::min(argc, 1), argv + argc);
  const std::string toolHelp = app.get_name() + " --help";
  replaceHelp(app, arguments);
  const Names commands = namesOf(app);
  if (!commands.empty()) {
    const std::string command = commandOf(arguments);
    if (arguments.empty()) return UsageError{"a command is required", toolHelp};
    if (!command.empty() && !isCommand(app, command))
      return UsageError{unknownName("command", command, commands), toolHelp};
  }
  if (const std::string name = emptyValue(arguments); !name.empty())
    return UsageError{name + ": empty value", toolHelp};

  std::transform(arguments.begin(), arguments.end(), arguments.begin(), shielded);
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser wants
  try {
    app.parse(std::move(arguments));
    return Parsed{};
  } catch (const CLI::CallForHelp&) {
    return Answer{app.help()};
  } catch (const CLI::CallForAllHelp&) {
    return Answer{manualPage(describe(activeCommand(app)), app.get_name(), kToolVersion)};
  } catch (const CallForCompletion& completion) {
    return Answer{completion.script};
  } catch (const CLI::CallForVersion& version) {
    return Answer{std::string(version.what()) + "\n"};
  } catch (const CLI::ParseError& error) {
    return UsageError{explain(app, error), helpCommand(app)};
  }
}

}  // namespace ryx::tools
