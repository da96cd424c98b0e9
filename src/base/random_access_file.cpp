// SPDX-License-Identifier: Apache-2.0
// A cache of 4 MiB without any order to keep: each block of the file has one place in it, and what
// was there is overwritten. Blocks overlap by the bytes of a view, so that no view lies across two
// of them and a pointer is all that it takes.
//
// Searching reads millions of views, nearly all from blocks that are there; bytes that have to be
// fetched are counted, because whoever jumps about in a large file pays for a block at each jump.

#include "base/random_access_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace ryx {

Status RandomAccessFile::open(const std::string& path) {
  // Opening a pipe would wait for its writer.
  Result<Descriptor> file = openFile(path, O_RDONLY | O_NONBLOCK);
  if (!file) return file.status();
  struct stat status = {};
  if (::fstat(file->get(), &status) != 0) return Status::system();
  if (S_ISDIR(status.st_mode)) return Status::system(EISDIR);
  if (!S_ISREG(status.st_mode)) return Status::system(ESPIPE);
  file_ = std::move(*file);
  size_ = static_cast<uint64_t>(status.st_size);
  return {};
}

bool RandomAccessFile::read(uint64_t offset, uint8_t* destination, size_t size) {
  while (size > 0 && status_) {
    const ssize_t count = ::pread(file_.get(), destination, size, static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) status_ = Status::system();
    if (count == 0) status_ = Status::system(EIO);  // was cut meanwhile
    if (count <= 0) break;
    destination += count;
    offset += static_cast<uint64_t>(count);
    size -= static_cast<size_t>(count);
  }
  return status_.isGood();
}

RandomAccessFile::View RandomAccessFile::view(uint64_t offset) {
  if (offset >= size_ || !status_) return {};
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

}  // namespace ryx
