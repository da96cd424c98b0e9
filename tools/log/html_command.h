// SPDX-License-Identifier: Apache-2.0
// ryx-profile-log html.

#ifndef RYX_LOG_HTML_COMMAND_H
#define RYX_LOG_HTML_COMMAND_H

#include "log/command_table.h"

namespace ryx::profiling {

[[nodiscard]] Run declareHtml(CLI::App& app);

extern const char kHtmlDetails[];  ///< for its help

}  // namespace ryx::profiling

#endif
