// SPDX-License-Identifier: Apache-2.0
// A log file cut into chunks, one in memory at a time.

#ifndef RYX_STREAM_CHUNK_FILE_H
#define RYX_STREAM_CHUNK_FILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/status.h"
#include "stream/byte_source.h"

namespace ryx::profiling {

struct ReleaseStorage {
  size_t mappedBytes = 0;  ///< 0 for storage of the allocator's
  void operator()(uint8_t* storage) const;
};

/// The bytes of one chunk. Fresh storage is zero, and of many pages only those that are touched
/// take memory: bytes announced by a hostile file cost nothing until they are there.
class ByteVector {
 public:
  ByteVector() = default;
  explicit ByteVector(size_t size) { resize(size); }

  [[nodiscard]] uint8_t* data() { return storage_.get(); }
  [[nodiscard]] const uint8_t* data() const { return storage_.get(); }
  [[nodiscard]] size_t size() const { return size_; }

  /// Makes this `size` bytes long. Storage that suffices is used again, whatever it holds; new
  /// storage is zero. Throws std::bad_alloc or std::length_error, and then holds no bytes.
  void resize(size_t size);

 private:
  std::unique_ptr<uint8_t[], ReleaseStorage> storage_;
  size_t capacity_ = 0;
  size_t size_ = 0;
};

enum class ChunkRead {
  Chunk,      ///< a chunk was read, possibly cut short by the end of the file
  EndOfFile,  ///< no further byte count could be read
  Failed,     ///< the file could not be read: `failure` says why
};

/// Reads a log chunk by chunk. Chunks are neither verified nor interpreted.
class ChunkFile {
 public:
  /// Opens a log, as `openByteSource` does.
  [[nodiscard]] Status open(const std::string& path);

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

  /// After EndOfFile: the bytes (0 to 3) after the last chunk, too few for a byte count.
  [[nodiscard]] size_t trailingBytes() const { return trailingBytes_; }

  [[nodiscard]] const Status& failure() const { return failure_; }

 private:
  // Chunks may be tiny, and a read for each would cost more than all else.
  static constexpr size_t kBufferBytes = 8192;

  /// Reads `size` bytes, or as many as there are up to the end of the file or a failure.
  size_t read(uint8_t* destination, size_t size);
  [[nodiscard]] size_t readFile(uint8_t* destination, size_t size);

  std::unique_ptr<ByteSource> source_;
  Status failure_;
  uint8_t buffer_[kBufferBytes];
  size_t buffered_ = 0;  ///< bytes in the buffer
  size_t taken_ = 0;     ///< of them
  std::shared_ptr<ByteVector> bytes_ = std::make_shared<ByteVector>();
  size_t presentBytes_ = 0;
  size_t trailingBytes_ = 0;
  uint64_t offset_ = 0;
  uint64_t nextOffset_ = 0;
};

}  // namespace ryx::profiling

#endif
