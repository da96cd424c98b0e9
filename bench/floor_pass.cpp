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
    if (!profiling::verifyChunk(bytes.data(), bytes.size(), file.presentBytes()))
      return std::nullopt;
    ++chunks;
  }
}

}  // namespace ryx::bench
