// What ryx-profile-log can be told to do, and what its help says of it.

#ifndef RYX_LOG_COMMAND_TABLE_H
#define RYX_LOG_COMMAND_TABLE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

namespace ryx::profiling {

struct Command {
  const char* name;
  const char* description;
  const char* details;
  /// Adds the command's operands and options to `app`. What it answers runs the command with what
  /// was parsed for them, and answers whether that succeeded; it may throw CLI::ValidationError.
  std::function<bool()> (*declare)(CLI::App& app);
};

[[nodiscard]] const std::vector<Command>& commandTable();

}  // namespace ryx::profiling

#endif
