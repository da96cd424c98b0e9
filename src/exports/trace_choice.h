// SPDX-License-Identifier: Apache-2.0
// Which executions of a long run a timeline shows, when it cannot show all.

#ifndef RYX_EXPORTS_TRACE_CHOICE_H
#define RYX_EXPORTS_TRACE_CHOICE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ryx::profiling {

struct TraceCandidate {
  uint64_t duration = 0;  ///< 0 where there is none
  uint64_t events = 0;    ///< what it adds to the timeline
};

/// Chooses of the executions of one thread those that have at most `maxEvents` together: all, or
/// the first five, the slowest ten and the median one, and between them as many as fit, evenly
/// spaced. Returns their positions, ascending. The first one is always chosen.
[[nodiscard]] std::vector<size_t> chooseForTrace(const std::vector<TraceCandidate>& candidates,
                                                 uint64_t maxEvents);

}  // namespace ryx::profiling

#endif
