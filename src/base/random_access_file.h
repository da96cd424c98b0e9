// SPDX-License-Identifier: Apache-2.0
// A regular file read at any place: large runs straight into the caller's buffer, a few bytes here
// and there through a small cache. Mapping it would be simpler, but a mapped file that another
// process cuts short kills this one.

#ifndef RYX_BASE_RANDOM_ACCESS_FILE_H
#define RYX_BASE_RANDOM_ACCESS_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "base/status.h"

namespace ryx {

/// Once a read has failed, all further reads fail, and `status` says why.
class RandomAccessFile {
 public:
  /// A view has this many bytes wherever the file has.
  static constexpr size_t kViewBytes = 16;

  struct View {
    const uint8_t* data = nullptr;
    size_t size = 0;  ///< 0 at the end of the file and after a failure
  };

  /// Fails with the system's reason alone, also for what is no regular file.
  [[nodiscard]] Status open(const std::string& path);

  /// The file's size when it was opened.
  [[nodiscard]] uint64_t size() const { return size_; }

  /// Reads `size` bytes at `offset`, all of which need to be within the file.
  [[nodiscard]] bool read(uint64_t offset, uint8_t* destination, size_t size);

  /// The bytes from `offset` on, as many as are at hand. Valid until the next view.
  [[nodiscard]] View view(uint64_t offset);

  [[nodiscard]] const Status& status() const { return status_; }
  /// The bytes that views have had to fetch so far.
  [[nodiscard]] uint64_t fetchedBytes() const { return fetchedBytes_; }

 private:
  static constexpr size_t kBlockBytes = 4096;
  static constexpr size_t kBlockCount = 1024;

  struct Block {
    uint64_t offset = UINT64_MAX;  ///< in the file
    size_t size = 0;
    std::vector<uint8_t> bytes;  ///< with the first bytes of the block after it
  };

  [[nodiscard]] bool fetch(Block& block, uint64_t offset);

  Descriptor file_;
  uint64_t size_ = 0;
  uint64_t fetchedBytes_ = 0;
  Status status_;
  std::vector<Block> blocks_ = std::vector<Block>(kBlockCount);
};

}  // namespace ryx

#endif
