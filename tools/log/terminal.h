// SPDX-License-Identifier: Apache-2.0
// The terminal that results are shown on, if it is one.

#ifndef RYX_LOG_TERMINAL_H
#define RYX_LOG_TERMINAL_H

#include "common/terminal.h"
#include "exports/report_writer.h"

namespace ryx::profiling {

/// What is known of standard output: without a width it is no terminal.
[[nodiscard]] Terminal standardOutputTerminal(tools::Color color);

}  // namespace ryx::profiling

#endif
