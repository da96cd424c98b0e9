#include "stream/chunk_file.h"

#include <algorithm>
#include <filesystem>

#include "stream/log_format.h"

namespace ryx::profiling {

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
  bytes_->clear();
  bytes_->resize(announced);
  // A chunk above the limit is refused unread.
  presentBytes_ = announced <= kMaxChunkBytes ? read(bytes_->data(), announced) : 0;
  if (file_.bad()) return ChunkRead::Failed;
  if (presentBytes_ < announced) {
    // The storage may hold earlier chunks: hand out one whose tail is zero, at no cost for it.
    auto padded = std::make_shared<ByteVector>(announced);
    std::copy_n(bytes_->begin(), presentBytes_, padded->begin());
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
