// Telling at a glance whether a chunk begins somewhere: its root table, and what that leads to
// first, looked at in place. What writers make passes if it verifies and has something in it; bytes
// that are no chunk hardly ever do, so that whole files can be searched and few places verified.

#ifndef RYX_LOG_CHUNK_SEARCH_H
#define RYX_LOG_CHUNK_SEARCH_H

#include <cstdint>

#include "log/random_access_file.h"

namespace ryx::profiling {

enum class ChunkLook {
  None,      ///< does not verify, or is empty
  Header,    ///< may be a chunk with a header and no message
  Messages,  ///< may be a chunk with messages
};

/// What a chunk of `size` bytes, its prefix not among them, at `start` would be.
[[nodiscard]] ChunkLook lookAtChunk(RandomAccessFile& file, uint64_t start, uint64_t size);

/// The bytes that the prefix at `offset` announces, 0 where they are not within the file or too few
/// or many for a chunk.
[[nodiscard]] uint64_t framedBytes(RandomAccessFile& file, uint64_t offset);

/// What a chunk whose size prefix is at `offset` would be.
[[nodiscard]] ChunkLook lookAtFramedChunk(RandomAccessFile& file, uint64_t offset);

/// The first place from `begin` on and before `end` whose prefix is possible, with the root
/// near by; `end` when there is none.
[[nodiscard]] uint64_t skipToPossibleChunk(RandomAccessFile& file, uint64_t begin, uint64_t end);

}  // namespace ryx::profiling

#endif
