// ryx-profile-log: makes, inspects and mends profiling logs.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <new>
#include <string>

#include "log/command_table.h"
#include "log/commands.h"

namespace {

using ryx::profiling::Command;
using ryx::profiling::commandTable;
using ryx::profiling::printText;
using ryx::profiling::reportError;

enum ExitStatus : int { kSuccess = 0, kFailure = 1, kUsageError = 2 };

constexpr const char* kExamples =
    "Exit status: 0 on success, 1 on failure, 2 on wrong usage.\n\n"
    "Examples:\n"
    "  ryx-profile-log dump run.log > run.json\n"
    "  ryx-profile-log make run.json copy.log\n"
    "  ryx-profile-log verify *.log\n"
    "  ryx-profile-log salvage broken.log -o good.log\n"
    "  ryx-profile-log cut run.log -o part.log --graph det --last 10\n";

/// Adds `command` to `app`; parsing it runs it and stores what it answers in `succeeded`.
void addCommand(CLI::App& app, const Command& command, bool& succeeded) {
  CLI::App* subcommand = app.add_subcommand(command.name, command.description);
  subcommand->footer(command.details);
  subcommand->callback([run = command.declare(*subcommand), &succeeded] { succeeded = run(); });
}

int refuseUsage(const std::string& why) {
  reportError(why + "\nTry 'ryx-profile-log --help' for more information.");
  return kUsageError;
}

int runCommandLine(int argc, char** argv) {
  CLI::App app("Makes, inspects and mends profiling logs.", "ryx-profile-log");
  app.set_version_flag("-V,--version", "ryx-profile-log " RYX_PROFILE_VERSION,
                       "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.get_formatter()->column_width(20);
  app.require_subcommand(0, 1);  // a misspelt command shall be named, not missed
  app.footer(kExamples);
  bool succeeded = true;
  for (const Command& command : commandTable()) addCommand(app, command, succeeded);

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
  } catch (const std::exception& error) {
    reportError(error.what());
  }
  return kFailure;
}
