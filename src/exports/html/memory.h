// SPDX-License-Identifier: Apache-2.0
// What a log says about memory.

#ifndef RYX_EXPORTS_HTML_MEMORY_H
#define RYX_EXPORTS_HTML_MEMORY_H

#include <string>
#include <string_view>
#include <vector>

#include "exports/html/graph_view.h"

namespace ryx::profiling {

/// An event with bytes: of a phase its value, of executions its largest one.
struct MemoryUse {
  EventPath path;
  std::string method;
  std::string_view graph;  ///< empty where there is none
  double bytes = 0;
  bool isLeaf = true;  ///< none below it has bytes
};

/// In the order of the log, phases first.
[[nodiscard]] std::vector<MemoryUse> findMemory(const LogSamples& samples,
                                                const std::vector<GraphView>& graphs);

}  // namespace ryx::profiling

#endif
