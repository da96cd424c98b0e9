// SPDX-License-Identifier: Apache-2.0
// What every tool does around its work: the state that it puts the process in, how it speaks on
// standard error, and how it ends.

#ifndef RYX_COMMON_PROGRAM_H
#define RYX_COMMON_PROGRAM_H

#include <string>
#include <string_view>

#include "base/status.h"
#include "common/command_line.h"

namespace ryx::tools {

enum ExitStatus : int { kExitGood = 0, kExitFailed = 1, kExitUsage = 2, kExitNotComparable = 3 };

/// Runs the tool called `name`; what `main` returns. Before it,
///   closed standard streams get stand-ins, so that no file takes their place;
///   a broken pipe ends the process by SIGPIPE, whatever its parent chose, and a file that may grow
///   no further is a failed write like that of a full disk;
///   signals that end the process remove its temporary files, and cut back what it appends to;
///   memory is limited to what is free.
/// What `run` throws, and what escapes where nothing may, becomes one line and status 1.
int runProgram(const char* name, int argc, char** argv, ExitStatus (*run)(int argc, char** argv));

/// Prints "PROGRAM: `text`" on standard error, in one write. Texts may hold names that a log gave,
/// so a terminal gets them with control characters escaped.
void printError(const std::string& text);

/// The same for exhausted memory; allocates nothing. `subject`, where given, is what it is about.
void printOutOfMemory(const char* subject = nullptr);

/// Prints a line as it is, with the same care for terminals.
void printErrorLine(std::string line);

/// Whether `status` is good; prints it as an error where it is not.
bool reportIfFailed(const Status& status);

/// Prints on standard output and makes sure that it got there; with an empty `text`, that all that
/// was printed before did. Failures read "cannot write standard output: REASON".
[[nodiscard]] Status printOutput(std::string_view text = {});

/// The end of a run whose command line asked for help or the version, or was wrong.
[[nodiscard]] ExitStatus finish(const Answer& answer);
[[nodiscard]] ExitStatus finish(const UsageError& error);

}  // namespace ryx::tools

#endif
