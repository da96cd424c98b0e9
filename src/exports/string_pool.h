// SPDX-License-Identifier: Apache-2.0
// Texts and their numbers, so that a text is stored once however often it is named.

#ifndef RYX_EXPORTS_STRING_POOL_H
#define RYX_EXPORTS_STRING_POOL_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/keyed_hash.h"

namespace ryx::profiling {

/// Numbers count from 1 and are never used again. Memory is bounded: texts that do not fit make
/// room for themselves by having all others forgotten, and these get another number when they come
/// again.
class StringPool {
 public:
  struct Entry {
    int64_t id;
    bool isNew;  ///< this number has not been returned before
  };
  [[nodiscard]] Entry add(std::string_view text);

 private:
  static constexpr size_t kMaxBytes = size_t{24} << 20;
  static constexpr size_t kEntryBytes = 96;  ///< what a text takes beside its characters

  std::unordered_map<std::string_view, int64_t, KeyedHash> ids_;
  std::deque<std::string> texts_;
  size_t bytes_ = 0;
  int64_t lastId_ = 0;
};

}  // namespace ryx::profiling

#endif
