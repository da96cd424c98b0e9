// SPDX-License-Identifier: Apache-2.0
// Names are kept once for each node, in blocks that never move, so that everything made from the
// tree can point at them. The table has open addressing, because a node is 4 bytes in it; it is
// rebuilt from the nodes when it grows, and nothing is ever removed.

#include "analysis/path_tree.h"

#include <algorithm>
#include <utility>

#include "base/keyed_hash.h"

namespace ryx::profiling {

namespace {

constexpr size_t kTextBlockBytes = size_t{64} << 10;
constexpr size_t kMinTableSize = 64;

/// The key of the names' hash is what makes it unforeseeable; equal names of different parents are
/// spread by an odd factor.
uint32_t hashOf(uint32_t parent, std::string_view name) {
  const uint64_t hash = KeyedHash()(name) ^ parent * uint64_t{0x9E3779B97F4A7C15};
  return static_cast<uint32_t>(hash ^ hash >> 32);
}

}  // namespace

std::string_view TextStore::keep(std::string_view text) {
  if (text.size() > size_ - used_) {
    size_ = std::max(kTextBlockBytes, text.size());
    used_ = 0;
    blocks_.push_back(std::make_unique<char[]>(size_));
  }
  char* place = blocks_.empty() ? nullptr : blocks_.back().get() + used_;
  std::copy(text.begin(), text.end(), place);
  used_ += text.size();
  return {place, text.size()};
}

uint32_t PathTree::addRoot() {
  nodes_.emplace_back();
  return static_cast<uint32_t>(nodes_.size() - 1);
}

uint32_t PathTree::findChild(uint32_t parent, std::string_view name) const {
  return table_.empty() ? kNone : table_[slotOf(parent, name, hashOf(parent, name))].node;
}

uint32_t PathTree::child(uint32_t parent, std::string_view name, uint32_t previous) {
  if (2 * nodes_.size() >= table_.size()) growTable();
  const uint32_t hash = hashOf(parent, name);
  Slot& slot = table_[slotOf(parent, name, hash)];
  if (slot.node == kNone) {
    slot = {static_cast<uint32_t>(nodes_.size()), hash};
    nodes_.push_back({names_.keep(name), parent, kNone, nodes_[parent].depth + 1});
  }
  nodes_[previous].next = slot.node;
  return slot.node;
}

size_t PathTree::slotOf(uint32_t parent, std::string_view name, uint32_t hash) const {
  const size_t mask = table_.size() - 1;
  for (size_t place = hash & mask;; place = (place + 1) & mask) {
    const Slot& slot = table_[place];
    if (slot.node == kNone) return place;
    if (slot.hash != hash) continue;
    if (nodes_[slot.node].parent == parent && nodes_[slot.node].name == name) return place;
  }
}

void PathTree::growTable() {
  const std::vector<Slot> old = std::move(table_);
  table_.assign(std::max(kMinTableSize, 2 * old.size()), {});
  const size_t mask = table_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.node == kNone) continue;
    size_t place = slot.hash & mask;
    while (table_[place].node != kNone) place = (place + 1) & mask;
    table_[place] = slot;
  }
}

std::vector<std::string_view> PathTree::path(uint32_t node) const {
  std::vector<std::string_view> names;
  for (; nodes_[node].parent != kNone; node = nodes_[node].parent)
    names.push_back(nodes_[node].name);
  std::reverse(names.begin(), names.end());
  return names;
}

}  // namespace ryx::profiling
