// SPDX-License-Identifier: Apache-2.0
#include "log/terminal.h"

#include <unistd.h>

namespace ryx::profiling {

Terminal standardOutputTerminal(tools::Color color) {
  return {tools::terminalColumns(STDOUT_FILENO), tools::isColored(color, STDOUT_FILENO)};
}

}  // namespace ryx::profiling
