// SPDX-License-Identifier: Apache-2.0
// What a path leads to.

#ifndef RYX_BASE_FILE_H
#define RYX_BASE_FILE_H

#include <string>

#include "base/status.h"

namespace ryx {

/// Whether both paths lead to one regular file, by links or otherwise.
[[nodiscard]] bool isSameFile(const std::string& onePath, const std::string& otherPath);

/// Whether the path names something that has no content to replace: a device, a pipe, or a
/// descriptor of this process such as /dev/stdout.
[[nodiscard]] bool isWrittenInPlace(const std::string& path);

/// The whole file. A failure is the system's reason alone; the caller names the file.
[[nodiscard]] Result<std::string> readWholeFile(const std::string& path);

}  // namespace ryx

#endif
