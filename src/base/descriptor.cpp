// SPDX-License-Identifier: Apache-2.0
// The loops that every caller of read and write needs and easily forgets: calls that are
// interrupted, that take a part, or that find a pipe full because whoever shares it has made it
// non-blocking. Nothing is buffered here; callers come with blocks.

#include "base/descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

namespace ryx {
namespace {

/// Waits out interruptions, and pipes that somebody has made non-blocking.
bool mayRetry(int descriptor, short event) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN) return false;
  pollfd waiting = {descriptor, event, 0};
  return poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

}  // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

Descriptor::~Descriptor() {
  if (isOpen()) ::close(number_);
}

Status Descriptor::close() {
  if (!isOpen()) return {};
  // Linux frees the descriptor even when close is interrupted: never close twice.
  const int result = ::close(std::exchange(number_, -1));
  return result == 0 || errno == EINTR ? Status() : Status::system();
}

Result<Descriptor> openFile(const std::string& path, int flags) {
  constexpr mode_t kPermissions = 0666;
  int number = -1;
  do number = ::open(path.c_str(), flags | O_CLOEXEC, kPermissions);
  while (number < 0 && errno == EINTR);
  if (number < 0) return Status::system();
  return Descriptor(number);
}

Status writeAll(int descriptor, const void* data, size_t size, size_t* written) {
  size_t done = 0;
  Status status;
  while (done < size && status) {
    const ssize_t count = ::write(descriptor, static_cast<const char*>(data) + done, size - done);
    if (count > 0)
      done += static_cast<size_t>(count);
    else if (count == 0)
      status = Status::system(EIO);
    else if (!mayRetry(descriptor, POLLOUT))
      status = Status::system();
  }
  if (written != nullptr) *written = done;
  return status;
}

Result<size_t> readSome(int descriptor, void* destination, size_t size) {
  for (;;) {
    const ssize_t count = ::read(descriptor, destination, size);
    if (count >= 0) return static_cast<size_t>(count);
    if (!mayRetry(descriptor, POLLIN)) return Status::system();
  }
}

Result<size_t> readUpTo(int descriptor, void* destination, size_t size) {
  size_t done = 0;
  while (done < size) {
    const Result<size_t> count =
        readSome(descriptor, static_cast<char*>(destination) + done, size - done);
    if (!count) return count.status();
    if (*count == 0) break;
    done += *count;
  }
  return done;
}

Result<std::string> readAll(int descriptor) {
  constexpr size_t kPieceBytes = size_t{1} << 16;
  std::string bytes;
  for (;;) {
    const size_t before = bytes.size();
    bytes.resize(before + kPieceBytes);
    const Result<size_t> count = readUpTo(descriptor, bytes.data() + before, kPieceBytes);
    if (!count) return count.status();
    bytes.resize(before + *count);
    if (*count < kPieceBytes) return bytes;
  }
}

Status copyAll(int source, int target) {
  std::string piece(size_t{1} << 16, '\0');
  for (;;) {
    const Result<size_t> count = readSome(source, piece.data(), piece.size());
    if (!count) return count.status();
    if (*count == 0) return {};
    if (Status status = writeAll(target, piece.data(), *count); !status) return status;
  }
}

bool fillStandardDescriptors() {
  // In this order, each open takes the lowest free number, the one that is missing.
  const int modes[] = {O_WRONLY, O_RDONLY, O_WRONLY};
  for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
    if (fcntl(standard, F_GETFD) >= 0) continue;
    if (open("/dev/null", modes[standard]) != standard) return false;
  }
  return true;
}

}  // namespace ryx
