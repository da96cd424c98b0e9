// SPDX-License-Identifier: Apache-2.0
// The paths of events: each identifier from the root down. A path is a node; a graph or phase is
// the root of paths of its own.
//
// Executions repeat their events in order. So each node remembers which one came after it, and an
// event is found by comparing its identifier with that one's; the hash table is for the first
// execution, and for what changes.

#ifndef RYX_ANALYSIS_PATH_TREE_H
#define RYX_ANALYSIS_PATH_TREE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace ryx::profiling {

/// Texts one after the other in blocks that never move.
class TextStore {
 public:
  /// The stored copy; valid as long as the store.
  [[nodiscard]] std::string_view keep(std::string_view text);

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  size_t used_ = 0;  ///< of the last block
  size_t size_ = 0;
};

class PathTree {
 public:
  static constexpr uint32_t kNone = UINT32_MAX;

  [[nodiscard]] uint32_t addRoot();

  /// The child of that name, if it came after `previous` (the node of the event before, or the
  /// root that both are below) the last time as well; else nothing.
  [[nodiscard]] uint32_t likelyChild(uint32_t parent, std::string_view name,
                                     uint32_t previous) const {
    const uint32_t likely = nodes_[previous].next;
    const bool isIt =
        likely != kNone && nodes_[likely].parent == parent && nodes_[likely].name == name;
    return isIt ? likely : kNone;
  }

  /// The child of that name, made where there is none.
  [[nodiscard]] uint32_t child(uint32_t parent, std::string_view name, uint32_t previous);

  /// The child of that name, or nothing.
  [[nodiscard]] uint32_t findChild(uint32_t parent, std::string_view name) const;

  [[nodiscard]] uint32_t parent(uint32_t node) const { return nodes_[node].parent; }
  [[nodiscard]] std::string_view name(uint32_t node) const { return nodes_[node].name; }
  /// Of a path of one identifier 0; of a root above them -1.
  [[nodiscard]] int depth(uint32_t node) const { return nodes_[node].depth; }
  [[nodiscard]] size_t size() const { return nodes_.size(); }

  /// The path's identifiers, from the root down. Valid as long as the tree.
  [[nodiscard]] std::vector<std::string_view> path(uint32_t node) const;

 private:
  struct Node {
    std::string_view name;
    uint32_t parent = kNone;
    uint32_t next = kNone;  ///< what came after it last time
    int depth = -1;
  };

  /// A node and a part of its hash, so that most others are passed over without reading theirs.
  struct Slot {
    uint32_t node = kNone;
    uint32_t hash = 0;
  };

  /// Where in the table the child is, or would be.
  [[nodiscard]] size_t slotOf(uint32_t parent, std::string_view name, uint32_t hash) const;
  void growTable();

  TextStore names_;
  std::vector<Node> nodes_;
  /// Nodes by parent and name, each at its hash or after it. At most half full.
  std::vector<Slot> table_;
};

}  // namespace ryx::profiling

#endif
