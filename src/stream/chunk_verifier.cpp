#include "stream/chunk_verifier.h"

#include "profile_log_generated.h"
#include "stream/log_format.h"

namespace ryx::profiling {

bool verifyChunk(const uint8_t* data, size_t size, size_t presentBytes) {
  // The verifier asserts on larger buffers, and these bytes come from a file.
  if (size > kMaxChunkBytes) return false;
  flatbuffers::Verifier::Options options;
  options.max_depth = kMaxTableDepth;
  options.max_tables = static_cast<flatbuffers::uoffset_t>(presentBytes);
  options.check_alignment = false;
  flatbuffers::Verifier verifier(data, size, options);
  return verifier.VerifyBuffer<LogChunk>(nullptr);
}

}  // namespace ryx::profiling
