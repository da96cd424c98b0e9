// SPDX-License-Identifier: Apache-2.0
// Chunks are read into one buffer, which grows to the size of the largest. Bytes that a file
// announces and does not hold cost nothing: large buffers come from the kernel, which gives them
// memory page by page as they are touched, and a chunk that is cut short is handed out in a fresh
// buffer, whose untouched pages are zero.

#include "stream/chunk_file.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>

#include "stream/foreign_content.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

std::unique_ptr<uint8_t[], ReleaseStorage> zeroedStorage(size_t size) {
  // Straight from the kernel, because there are allocators that fill pages which are zero anyway.
  constexpr size_t kMappedBytes = size_t{1} << 20;
  const bool mapped = size >= kMappedBytes;
  void* storage =
      mapped ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
             : std::calloc(size, 1);
  if (storage == nullptr || storage == MAP_FAILED) throw std::bad_alloc();
  return {static_cast<uint8_t*>(storage), ReleaseStorage{mapped ? size : 0}};
}

}  // namespace

void ReleaseStorage::operator()(uint8_t* storage) const {
  if (mappedBytes > 0)
    munmap(storage, mappedBytes);
  else
    std::free(storage);
}

void ByteVector::resize(size_t size) {
  if (size > capacity_) {
    *this = ByteVector();
    if (size > PTRDIFF_MAX) throw std::length_error("chunk too large");
    storage_ = zeroedStorage(size);
    capacity_ = size;
  }
  size_ = size;
}

Status ChunkFile::open(const std::string& path) {
  Result<std::unique_ptr<ByteSource>> source = openByteSource(path);
  if (source) source_ = std::move(*source);
  return source.status();
}

ChunkRead ChunkFile::readNext() {
  offset_ = nextOffset_;
  uint8_t prefix[kSizePrefixBytes];
  const size_t prefixBytes = read(prefix, sizeof prefix);
  if (!failure_) return ChunkRead::Failed;
  if (prefixBytes < sizeof prefix) {
    trailingBytes_ = prefixBytes;
    return ChunkRead::EndOfFile;
  }

  const size_t announced = decodeSizePrefix(prefix);
  bytes_->resize(announced);
  // A chunk above the limit is refused; its first bytes tell what the file might be instead.
  const size_t wanted = announced <= kMaxChunkBytes ? announced : kTellingBytes;
  presentBytes_ = read(bytes_->data(), wanted);
  if (!failure_) return ChunkRead::Failed;
  if (presentBytes_ < announced) {
    // The storage may hold earlier chunks: hand out one whose tail is zero, at no cost for it.
    auto padded = std::make_shared<ByteVector>(announced);
    std::copy_n(bytes_->data(), presentBytes_, padded->data());
    bytes_ = std::move(padded);
  }
  nextOffset_ = offset_ + sizeof prefix + announced;
  return ChunkRead::Chunk;
}

size_t ChunkFile::read(uint8_t* destination, size_t size) {
  size_t done = 0;
  while (done < size) {
    if (taken_ == buffered_ && size - done >= kBufferBytes) {
      const size_t count = readFile(destination + done, size - done);
      if (count == 0) break;
      done += count;
      continue;
    }
    if (taken_ == buffered_) {
      buffered_ = readFile(buffer_, kBufferBytes);
      taken_ = 0;
      if (buffered_ == 0) break;
    }
    const size_t count = std::min(size - done, buffered_ - taken_);
    std::copy_n(buffer_ + taken_, count, destination + done);
    taken_ += count;
    done += count;
  }
  return done;
}

size_t ChunkFile::readFile(uint8_t* destination, size_t size) {
  const Result<size_t> count = source_->read(destination, size);
  if (!count) failure_ = count.status();
  return count ? *count : 0;
}

}  // namespace ryx::profiling
