// SPDX-License-Identifier: Apache-2.0
// Files without a name, gone with the descriptor that holds them.

#ifndef RYX_BASE_TEMPORARY_FILE_H
#define RYX_BASE_TEMPORARY_FILE_H

#include <string>

#include "base/descriptor.h"
#include "base/status.h"

namespace ryx {

/// An empty file in the folder for temporary files (TMPDIR, or /tmp), to be written and read.
[[nodiscard]] Result<Descriptor> openUnnamedFile();

/// A path that leads to what is open, for as long as it is.
[[nodiscard]] std::string pathOf(const Descriptor& file);

/// A file that can be read as often as wanted, whatever it was made from. It has a path for as long
/// as it is open.
class RereadableFile {
 public:
  /// Takes a regular file as it is, and copies the rest of anything else, such as a pipe, to an
  /// unnamed file. Fails with the system's reason alone.
  [[nodiscard]] Status open(const std::string& path);

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
  Descriptor copy_;
};

}  // namespace ryx

#endif
