// SPDX-License-Identifier: Apache-2.0
// File descriptors: owning one, whole reads and writes, and the three that every process begins
// with.

#ifndef RYX_BASE_DESCRIPTOR_H
#define RYX_BASE_DESCRIPTOR_H

#include <cstddef>
#include <string>

#include "base/status.h"

namespace ryx {

/// Closes its descriptor at the end.
class Descriptor {
 public:
  Descriptor() = default;
  /// Takes `number` over; -1 is none.
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();

  [[nodiscard]] int get() const { return number_; }
  [[nodiscard]] bool isOpen() const { return number_ >= 0; }

  /// Fails when the system reports that written data was lost; the descriptor is closed all the
  /// same. Closing none succeeds.
  [[nodiscard]] Status close();

 private:
  int number_ = -1;
};

/// Opens `path` with the flags of open(2) and O_CLOEXEC; a file that is created gets the
/// permissions that the process's umask leaves of 0666. Interruptions are waited out.
[[nodiscard]] Result<Descriptor> openFile(const std::string& path, int flags);

/// Writes all `size` bytes, in one write where the system takes them at once, waiting where a pipe
/// that somebody made non-blocking is full. `written`, when given, is how many it took.
[[nodiscard]] Status writeAll(int descriptor, const void* data, size_t size,
                              size_t* written = nullptr);

/// Reads what is at hand, at most `size` bytes, waiting until there are any; 0 at the end of the
/// file.
[[nodiscard]] Result<size_t> readSome(int descriptor, void* destination, size_t size);

/// Reads until `size` bytes are there or the file ends; how many are there.
[[nodiscard]] Result<size_t> readUpTo(int descriptor, void* destination, size_t size);

/// The whole rest of the file, whatever kind of file it is.
[[nodiscard]] Result<std::string> readAll(int descriptor);

/// Writes the whole rest of one file to another.
[[nodiscard]] Status copyAll(int source, int target);

/// Puts a stand-in where descriptor 0, 1 or 2 is closed, so that no file opened later takes its
/// place and is written into. Reading the stand-in for standard input and writing the one for
/// standard output fail, as they would have without. False when there is no stand-in to be had.
[[nodiscard]] bool fillStandardDescriptors();

}  // namespace ryx

#endif
