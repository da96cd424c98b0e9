// SPDX-License-Identifier: Apache-2.0
// Telling from a few of a file's bytes whether a chunk may begin somewhere: its root table, and
// what that leads to first, followed in place. Whatever a writer makes passes, if it verifies and
// is not empty; bytes that are no chunk hardly ever do. So a whole file can be searched for chunks,
// and only few places need to be verified.

#ifndef RYX_SALVAGE_CHUNK_PROBE_H
#define RYX_SALVAGE_CHUNK_PROBE_H

#include <cstdint>
#include <optional>

#include "base/random_access_file.h"

namespace ryx::profiling {

enum class ChunkProbe {
  None,      ///< does not verify, or is empty
  Header,    ///< may be a chunk with a header and no message
  Messages,  ///< may be a chunk with messages
};

/// Probes for a chunk of `size` bytes, its prefix not among them, at `start`.
[[nodiscard]] ChunkProbe probeChunk(RandomAccessFile& file, uint64_t start, uint64_t size);

/// The bytes that the prefix at `offset` announces; nothing where they are not all in the file, or
/// too few or too many for a chunk.
[[nodiscard]] std::optional<uint64_t> framedBytes(RandomAccessFile& file, uint64_t offset);

/// Probes for a chunk whose size prefix is at `offset`.
[[nodiscard]] ChunkProbe probeFramedChunk(RandomAccessFile& file, uint64_t offset);

/// The first place from `begin` on and before `end` whose prefix is possible, with the root
/// nearby; `end` when there is none.
[[nodiscard]] uint64_t skipToPossibleChunk(RandomAccessFile& file, uint64_t begin, uint64_t end);

}  // namespace ryx::profiling

#endif
