// SPDX-License-Identifier: Apache-2.0
// An upper bound of the bytes that a record takes, added up before anything of it is built.

#ifndef RYX_STREAM_SIZE_BOUND_H
#define RYX_STREAM_SIZE_BOUND_H

#include <algorithm>
#include <cstdint>

namespace ryx::profiling {

/// Stays at kTooMany once it gets there: no chunk holds as much, and no sum overflows.
class SizeBound {
 public:
  static constexpr uint64_t kTooMany = uint64_t{1} << 32;

  void add(uint64_t bytes) { bytes_ = std::min(bytes_ + std::min(bytes, kTooMany), kTooMany); }

  /// A vector or text of so many bytes: with its count, terminator, padding, and the offset to it.
  void addArray(uint64_t bytes) {
    constexpr uint64_t kMaxArrayOverhead = 16;
    add(bytes);
    add(kMaxArrayOverhead);
  }

  [[nodiscard]] uint64_t bytes() const { return bytes_; }
  [[nodiscard]] bool isTooMany() const { return bytes_ >= kTooMany; }

 private:
  uint64_t bytes_ = 0;
};

}  // namespace ryx::profiling

#endif
