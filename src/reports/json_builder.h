// SPDX-License-Identifier: Apache-2.0
// Builds JSON values of many small objects the compact way.
//
// A report has millions of objects. Adding their members one by one would reserve room for 16 in
// each; a document's event interface is told how many there are, and stores just these. Texts that
// the caller keeps alive are pointed at, and of the others every distinct one is stored once.

#ifndef RYX_REPORTS_JSON_BUILDER_H
#define RYX_REPORTS_JSON_BUILDER_H

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/keyed_hash.h"
#include "reader/ryx_profile_log_reader_gpu.h"

namespace ryx::profiling {

inline rapidjson::SizeType jsonSize(size_t size) { return static_cast<rapidjson::SizeType>(size); }

/// Texts in a pool, each stored once. Executions of a graph repeat their texts in the same order,
/// so the text stored after the last one asked for is tried first.
class PooledTexts {
 public:
  explicit PooledTexts(JsonPool& pool) : pool_(pool) {}

  /// The stored text, which lives as long as the pool.
  std::string_view store(std::string_view text) {
    if (next_ < texts_.size() && texts_[next_] == text) return texts_[next_++];
    const auto known = positions_.find(text);
    if (known != positions_.end()) {
      next_ = known->second + 1;
      return known->first;
    }
    const std::string_view stored = copy(text);
    positions_.emplace(stored, texts_.size());
    texts_.push_back(stored);
    next_ = texts_.size();
    return stored;
  }

 private:
  std::string_view copy(std::string_view text) {
    if (text.empty()) return "";
    char* stored = static_cast<char*>(pool_.Malloc(text.size()));
    text.copy(stored, text.size());
    return {stored, text.size()};
  }

  JsonPool& pool_;
  std::vector<std::string_view> texts_;
  std::unordered_map<std::string_view, size_t, KeyedHash> positions_;  // in `texts_`
  size_t next_ = 0;
};

/// Feeds a document's event interface. Keys and texts that are given as such must outlive the
/// document.
class JsonBuilder {
 public:
  explicit JsonBuilder(JsonDocument& document)
      : document_(document), texts_(document.GetAllocator()) {}

  /// An object, whose members are those that `addMembers` adds.
  template <typename AddMembers>
  void object(AddMembers addMembers) {
    const rapidjson::SizeType outerMembers = std::exchange(members_, 0);
    document_.StartObject();
    addMembers();
    document_.EndObject(std::exchange(members_, outerMembers));
  }

  /// An array with what `addItem` adds for each of `items`: one value.
  template <typename Items, typename AddItem>
  void array(const Items& items, AddItem addItem) {
    document_.StartArray();
    for (const auto& item : items) addItem(item);
    document_.EndArray(jsonSize(items.size()));
  }

  /// Begins a member; its value follows.
  void key(std::string_view name) {
    ++members_;
    document_.Key(name.data(), jsonSize(name.size()), false);
  }

  void member(std::string_view name, uint64_t number) {
    key(name);
    document_.Uint64(number);
  }

  void member(std::string_view name, std::string_view text) {
    key(name);
    document_.String(text.data(), jsonSize(text.size()), false);
  }

  /// A member whose text is copied.
  void memberCopied(std::string_view name, std::string_view text) {
    member(name, texts_.store(text));
  }

 private:
  JsonDocument& document_;
  PooledTexts texts_;
  rapidjson::SizeType members_ = 0;  // of the object that is being built
};

}  // namespace ryx::profiling

#endif
