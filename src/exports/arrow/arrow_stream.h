// SPDX-License-Identifier: Apache-2.0
// Tables of logs as streams of Arrow's C stream interface.

#ifndef RYX_EXPORTS_ARROW_ARROW_STREAM_H
#define RYX_EXPORTS_ARROW_ARROW_STREAM_H

#include <string>
#include <vector>

#include "ryx/profile_arrow.h"
#include "ryx/profile_tables.h"

namespace ryx::profiling {

/// What becomes of logs that cannot be read to their end.
enum class DamagedLogs : uint8_t {
  Fail,  ///< the stream ends with an error after the rows that come before the damage
  Skip,  ///< their rows before the damage are delivered, and the next log follows
};

/// Fills `stream` with the one table that is selected, of the logs at `paths`, one after the other;
/// it is the caller's to release. Throws std::invalid_argument for a selection that cannot be
/// served.
void exportStream(std::vector<std::string> paths, const Selection& selection, DamagedLogs damaged,
                  ArrowArrayStream& stream);

}  // namespace ryx::profiling

#endif
