// SPDX-License-Identifier: Apache-2.0
// A suggestion helps only if it is rarely wrong: a name may have as many mistakes as a third of its
// characters, and one more, and the beginning of a name is taken for it. Two neighbours that are
// swapped count as one mistake, since that is what fingers do.

#include "common/names.h"

#include <algorithm>
#include <numeric>

#include "base/text_list.h"

namespace ryx::tools {
namespace {

/// The fewest characters to insert, remove, replace or swap with their neighbour that make one text
/// of the other.
size_t editDistance(std::string_view one, std::string_view other) {
  std::vector<size_t> beforeLast(other.size() + 1);
  std::vector<size_t> last(other.size() + 1);
  std::iota(last.begin(), last.end(), size_t{0});
  for (size_t i = 0; i < one.size(); ++i) {
    std::vector<size_t> row(other.size() + 1, i + 1);
    for (size_t j = 0; j < other.size(); ++j) {
      const size_t replaced = last[j] + (one[i] == other[j] ? 0 : 1);
      row[j + 1] = std::min({replaced, last[j + 1] + 1, row[j] + 1});
      const bool isSwap = i > 0 && j > 0 && one[i] == other[j - 1] && one[i - 1] == other[j];
      if (isSwap) row[j + 1] = std::min(row[j + 1], beforeLast[j - 1] + 1);
    }
    beforeLast = std::move(last);
    last = std::move(row);
  }
  return last.back();
}

std::string unknown(std::string_view kind, std::string_view name) {
  return "unknown " + std::string(kind) + " '" + std::string(name) + "'; ";
}

}  // namespace

std::string nearestName(std::string_view name, const Names& known) {
  constexpr size_t kLongestName = 64;  // what is longer was not meant to be one
  if (name.size() > kLongestName) return {};
  std::string nearest;
  size_t leastDistance = name.size() / 3 + 2;  // from here on, not near
  for (const std::string& candidate : known) {
    // The beginning of a name is near whatever follows.
    const bool isPrefix = name.size() > 1 && candidate.compare(0, name.size(), name) == 0;
    const size_t distance = isPrefix ? 1 : editDistance(name, candidate);
    if (distance >= std::min(leastDistance, candidate.size())) continue;
    nearest = candidate;
    leastDistance = distance;
  }
  return nearest;
}

std::string unknownValue(std::string_view kind, std::string_view value, const Names& known) {
  return unknown(kind, value) + "known are " + joined(known);
}

std::string unknownName(std::string_view kind, std::string_view name, const Names& known) {
  const std::string nearest = nearestName(name, known);
  if (nearest.empty()) return unknownValue(kind, name, known);
  return unknown(kind, name) + "did you mean '" + nearest + "'?";
}

}  // namespace ryx::tools
