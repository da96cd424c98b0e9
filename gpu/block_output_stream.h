// A RapidJSON output stream that hands a std::ostream large blocks instead of single characters.

#ifndef RYX_GPU_BLOCK_OUTPUT_STREAM_H
#define RYX_GPU_BLOCK_OUTPUT_STREAM_H

#include <cstddef>
#include <ostream>
#include <vector>

namespace ryx::profiling {

/// `os` must outlive the stream. What has been put is written out by `Flush`, not on destruction.
class BlockOutputStream {
 public:
  using Ch = char;  // RapidJSON's name for a stream's character type

  explicit BlockOutputStream(std::ostream& os) : os_(os), block_(kBlockBytes) {}

  void Put(char c) {
    if (used_ == block_.size()) Flush();
    block_[used_++] = c;
  }

  void Flush() {
    os_.write(block_.data(), static_cast<std::streamsize>(used_));
    used_ = 0;
  }

 private:
  static constexpr size_t kBlockBytes = size_t{64} * 1024;

  std::ostream& os_;
  std::vector<char> block_;
  size_t used_ = 0;
};

}  // namespace ryx::profiling

#endif
