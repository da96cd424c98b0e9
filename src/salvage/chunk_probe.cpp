// SPDX-License-Identifier: Apache-2.0
// A chunk begins with the offset of its root table, and each table with the distance to a vtable
// that has the offsets of its fields. Bytes that are no chunk fail one of these bounds after a few
// loads. The probe follows them to the header and to some of the messages, spread over the list so
// that a long one costs no more than a short one, and checks only what the verifier would refuse as
// well.
//
// Nothing is known of the bytes: every number is read through ChunkNumbers, which is where the
// bounds are. A check that is stricter than the verifier would make salvage miss intact chunks; one
// that is too lenient only costs the time of a verification. `skipToPossibleChunk` alone is
// stricter, on purpose: it expects the root where builders put it.

#include "salvage/chunk_probe.h"

#include <algorithm>

#include "profile_log_generated.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

constexpr uint64_t kOffsetBytes = 4;
constexpr uint64_t kVtableStart = 4;            // its own size and the table's
constexpr uint64_t kMaxSearchedRoot = 1 << 16;  // builders put the root to the front
constexpr uint64_t kMaxSamples = 8;             // of the messages of a chunk

uint32_t decode16(const uint8_t* bytes) { return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8; }

/// The numbers of a chunk, at places counted from its start. Empty outside of it.
class ChunkNumbers {
 public:
  ChunkNumbers(RandomAccessFile& file, uint64_t start, uint64_t size)
      : file_(file), start_(start), size_(size) {}

  [[nodiscard]] uint64_t size() const { return size_; }

  std::optional<uint32_t> get16(uint64_t at) { return get(at, 2, decode16); }
  std::optional<uint32_t> get32(uint64_t at) { return get(at, 4, decodeSizePrefix); }

  /// Where the offset at `at` leads.
  std::optional<uint64_t> follow(uint64_t at) {
    const auto offset = get32(at);
    if (!offset || *offset == 0 || *offset >= size_ - at) return std::nullopt;
    return at + *offset;
  }

 private:
  template <typename Decode>
  std::optional<uint32_t> get(uint64_t at, size_t bytes, Decode decode) {
    if (at > size_ || size_ - at < bytes) return std::nullopt;
    const RandomAccessFile::View view = file_.view(start_ + at);
    if (view.size < bytes) return std::nullopt;
    return decode(view.data);
  }

  RandomAccessFile& file_;
  uint64_t start_;
  uint64_t size_;
};

/// A table of a chunk whose vtable is in bounds.
class ProbedTable {
 public:
  static std::optional<ProbedTable> at(ChunkNumbers& numbers, uint64_t position) {
    const auto distance = numbers.get32(position);
    if (!distance) return std::nullopt;
    const int64_t vtable = static_cast<int64_t>(position) - static_cast<int32_t>(*distance);
    if (vtable < 0) return std::nullopt;
    const auto vtableStart = static_cast<uint64_t>(vtable);
    const auto bytes = numbers.get16(vtableStart);
    if (!bytes || *bytes < kVtableStart || *bytes % 2 != 0 || *bytes > numbers.size() - vtableStart)
      return std::nullopt;
    return ProbedTable(position, vtableStart, *bytes);
  }

  /// Where the field is, if it is present. `slot` is the generated code's VT_ constant.
  std::optional<uint64_t> field(ChunkNumbers& numbers, uint32_t slot) const {
    if (slot >= vtableBytes_) return std::nullopt;
    const auto offset = numbers.get16(vtable_ + slot);
    return offset && *offset > 0 ? std::optional(position_ + *offset) : std::nullopt;
  }

  /// Whether the field, which must be there, leads to a table.
  bool hasTable(ChunkNumbers& numbers, uint32_t slot) const {
    const auto place = field(numbers, slot);
    const auto table = place ? numbers.follow(*place) : std::nullopt;
    return table && at(numbers, *table);
  }

 private:
  ProbedTable(uint64_t position, uint64_t vtable, uint32_t vtableBytes)
      : position_(position), vtable_(vtable), vtableBytes_(vtableBytes) {}

  uint64_t position_;
  uint64_t vtable_;
  uint32_t vtableBytes_;
};

bool isMessage(ChunkNumbers& numbers, uint64_t position) {
  const auto message = ProbedTable::at(numbers, position);
  return message && message->hasTable(numbers, Message::VT_TIMESTAMP) &&
         message->hasTable(numbers, Message::VT_TIMING);
}

/// Probes the vector of messages that the offset at `place` leads to.
ChunkProbe probeMessages(ChunkNumbers& numbers, uint64_t place, ChunkProbe withoutMessages) {
  const auto vector = numbers.follow(place);
  const auto count = vector ? numbers.get32(*vector) : std::nullopt;
  if (!count) return ChunkProbe::None;
  if (*count == 0) return withoutMessages;
  const uint64_t first = *vector + kOffsetBytes;
  if (*count > (numbers.size() - first) / kOffsetBytes) return ChunkProbe::None;
  const uint64_t samples = std::min<uint64_t>(*count, kMaxSamples);
  for (uint64_t i = 0; i < samples; ++i) {
    const auto message = numbers.follow(first + *count * i / samples * kOffsetBytes);
    if (!message || !isMessage(numbers, *message)) return ChunkProbe::None;
  }
  return ChunkProbe::Messages;
}

bool isPossibleRoot(uint32_t rootOffset, uint64_t size) {
  return rootOffset >= kOffsetBytes && rootOffset <= size - kOffsetBytes;
}

}  // namespace

ChunkProbe probeChunk(RandomAccessFile& file, uint64_t start, uint64_t size) {
  if (size < kMinChunkBytes) return ChunkProbe::None;
  ChunkNumbers numbers(file, start, size);
  const auto rootOffset = numbers.get32(0);
  if (!rootOffset || !isPossibleRoot(*rootOffset, size)) return ChunkProbe::None;
  const auto root = ProbedTable::at(numbers, *rootOffset);
  if (!root) return ChunkProbe::None;

  ChunkProbe withoutMessages = ChunkProbe::None;
  if (root->field(numbers, LogChunk::VT_HEADER)) {
    if (!root->hasTable(numbers, LogChunk::VT_HEADER)) return ChunkProbe::None;
    withoutMessages = ChunkProbe::Header;
  }
  const auto messages = root->field(numbers, LogChunk::VT_MESSAGES);
  return messages ? probeMessages(numbers, *messages, withoutMessages) : withoutMessages;
}

std::optional<uint64_t> framedBytes(RandomAccessFile& file, uint64_t offset) {
  const RandomAccessFile::View view = file.view(offset);
  if (view.size < kSizePrefixBytes) return std::nullopt;
  const uint64_t announced = decodeSizePrefix(view.data);
  const uint64_t present = file.size() - offset - kSizePrefixBytes;
  const bool isPossible =
      announced >= kMinChunkBytes && announced <= std::min(present, kMaxChunkBytes);
  return isPossible ? std::optional(announced) : std::nullopt;
}

ChunkProbe probeFramedChunk(RandomAccessFile& file, uint64_t offset) {
  const auto bytes = framedBytes(file, offset);
  return bytes ? probeChunk(file, offset + kSizePrefixBytes, *bytes) : ChunkProbe::None;
}

uint64_t skipToPossibleChunk(RandomAccessFile& file, uint64_t begin, uint64_t end) {
  constexpr size_t kStartBytes = kSizePrefixBytes + kOffsetBytes;
  constexpr uint64_t kSmallest = kSizePrefixBytes + kMinChunkBytes;
  if (file.size() < kSmallest) return end;
  const uint64_t stop = std::min(end, file.size() - kSmallest + 1);
  for (uint64_t place = begin; place < stop;) {
    const RandomAccessFile::View view = file.view(place);
    if (view.size < kStartBytes) return end;
    const size_t places =
        static_cast<size_t>(std::min<uint64_t>(view.size - kStartBytes + 1, stop - place));
    const uint64_t remaining = file.size() - place - kSizePrefixBytes;
    for (size_t i = 0; i < places; ++i) {
      const uint32_t size = decodeSizePrefix(view.data + i);
      if (size < kMinChunkBytes || size > kMaxChunkBytes || size > remaining - i) continue;
      const uint32_t root = decodeSizePrefix(view.data + i + kSizePrefixBytes);
      if (root <= kMaxSearchedRoot && isPossibleRoot(root, size)) return place + i;
    }
    place += places;
  }
  return end;
}

}  // namespace ryx::profiling
