// Whether a run of bytes is a chunk that can be read in place.

#ifndef RYX_STREAM_CHUNK_VERIFIER_H
#define RYX_STREAM_CHUNK_VERIFIER_H

#include <cstddef>
#include <cstdint>

namespace ryx::profiling {

/// True when the `size` bytes at `data` are a FlatBuffer of the log's schema: every offset, text,
/// vector and scalar inside them, required fields present, tables nested at most kMaxTableDepth.
/// Alignment is not checked.
///
/// `presentBytes` is how many of them came from a file (fewer than `size` for a chunk that the end
/// of the file cut short). A chunk is also refused when it visits more tables than that: a tree of
/// tables takes at least 8 bytes for each, so only tables shared many times over, or a tail that is
/// not there, can exceed it, and would cost memory out of all proportion to the file.
[[nodiscard]] bool verifyChunk(const uint8_t* data, size_t size, size_t presentBytes);

[[nodiscard]] inline bool verifyChunk(const uint8_t* data, size_t size) {
  return verifyChunk(data, size, size);
}

}  // namespace ryx::profiling

#endif
