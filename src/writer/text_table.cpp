// SPDX-License-Identifier: Apache-2.0
// The hash is a plain fast one without a key: the table's sets are bounded, so a bad hash costs
// repeated texts, never time. It is for this process alone, and never stored.

#include "writer/text_table.h"

#include <cstring>

namespace ryx::profiling {
namespace {

constexpr size_t kWordBytes = sizeof(uint64_t);

uint64_t load(const char* bytes, size_t size = kWordBytes) {
  uint64_t word = 0;
  std::memcpy(&word, bytes, size);
  return word;
}

uint64_t mix(uint64_t hash, uint64_t word) {
  constexpr uint64_t kOddConstant = 0x9E3779B97F4A7C15;
  hash = (hash ^ word) * kOddConstant;
  return hash ^ hash >> 32;
}

}  // namespace

// Two sums side by side, which a processor works on at once. Words at the end may overlap.
uint64_t TextTable::hashOf(std::string_view text) {
  if (text.size() < kWordBytes)
    return mix(text.size(), text.empty() ? 0 : load(text.data(), text.size()));
  const char* const lastWord = text.data() + text.size() - kWordBytes;
  uint64_t even = text.size();
  uint64_t odd = load(lastWord);
  const char* word = text.data();
  for (; lastWord - word > static_cast<ptrdiff_t>(kWordBytes); word += 2 * kWordBytes) {
    even = mix(even, load(word));
    odd = mix(odd, load(word + kWordBytes));
  }
  if (word < lastWord) even = mix(even, load(word));
  return mix(even, odd);
}

}  // namespace ryx::profiling
