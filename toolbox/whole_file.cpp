#include "toolbox/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "writer/log_file.h"

namespace ryx::profiling {

namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { static_cast<void>(close()); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] bool isOpen() const { return number_ >= 0; }
  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] std::error_code close() {
    const int number = std::exchange(number_, -1);
    return number < 0 || ::close(number) == 0 ? std::error_code() : lastSystemError();
  }

 private:
  int number_;
};

/// Whether the path names something that has no content to replace: a device, a pipe, or a
/// descriptor of this process such as /dev/stdout.
bool isWrittenInPlace(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return true;
  return path.rfind("/dev/", 0) == 0 || path.rfind("/proc/", 0) == 0;
}

std::error_code writeInPlace(const std::string& path, std::string_view bytes) {
  Descriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  if (!file.isOpen()) return lastSystemError();
  size_t written = 0;
  const std::error_code error = writeAll(file.number(), bytes.data(), bytes.size(), written);
  return error ? error : file.close();
}

/// The permissions that the file has, or would have if it were created now.
mode_t permissionsOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) return status.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

std::error_code fillAndRename(Descriptor& file, const std::string& temporaryPath,
                              const std::string& path, std::string_view bytes) {
  size_t written = 0;
  if (const auto error = writeAll(file.number(), bytes.data(), bytes.size(), written)) return error;
  if (::fchmod(file.number(), permissionsOf(path)) != 0) return lastSystemError();
  if (::fsync(file.number()) != 0) return lastSystemError();
  if (const auto error = file.close()) return error;
  return ::rename(temporaryPath.c_str(), path.c_str()) == 0 ? std::error_code() : lastSystemError();
}

}  // namespace

std::error_code readWholeFile(const std::string& path, std::string& bytes) {
  bytes.clear();
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return lastSystemError();
  char buffer[65536];
  for (;;) {
    const ssize_t count = ::read(file.number(), buffer, sizeof buffer);
    if (count > 0) bytes.append(buffer, static_cast<size_t>(count));
    if (count == 0) return {};
    if (count < 0 && errno != EINTR) return lastSystemError();
  }
}

std::error_code writeWholeFile(const std::string& path, std::string_view bytes) {
  if (isWrittenInPlace(path)) return writeInPlace(path, bytes);

  // A link keeps pointing at its file.
  std::error_code missing;
  std::filesystem::path target = std::filesystem::canonical(path, missing);
  if (missing) target = path;

  std::string temporaryPath = target.parent_path() / ".ryx-profile-log-XXXXXX";
  Descriptor file(::mkostemp(temporaryPath.data(), O_CLOEXEC));
  if (!file.isOpen()) return lastSystemError();
  const std::error_code error = fillAndRename(file, temporaryPath, target, bytes);
  if (error) ::unlink(temporaryPath.c_str());
  return error;
}

}  // namespace ryx::profiling
