// SPDX-License-Identifier: Apache-2.0
// ryx-profile-log stats.

#ifndef RYX_LOG_STATS_COMMAND_H
#define RYX_LOG_STATS_COMMAND_H

#include "log/command_table.h"

namespace ryx::profiling {

[[nodiscard]] Run declareStats(CLI::App& app);

extern const char kStatsDetails[];  ///< for its help

}  // namespace ryx::profiling

#endif
