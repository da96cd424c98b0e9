// SPDX-License-Identifier: Apache-2.0
// ryx-profile-log diff.

#ifndef RYX_LOG_DIFF_COMMAND_H
#define RYX_LOG_DIFF_COMMAND_H

#include "log/command_table.h"

namespace ryx::profiling {

[[nodiscard]] Run declareDiff(CLI::App& app);

extern const char kDiffDetails[];  ///< for its help

}  // namespace ryx::profiling

#endif
