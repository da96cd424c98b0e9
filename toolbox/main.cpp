// ryx-profile-log: makes and inspects profiling logs.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "toolbox/commands.h"

namespace {

using ryx::profiling::printText;
using ryx::profiling::reportError;

enum ExitStatus : int { kSuccess = 0, kFailure = 1, kUsageError = 2 };

struct Operand {
  const char* name;
  const char* description;
};

struct Command {
  const char* name;
  const char* description;
  const char* details;
  std::vector<Operand> operands;
  std::function<bool(const std::vector<std::string>& operands)> run;
};

// clang-format off
const std::vector<Command> kCommands = {
  {"make", "Write the log that JSON documents describe",
   "CASE.json holds any number of JSON documents, one for each chunk of the log,\n"
   "in the form that 'dump' prints. Comments are allowed. OUT.log appears only\n"
   "when it is whole.\n\n"
   "Example:\n"
   "  ryx-profile-log make case.json case.log\n",
   {{"CASE.json", "File of JSON documents"}, {"OUT.log", "Log to write"}},
   [](const auto& operands) { return ryx::profiling::makeLog(operands[0], operands[1]); }},

  {"dump", "Print a log as JSON documents, one for each chunk",
   "A field that is absent from the log is absent from the document. Bytes that\n"
   "are not UTF-8 appear as \\xNN, floats with 6 and doubles with 12 digits behind\n"
   "the point. Stops at the first damaged chunk; one that the end of the file cut\n"
   "short is printed as readers see it, with zeros for what is missing.\n\n"
   "Example:\n"
   "  ryx-profile-log dump run.log > run.json\n",
   {{"LOG", "Log to print"}},
   [](const auto& operands) { return ryx::profiling::dumpLog(operands[0]); }},
};
// clang-format on

constexpr const char* kExamples =
    "Exit status: 0 on success, 1 on failure, 2 on wrong usage.\n\n"
    "Examples:\n"
    "  ryx-profile-log dump run.log > run.json\n"
    "  ryx-profile-log make run.json copy.log\n";

/// Adds `command` to `app`; parsing it runs it and stores what it answers in `succeeded`.
void addCommand(CLI::App& app, const Command& command, bool& succeeded) {
  CLI::App* subcommand = app.add_subcommand(command.name, command.description);
  subcommand->footer(command.details);
  const auto operands = std::make_shared<std::vector<std::string>>(command.operands.size());
  for (size_t i = 0; i < command.operands.size(); ++i) {
    const Operand& operand = command.operands[i];
    subcommand->add_option(operand.name, (*operands)[i], operand.description)
        ->required()
        ->option_text(" ");
  }
  subcommand->callback([&command, &succeeded, operands] { succeeded = command.run(*operands); });
}

int refuseUsage(const std::string& why) {
  reportError(why + "\nTry 'ryx-profile-log --help' for more information.");
  return kUsageError;
}

int runCommandLine(int argc, char** argv) {
  CLI::App app("Makes and inspects profiling logs.", "ryx-profile-log");
  app.set_version_flag("-V,--version", "ryx-profile-log " RYX_PROFILE_VERSION,
                       "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.get_formatter()->column_width(18);
  app.require_subcommand(0, 1);  // a misspelt command shall be named, not missed
  app.footer(kExamples);
  bool succeeded = true;
  for (const Command& command : kCommands) addCommand(app, command, succeeded);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      app.exit(error);  // prints the help or the version
      return printText() ? kSuccess : kFailure;
    }
    return refuseUsage(error.what());
  }
  if (app.get_subcommands().empty()) return refuseUsage("a command is required");
  return succeeded ? kSuccess : kFailure;
}

/// A closed standard stream would hand its number to the next file, and what is printed would go
/// into that. Opened for the wrong direction, it fails every use as a closed one does.
void occupyStandardStreams() {
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
    const int direction = ::fcntl(STDIN_FILENO, F_GETFD) < 0 ? O_WRONLY : O_RDONLY;
    descriptor = ::open("/dev/null", direction);
  }
  if (descriptor >= 0) ::close(descriptor);
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  occupyStandardStreams();
  try {
    return runCommandLine(argc, argv);
  } catch (const std::bad_alloc&) {
    reportError("out of memory");
    return kFailure;
  }
}
