// SPDX-License-Identifier: Apache-2.0
// ryx-profile-log: makes, inspects and mends profiling logs.

#include <CLI/CLI.hpp>
#include <variant>

#include "common/command_line.h"
#include "common/program.h"
#include "log/command_table.h"

namespace {

using namespace ryx::tools;
using ryx::profiling::Command;
using ryx::profiling::commandTable;

constexpr char kName[] = "ryx-profile-log";

constexpr char kExamples[] =
    "'ryx-profile-log help COMMAND' shows what a command does, and its options.\n"
    "docs/guide.md answers questions about a run, each with the command for it;\n"
    "packages install it below /usr/share/doc/ryx-profile-tools.\n"
    "Exit status: 0 on success, 1 on failure, 2 on wrong usage.\n\n"
    "Examples:\n"
    "  ryx-profile-log stats run.log\n"
    "  ryx-profile-log diff base.log new.log\n"
    "  ryx-profile-log html run.log\n"
    "  ryx-profile-log salvage broken.log -o good.log\n"
    "  ryx-profile-log cut run.log -o part.log --graph det --last 10\n";

/// Adds `command` to `app`; parsing it runs it and stores how it ended.
void addCommand(CLI::App& app, const Command& command, ExitStatus& status) {
  CLI::App* subcommand = app.add_subcommand(command.name, command.description);
  subcommand->footer(command.details);
  subcommand->callback([run = command.declare(*subcommand), &status] { status = run().status; });
}

ExitStatus run(int argc, char** argv) {
  CLI::App app("Makes, inspects and mends profiling logs.", kName);
  app.footer(kExamples);
  ExitStatus status = kExitGood;
  for (const Command& command : commandTable()) addCommand(app, command, status);
  const auto outcome = parseCommandLine(app, argc, argv);
  if (const auto* answer = std::get_if<Answer>(&outcome)) return finish(*answer);
  if (const auto* error = std::get_if<UsageError>(&outcome)) return finish(*error);
  return status;
}

}  // namespace

int main(int argc, char** argv) { return runProgram(kName, argc, argv, run); }
