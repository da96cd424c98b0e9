// A RapidJSON output stream that hands a std::ostream large blocks instead of single characters.
//
// A report of millions of events is hundreds of MB of JSON, nearly all of it indentation and plain
// text. Both come in runs, so the stream takes runs; RapidJSON finds these functions by its own
// names for them. While one block is filled the other is written, on a thread of its own where
// there is one to be had: handing the blocks to the file system takes half as long as filling them.

#ifndef RYX_REPORTS_BLOCK_OUTPUT_STREAM_H
#define RYX_REPORTS_BLOCK_OUTPUT_STREAM_H

#include <rapidjson/prettywriter.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <ostream>
#include <utility>

#include "reader/ryx_profile_log_reader_gpu.h"

namespace ryx::profiling {

/// `os` must outlive the stream, and is the stream's alone until `Flush` returns. What has been put
/// is written out by `Flush`, not on destruction.
class BlockOutputStream {
 public:
  using Ch = char;

  /// The most bytes that can be put as one run.
  static constexpr size_t kRunBytes = 32;

  explicit BlockOutputStream(std::ostream& os) : os_(os) {}

  void Put(char c) {
    reserveRun();
    *next_++ = static_cast<Byte>(c);
  }

  void PutN(char c, size_t count) {
    for (size_t part; count > 0; count -= part) {
      // Always a whole run, which takes no call; what is too much is overwritten.
      std::memset(run(), c, kRunBytes);
      part = std::min(count, kRunBytes);
      endRun(part);
    }
  }

  /// Where up to kRunBytes bytes can be written; `endRun` says how many were.
  char* run() {
    reserveRun();
    return reinterpret_cast<char*>(next_);
  }
  void endRun(size_t size) { next_ += size; }

  /// Puts the characters of `text` up to the first that a JSON string has to escape, or fewer.
  /// Answers how many.
  size_t putPlain(const char* text, size_t size) {
    reserveRun();
    if (size > room()) exchangeBlocks();
    size = std::min(size, room());
    char* const at = reinterpret_cast<char*>(next_);
    size_t done = 0;
    for (uint64_t word; size - done >= sizeof word; done += sizeof word) {
      std::memcpy(&word, text + done, sizeof word);
      if (hasByteToEscape(word)) break;
      std::memcpy(at + done, &word, sizeof word);
    }
    for (; done < size && isPlain(text[done]); ++done) at[done] = text[done];
    next_ += done;
    return done;
  }

  void Flush() {
    finishWriting();
    write(block_, size());
    next_ = block_.get();
  }

 private:
  /// A type of its own: to the compiler, a char that is written may be part of anything, of the
  /// pointer to the next one, too, which it would fetch anew for each.
  enum class Byte : uint8_t {};

  static constexpr size_t kBlockBytes = size_t{1024} * 1024;  // and a run behind it

  using Block = std::unique_ptr<Byte[]>;

  static Block newBlock() { return Block(new Byte[kBlockBytes + kRunBytes]); }

  [[nodiscard]] std::ptrdiff_t size() const { return next_ - block_.get(); }
  [[nodiscard]] size_t room() const { return static_cast<size_t>(end_ - next_); }
  void reserveRun() {
    if (next_ >= end_) exchangeBlocks();
  }

  /// Begins to write the block, and goes on in the other.
  void exchangeBlocks() {
    finishWriting();
    const std::ptrdiff_t fullSize = size();
    std::swap(block_, fullBlock_);
    next_ = block_.get();
    end_ = next_ + kBlockBytes;
    // Where no thread can be had, the block is written when the next one is full.
    writing_ = std::async(std::launch::async | std::launch::deferred,
                          [this, fullSize] { write(fullBlock_, fullSize); });
  }
  void finishWriting() {
    if (writing_.valid()) writing_.get();
  }
  void write(const Block& block, std::ptrdiff_t size) {
    os_.write(reinterpret_cast<const char*>(block.get()), size);
  }

  static bool isPlain(char c) { return static_cast<uint8_t>(c) >= 0x20 && c != '"' && c != '\\'; }

  /// The same for eight characters at once.
  static bool hasByteToEscape(uint64_t word) {
    constexpr uint64_t kOnes = 0x0101010101010101;
    const auto hasByteBelow = [](uint64_t bytes, uint64_t limit) {
      return (bytes - kOnes * limit) & ~bytes & kOnes << 7;
    };
    return (hasByteBelow(word, 0x20) | hasByteBelow(word ^ kOnes * '"', 1) |
            hasByteBelow(word ^ kOnes * '\\', 1)) != 0;
  }

  std::ostream& os_;
  Block block_ = newBlock();
  Block fullBlock_ = newBlock();
  Byte* next_ = block_.get();
  Byte* end_ = next_ + kBlockBytes;
  std::future<void> writing_;  // last, so that it has ended before the rest is destroyed
};

/// How RapidJSON writes indentation.
inline void PutN(BlockOutputStream& stream, char c, size_t count) { stream.PutN(c, count); }

using JsonPrettyWriter = rapidjson::PrettyWriter<BlockOutputStream, rapidjson::UTF8<>,
                                                 rapidjson::UTF8<>, ThrowingJsonAllocator>;

}  // namespace ryx::profiling

namespace rapidjson {

/// How RapidJSON writes the part of a text up to the next character that it has to escape. False at
/// the end of the text.
template <>
inline bool
Writer<ryx::profiling::BlockOutputStream, UTF8<>, UTF8<>, ryx::profiling::ThrowingJsonAllocator>::
    ScanWriteUnescapedString(GenericStringStream<UTF8<>>& text, size_t length) {
  text.src_ += os_->putPlain(text.src_, length - text.Tell());
  return text.Tell() < length;
}

/// How RapidJSON writes a number.
template <>
inline bool Writer<ryx::profiling::BlockOutputStream, UTF8<>, UTF8<>,
                   ryx::profiling::ThrowingJsonAllocator>::WriteUint64(uint64_t number) {
  char* const digits = os_->run();
  os_->endRun(static_cast<size_t>(internal::u64toa(number, digits) - digits));
  return true;
}

}  // namespace rapidjson

#endif
