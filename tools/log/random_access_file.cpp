#include "log/random_access_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "writer/log_file.h"

namespace ryx::profiling {

std::error_code RandomAccessFile::open(const std::string& path) {
  // Opening a pipe would wait for its writer.
  file_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file_.isOpen() || ::fstat(file_.number(), &status) != 0) return lastSystemError();
  if (S_ISDIR(status.st_mode)) return std::make_error_code(std::errc::is_a_directory);
  if (!S_ISREG(status.st_mode)) return std::make_error_code(std::errc::invalid_seek);
  size_ = static_cast<uint64_t>(status.st_size);
  return {};
}

bool RandomAccessFile::read(uint64_t offset, uint8_t* destination, size_t size) {
  while (size > 0 && !error_) {
    const ssize_t count = ::pread(file_.number(), destination, size, static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) error_ = lastSystemError();
    if (count == 0) error_ = std::make_error_code(std::errc::io_error);  // was cut meanwhile
    if (count <= 0) break;
    destination += count;
    offset += static_cast<uint64_t>(count);
    size -= static_cast<size_t>(count);
  }
  return !error_;
}

RandomAccessFile::View RandomAccessFile::view(uint64_t offset) {
  if (offset >= size_ || error_) return {};
  const uint64_t blockNumber = offset / kBlockBytes;
  Block& block = blocks_[blockNumber % kBlockCount];
  if (block.offset != blockNumber * kBlockBytes && !fetch(block, blockNumber * kBlockBytes))
    return {};
  const size_t start = offset % kBlockBytes;
  return {block.bytes.data() + start, block.size - start};
}

bool RandomAccessFile::fetch(Block& block, uint64_t offset) {
  block.bytes.resize(kBlockBytes + kViewBytes);
  block.offset = offset;
  block.size = static_cast<size_t>(std::min<uint64_t>(block.bytes.size(), size_ - offset));
  fetchedBytes_ += block.size;
  return read(offset, block.bytes.data(), block.size);
}

}  // namespace ryx::profiling
