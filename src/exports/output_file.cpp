// SPDX-License-Identifier: Apache-2.0
// A block of 256 KiB between the formats, which append a few bytes at a time, and the system. A
// failure is remembered instead of returned, since a check after each cell would cost more than the
// cell; sinks ask once a batch. Compression is between block and file, so that no format knows of
// it.

#include "exports/output_file.h"

#define ZLIB_CONST  // input is only read
#include <unistd.h>
#include <zlib.h>

#include <new>

#include "base/descriptor.h"

namespace ryx::profiling {

namespace {

// Within the second-level cache, together with the batch that is written.
constexpr size_t kBlockBytes = size_t{256} << 10;

}  // namespace

class OutputFile::Gzip {
 public:
  Gzip() {
    constexpr int kGzipWindow = 15 + 16;
    constexpr int kDefaultMemory = 8;
    if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kDefaultMemory,
                     Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
  }
  ~Gzip() { deflateEnd(&stream_); }
  Gzip(const Gzip&) = delete;
  Gzip& operator=(const Gzip&) = delete;

  /// Compresses `size` bytes, the last ones where `isEnd`, and has `file` write what comes of it.
  [[nodiscard]] Status write(const char* bytes, size_t size, bool isEnd, OutputFile& file) {
    stream_.next_in = reinterpret_cast<const Bytef*>(bytes);
    stream_.avail_in = static_cast<uInt>(size);
    do {
      stream_.next_out = reinterpret_cast<Bytef*>(compressed_);
      stream_.avail_out = sizeof compressed_;
      deflate(&stream_, isEnd ? Z_FINISH : Z_NO_FLUSH);
      if (Status status = file.write(compressed_, sizeof compressed_ - stream_.avail_out); !status)
        return status;
    } while (stream_.avail_out == 0);
    return {};
  }

 private:
  z_stream stream_ = {};
  char compressed_[size_t{64} << 10];
};

OutputFile::OutputFile() : bytes_(new char[kBlockBytes]), capacity_(kBlockBytes) {}

OutputFile::~OutputFile() = default;

Status OutputFile::open(const std::string& path, bool isCompressed) {
  isStandardOutput_ = path == kStandardOutput;
  if (isCompressed) gzip_ = std::make_unique<Gzip>();
  if (!isStandardOutput_) status_ = file_.open(path);
  return status_;
}

Status OutputFile::commit() {
  flush();
  if (status_ && gzip_ != nullptr) status_ = gzip_->write(nullptr, 0, true, *this);
  if (!status_ || isStandardOutput_) return status_;
  return file_.commit();
}

void OutputFile::makeRoom(size_t bytes) {
  flush();
  if (bytes <= capacity_) return;
  bytes_.reset(new char[bytes]);
  capacity_ = bytes;
}

void OutputFile::flush() {
  if (size_ > 0 && status_)
    status_ = gzip_ != nullptr ? gzip_->write(bytes_.get(), size_, false, *this)
                               : write(bytes_.get(), size_);
  size_ = 0;
}

Status OutputFile::write(const char* bytes, size_t size) {
  return isStandardOutput_ ? writeAll(STDOUT_FILENO, bytes, size).of("cannot write standard output")
                           : file_.append(bytes, size);
}

}  // namespace ryx::profiling
