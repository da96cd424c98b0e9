// Files read in one piece, and files that appear only when they are whole. Every operation answers
// the system's error, or none.

#ifndef RYX_LOG_WHOLE_FILE_H
#define RYX_LOG_WHOLE_FILE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

namespace ryx::profiling {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { static_cast<void>(close()); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  /// Takes over `number`; no descriptor may be held.
  void reset(int number) { number_ = number; }
  [[nodiscard]] bool isOpen() const { return number_ >= 0; }
  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] std::error_code close();

 private:
  int number_;
};

[[nodiscard]] std::error_code readWholeFile(const std::string& path, std::string& bytes);

/// Whether both paths lead to one regular file, by links or otherwise.
[[nodiscard]] bool isSameFile(const std::string& onePath, const std::string& otherPath);

/// Whether the path names something that has no content to replace: a device, a pipe, or a
/// descriptor of this process such as /dev/stdout.
[[nodiscard]] bool isWrittenInPlace(const std::string& path);

/// A file written beside its path, which it takes only when it is whole. Devices and pipes are
/// written to directly.
class WholeFile {
 public:
  WholeFile() = default;
  /// Removes what was not committed.
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  /// To be called once. What stands at `path` stays there until `commit`.
  [[nodiscard]] std::error_code open(const std::string& path);
  [[nodiscard]] std::error_code append(const void* data, size_t size);
  /// Puts the file in its place, keeping the permissions of one that it replaces.
  [[nodiscard]] std::error_code commit();

 private:
  Descriptor file_;
  std::string target_;
  std::string temporaryPath_;  ///< empty when nothing is to be renamed or removed
};

/// Makes `bytes` the content of the file at `path`, all or nothing, as WholeFile does.
[[nodiscard]] std::error_code writeWholeFile(const std::string& path, std::string_view bytes);

}  // namespace ryx::profiling

#endif
