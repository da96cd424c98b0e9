// SPDX-License-Identifier: Apache-2.0
// When the pool is full it forgets everything and begins anew, instead of choosing what to forget:
// the few texts that matter come again with the next rows, and are stored twice, which costs less
// than an order of use kept for millions of them. A text that would fill the pool by itself is not
// remembered at all.

#include "exports/string_pool.h"

namespace ryx::profiling {

StringPool::Entry StringPool::add(std::string_view text) {
  const auto known = ids_.find(text);
  if (known != ids_.end()) return {known->second, false};
  const size_t needed = text.size() + kEntryBytes;
  if (needed > kMaxBytes) return {++lastId_, true};
  if (needed > kMaxBytes - bytes_) {
    ids_.clear();
    texts_.clear();
    bytes_ = 0;
  }
  bytes_ += needed;
  ids_.emplace(texts_.emplace_back(text), ++lastId_);
  return {lastId_, true};
}

}  // namespace ryx::profiling
