// SPDX-License-Identifier: Apache-2.0
// Manual pages for man(1).

#ifndef RYX_COMMON_MANUAL_PAGE_H
#define RYX_COMMON_MANUAL_PAGE_H

#include <string>

#include "common/command_description.h"

namespace ryx::tools {

/// The page in section 1 of a tool, or of one of its commands, then called "TOOL-COMMAND", in the
/// language of man(7). `tool` is the tool's name, `version` its version.
[[nodiscard]] std::string manualPage(const CommandDescription& command, const std::string& tool,
                                     const std::string& version);

}  // namespace ryx::tools

#endif
