// SPDX-License-Identifier: Apache-2.0
// A log has no marks to find its chunks by: each is known by the size before it alone, and a
// damaged size loses all that follows. What helps is that a chunk's bytes verify in any buffer that
// begins where it does and is long enough: the true size is the smallest that verifies, or up to 15
// bytes of padding more. Everything here follows from that.
//
// The plan, for the chunk at the position:
//
//   1. Its prefix is possible and its bytes verify: it is kept. If it verifies in far less, its
//      prefix may be too large, and the chunks after it may be within its bytes. It is if one of
//      them is found there; then the chunk ends before it.
//   2. It does not verify: its prefix is damaged, or its bytes are. The prefix is suspected first:
//      the bytes after it, or after the 0 to 3 bytes that are left of it, are tried in ever larger
//      buffers. If they verify, and a successor begins where they end, they are kept with that
//      size: the chunk is mended. Two finds speak against that, and are called rivals. A successor
//      exactly where the prefix leads: the prefix is intact then, and the bytes are damaged. A
//      chunk that begins before the place where the prefix leads and ends after it: bytes of this
//      chunk are missing then, so that its prefix leads too far. A rival within a payload of what
//      verifies is none.
//   3. Its prefix leads to a successor: it is lost, as one chunk. Without a rival, the prefix is
//      also trusted if it leads there past one more damaged chunk.
//   4. Else a search finds the next chunk: it takes every place where a prefix and the tables
//      after it are possible, and verifies there. The bytes before it are tried once more, now
//      that their end is known, and lost if they do not verify.
//
//   prefix     bytes    successor                    outcome
//   good       good     found                        kept
//   good       good     none                         kept, unless a chunk overlaps its end
//   too large  good     found after what they need   mended: the chunk ends there
//   good       damaged  found                        lost, exactly this chunk
//   good       damaged  found past a damaged one     lost, exactly this chunk
//   good       damaged  none                         lost up to the next chunk that is found
//   damaged    good     found after what they need   mended
//   damaged    good     none                         mended if it has messages
//   damaged    damaged  -                            lost up to the next chunk that is found
//
// A successor is a place that looks like a chunk's start, or the end of the file. Payloads may hold
// logs: their chunks are not chunks of this log, and are not taken for such where the chunk around
// them verifies, or its prefix is intact.
//
// Every guess is paid for out of one budget, a multiple of the file's size (`maySearch`), because a
// file can be made in which each byte looks like the start of a chunk. Whatever verifies or scans
// has to add to `work_`, or such a file takes quadratic time. Chunks whose prefix is intact are not
// searched for, but a few bytes may take the verifier half a minute; all of them together get about
// what it grants one.

#include "salvage/salvage.h"

#include <algorithm>
#include <ctime>

#include "profile_log_generated.h"
#include "salvage/chunk_probe.h"
#include "stream/chunk_verifier.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

/// Builders leave at most so many bytes after the last table of a chunk.
constexpr uint64_t kMaxPadding = 15;

/// How many damaged chunks after a damaged one a prefix may lead past to be trusted. Small numbers
/// are everywhere: what is no prefix leads on, too, if it may lead far enough.
constexpr int kMaxHops = 1;

/// How many bytes of a prefix may be left, the likeliest first.
constexpr uint64_t kPrefixesLeft[] = {4, 3, 2, 1, 0};

constexpr uint64_t kSmallestFramed = kSizePrefixBytes + kMinChunkBytes;

/// What a table and the offset that leads to it take at least.
constexpr uint64_t kMinTableBytes = 8;

/// How far a chunk without a prefix is tried. The first tries go far; after some that found
/// nothing, a log of small chunks no longer pays for that at each damaged place.
constexpr uint64_t kTryBytes = 1 << 20;
constexpr uint64_t kLargeTryBytes = 64 << 20;
constexpr int kMaxLargeTries = 4;
/// What probes as a header without messages, and does not verify in this, is taken for none.
constexpr uint64_t kMaxHeaderBytes = 1 << 20;
constexpr uint64_t kFirstGrowth = 1 << 16;

// What searching may cost for each byte of the file, in bytes verified. An intact chunk is verified
// twice, one without a prefix some twenty times; a file made for it, without a limit, as often as
// it has bytes.
constexpr uint64_t kMaxWorkFactor = 64;
constexpr uint64_t kMaxAroundFactor = 8;  // of these, for chunkAround
constexpr uint64_t kMinWork = 1 << 26;
constexpr uint64_t kScanSpeed = 8;  // bytes scanned in the time of one that is verified

Salvage::CpuTime cpuTime() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

/// Whether the bytes are all in the payload of one of the events, at any depth.
bool isPayloadAround(const flatbuffers::Vector<flatbuffers::Offset<Event>>* events,
                     const uint8_t* begin, const uint8_t* end) {
  if (events == nullptr) return false;
  for (const Event* event : *events) {
    const auto* payload = event->bytes_value();
    if (payload != nullptr && payload->Data() <= begin && payload->Data() + payload->size() >= end)
      return true;
    if (isPayloadAround(event->nested_events(), begin, end)) return true;
  }
  return false;
}

bool isPayloadAround(const LogChunk& chunk, const uint8_t* begin, const uint8_t* end) {
  if (chunk.messages() == nullptr) return false;
  for (const Message* message : *chunk.messages())
    if (isPayloadAround(message->events(), begin, end)) return true;
  return false;
}

}  // namespace

Salvage::Salvage(RandomAccessFile& file, SalvageSink& sink, CpuTime maxSharingTime)
    : file_(file), sink_(sink), maxSharingTime_(maxSharingTime) {}

Status Salvage::run() {
  while (position_ < file_.size()) {
    const auto announced = framedBytes(file_, position_);
    const bool isGood = announced && isSound(*announced);
    if (Status status = isGood ? keepFramed(*announced) : passDamage(); !status) return status;
    // A failing read looks like damage to all of the above, and would be passed as such.
    if (!file_.status()) break;
  }
  return file_.status();
}

/// Whether all that the prefix at the position announces verifies.
bool Salvage::isSound(uint64_t announced) {
  if (!load(position_ + kSizePrefixBytes, announced)) return false;
  const auto size = static_cast<size_t>(announced);
  // Nearly every chunk passes, or has a damage that is met soon.
  const auto fewTables = static_cast<uint32_t>(announced / kMinTableBytes);
  if (verifyChunk(buffer_.data(), size, fewTables)) return true;
  if (sharingTime_ >= maxSharingTime_) gaveUpSharing_ = true;
  if (gaveUpSharing_) return false;
  // How many tables the verifier has visited, it does not tell; so the time is taken.
  const CpuTime before = cpuTime();
  const bool isGood = verifyChunk(buffer_.data(), size);
  sharingTime_ += cpuTime() - before;
  return isGood;
}

/// Keeps the chunk at the position: all that its prefix announces, or where that has turned out to
/// be too much, what is before its successor.
Status Salvage::keepFramed(uint64_t announced) {
  const uint64_t start = position_ + kSizePrefixBytes;
  const uint64_t end = start + announced;
  const bool isFollowed = leadsOn(end, 0);
  const bool mayHoldAnother =
      announced >= kSmallestFramed + kMinChunkBytes && verifies(start, announced - kSmallestFramed);
  if ((!isFollowed || mayHoldAnother) && maySearch()) {
    const uint64_t usedEnd = start + smallestSize(start, announced);
    const auto near = startAfter(usedEnd);
    const uint64_t next = near ? *near : findFramed(usedEnd, end);
    if (next < end) return keep({start, next}, false);
    if (!isFollowed && overlappingChunk(start, end)) return passDamage();
  }
  return keep({start, end}, true);
}

Status Salvage::keep(Range bytes, bool isFramed) {
  const uint64_t size = bytes.end - bytes.start;
  if (!load(bytes.start, size)) return file_.status();
  const SalvagedChunk chunk{
      {position_, bytes.end - position_}, buffer_.data(), static_cast<size_t>(size), isFramed};
  position_ = bytes.end;
  largestChunk_ = std::max(largestChunk_, size);
  return sink_.keep(chunk);
}

Status Salvage::passDamage() {
  const uint64_t start = position_ + kSizePrefixBytes;
  const uint64_t announcedEnd = start + framedBytes(file_, position_).value_or(0);
  const bool isFollowed = announcedEnd > start && leadsOn(announcedEnd, 0);
  const auto rival = isFollowed ? announcedEnd : overlappingChunk(start, announcedEnd);
  auto chunk = rival ? chunkAround(*rival) : unframedChunk();
  if (!chunk && (isFollowed || !rival) && passFramedDamage(isFollowed ? 0 : kMaxHops)) return {};
  if (!chunk) {
    if (nextFramed_ <= position_) nextFramed_ = findFramed(position_ + 1, file_.size());
    chunk = unframedChunkWithin(nextFramed_);
  }
  if (chunk) return keep(*chunk, false);
  if (file_.status()) loseUntil(nextFramed_, false);
  return file_.status();
}

/// Passes a damaged chunk whose prefix leads to a successor, past at most `hops` other damaged
/// ones.
bool Salvage::passFramedDamage(int hops) {
  const RandomAccessFile::View prefix = file_.view(position_);
  if (prefix.size < kSizePrefixBytes) return false;
  const uint64_t afterPrefix = position_ + kSizePrefixBytes;
  const uint64_t announced = decodeSizePrefix(prefix.data);
  if (announced > file_.size() - afterPrefix) return false;
  const uint64_t next = afterPrefix + announced;
  if (!leadsOn(next, hops)) return false;
  loseUntil(next, true);
  return true;
}

/// The chunk at the position, whose prefix is damaged or has lost bytes, if what verifies ends
/// where another chunk begins.
std::optional<Salvage::Range> Salvage::unframedChunk() {
  const bool isLargeTry = largeTries_ < kMaxLargeTries;
  const uint64_t tryBytes = std::max(isLargeTry ? kLargeTryBytes : kTryBytes, 2 * largestChunk_);
  const uint64_t tryEnd = position_ + std::min(tryBytes, file_.size() - position_);
  for (const uint64_t prefixBytes : kPrefixesLeft) {
    const uint64_t start = position_ + prefixBytes;
    const auto size = smallestWithin(start, tryEnd);
    if (!size) continue;
    if (const auto next = startAfter(start + *size)) return Range{start, *next};
  }
  if (isLargeTry && tryEnd - position_ > kTryBytes) ++largeTries_;
  return std::nullopt;
}

/// As `unframedChunk`, where the prefix leads to `rival`, or into it. What verifies counts only if
/// it has the rival in a payload: of two chunks that claim the same bytes, one is not there.
std::optional<Salvage::Range> Salvage::chunkAround(uint64_t rival) {
  if (aroundWork_ / kMaxAroundFactor > file_.size()) return std::nullopt;
  const uint64_t before = work_;
  auto chunk = unframedChunk();
  if (chunk && (!isInPayload(*chunk, rival) || isPrefixBelieved(*chunk, rival))) chunk.reset();
  aroundWork_ += work_ - before;
  return chunk;
}

/// `chunk` verifies around `rival`, where its prefix leads. Either that prefix is damaged, or the
/// length of a payload in the chunk is, which makes it swallow the chunks after it. The latter is
/// assumed where the chunks from `rival` on end exactly where `chunk` does, unless the prefix is
/// one flipped bit away from the size of `chunk`: such a bit is as likely as the other.
bool Salvage::isPrefixBelieved(Range chunk, uint64_t rival) {
  const uint64_t announced = rival - chunk.start;
  const uint64_t differing = announced ^ (chunk.end - chunk.start);
  const bool differsInOneBit = (differing & (differing - 1)) == 0;
  if (differsInOneBit || framedBytes(file_, position_) != announced) return false;
  uint64_t next = rival;
  while (next < chunk.end && framedBytes(file_, next)) next = frameEnd(next);
  return next == chunk.end;
}

/// As `unframedChunk`, where the next chunk is known to begin at `end`. Not all bytes up to there
/// need to be the chunk's: those after it are judged next.
std::optional<Salvage::Range> Salvage::unframedChunkWithin(uint64_t end) {
  for (const uint64_t prefixBytes : kPrefixesLeft) {
    const uint64_t start = position_ + prefixBytes;
    const auto size = smallestWithin(start, end);
    if (!size) continue;
    const uint64_t usedEnd = start + *size;
    if (const auto next = startAfter(usedEnd)) return Range{start, std::min(*next, end)};
    if (end - usedEnd <= kMaxPadding) return Range{start, end};
    // Headers alone are easily met by chance.
    if (probeChunk(file_, start, end - start) == ChunkProbe::Messages) return Range{start, usedEnd};
  }
  return std::nullopt;
}

void Salvage::loseUntil(uint64_t end, bool isOneChunk) {
  const RandomAccessFile::View prefix = file_.view(position_);
  const uint64_t present = file_.size() - position_;
  LostRange lost{{position_, end - position_}, {}, isOneChunk};
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

/// Makes `buffer_` hold at least `size` bytes from `start` on. What it holds from there already is
/// not read again: growing tries read each byte once.
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

/// Whether `size` bytes from `start` on verify with no more tables than fit into them side by side.
/// A chunk that names its tables many times over can take any time to verify, and is taken only
/// where its prefix is intact.
bool Salvage::verifies(uint64_t start, uint64_t size) {
  if (!load(start, size)) return false;
  work_ += size;
  const auto maxTables = static_cast<uint32_t>(size / kMinTableBytes);
  return verifyChunk(buffer_.data(), static_cast<size_t>(size), maxTables);
}

/// A size, ending at `end` at most, in which the chunk at `start` verifies and is not empty. Sizes
/// are doubled, so that all tries together cost little more than twice the last.
std::optional<uint64_t> Salvage::sizeWithin(uint64_t start, uint64_t end) {
  if (start >= end) return std::nullopt;
  uint64_t limit = std::min(end - start, kMaxChunkBytes);
  const ChunkProbe probe = probeChunk(file_, start, limit);
  if (probe == ChunkProbe::None) return std::nullopt;
  if (probe == ChunkProbe::Header) limit = std::min(limit, kMaxHeaderBytes);
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

/// Where the chunk at `offset` ends by its prefix, which is possible.
uint64_t Salvage::frameEnd(uint64_t offset) {
  return offset + kSizePrefixBytes + framedBytes(file_, offset).value_or(0);
}

/// Whether a probe finds a chunk with messages at `offset`. Its prefix may be damaged.
bool Salvage::looksLikeMessages(uint64_t offset) {
  if (probeFramedChunk(file_, offset) == ChunkProbe::Messages) return true;
  if (file_.size() - offset < kSmallestFramed) return false;
  const uint64_t start = offset + kSizePrefixBytes;
  const uint64_t size = std::min(file_.size() - start, kMaxChunkBytes);
  return probeChunk(file_, start, size) == ChunkProbe::Messages;
}

/// Whether probes find a chunk at `offset`. A header alone counts where it leads on.
bool Salvage::looksLikeStart(uint64_t offset) {
  if (looksLikeMessages(offset)) return true;
  if (probeFramedChunk(file_, offset) == ChunkProbe::None) return false;
  const uint64_t end = frameEnd(offset);
  return end == file_.size() || looksLikeMessages(end);
}

/// Whether a chunk begins at `offset`, or the file ends there, or sizes lead from there to such a
/// place past at most `hops` damaged chunks.
bool Salvage::leadsOn(uint64_t offset, int hops) {
  for (; offset < file_.size() && !looksLikeStart(offset); --hops) {
    if (hops == 0 || !framedBytes(file_, offset)) return false;
    offset = frameEnd(offset);
  }
  return true;
}

/// Where the next chunk begins, or the file ends: at `end`, or after the padding that follows it.
std::optional<uint64_t> Salvage::startAfter(uint64_t end) {
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

/// A chunk that begins from `begin` on and before `end`, ends after `end`, and leads on. It tells
/// that the chunk which claims these bytes has lost some of its own, and its successors have moved
/// up.
std::optional<uint64_t> Salvage::overlappingChunk(uint64_t begin, uint64_t end) {
  for (uint64_t place = begin; place < end; ++place) {
    place = skip(place, end);
    if (place == end) break;
    const uint64_t placeEnd = frameEnd(place);
    if (placeEnd > end && leadsOn(placeEnd, 0) && isFoundChunk(place)) return place;
  }
  return std::nullopt;
}

/// Whether all of the chunk whose prefix is at `framed` is in one payload of `chunk`, which
/// verifies.
bool Salvage::isInPayload(Range chunk, uint64_t framed) {
  const uint64_t end = frameEnd(framed);
  if (framed < chunk.start || end > chunk.end || !load(chunk.start, chunk.end - chunk.start))
    return false;
  work_ += chunk.end - chunk.start;
  const uint8_t* begin = buffer_.data() + (framed - chunk.start);
  return isPayloadAround(*flatbuffers::GetRoot<LogChunk>(buffer_.data()), begin,
                         begin + (end - framed));
}

/// Whether what a search met is a chunk.
bool Salvage::isFoundChunk(uint64_t offset) {
  if (probeFramedChunk(file_, offset) == ChunkProbe::None || !looksLikeStart(offset)) return false;
  return sizeWithin(offset + kSizePrefixBytes, frameEnd(offset)).has_value();
}

bool Salvage::maySearch() {
  const uint64_t work = work_ + file_.fetchedBytes();
  if (work / kMaxWorkFactor > std::max(file_.size(), kMinWork / kMaxWorkFactor)) gaveUp_ = true;
  return !gaveUp_ && file_.status().isGood();
}

}  // namespace ryx::profiling
