// SPDX-License-Identifier: Apache-2.0
#include "compression/decompression.h"

#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kGzipMark = "\x1F\x8B\x08";
constexpr std::string_view kZstandardMark = "\x28\xB5\x2F\xFD";
constexpr std::string_view kSkippableMark = "\x50\x2A\x4D\x18\x04\0\0\0"sv;

bool beginsWith(std::string_view bytes, std::string_view mark) {
  return bytes.substr(0, mark.size()) == mark;
}

/// Of gzip data, the four bytes after the mark and the flags are the time when it was compressed:
/// none, or one of this century. Of a log, they are the offset of the chunk's root.
bool isGzip(std::string_view firstBytes) {
  if (!beginsWith(firstBytes, kGzipMark) || firstBytes.size() < 2 * kSizePrefixBytes)
    return beginsWith(firstBytes, kGzipMark);
  const auto* bytes = reinterpret_cast<const uint8_t*>(firstBytes.data());
  const uint32_t chunkBytes = decodeSizePrefix(bytes);
  const uint32_t root = decodeSizePrefix(bytes + kSizePrefixBytes);
  return root < sizeof root || root >= chunkBytes;
}

/// What parallel compressors write has a frame of four bytes before each frame of data, which says
/// how long that is.
bool isZstandard(std::string_view firstBytes) {
  constexpr size_t kSkippableBytes = kSkippableMark.size() + 4;
  return beginsWith(firstBytes, kZstandardMark) ||
         (beginsWith(firstBytes, kSkippableMark) && firstBytes.size() > kSkippableBytes &&
          beginsWith(firstBytes.substr(kSkippableBytes), kZstandardMark));
}

/// The compressed bytes, from the first on.
class Input {
 public:
  explicit Input(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

  /// Reads until so many bytes are at hand, or the source ends.
  [[nodiscard]] Status peek(size_t count) {
    while (end_ < count && !isAtEnd_)
      if (Status status = fetch(); !status) return status;
    return {};
  }

  /// Makes sure that bytes are at hand, unless the source has ended.
  [[nodiscard]] Status refill() {
    if (begin_ < end_ || isAtEnd_) return {};
    begin_ = end_ = 0;
    return fetch();
  }

  [[nodiscard]] const uint8_t* data() const { return bytes_.data() + begin_; }
  [[nodiscard]] size_t size() const { return end_ - begin_; }
  void take(size_t count) { begin_ += count; }

  [[nodiscard]] bool isExhausted() const { return begin_ == end_ && isAtEnd_; }

  [[nodiscard]] std::string_view view() const {
    return {reinterpret_cast<const char*>(data()), size()};
  }

  /// What is at hand, and then straight from the source.
  [[nodiscard]] Result<size_t> read(uint8_t* destination, size_t size) {
    if (begin_ == end_) return source_->read(destination, size);
    const size_t count = std::min(size, end_ - begin_);
    std::copy_n(data(), count, destination);
    take(count);
    return count;
  }

 private:
  static constexpr size_t kBufferBytes = size_t{128} << 10;

  [[nodiscard]] Status fetch() {
    const Result<size_t> count = source_->read(bytes_.data() + end_, bytes_.size() - end_);
    if (!count) return count.status();
    isAtEnd_ = *count == 0;
    end_ += *count;
    return {};
  }

  std::unique_ptr<ByteSource> source_;
  std::vector<uint8_t> bytes_ = std::vector<uint8_t>(kBufferBytes);
  size_t begin_ = 0;
  size_t end_ = 0;
  bool isAtEnd_ = false;
};

class PlainSource : public ByteSource {
 public:
  explicit PlainSource(Input input) : input_(std::move(input)) {}

  [[nodiscard]] Result<size_t> read(uint8_t* destination, size_t size) override {
    return input_.read(destination, size);
  }

 private:
  Input input_;
};

// --- gzip ----------------------------------------------------------------------------------------

/// One or more members one after the other, and zeros after the last.
class GzipSource : public ByteSource {
 public:
  explicit GzipSource(Input input) : input_(std::move(input)) {
    constexpr int kGzipWindow = 15 + 16;
    if (inflateInit2(&stream_, kGzipWindow) != Z_OK) throw std::bad_alloc();
  }
  ~GzipSource() override { inflateEnd(&stream_); }

  [[nodiscard]] Result<size_t> read(uint8_t* destination, size_t size) override {
    size = std::min<size_t>(size, INT_MAX);
    for (;;) {
      if (Status status = input_.refill(); !status) return status;
      if (!isInMember_) skipPadding();
      if (input_.isExhausted()) {
        if (isInMember_) return Status::failure("the file's gzip data ends too early");
        return size_t{0};
      }
      if (input_.size() == 0) continue;
      Result<size_t> count = inflateSome(destination, size);
      if (!count || *count > 0) return count;
    }
  }

 private:
  void skipPadding() {
    while (isPadding_ && input_.size() > 0 && *input_.data() == 0) input_.take(1);
  }

  Result<size_t> inflateSome(uint8_t* destination, size_t size) {
    if (!isInMember_) inflateReset(&stream_);
    isInMember_ = true;
    stream_.next_in = const_cast<uint8_t*>(input_.data());  // which it only reads
    stream_.avail_in = static_cast<uInt>(input_.size());
    stream_.next_out = destination;
    stream_.avail_out = static_cast<uInt>(size);
    const int code = inflate(&stream_, Z_NO_FLUSH);
    input_.take(input_.size() - stream_.avail_in);
    if (code == Z_MEM_ERROR) throw std::bad_alloc();
    if (code == Z_STREAM_END) {
      isInMember_ = false;
      isPadding_ = true;
    } else if (code != Z_OK && code != Z_BUF_ERROR) {
      const std::string reason = stream_.msg != nullptr ? stream_.msg : "needs a dictionary";
      return Status::failure("the file's gzip data is damaged (" + reason + ")");
    }
    return size - stream_.avail_out;
  }

  Input input_;
  z_stream stream_ = {};
  bool isInMember_ = false;
  bool isPadding_ = false;  ///< zeros may follow: a member has ended
};

// --- Zstandard -----------------------------------------------------------------------------------

/// One or more frames one after the other.
class ZstandardSource : public ByteSource {
 public:
  explicit ZstandardSource(Input input) : input_(std::move(input)), stream_(ZSTD_createDStream()) {
    if (stream_ == nullptr) throw std::bad_alloc();
  }

  [[nodiscard]] Result<size_t> read(uint8_t* destination, size_t size) override {
    for (;;) {
      if (Status status = input_.refill(); !status) return status;
      if (input_.isExhausted() && !isInFrame_) return size_t{0};
      ZSTD_inBuffer in = {input_.data(), input_.size(), 0};
      ZSTD_outBuffer out = {destination, size, 0};
      const size_t code = ZSTD_decompressStream(stream_.get(), &out, &in);
      input_.take(in.pos);
      if (ZSTD_isError(code)) return failure(code);
      isInFrame_ = code != 0;
      if (out.pos > 0) return out.pos;
      if (input_.isExhausted() && isInFrame_)
        return Status::failure("the file's Zstandard data ends too early");
    }
  }

 private:
  static Status failure(size_t code) {
    switch (ZSTD_getErrorCode(code)) {
      case ZSTD_error_memory_allocation: throw std::bad_alloc();
      case ZSTD_error_frameParameter_windowTooLarge:
        return Status::failure("the file's Zstandard data asks for more than 128 MiB of memory");
      default: break;
    }
    return Status::failure(std::string("the file's Zstandard data is damaged (") +
                           ZSTD_getErrorName(code) + ")");
  }

  struct Free {
    void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
  };

  Input input_;
  std::unique_ptr<ZSTD_DStream, Free> stream_;
  bool isInFrame_ = false;
};

}  // namespace

bool isCompressed(std::string_view firstBytes) {
  return isGzip(firstBytes) || isZstandard(firstBytes);
}

Result<std::unique_ptr<ByteSource>> decompressed(std::unique_ptr<ByteSource> source) {
  Input input(std::move(source));
  if (Status status = input.peek(kCompressionBytes); !status) return status;
  std::unique_ptr<ByteSource> made;
  if (isGzip(input.view()))
    made = std::make_unique<GzipSource>(std::move(input));
  else if (isZstandard(input.view()))
    made = std::make_unique<ZstandardSource>(std::move(input));
  else
    made = std::make_unique<PlainSource>(std::move(input));
  return made;
}

Status copySource(ByteSource& source, int file, uint64_t maxBytes) {
  std::vector<uint8_t> block(size_t{256} << 10);
  for (uint64_t copied = 0;;) {
    const Result<size_t> count = source.read(block.data(), block.size());
    if (!count) return count.status();
    if (*count == 0) return {};
    if (*count > maxBytes - copied)
      return Status::failure("the file decompresses to more than " + std::to_string(maxBytes) +
                             " bytes, the memory that there is");
    if (Status status = writeAll(file, block.data(), *count); !status)
      return status.of("cannot decompress the file to a temporary one");
    copied += *count;
  }
}

}  // namespace ryx::profiling
