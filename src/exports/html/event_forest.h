// SPDX-License-Identifier: Apache-2.0
// Paths of events as the trees that they are, unit by unit.

#ifndef RYX_EXPORTS_HTML_EVENT_FOREST_H
#define RYX_EXPORTS_HTML_EVENT_FOREST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "analysis/event_statistics.h"
#include "base/keyed_hash.h"

namespace ryx::profiling {

class EventForest {
 public:
  struct Node {
    std::string_view name;
    std::optional<uint32_t> unit;
    std::optional<size_t> parent;  ///< a position before this node's
    std::optional<size_t> item;    ///< nothing for a path that only leads to others
  };

  /// The caller's item `item` has this path and unit. Paths point into what the caller keeps.
  void add(const EventPath& path, std::optional<uint32_t> unit, size_t item);

  /// All nodes in pre-order; roots and siblings in the order in which they were added.
  [[nodiscard]] std::vector<Node> inPreOrder() const;

 private:
  struct Link {
    Node node;
    std::vector<size_t> children;
  };

  [[nodiscard]] size_t findChild(std::optional<size_t> parent, std::string_view name,
                                 std::optional<uint32_t> unit);

  std::vector<Link> links_;  ///< `parent` is a position in here
  std::vector<size_t> roots_;
  std::unordered_map<std::string, size_t, KeyedHash> positions_;  ///< by parent, unit and name
};

}  // namespace ryx::profiling

#endif
