// Finding what is good in a damaged log.

#ifndef RYX_LOG_SALVAGE_H
#define RYX_LOG_SALVAGE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "log/random_access_file.h"

namespace ryx::profiling {

/// A stretch of the damaged file, from `offset` on.
struct Stretch {
  uint64_t offset = 0;
  uint64_t bytes = 0;
};

/// A chunk that verifies. `place` has its size prefix, or what is left of it, and its bytes.
struct SalvagedChunk {
  Stretch place;
  const uint8_t* data = nullptr;  ///< its bytes, until the call that takes the chunk returns
  size_t size = 0;
  bool isFramed = true;  ///< its size prefix is intact
};

struct LostStretch {
  Stretch place;
  std::string reason;
  bool isOneChunk = false;  ///< framing is intact: exactly one chunk, or the end of the file
};

/// Takes what salvage finds, in the order of the file. Together the places cover the file.
class SalvageSink {
 public:
  virtual ~SalvageSink() = default;
  /// False stops salvage.
  [[nodiscard]] virtual bool keep(const SalvagedChunk& chunk) = 0;
  virtual void lose(const LostStretch& stretch) = 0;
};

class Salvage {
 public:
  /// Both must outlive this object.
  Salvage(RandomAccessFile& file, SalvageSink& sink);

  /// Goes through the whole file. False when the sink stopped it or the file could not be read,
  /// which the file then tells.
  [[nodiscard]] bool run();

  /// Whether the bytes looked so much like chunks, without being any, that looking for more of them
  /// was given up: chunks may have been left behind.
  [[nodiscard]] bool gaveUp() const { return gaveUp_; }

 private:
  /// Where the bytes of a chunk are, its prefix not among them.
  struct Range {
    uint64_t start = 0;
    uint64_t end = 0;
  };

  [[nodiscard]] bool keepFramed(uint64_t chunkBytes);
  [[nodiscard]] bool keep(Range bytes, bool isFramed);
  [[nodiscard]] bool passDamage();
  [[nodiscard]] bool passFramedDamage(int hops);
  [[nodiscard]] std::optional<Range> unframedChunk();
  [[nodiscard]] std::optional<Range> unframedChunkWithin(uint64_t end);
  void loseUntil(uint64_t end, bool isOneChunk);

  [[nodiscard]] bool load(uint64_t start, uint64_t size);
  [[nodiscard]] bool verifies(uint64_t start, uint64_t size);
  [[nodiscard]] std::optional<uint64_t> sizeWithin(uint64_t start, uint64_t end);
  [[nodiscard]] std::optional<uint64_t> smallestWithin(uint64_t start, uint64_t end);
  [[nodiscard]] uint64_t smallestSize(uint64_t start, uint64_t size);
  [[nodiscard]] bool looksLikeMessages(uint64_t offset);
  [[nodiscard]] bool looksLikeStart(uint64_t offset);
  [[nodiscard]] bool leadsOn(uint64_t offset, int hops);
  [[nodiscard]] std::optional<uint64_t> startBehind(uint64_t end);
  [[nodiscard]] uint64_t findFramed(uint64_t begin, uint64_t end);
  [[nodiscard]] bool isOverlapped(uint64_t begin, uint64_t end);
  [[nodiscard]] uint64_t skip(uint64_t begin, uint64_t end);
  [[nodiscard]] bool isFoundChunk(uint64_t offset);
  [[nodiscard]] bool maySearch();

  RandomAccessFile& file_;
  SalvageSink& sink_;
  uint64_t position_ = 0;
  std::vector<uint8_t> buffer_;  ///< the file's bytes from bufferStart_ on
  uint64_t bufferStart_ = 0;
  uint64_t largestChunk_ = 0;
  /// No framed chunk is to be found between the position and this one, if it is ahead.
  uint64_t nextFramed_ = 0;
  uint64_t work_ = 0;  ///< what searching cost so far, in bytes verified
  bool gaveUp_ = false;
};

}  // namespace ryx::profiling

#endif
