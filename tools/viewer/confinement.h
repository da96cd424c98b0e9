// SPDX-License-Identifier: Apache-2.0
// Confining the whole process, for good, before it does what a log tells it.
//
// A log names the files that its payloads go to, and a hostile one names anything. The kernel's own
// sandbox (Landlock) holds the process to one folder, whatever the names say and wherever symbolic
// links lead. What is open already stays open, and what is not in any folder (pipes, files in
// memory) can be opened again.

#ifndef RYX_VIEWER_CONFINEMENT_H
#define RYX_VIEWER_CONFINEMENT_H

#include <string>
#include <vector>

#include "base/status.h"

namespace ryx::viewer {

/// Whether this kernel can confine a process.
[[nodiscard]] bool canConfine();

/// What a confined process may still open. Paths of files that do not exist are left out.
struct Permissions {
  std::string folder;                 ///< to read, create and write files below
  std::string writableFile;           ///< one more file to write; may be empty
  std::vector<std::string> readable;  ///< files to read
};

/// Confines this process to `permissions`. There is no way back. On failure the process is not
/// confined.
[[nodiscard]] Status confine(const Permissions& permissions);

}  // namespace ryx::viewer

#endif
