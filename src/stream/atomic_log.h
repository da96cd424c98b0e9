// SPDX-License-Identifier: Apache-2.0
// A log that is written chunk by chunk and takes its place only when it is whole.

#ifndef RYX_STREAM_ATOMIC_LOG_H
#define RYX_STREAM_ATOMIC_LOG_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/atomic_file.h"
#include "base/status.h"

namespace ryx::profiling {

/// As AtomicFile, whose operations these are; failures read "cannot write PATH: REASON".
class AtomicLog {
 public:
  [[nodiscard]] Status open(const std::string& path) { return file_.open(path); }

  /// Appends a chunk of `size` bytes (at most kMaxChunkBytes) after its size prefix.
  [[nodiscard]] Status append(const uint8_t* chunk, size_t size);

  [[nodiscard]] Status commit() { return file_.commit(); }

 private:
  AtomicFile file_;
};

}  // namespace ryx::profiling

#endif
