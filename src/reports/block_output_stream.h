// SPDX-License-Identifier: Apache-2.0
// A RapidJSON output stream that writes a file in large blocks instead of single characters.
//
// A report of millions of events is hundreds of MB of JSON, nearly all of it indentation and plain
// text. Both come in runs of characters, so this stream takes whole runs; RapidJSON finds the
// operations for that by the names that it expects: `PutN` and the two specialisations below.
//
// Turned down: a second block, which a thread writes while the first is filled. It saves a tenth of
// the time of a report, at the price of a thread in the host's process that nobody asked for, and
// that may fail to start.

#ifndef RYX_REPORTS_BLOCK_OUTPUT_STREAM_H
#define RYX_REPORTS_BLOCK_OUTPUT_STREAM_H

#include <rapidjson/prettywriter.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "base/descriptor.h"
#include "base/status.h"
#include "reader/ryx_profile_log_reader_gpu.h"

namespace ryx::profiling {

/// `finish` has to be called at the end: what is still in the block is lost on destruction.
class BlockOutputStream {
 public:
  using Ch = char;

  /// The most bytes that can be put as one run.
  static constexpr size_t kRunBytes = 32;

  /// Writes to `descriptor`, which stays the caller's.
  explicit BlockOutputStream(int descriptor) : descriptor_(descriptor) {}

  void Put(char c) {
    reserveRun();
    *next_++ = static_cast<Byte>(c);
  }

  void PutN(char c, size_t count) {
    for (size_t part; count > 0; count -= part) {
      // Always a whole run: with a constant size, memset is a few stores and no call. What is too
      // much is overwritten by what comes next.
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
  /// Returns how many.
  size_t putPlain(const char* text, size_t size) {
    reserveRun();
    if (size > room()) writeBlock();
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

  /// Puts `c` in place of the character put last. There has to be one that is still in the block:
  /// the first character of all always is.
  void replaceLast(char c) { next_[-1] = static_cast<Byte>(c); }

  /// Called by RapidJSON at the end of each value at the root. More may come, so nothing is
  /// written.
  void Flush() {}

  /// Writes what is left. Fails when this or any writing before it did.
  [[nodiscard]] Status finish() {
    writeBlock();
    return status_;
  }

 private:
  /// Not char: a char may alias any object. After each store through a char pointer the compiler
  /// would have to load `next_` again.
  enum class Byte : uint8_t {};

  /// The storage has room for one more run, so that a run never has to be split.
  static constexpr size_t kBlockBytes = size_t{1} << 20;

  [[nodiscard]] size_t room() const { return static_cast<size_t>(end_ - next_); }
  void reserveRun() {
    if (next_ >= end_) writeBlock();
  }
  void writeBlock() {
    if (status_)
      status_ = writeAll(descriptor_, block_.get(), static_cast<size_t>(next_ - block_.get()));
    next_ = block_.get();
  }

  static bool isPlain(char c) { return static_cast<uint8_t>(c) >= 0x20 && c != '"' && c != '\\'; }

  /// Whether one of eight characters is not plain. A byte that is below a limit borrows from its
  /// highest bit when the limit is taken from it. So does one that is a quote or a backslash,
  /// once an exclusive or has turned it to 0.
  static bool hasByteToEscape(uint64_t word) {
    constexpr uint64_t kOnes = 0x0101010101010101;
    const auto hasByteBelow = [](uint64_t bytes, uint64_t limit) {
      return (bytes - kOnes * limit) & ~bytes & kOnes << 7;
    };
    return (hasByteBelow(word, 0x20) | hasByteBelow(word ^ kOnes * '"', 1) |
            hasByteBelow(word ^ kOnes * '\\', 1)) != 0;
  }

  const int descriptor_;
  Status status_;
  const std::unique_ptr<Byte[]> block_{new Byte[kBlockBytes + kRunBytes]};
  Byte* next_ = block_.get();
  Byte* const end_ = next_ + kBlockBytes;
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
