// SPDX-License-Identifier: Apache-2.0
// Fuzz target: the input is a file to be salvaged. Salvage ends, accounts for every byte, and keeps
// only what verifies. Where the input is an intact log, each of its chunks is damaged in turn, and
// all others must come back.

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/descriptor.h"
#include "fuzz/require.h"
#include "salvage/chunk_probe.h"
#include "salvage/salvage.h"
#include "stream/chunk_verifier.h"
#include "stream/log_format.h"

namespace {

using namespace ryx::profiling;
using ryx::fuzz::require;

/// What is in memory, under a path.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes) : memory_(memfd_create("fuzzed.log", MFD_CLOEXEC)) {
    require(ryx::writeAll(memory_.get(), bytes.data(), bytes.size()).isGood(), "memory is there");
    require(file_.open("/proc/self/fd/" + std::to_string(memory_.get())).isGood(), "it opens");
  }
  [[nodiscard]] ryx::RandomAccessFile& get() { return file_; }

 private:
  ryx::Descriptor memory_;
  ryx::RandomAccessFile file_;
};

class Found : public SalvageSink {
 public:
  ryx::Status keep(const SalvagedChunk& chunk) override {
    require(verifyChunk(chunk.data, chunk.size), "what is kept verifies");
    cover(chunk.place);
    chunks.emplace_back(reinterpret_cast<const char*>(chunk.data), chunk.size);
    return {};
  }
  void lose(const LostRange& lost) override { cover(lost.place); }

  std::vector<std::string> chunks;
  uint64_t covered = 0;

 private:
  void cover(const ByteRange& place) {
    require(place.offset == covered && place.bytes > 0, "the places cover the file in order");
    covered += place.bytes;
  }
};

std::vector<std::string> salvaged(std::string_view bytes) {
  MemoryFile file(bytes);
  Found found;
  require(Salvage(file.get(), found).run().isGood(), "salvage ends well");
  require(found.covered == bytes.size(), "every byte is accounted for");
  return found.chunks;
}

/// Whether a chunk verifies without its end, which could be another chunk then: no builder leaves
/// so much after the last table.
bool hasRoomForAnother(const uint8_t* bytes, uint64_t size) {
  constexpr uint64_t kSmallest = kSizePrefixBytes + kMinChunkBytes;
  return size >= kSmallest + kMinChunkBytes &&
         verifyChunk(bytes, static_cast<size_t>(size - kSmallest));
}

/// Where the chunks of a log are whose every chunk has messages and ends with them; nothing for any
/// other input.
std::vector<size_t> chunkOffsets(std::string_view log) {
  std::vector<size_t> offsets;
  MemoryFile file(log);
  for (size_t at = 0; at < log.size();) {
    const auto size = framedBytes(file.get(), at);
    const auto* bytes = reinterpret_cast<const uint8_t*>(log.data()) + at + kSizePrefixBytes;
    if (!size || probeFramedChunk(file.get(), at) != ChunkProbe::Messages ||
        !verifyChunk(bytes, static_cast<size_t>(*size)) || hasRoomForAnother(bytes, *size))
      return {};
    offsets.push_back(at);
    at += kSizePrefixBytes + static_cast<size_t>(*size);
  }
  return offsets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kMaxChunks = 16;
  const std::string log(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> sound = salvaged(log);
  const std::vector<size_t> offsets = chunkOffsets(log);
  if (offsets.empty() || offsets.size() > kMaxChunks) return 0;
  require(sound.size() == offsets.size(), "a sound log is kept whole");
  for (size_t i = 0; i < offsets.size(); ++i) {
    std::string damaged = log;
    damaged.replace(offsets[i] + kSizePrefixBytes, 4, 4, '\x7F');  // where the root would be
    std::vector<std::string> expected = sound;
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(i));
    require(salvaged(damaged) == expected, "all chunks but the damaged one come back");
  }
  return 0;
}
