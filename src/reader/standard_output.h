// SPDX-License-Identifier: Apache-2.0
// The one way the library writes to standard output.

#ifndef RYX_READER_STANDARD_OUTPUT_H
#define RYX_READER_STANDARD_OUTPUT_H

#include <string_view>

namespace ryx::profiling {

/// Writes `text` in one piece and flushes it. A failure is logged at level ERROR. The state of
/// std::cout stays what the host has made of it.
void writeStandardOutput(std::string_view text);

}  // namespace ryx::profiling

#endif
