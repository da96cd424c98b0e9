// SPDX-License-Identifier: Apache-2.0
// The log's framing and limits, shared by everything that reads or writes logs.
//
// A log is a sequence of chunks: a byte count (unsigned 32-bit, little-endian), then that many
// bytes holding one FlatBuffer whose root is the table LogChunk. Nothing else is in the file.

#ifndef RYX_STREAM_LOG_FORMAT_H
#define RYX_STREAM_LOG_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace ryx::profiling {

/// Bytes of the count in front of every chunk.
constexpr size_t kSizePrefixBytes = 4;

/// The smallest chunk that verifies: the root's offset, its vtable, and the table.
constexpr uint64_t kMinChunkBytes = 12;

/// The largest chunk that verifies: FlatBuffers' offsets are signed 32-bit numbers.
constexpr uint64_t kMaxChunkBytes = 2147483646;

/// The deepest nesting of tables that verifies: the chunk is 1, a message 2, its events 3.
constexpr uint32_t kMaxTableDepth = 64;

/// The most tables that verify, each counted as often as it is named. With the largest number of 32
/// bits as its limit, the verifier's count would wrap around instead of exceeding it.
constexpr uint32_t kMaxTables = 4294967294;

/// The chunk's byte count, from the first kSizePrefixBytes bytes at `prefix`.
constexpr uint32_t decodeSizePrefix(const uint8_t* prefix) {
  return uint32_t{prefix[0]} | uint32_t{prefix[1]} << 8 | uint32_t{prefix[2]} << 16 |
         uint32_t{prefix[3]} << 24;
}

/// Writes `chunkBytes` to the kSizePrefixBytes bytes at `prefix`.
constexpr void encodeSizePrefix(uint32_t chunkBytes, uint8_t* prefix) {
  for (size_t i = 0; i < kSizePrefixBytes; ++i)
    prefix[i] = static_cast<uint8_t>(chunkBytes >> (8 * i));
}

}  // namespace ryx::profiling

#endif
