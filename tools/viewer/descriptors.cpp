#include "viewer/descriptors.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/printable_text.h"

namespace ryx::viewer {
namespace {

[[noreturn]] void throwSystemError(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// Waits out interruptions, and full pipes that somebody has made non-blocking.
bool mayRetry(int descriptor) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN) return false;
  pollfd waiting = {descriptor, POLLOUT, 0};
  return poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written >= 0)
      text.remove_prefix(static_cast<size_t>(written));
    else if (!mayRetry(descriptor))
      return false;
  }
  return true;
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

bool Descriptor::close() { return ::close(std::exchange(number_, -1)) == 0; }

bool fillStandardDescriptors() {
  // In this order, each open takes the lowest free number, the one that is missing.
  const int modes[] = {O_RDONLY, O_RDONLY, O_WRONLY};
  for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
    if (fcntl(standard, F_GETFD) >= 0) continue;
    if (open("/dev/null", modes[standard]) != standard) return false;
  }
  return true;
}

Descriptor openMemoryFile(const char* name) {
  Descriptor file(memfd_create(name, MFD_CLOEXEC));
  if (!file.isOpen()) throwSystemError(name);
  return file;
}

std::string pathOf(const Descriptor& descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor.get());
}

bool copyFile(const Descriptor& from, int to) {
  const bool toTerminal = isatty(to) != 0;
  std::string buffer(size_t{1} << 16, '\0');
  std::string shown;
  for (off_t offset = 0;;) {
    const ssize_t count = pread(from.get(), buffer.data(), buffer.size(), offset);
    if (count <= 0) return count == 0;
    std::string_view piece(buffer.data(), static_cast<size_t>(count));
    if (!toTerminal) {
      if (!writeAll(to, piece)) return false;
      offset += count;
      continue;
    }
    shown.clear();
    // A short piece is the last one: nothing can follow the character that it cuts off.
    offset += static_cast<off_t>(log::appendPrintable(shown, piece, piece.size() < buffer.size()));
    if (!writeAll(to, shown)) return false;
  }
}

bool flushStandardOutput() {
  std::cout.flush();
  return std::fflush(stdout) == 0 && std::cout.good() && std::ferror(stdout) == 0;
}

StandardOutputRedirection::StandardOutputRedirection(int target) {
  if (target < 0) return;
  (void)flushStandardOutput();
  original_ = Descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!original_.isOpen() || dup2(target, STDOUT_FILENO) < 0)
    throwSystemError("standard output cannot be redirected");
}

StandardOutputRedirection::~StandardOutputRedirection() {
  if (!original_.isOpen()) return;
  (void)flushStandardOutput();
  dup2(original_.get(), STDOUT_FILENO);
}

}  // namespace ryx::viewer
