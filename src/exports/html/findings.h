// SPDX-License-Identifier: Apache-2.0
// What to fix first: at most seven things, each with its evidence and its weight.

#ifndef RYX_EXPORTS_HTML_FINDINGS_H
#define RYX_EXPORTS_HTML_FINDINGS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "exports/html/graph_view.h"
#include "exports/html/memory.h"

namespace ryx::profiling {

constexpr size_t kMaxFindings = 7;

struct Finding {
  /// What to say, around the name of an event or graph.
  std::string_view before;
  std::string_view name;
  std::string after;
  std::string evidence;

  std::string weight;       ///< "12.7 %"
  std::string weightLabel;  ///< "of the time"
  double share = 0;         ///< of the weight's meter, 0 to 1
  double cost = 0;          ///< what findings are sorted by: their share of all executions' time

  size_t graph = 0;
  std::optional<size_t> event;  ///< the row that it links to, of that graph
  bool isMemory = false;        ///< it links to the section on memory
};

/// The largest first; memory, which costs no time, last.
[[nodiscard]] std::vector<Finding> findWhatToFix(const std::vector<GraphView>& graphs,
                                                 const std::vector<MemoryUse>& memory);

}  // namespace ryx::profiling

#endif
