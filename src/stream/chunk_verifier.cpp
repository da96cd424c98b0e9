// SPDX-License-Identifier: Apache-2.0
// The verifier is FlatBuffers' own. Its options say what a log may be: whoever changes one changes
// which files are damaged. Alignment is not checked, because writers that finish a chunk together
// with its size prefix align it from there on, 4 bytes before the bytes that are verified.

#include "stream/chunk_verifier.h"

#include "profile_log_generated.h"
#include "stream/log_format.h"

namespace ryx::profiling {

bool verifyChunk(const uint8_t* data, size_t size) { return verifyChunk(data, size, kMaxTables); }

bool verifyChunk(const uint8_t* data, size_t size, uint32_t maxTables) {
  // The verifier asserts on larger buffers, and these bytes come from a file.
  if (size > kMaxChunkBytes) return false;
  flatbuffers::Verifier::Options options;
  options.max_depth = kMaxTableDepth;
  options.max_tables = maxTables;
  options.check_alignment = false;
  flatbuffers::Verifier verifier(data, size, options);
  return verifier.VerifyBuffer<LogChunk>(nullptr);
}

}  // namespace ryx::profiling
