// The file under a log that is being written. Every operation answers the system's error, or none.

#ifndef RYX_WRITER_LOG_FILE_H
#define RYX_WRITER_LOG_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

namespace ryx::profiling {

/// The error that errno holds.
[[nodiscard]] std::error_code lastSystemError();

/// Writes all `size` bytes, in one write where the system takes them at once. `written` is how many
/// it took.
[[nodiscard]] std::error_code writeAll(int descriptor, const void* data, size_t size,
                                       size_t& written);

class LogFile {
 public:
  LogFile() = default;
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  /// Creates or empties the file. No file may be open.
  [[nodiscard]] std::error_code open(const std::string& path);
  [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

  /// Appends all of the bytes; where that fails, a regular file is cut back to what it held before.
  [[nodiscard]] std::error_code append(const uint8_t* data, size_t size);

  /// The file is closed whatever this answers.
  [[nodiscard]] std::error_code close();

 private:
  int descriptor_ = -1;
  uint64_t size_ = 0;  ///< of the bytes appended whole
};

}  // namespace ryx::profiling

#endif
