// SPDX-License-Identifier: Apache-2.0
// Standard output is redirected at the descriptor, because that is the one place that C streams,
// C++ streams and write(2) of a plug-in have in common. Streams hold text back, so both are flushed
// before each change: what was printed before must not end up where what follows goes.

#include "viewer/standard_output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string_view>

#include "base/printable_text.h"

namespace ryx::viewer {

Result<Descriptor> openMemoryFile(const char* name) {
  Descriptor file(memfd_create(name, MFD_CLOEXEC));
  if (!file.isOpen()) return Status::system().of("no file in memory can be had");
  return file;
}

std::string pathOf(const Descriptor& descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor.get());
}

Status copyFile(const Descriptor& from, int to) {
  const bool toTerminal = isatty(to) != 0;
  char buffer[size_t{1} << 16];
  std::string shown;
  for (off_t offset = 0;;) {
    const ssize_t count = pread(from.get(), buffer, sizeof buffer, offset);
    if (count < 0) return Status::system();
    if (count == 0) return {};
    std::string_view piece(buffer, static_cast<size_t>(count));
    if (!toTerminal) {
      if (Status status = writeAll(to, piece.data(), piece.size()); !status) return status;
      offset += count;
      continue;
    }
    shown.clear();
    // A short piece is the last one: nothing can follow the character that it cuts off.
    offset += static_cast<off_t>(appendPrintable(shown, piece, piece.size() < sizeof buffer));
    if (Status status = writeAll(to, shown.data(), shown.size()); !status) return status;
  }
}

bool flushStandardOutput() {
  std::cout.flush();
  const bool isFlushed = std::fflush(stdout) == 0 && std::cout.good() && std::ferror(stdout) == 0;
  std::cout.clear();
  std::clearerr(stdout);
  return isFlushed;
}

ScopedStandardOutput::~ScopedStandardOutput() {
  if (!original_.isOpen()) return;
  (void)flushStandardOutput();
  dup2(original_.get(), STDOUT_FILENO);
}

Status ScopedStandardOutput::sendTo(int target) {
  (void)flushStandardOutput();
  original_ = Descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  const bool isSent = original_.isOpen() && dup2(target, STDOUT_FILENO) >= 0;
  return isSent ? Status() : Status::system().of("standard output cannot be redirected");
}

}  // namespace ryx::viewer
