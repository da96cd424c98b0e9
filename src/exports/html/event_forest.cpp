// SPDX-License-Identifier: Apache-2.0
// Paths come in the order of their first samples, a parent not always before its children, and some
// parents never: those that only lead to others have no samples. So a node is made for every step
// of a path, and the order is put right at the end, without recursion.

#include "exports/html/event_forest.h"

#include "base/number_text.h"

namespace ryx::profiling {

void EventForest::add(const EventPath& path, std::optional<uint32_t> unit, size_t item) {
  std::optional<size_t> position;
  for (const std::string_view name : path) position = findChild(position, name, unit);
  if (position) links_[*position].node.item = item;
}

size_t EventForest::findChild(std::optional<size_t> parent, std::string_view name,
                              std::optional<uint32_t> unit) {
  std::string key;
  if (parent) appendDecimal(key, *parent);
  key += '/';
  if (unit) appendDecimal(key, *unit);
  key.append("/").append(name);
  const auto [place, isNew] = positions_.try_emplace(std::move(key), links_.size());
  if (!isNew) return place->second;
  const size_t position = links_.size();
  links_.push_back({{name, unit, parent, std::nullopt}, {}});
  (parent ? links_[*parent].children : roots_).push_back(position);
  return position;
}

std::vector<EventForest::Node> EventForest::inPreOrder() const {
  std::vector<Node> nodes;
  nodes.reserve(links_.size());
  std::vector<size_t> placed(links_.size());
  std::vector<size_t> waiting(roots_.rbegin(), roots_.rend());
  while (!waiting.empty()) {
    const Link& link = links_[waiting.back()];
    placed[waiting.back()] = nodes.size();
    waiting.pop_back();
    nodes.push_back(link.node);
    if (link.node.parent) nodes.back().parent = placed[*link.node.parent];
    waiting.insert(waiting.end(), link.children.rbegin(), link.children.rend());
  }
  return nodes;
}

}  // namespace ryx::profiling
