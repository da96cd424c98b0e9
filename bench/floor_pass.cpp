// SPDX-License-Identifier: Apache-2.0
// Nothing is done with a chunk but what no reader can leave out: it is read, and verified once. So
// a reader's time by this one's tells what the reader itself costs, on any machine and for a log of
// any size.

#include "bench/floor_pass.h"

#include "stream/chunk_file.h"
#include "stream/chunk_verifier.h"

namespace ryx::bench {

std::optional<size_t> countVerifiedChunks(const std::string& path) {
  using profiling::ChunkRead;
  profiling::ChunkFile file;
  if (!file.open(path)) return std::nullopt;
  size_t chunks = 0;
  for (;;) {
    switch (file.readNext()) {
      case ChunkRead::EndOfFile: return chunks;
      case ChunkRead::Failed: return std::nullopt;
      case ChunkRead::Chunk: break;
    }
    const auto& bytes = *file.bytes();
    if (!profiling::verifyChunk(bytes.data(), bytes.size())) return std::nullopt;
    ++chunks;
  }
}

}  // namespace ryx::bench
