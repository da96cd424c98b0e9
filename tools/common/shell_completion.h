// SPDX-License-Identifier: Apache-2.0
// Completion scripts, which complete commands, options and values in a shell.

#ifndef RYX_COMMON_SHELL_COMPLETION_H
#define RYX_COMMON_SHELL_COMPLETION_H

#include <string>

#include "common/command_description.h"
#include "common/names.h"

namespace ryx::tools {

/// The shells that there are scripts for.
[[nodiscard]] const Names& completedShells();

/// The script for `shell`, one of those. `source` is the command that prints it, which it names.
[[nodiscard]] std::string completionScript(const CommandDescription& tool, const std::string& shell,
                                           const std::string& source);

}  // namespace ryx::tools

#endif
