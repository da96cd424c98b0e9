// SPDX-License-Identifier: Apache-2.0
// Text on its way to a file, block by block.

#ifndef RYX_EXPORTS_OUTPUT_FILE_H
#define RYX_EXPORTS_OUTPUT_FILE_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "base/atomic_file.h"
#include "base/status.h"

namespace ryx::profiling {

/// The path that stands for standard output.
constexpr char kStandardOutput[] = "-";

/// Appending never fails: a block that could not be written is remembered, nothing is written after
/// it, and `status` says why.
class OutputFile {
 public:
  OutputFile();
  ~OutputFile();

  /// To be called once. A file appears at `path` only when it is committed. `isCompressed`: what is
  /// appended reaches it as gzip data.
  [[nodiscard]] Status open(const std::string& path, bool isCompressed = false);

  /// Room for so many more bytes. The caller writes as many of them as it likes, and says with
  /// `take` where they end.
  [[nodiscard]] char* room(size_t bytes) {
    if (bytes > capacity_ - size_) makeRoom(bytes);
    return bytes_.get() + size_;
  }
  void take(const char* end) { size_ = static_cast<size_t>(end - bytes_.get()); }

  void append(std::string_view text) {
    std::memcpy(room(text.size()), text.data(), text.size());
    size_ += text.size();
  }

  [[nodiscard]] const Status& status() const { return status_; }

  [[nodiscard]] Status commit();

 private:
  class Gzip;

  void makeRoom(size_t bytes);
  void flush();
  [[nodiscard]] Status write(const char* bytes, size_t size);

  AtomicFile file_;
  bool isStandardOutput_ = false;
  std::unique_ptr<Gzip> gzip_;
  Status status_;
  std::unique_ptr<char[]> bytes_;
  size_t capacity_;
  size_t size_ = 0;
};

}  // namespace ryx::profiling

#endif
