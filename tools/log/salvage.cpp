// What is known about a chunk whose size prefix cannot be trusted: its bytes verify in any buffer
// that begins where it does and is long enough. So its size is at least the smallest that verifies,
// and at most some padding more. Everything here follows from that:
//
//  - A chunk that verifies in far less than it announces may have swallowed the chunks behind it.
//  - A chunk whose prefix is gone is tried in ever larger buffers, and what verifies must end where
//    another chunk begins, or before one that a search finds.
//  - A search takes every place where a prefix and the tables behind it are possible, and verifies
//    there; what is found by chance is short and cannot hide the chunk that comes next.
//
// Where a prefix is intact, and leads to another chunk or to the end of the file, nothing is
// searched: bytes that a payload carries may well be a log of their own.

#include "log/salvage.h"

#include <algorithm>

#include "log/chunk_search.h"
#include "stream/chunk_verifier.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

/// Builders leave at most so many bytes behind the last table of a chunk.
constexpr uint64_t kMaxPadding = 15;

/// How many damaged chunks behind a damaged one a size may lead over to be trusted. Small numbers
/// are everywhere: what is no size leads on, too, if it may lead far enough.
constexpr int kMaxHops = 1;

constexpr uint64_t kSmallestFramed = kSizePrefixBytes + kMinChunkBytes;

/// A chunk without a prefix is first tried within so many bytes.
constexpr uint64_t kFirstTryBytes = 1 << 20;
/// A header alone does not verify in more than this, or is none.
constexpr uint64_t kMaxHeaderBytes = 1 << 20;
constexpr uint64_t kFirstGrowth = 1 << 16;

// An ordinary chunk is verified twice; one without a prefix some twenty times. Files made for it
// cannot cost more than this many times their size.
constexpr uint64_t kMaxWorkFactor = 64;
constexpr uint64_t kMinWork = 1 << 26;
constexpr uint64_t kScanSpeed = 8;  // bytes looked at in the time of one that is verified

}  // namespace

Salvage::Salvage(RandomAccessFile& file, SalvageSink& sink) : file_(file), sink_(sink) {}

bool Salvage::run() {
  while (position_ < file_.size()) {
    const uint64_t chunkBytes = framedBytes(file_, position_);
    const bool isGood = chunkBytes > 0 && verifies(position_ + kSizePrefixBytes, chunkBytes);
    if (!(isGood ? keepFramed(chunkBytes) : passDamage()) || file_.error()) return false;
  }
  return !file_.error();
}

/// Keeps the chunk at the position; where its prefix turns out to be damaged, only up to the chunk
/// behind it.
bool Salvage::keepFramed(uint64_t chunkBytes) {
  const uint64_t start = position_ + kSizePrefixBytes;
  const uint64_t end = start + chunkBytes;
  const bool isFollowed = leadsOn(end, 0);
  const bool mayHoldAnother = chunkBytes >= kSmallestFramed + kMinChunkBytes &&
                              verifies(start, chunkBytes - kSmallestFramed);
  if ((!isFollowed || mayHoldAnother) && maySearch()) {
    const uint64_t usedEnd = start + smallestSize(start, chunkBytes);
    const auto near = startBehind(usedEnd);
    const uint64_t next = near ? *near : findFramed(usedEnd, end);
    if (next < end) return keep({start, next}, false);
    if (!isFollowed && isOverlapped(start, end)) return passDamage();
  }
  return keep({start, end}, true);
}

bool Salvage::keep(Range bytes, bool isFramed) {
  const uint64_t size = bytes.end - bytes.start;
  if (!load(bytes.start, size)) return false;
  const SalvagedChunk chunk{
      {position_, bytes.end - position_}, buffer_.data(), static_cast<size_t>(size), isFramed};
  position_ = bytes.end;
  largestChunk_ = std::max(largestChunk_, size);
  return sink_.keep(chunk);
}

bool Salvage::passDamage() {
  if (passFramedDamage(0)) return true;
  const uint64_t start = position_ + kSizePrefixBytes;
  std::optional<Range> chunk;
  if (!isOverlapped(start, start + framedBytes(file_, position_))) {
    chunk = unframedChunk();
    if (!chunk && passFramedDamage(kMaxHops)) return true;
  }
  if (!chunk) {
    if (nextFramed_ <= position_) nextFramed_ = findFramed(position_ + 1, file_.size());
    chunk = unframedChunkWithin(nextFramed_);
  }
  if (chunk) return keep(*chunk, false);
  if (file_.error()) return false;
  loseUntil(nextFramed_, false);
  return true;
}

/// Passes a damaged chunk whose prefix leads on.
bool Salvage::passFramedDamage(int hops) {
  const RandomAccessFile::View prefix = file_.view(position_);
  if (prefix.size < kSizePrefixBytes) return false;
  const uint64_t behindPrefix = position_ + kSizePrefixBytes;
  const uint64_t announced = decodeSizePrefix(prefix.data);
  if (announced > file_.size() - behindPrefix) return false;
  const uint64_t next = behindPrefix + announced;
  if (!leadsOn(next, hops)) return false;
  loseUntil(next, true);
  return true;
}

/// The chunk at the position, whose prefix is damaged or has lost bytes, if what verifies ends
/// where another chunk begins.
std::optional<Salvage::Range> Salvage::unframedChunk() {
  const uint64_t tryBytes = std::max(kFirstTryBytes, 2 * largestChunk_);
  const uint64_t tryEnd = position_ + std::min(tryBytes, file_.size() - position_);
  for (uint64_t prefixBytes = kSizePrefixBytes + 1; prefixBytes-- > 0;) {
    const uint64_t start = position_ + prefixBytes;
    const auto size = smallestWithin(start, tryEnd);
    if (!size) continue;
    if (const auto next = startBehind(start + *size)) return Range{start, *next};
  }
  return std::nullopt;
}

/// The same if what verifies ends before `end`, where the next chunk is known to begin.
std::optional<Salvage::Range> Salvage::unframedChunkWithin(uint64_t end) {
  for (uint64_t prefixBytes = kSizePrefixBytes + 1; prefixBytes-- > 0;) {
    const uint64_t start = position_ + prefixBytes;
    const auto size = smallestWithin(start, end);
    if (!size) continue;
    const uint64_t usedEnd = start + *size;
    if (const auto next = startBehind(usedEnd)) return Range{start, std::min(*next, end)};
    if (end - usedEnd <= kMaxPadding) return Range{start, end};
    // Headers alone are easily met by chance.
    if (lookAtChunk(file_, start, end - start) == ChunkLook::Messages) return Range{start, usedEnd};
  }
  return std::nullopt;
}

void Salvage::loseUntil(uint64_t end, bool isOneChunk) {
  const RandomAccessFile::View prefix = file_.view(position_);
  const uint64_t present = file_.size() - position_;
  LostStretch lost{{position_, end - position_}, {}, isOneChunk};
  if (present < kSizePrefixBytes) {
    lost.reason = damageText(DamageKind::TrailingBytes, 0, present);
  } else if (prefix.size >= kSizePrefixBytes) {
    const uint64_t announced = decodeSizePrefix(prefix.data);
    const uint64_t presentBytes = std::min(announced, present - kSizePrefixBytes);
    lost.reason = damageText(judgeSizes(announced, presentBytes), announced, presentBytes);
  }
  position_ = end;
  sink_.lose(lost);
}

/// Makes `buffer_` hold `size` bytes from `start` on.
bool Salvage::load(uint64_t start, uint64_t size) {
  if (start != bufferStart_) buffer_.clear();
  bufferStart_ = start;
  const size_t held = buffer_.size();
  if (size <= held) return true;
  buffer_.resize(static_cast<size_t>(size));
  if (file_.read(start + held, buffer_.data() + held, buffer_.size() - held)) return true;
  buffer_.clear();
  return false;
}

bool Salvage::verifies(uint64_t start, uint64_t size) {
  if (!load(start, size)) return false;
  work_ += size;
  return verifyChunk(buffer_.data(), static_cast<size_t>(size));
}

/// A size in which a chunk at `start`, with something in it, verifies before `end`: the first of a
/// growing series.
std::optional<uint64_t> Salvage::sizeWithin(uint64_t start, uint64_t end) {
  if (start >= end) return std::nullopt;
  uint64_t limit = std::min(end - start, kMaxChunkBytes);
  const ChunkLook look = lookAtChunk(file_, start, limit);
  if (look == ChunkLook::None) return std::nullopt;
  if (look == ChunkLook::Header) limit = std::min(limit, kMaxHeaderBytes);
  uint64_t size = std::min(kFirstGrowth, limit);
  while (maySearch() && !verifies(start, size)) {
    if (size == limit) return std::nullopt;
    size += std::min(size, limit - size);
  }
  return maySearch() ? std::optional(size) : std::nullopt;
}

std::optional<uint64_t> Salvage::smallestWithin(uint64_t start, uint64_t end) {
  const auto size = sizeWithin(start, end);
  return size ? std::optional(smallestSize(start, *size)) : std::nullopt;
}

/// The smallest size in which the chunk at `start` verifies, which it does in `size`.
uint64_t Salvage::smallestSize(uint64_t start, uint64_t size) {
  uint64_t tooSmall = kMinChunkBytes - 1;
  while (size - tooSmall > 1) {
    const uint64_t middle = tooSmall + (size - tooSmall) / 2;
    (verifies(start, middle) ? size : tooSmall) = middle;
  }
  return size;
}

/// Whether a chunk with messages begins at `offset`, by the looks of it. Its prefix may be damaged.
bool Salvage::looksLikeMessages(uint64_t offset) {
  if (lookAtFramedChunk(file_, offset) == ChunkLook::Messages) return true;
  if (file_.size() - offset < kSmallestFramed) return false;
  const uint64_t start = offset + kSizePrefixBytes;
  const uint64_t size = std::min(file_.size() - start, kMaxChunkBytes);
  return lookAtChunk(file_, start, size) == ChunkLook::Messages;
}

/// Whether a chunk begins at `offset`, by the looks of it. A header alone counts where it leads on.
bool Salvage::looksLikeStart(uint64_t offset) {
  if (looksLikeMessages(offset)) return true;
  if (lookAtFramedChunk(file_, offset) == ChunkLook::None) return false;
  const uint64_t end = offset + kSizePrefixBytes + framedBytes(file_, offset);
  return end == file_.size() || looksLikeMessages(end);
}

/// Whether a chunk begins at `offset`, or the file ends there, or sizes lead from there to such a
/// place past at most `hops` damaged chunks.
bool Salvage::leadsOn(uint64_t offset, int hops) {
  for (; offset < file_.size() && !looksLikeStart(offset); --hops) {
    const uint64_t bytes = framedBytes(file_, offset);
    if (hops == 0 || bytes == 0) return false;
    offset += kSizePrefixBytes + bytes;
  }
  return true;
}

/// Where the next chunk begins, or the file ends, if only padding is between there and `end`.
std::optional<uint64_t> Salvage::startBehind(uint64_t end) {
  for (uint64_t next = end; next <= std::min(end + kMaxPadding, file_.size()); ++next)
    if (leadsOn(next, 0)) return next;
  return std::nullopt;
}

/// The first chunk whose prefix is intact and lies from `begin` on and before `end`; `end` when
/// there is none.
uint64_t Salvage::findFramed(uint64_t begin, uint64_t end) {
  for (uint64_t place = begin; place < end; ++place) {
    place = skip(place, end);
    if (place == end || isFoundChunk(place)) return place;
  }
  return end;
}

/// The next place before `end` where a chunk may begin; `end` when there is none, or searching is
/// given up.
uint64_t Salvage::skip(uint64_t begin, uint64_t end) {
  const uint64_t place = maySearch() ? skipToPossibleChunk(file_, begin, end) : end;
  work_ += (place - begin) / kScanSpeed;
  return place;
}

/// Whether a chunk begins between `begin` and `end`, ends behind them, and leads on. What claims
/// the bytes from `begin` to `end` and leads nowhere has then lost some of its own.
bool Salvage::isOverlapped(uint64_t begin, uint64_t end) {
  for (uint64_t place = begin; place < end; ++place) {
    place = skip(place, end);
    if (place == end) break;
    const uint64_t placeEnd = place + kSizePrefixBytes + framedBytes(file_, place);
    if (placeEnd > end && leadsOn(placeEnd, 0) && isFoundChunk(place)) return true;
  }
  return false;
}

/// Whether what a search met is a chunk.
bool Salvage::isFoundChunk(uint64_t offset) {
  if (lookAtFramedChunk(file_, offset) == ChunkLook::None || !looksLikeStart(offset)) return false;
  const uint64_t start = offset + kSizePrefixBytes;
  return sizeWithin(start, start + framedBytes(file_, offset)).has_value();
}

bool Salvage::maySearch() {
  const uint64_t work = work_ + file_.fetchedBytes();
  if (work / kMaxWorkFactor > std::max(file_.size(), kMinWork / kMaxWorkFactor)) gaveUp_ = true;
  return !gaveUp_ && !file_.error();
}

}  // namespace ryx::profiling
