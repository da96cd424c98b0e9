// SPDX-License-Identifier: Apache-2.0
// Finding what is intact in a damaged log.

#ifndef RYX_SALVAGE_SALVAGE_H
#define RYX_SALVAGE_SALVAGE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/random_access_file.h"
#include "base/status.h"

namespace ryx::profiling {

/// Bytes of the damaged file, from `offset` on.
struct ByteRange {
  uint64_t offset = 0;
  uint64_t bytes = 0;
};

/// A chunk that verifies. `place` has its size prefix, or what is left of it, and its bytes.
struct SalvagedChunk {
  ByteRange place;
  const uint8_t* data = nullptr;  ///< its bytes, until the call that takes the chunk returns
  size_t size = 0;
  bool isFramed = true;  ///< its size prefix is intact
};

struct LostRange {
  ByteRange place;
  std::string reason;
  bool isOneChunk = false;  ///< its prefix is intact: exactly one chunk
};

/// Why nothing is written of a log that nothing was found in.
constexpr char kNothingKeptText[] = "nothing in it can be kept";

/// Takes what salvage finds, in the order of the file. Together the places cover the file.
class SalvageSink {
 public:
  virtual ~SalvageSink() = default;
  /// A failure ends salvage.
  virtual Status keep(const SalvagedChunk& chunk) = 0;
  virtual void lose(const LostRange& lost) = 0;
};

class Salvage {
 public:
  using CpuTime = std::chrono::nanoseconds;

  /// What the verifier takes for as many tables as it lets one chunk have, or somewhat more.
  static constexpr CpuTime kMaxSharingTime = std::chrono::seconds(40);

  /// Both must outlive this object. When verifying chunks that name tables many times over has
  /// taken `maxSharingTime` in all, the chunk at hand is judged, and those after it that share so
  /// much are lost.
  Salvage(RandomAccessFile& file, SalvageSink& sink, CpuTime maxSharingTime = kMaxSharingTime);

  /// Goes through the whole file. Fails as the sink did, or with the system's reason alone where
  /// the file cannot be read.
  Status run();

  /// Whether searching was given up, after too many places that looked like chunks and were none,
  /// or verifying chunks that share tables. Chunks may then have been missed.
  [[nodiscard]] bool gaveUp() const { return gaveUp_ || gaveUpSharing_; }

 private:
  /// Where the bytes of a chunk are, its prefix not among them.
  struct Range {
    uint64_t start = 0;
    uint64_t end = 0;
  };

  [[nodiscard]] bool isSound(uint64_t announced);
  Status keepFramed(uint64_t announced);
  Status keep(Range bytes, bool isFramed);
  Status passDamage();
  [[nodiscard]] bool passFramedDamage(int hops);
  [[nodiscard]] std::optional<Range> unframedChunk();
  [[nodiscard]] std::optional<Range> chunkAround(uint64_t rival);
  [[nodiscard]] std::optional<Range> unframedChunkWithin(uint64_t end);
  void loseUntil(uint64_t end, bool isOneChunk);

  [[nodiscard]] bool load(uint64_t start, uint64_t size);
  [[nodiscard]] bool verifies(uint64_t start, uint64_t size);
  [[nodiscard]] std::optional<uint64_t> sizeWithin(uint64_t start, uint64_t end);
  [[nodiscard]] std::optional<uint64_t> smallestWithin(uint64_t start, uint64_t end);
  [[nodiscard]] uint64_t smallestSize(uint64_t start, uint64_t size);
  [[nodiscard]] uint64_t frameEnd(uint64_t offset);
  [[nodiscard]] bool looksLikeMessages(uint64_t offset);
  [[nodiscard]] bool looksLikeStart(uint64_t offset);
  [[nodiscard]] bool leadsOn(uint64_t offset, int hops);
  [[nodiscard]] std::optional<uint64_t> startAfter(uint64_t end);
  [[nodiscard]] uint64_t findFramed(uint64_t begin, uint64_t end);
  [[nodiscard]] std::optional<uint64_t> overlappingChunk(uint64_t begin, uint64_t end);
  [[nodiscard]] bool isInPayload(Range chunk, uint64_t framed);
  [[nodiscard]] bool isPrefixBelieved(Range chunk, uint64_t rival);
  [[nodiscard]] uint64_t skip(uint64_t begin, uint64_t end);
  [[nodiscard]] bool isFoundChunk(uint64_t offset);
  [[nodiscard]] bool maySearch();

  RandomAccessFile& file_;
  SalvageSink& sink_;
  uint64_t position_ = 0;
  std::vector<uint8_t> buffer_;  ///< the file's bytes from bufferStart_ on
  uint64_t bufferStart_ = 0;
  uint64_t largestChunk_ = 0;
  int largeTries_ = 0;       ///< those that found nothing
  uint64_t aroundWork_ = 0;  ///< the part of work_ that looked for chunks around others
  /// Up to where no framed chunk begins, as a search has found; of no use once the position is
  /// there.
  uint64_t nextFramed_ = 0;
  uint64_t work_ = 0;  ///< what searching cost so far, in bytes verified
  const CpuTime maxSharingTime_;
  CpuTime sharingTime_{0};
  bool gaveUpSharing_ = false;
  bool gaveUp_ = false;
};

}  // namespace ryx::profiling

#endif
