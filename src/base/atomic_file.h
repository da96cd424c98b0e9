// SPDX-License-Identifier: Apache-2.0
// Files that take their place only when they are whole.
//
// The bytes go to a temporary beside the target, which a rename puts in its place. Until then the
// target is what it was, or not there at all. A temporary is removed when its AtomicFile is
// destroyed before it was committed, and, in a program that asked for it, by the signals that end
// the program. Only SIGKILL or a crash can leave one; the next AtomicFile for the same target finds
// it abandoned (nobody holds its lock) and removes it. Its name begins with a dot and the target's
// name, so that it is where and what one would expect.
//
// What has no content to replace (a device, a pipe, /dev/stdout) is written to directly; "-" is
// standard output.

#ifndef RYX_BASE_ATOMIC_FILE_H
#define RYX_BASE_ATOMIC_FILE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "base/descriptor.h"
#include "base/signal_undo.h"
#include "base/status.h"

namespace ryx {

/// Failures read "cannot write PATH: REASON".
class AtomicFile {
 public:
  AtomicFile() = default;
  /// Removes what was not committed.
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  /// To be called once. What stands at `path`, or at the end of the links that it is, stays there
  /// until `commit`.
  [[nodiscard]] Status open(const std::string& path);

  [[nodiscard]] Status append(const void* data, size_t size);
  [[nodiscard]] Status append(std::string_view bytes) { return append(bytes.data(), bytes.size()); }

  /// Puts the file in its place, on the disk, with the permissions of one that it replaces.
  [[nodiscard]] Status commit();

  /// The path to write to for those that can only be given one; valid until `commit`. They need to
  /// write the file that is there, not replace it.
  [[nodiscard]] const std::string& temporaryPath() const { return temporaryPath_; }

 private:
  [[nodiscard]] Status openTemporary();
  /// The permissions of the file that is replaced, from the start: what it hides stays hidden.
  [[nodiscard]] Status takePermissions();
  [[nodiscard]] Status replaceTarget();
  void forgetTemporary();

  std::string path_;           ///< as the user knows it
  std::string target_;         ///< what is replaced: `path_`, its links followed
  std::string temporaryPath_;  ///< of a file written in place: the same as `path_`
  bool isTemporary_ = false;   ///< something is to be renamed or removed
  SignalUndo undo_;
  Descriptor file_;
};

/// Makes `bytes` the content of the file at `path`, all or nothing.
[[nodiscard]] Status writeWholeFile(const std::string& path, std::string_view bytes);

}  // namespace ryx

#endif
