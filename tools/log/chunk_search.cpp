#include "log/chunk_search.h"

#include <algorithm>
#include <optional>

#include "profile_log_generated.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

constexpr uint64_t kOffsetBytes = 4;
constexpr uint64_t kVtableStart = 4;            // its own size and the table's
constexpr uint64_t kMaxSearchedRoot = 1 << 16;  // builders write the root last, to the front
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
class LookedAtTable {
 public:
  static std::optional<LookedAtTable> at(ChunkNumbers& numbers, uint64_t position) {
    const auto distance = numbers.get32(position);
    if (!distance) return std::nullopt;
    const int64_t vtable = static_cast<int64_t>(position) - static_cast<int32_t>(*distance);
    if (vtable < 0) return std::nullopt;
    const auto vtableStart = static_cast<uint64_t>(vtable);
    const auto bytes = numbers.get16(vtableStart);
    if (!bytes || *bytes < kVtableStart || *bytes % 2 != 0 || *bytes > numbers.size() - vtableStart)
      return std::nullopt;
    return LookedAtTable(position, vtableStart, *bytes);
  }

  /// Where the field is, 0 when it is absent. `slot` is the generated code's VT_ constant.
  uint64_t field(ChunkNumbers& numbers, uint32_t slot) const {
    if (slot >= vtableBytes_) return 0;
    const auto offset = numbers.get16(vtable_ + slot);
    return offset && *offset > 0 ? position_ + *offset : 0;
  }

  /// Whether the field, which must be there, leads to a table.
  bool hasTable(ChunkNumbers& numbers, uint32_t slot) const {
    const uint64_t place = field(numbers, slot);
    if (place == 0) return false;
    const auto table = numbers.follow(place);
    return table && at(numbers, *table);
  }

 private:
  LookedAtTable(uint64_t position, uint64_t vtable, uint32_t vtableBytes)
      : position_(position), vtable_(vtable), vtableBytes_(vtableBytes) {}

  uint64_t position_;
  uint64_t vtable_;
  uint32_t vtableBytes_;
};

bool isMessage(ChunkNumbers& numbers, uint64_t position) {
  const auto message = LookedAtTable::at(numbers, position);
  return message && message->hasTable(numbers, Message::VT_TIMESTAMP) &&
         message->hasTable(numbers, Message::VT_TIMING);
}

/// Looks at the vector of messages that the offset at `place` leads to.
ChunkLook lookAtMessages(ChunkNumbers& numbers, uint64_t place, ChunkLook withoutMessages) {
  const auto vector = numbers.follow(place);
  const auto count = vector ? numbers.get32(*vector) : std::nullopt;
  if (!count) return ChunkLook::None;
  if (*count == 0) return withoutMessages;
  const uint64_t first = *vector + kOffsetBytes;
  if (*count > (numbers.size() - first) / kOffsetBytes) return ChunkLook::None;
  const uint64_t samples = std::min<uint64_t>(*count, kMaxSamples);
  for (uint64_t i = 0; i < samples; ++i) {
    const auto message = numbers.follow(first + *count * i / samples * kOffsetBytes);
    if (!message || !isMessage(numbers, *message)) return ChunkLook::None;
  }
  return ChunkLook::Messages;
}

bool isPossibleRoot(uint32_t rootOffset, uint64_t size) {
  return rootOffset >= kOffsetBytes && rootOffset <= size - kOffsetBytes;
}

}  // namespace

ChunkLook lookAtChunk(RandomAccessFile& file, uint64_t start, uint64_t size) {
  if (size < kMinChunkBytes) return ChunkLook::None;
  ChunkNumbers numbers(file, start, size);
  const auto rootOffset = numbers.get32(0);
  if (!rootOffset || !isPossibleRoot(*rootOffset, size)) return ChunkLook::None;
  const auto root = LookedAtTable::at(numbers, *rootOffset);
  if (!root) return ChunkLook::None;

  ChunkLook withoutMessages = ChunkLook::None;
  if (root->field(numbers, LogChunk::VT_HEADER) != 0) {
    if (!root->hasTable(numbers, LogChunk::VT_HEADER)) return ChunkLook::None;
    withoutMessages = ChunkLook::Header;
  }
  const uint64_t messages = root->field(numbers, LogChunk::VT_MESSAGES);
  return messages == 0 ? withoutMessages : lookAtMessages(numbers, messages, withoutMessages);
}

uint64_t framedBytes(RandomAccessFile& file, uint64_t offset) {
  const RandomAccessFile::View view = file.view(offset);
  if (view.size < kSizePrefixBytes) return 0;
  const uint64_t announced = decodeSizePrefix(view.data);
  const uint64_t present = file.size() - offset - kSizePrefixBytes;
  const bool isPossible =
      announced >= kMinChunkBytes && announced <= std::min(present, kMaxChunkBytes);
  return isPossible ? announced : 0;
}

ChunkLook lookAtFramedChunk(RandomAccessFile& file, uint64_t offset) {
  const uint64_t bytes = framedBytes(file, offset);
  return bytes == 0 ? ChunkLook::None : lookAtChunk(file, offset + kSizePrefixBytes, bytes);
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
