#include "log/whole_file.h"

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

/// The permissions that the file has, or would have if it were created now.
mode_t permissionsOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) return status.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

}  // namespace

std::error_code Descriptor::close() {
  const int number = std::exchange(number_, -1);
  return number < 0 || ::close(number) == 0 ? std::error_code() : lastSystemError();
}

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

bool isSameFile(const std::string& onePath, const std::string& otherPath) {
  struct stat one {};
  struct stat other {};
  return ::stat(onePath.c_str(), &one) == 0 && ::stat(otherPath.c_str(), &other) == 0 &&
         S_ISREG(one.st_mode) && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool isWrittenInPlace(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return true;
  const auto isIn = [&path](const char* folder) { return path.rfind(folder, 0) == 0; };
  return (isIn("/dev/") && !isIn("/dev/shm/")) || isIn("/proc/");
}

WholeFile::~WholeFile() {
  if (!temporaryPath_.empty()) ::unlink(temporaryPath_.c_str());
}

std::error_code WholeFile::open(const std::string& path) {
  if (isWrittenInPlace(path)) {
    file_.reset(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    return file_.isOpen() ? std::error_code() : lastSystemError();
  }

  // A link keeps pointing at its file.
  std::error_code missing;
  std::filesystem::path target = std::filesystem::canonical(path, missing);
  if (missing) target = path;
  target_ = target;

  std::string temporaryPath = target.parent_path() / ".ryx-profile-log-XXXXXX";
  file_.reset(::mkostemp(temporaryPath.data(), O_CLOEXEC));
  if (!file_.isOpen()) return lastSystemError();
  temporaryPath_ = std::move(temporaryPath);
  return {};
}

std::error_code WholeFile::append(const void* data, size_t size) {
  size_t written = 0;
  return writeAll(file_.number(), data, size, written);
}

std::error_code WholeFile::commit() {
  if (temporaryPath_.empty()) return file_.close();
  if (::fchmod(file_.number(), permissionsOf(target_)) != 0) return lastSystemError();
  if (::fsync(file_.number()) != 0) return lastSystemError();
  if (const auto error = file_.close()) return error;
  if (::rename(temporaryPath_.c_str(), target_.c_str()) != 0) return lastSystemError();
  temporaryPath_.clear();
  return {};
}

std::error_code writeWholeFile(const std::string& path, std::string_view bytes) {
  WholeFile file;
  if (const auto error = file.open(path)) return error;
  if (const auto error = file.append(bytes.data(), bytes.size())) return error;
  return file.commit();
}

}  // namespace ryx::profiling
