#include "writer/log_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace ryx::profiling {

std::error_code lastSystemError() { return {errno, std::generic_category()}; }

std::error_code writeAll(int descriptor, const void* data, size_t size, size_t& written) {
  written = 0;
  while (written < size) {
    const ssize_t count =
        ::write(descriptor, static_cast<const char*>(data) + written, size - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return lastSystemError();
    if (count == 0) return std::make_error_code(std::errc::io_error);
    written += static_cast<size_t>(count);
  }
  return {};
}

LogFile::~LogFile() {
  if (isOpen()) static_cast<void>(close());
}

std::error_code LogFile::open(const std::string& path) {
  do {
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  } while (descriptor_ < 0 && errno == EINTR);
  size_ = 0;
  return isOpen() ? std::error_code() : lastSystemError();
}

std::error_code LogFile::append(const uint8_t* data, size_t size) {
  size_t written = 0;
  const std::error_code error = writeAll(descriptor_, data, size, written);
  if (!error) {
    size_ += size;
  } else if (written > 0) {
    // What cannot be cut (a pipe, a device) refuses, and stays as it is.
    [[maybe_unused]] const int ignored = ::ftruncate(descriptor_, static_cast<off_t>(size_));
  }
  return error;
}

std::error_code LogFile::close() {
  // Linux frees the descriptor even when close is interrupted: never close twice.
  const int result = ::close(descriptor_);
  descriptor_ = -1;
  return result == 0 || errno == EINTR ? std::error_code() : lastSystemError();
}

}  // namespace ryx::profiling
