// File descriptors: owning one, whole writes, and what standard output stands for.

#ifndef RYX_VIEWER_DESCRIPTORS_H
#define RYX_VIEWER_DESCRIPTORS_H

#include <string>

namespace ryx::viewer {

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
  /// False, with errno set, when the system reports that written data was lost.
  [[nodiscard]] bool close();

 private:
  int number_ = -1;
};

/// Puts a stand-in where descriptor 0, 1 or 2 is closed, so that no file opened later takes its
/// place. Writing to the stand-in for standard output fails, as it would have without. False when
/// there is no stand-in to be had.
[[nodiscard]] bool fillStandardDescriptors();

/// A file that lives in memory for as long as it is open. Throws std::system_error.
[[nodiscard]] Descriptor openMemoryFile(const char* name);

/// A path under which this process can open `descriptor`'s file again.
[[nodiscard]] std::string pathOf(const Descriptor& descriptor);

/// Copies the whole of the file `from`, wherever its offset is, to `to`; to a terminal with
/// control characters escaped. False, with errno set, when not everything could be written.
[[nodiscard]] bool copyFile(const Descriptor& from, int to);

/// Writes out what C and C++ streams hold back for standard output. False when that or an earlier
/// write failed.
[[nodiscard]] bool flushStandardOutput();

/// Sends standard output elsewhere for as long as it lives.
class StandardOutputRedirection {
 public:
  /// To `target`, which is only needed here; -1 leaves standard output as it is. Throws
  /// std::system_error.
  explicit StandardOutputRedirection(int target);
  StandardOutputRedirection(const StandardOutputRedirection&) = delete;
  StandardOutputRedirection& operator=(const StandardOutputRedirection&) = delete;
  ~StandardOutputRedirection();

 private:
  Descriptor original_;
};

}  // namespace ryx::viewer

#endif
