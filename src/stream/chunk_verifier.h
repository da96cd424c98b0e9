// SPDX-License-Identifier: Apache-2.0
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
/// A chunk may name one table or text many times over, so that a few thousand bytes stand for
/// billions of events. The only limit on that is the verifier's own, of kMaxTables visits, which
/// takes a minute to reach: whoever walks what verifies needs limits of memory and time.
[[nodiscard]] bool verifyChunk(const uint8_t* data, size_t size);

/// As above, and no more than `maxTables` of them visited.
[[nodiscard]] bool verifyChunk(const uint8_t* data, size_t size, uint32_t maxTables);

}  // namespace ryx::profiling

#endif
