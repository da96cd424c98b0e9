// SPDX-License-Identifier: Apache-2.0
// The file under a log that is being written. Failures are the system's reasons alone.
//
// A regular file is locked from `open` to `close`, so that two writers of one path cannot write
// into each other's chunks; what else there is to write to (a pipe, a device) has no content to
// damage. The lock is flock's: it goes with the process when that dies, and readers need not heed
// it.

#ifndef RYX_WRITER_LOG_FILE_H
#define RYX_WRITER_LOG_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/descriptor.h"
#include "base/status.h"

namespace ryx::profiling {

class LogFile {
 public:
  /// Creates or empties the file; one that another writer has open is left as it is. No file may be
  /// open.
  [[nodiscard]] Status open(const std::string& path);
  [[nodiscard]] bool isOpen() const { return file_.isOpen(); }

  /// Appends all of the bytes; where that fails, a regular file is cut back to what it held before.
  /// The signals that a failed write can raise do not reach the process.
  [[nodiscard]] Status append(const uint8_t* data, size_t size);

  /// The file is closed whatever this returns.
  [[nodiscard]] Status close();

  /// Closes a file that is another process's to write: the lock stays with that process.
  void abandon() { static_cast<void>(file_.close()); }

 private:
  Descriptor file_;
  uint64_t size_ = 0;  ///< of the bytes appended whole
};

}  // namespace ryx::profiling

#endif
