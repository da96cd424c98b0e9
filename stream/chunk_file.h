// A log file cut into chunks, one in memory at a time.

#ifndef RYX_STREAM_CHUNK_FILE_H
#define RYX_STREAM_CHUNK_FILE_H

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace ryx::profiling {

/// Allocates zeroed storage, and therefore lets a vector skip zeroing it again. Storage of many
/// pages is only paid for where it is touched, so a vector sized by a count from a hostile file
/// costs no more memory than the bytes that are then read into it.
template <typename T>
struct ZeroedAllocator {
  using value_type = T;

  ZeroedAllocator() = default;
  template <typename U>
  ZeroedAllocator(const ZeroedAllocator<U>&) {}

  T* allocate(size_t count) {
    void* storage = std::calloc(count, sizeof(T));
    if (storage == nullptr) throw std::bad_alloc();
    return static_cast<T*>(storage);
  }
  void deallocate(T* storage, size_t) noexcept { std::free(storage); }

  template <typename U>
  void construct(U*) noexcept {}
  template <typename U, typename... Args>
  void construct(U* element, Args&&... args) {
    ::new (static_cast<void*>(element)) U(std::forward<Args>(args)...);
  }

  friend bool operator==(const ZeroedAllocator&, const ZeroedAllocator&) { return true; }
  friend bool operator!=(const ZeroedAllocator&, const ZeroedAllocator&) { return false; }
};

using ByteVector = std::vector<uint8_t, ZeroedAllocator<uint8_t>>;

enum class ChunkRead {
  Chunk,      ///< a chunk was read, possibly cut short by the end of the file
  EndOfFile,  ///< no further byte count could be read
  Failed,     ///< the file could not be read
};

/// Reads a log chunk by chunk. Chunks are neither verified nor interpreted.
class ChunkFile {
 public:
  /// False when `path` does not open for reading, or is a folder.
  [[nodiscard]] bool open(const std::string& path);

  /// Reads the next byte count and its chunk. Throws std::bad_alloc or std::length_error when
  /// storage for the announced bytes cannot be had; the file can then not be read further.
  [[nodiscard]] ChunkRead readNext();

  /// The chunk read last: as many bytes as announced, zero where the file ended before them. Its
  /// storage is reused by the next `readNext`, and freed with the last owner.
  [[nodiscard]] const std::shared_ptr<ByteVector>& bytes() const { return bytes_; }

  /// How many of `bytes()` came from the file.
  [[nodiscard]] size_t presentBytes() const { return presentBytes_; }

  /// Where the byte count of the chunk read last stands in the file; after EndOfFile, where the
  /// last whole chunk ended.
  [[nodiscard]] uint64_t offset() const { return offset_; }

  /// After EndOfFile: the bytes (0 to 3) behind the last chunk, too few for a byte count.
  [[nodiscard]] size_t trailingBytes() const { return trailingBytes_; }

 private:
  size_t read(void* destination, size_t size);

  std::ifstream file_;
  std::shared_ptr<ByteVector> bytes_ = std::make_shared<ByteVector>();
  size_t presentBytes_ = 0;
  size_t trailingBytes_ = 0;
  uint64_t offset_ = 0;
  uint64_t nextOffset_ = 0;
};

}  // namespace ryx::profiling

#endif
