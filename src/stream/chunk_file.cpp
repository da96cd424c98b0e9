#include "stream/chunk_file.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <stdexcept>

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

bool ChunkFile::open(const std::string& path) {
  // A folder opens like a file and then fails at its first byte.
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return false;
  file_.open(path, std::ios::binary);
  return file_.is_open();
}

ChunkRead ChunkFile::readNext() {
  offset_ = nextOffset_;
  uint8_t prefix[kSizePrefixBytes];
  const size_t prefixBytes = read(prefix, sizeof prefix);
  if (file_.bad()) return ChunkRead::Failed;
  if (prefixBytes < sizeof prefix) {
    trailingBytes_ = prefixBytes;
    return ChunkRead::EndOfFile;
  }

  const size_t announced = decodeSizePrefix(prefix);
  bytes_->resize(announced);
  // A chunk above the limit is refused unread.
  presentBytes_ = announced <= kMaxChunkBytes ? read(bytes_->data(), announced) : 0;
  if (file_.bad()) return ChunkRead::Failed;
  if (presentBytes_ < announced) {
    // The storage may hold earlier chunks: hand out one whose tail is zero, at no cost for it.
    auto padded = std::make_shared<ByteVector>(announced);
    std::copy_n(bytes_->data(), presentBytes_, padded->data());
    bytes_ = std::move(padded);
  }
  nextOffset_ = offset_ + sizeof prefix + announced;
  return ChunkRead::Chunk;
}

size_t ChunkFile::read(void* destination, size_t size) {
  file_.read(static_cast<char*>(destination), static_cast<std::streamsize>(size));
  return static_cast<size_t>(file_.gcount());
}

}  // namespace ryx::profiling
