// SPDX-License-Identifier: Apache-2.0
// What ryx-profile-log can be told to do, and what its help says of it.

#ifndef RYX_LOG_COMMAND_TABLE_H
#define RYX_LOG_COMMAND_TABLE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

#include "common/program.h"

namespace ryx::profiling {

/// How a command ended. A command that ends with its first failure returns that, and it is printed
/// here; one that goes on after a failure, with the next log, prints as it goes.
struct Outcome {
  tools::ExitStatus status;

  Outcome(const Status& result) : Outcome(tools::reportIfFailed(result)) {}
  Outcome(bool succeeded) : status(succeeded ? tools::kExitGood : tools::kExitFailed) {}
  Outcome(tools::ExitStatus exitStatus) : status(exitStatus) {}
};

/// Runs a command with what was parsed for it; may throw CLI::ValidationError.
using Run = std::function<Outcome()>;

struct Command {
  const char* name;
  const char* description;
  const char* details;
  /// Adds the command's operands and options to `app`.
  Run (*declare)(CLI::App& app);
};

[[nodiscard]] const std::vector<Command>& commandTable();

}  // namespace ryx::profiling

#endif
