// SPDX-License-Identifier: Apache-2.0
// Where the texts of the chunk that is being built stand, so that one that repeats is written once.
//
// A text's hash names a set of four places; a new text takes the first and pushes the set's oldest
// out. So finding costs the same whatever the texts are: names that collide, by chance or because
// somebody chose them so (they may come from a model that a stranger made), are written more often
// than they need be, and that is all. A hash table without a bound would be there to be attacked.

#ifndef RYX_WRITER_TEXT_TABLE_H
#define RYX_WRITER_TEXT_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ryx::profiling {

class TextTable {
 public:
  /// Where a text stands in the chunk, counted from the chunk's end; 0 is nowhere.
  using Place = uint32_t;

  TextTable() : sets_(kSets) {}

  /// The place of a text that equals `text`, or 0. `textAt(place)` is the text at a place that was
  /// remembered since `clear`.
  template <typename TextAt>
  [[nodiscard]] Place find(std::string_view text, uint64_t hash, TextAt textAt) const {
    for (const Entry& entry : setOf(hash))
      if (entry.chunk == chunk_ && entry.tag == tagOf(hash) && textAt(entry.place) == text)
        return entry.place;
    return 0;
  }

  void remember(uint64_t hash, Place place) {
    Set& set = sets_[hash % kSets];
    for (size_t i = set.size() - 1; i > 0; --i) set[i] = set[i - 1];
    set[0] = {place, tagOf(hash), chunk_};
  }

  /// Forgets all places: a new chunk begins.
  void clear() {
    if (++chunk_ != 0) return;
    sets_.assign(kSets, Set());
    chunk_ = 1;
  }

  [[nodiscard]] static uint64_t hashOf(std::string_view text);

 private:
  struct Entry {
    Place place = 0;
    uint16_t tag = 0;
    uint16_t chunk = 0;  ///< entries of other chunks count as empty
  };
  using Set = std::array<Entry, 4>;
  /// 128 KiB: about as many texts as a chunk of the default size can hold.
  static constexpr size_t kSets = 4096;

  [[nodiscard]] const Set& setOf(uint64_t hash) const { return sets_[hash % kSets]; }
  [[nodiscard]] static uint16_t tagOf(uint64_t hash) { return static_cast<uint16_t>(hash >> 48); }

  std::vector<Set> sets_;
  uint16_t chunk_ = 1;
};

}  // namespace ryx::profiling

#endif
