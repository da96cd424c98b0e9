// SPDX-License-Identifier: Apache-2.0
// A limit to the memory that a file can make a tool take.

#ifndef RYX_BASE_MEMORY_LIMIT_H
#define RYX_BASE_MEMORY_LIMIT_H

#include <cstdint>
#include <optional>
#include <string>

namespace ryx {

/// Holds the process to the memory that is free now, in the machine and in the container that it
/// runs in, so that a file that is too large, or made to grow when it is read, ends in
/// std::bad_alloc instead of taking the machine down. A stricter limit of the user's stays. Does
/// nothing in builds with sanitizers, which map far more than they use.
void limitMemory();

/// The bytes that could be taken without swapping, or exceeding the limit of a control group that
/// the process is in (of either version); none where the system tells nothing. `root` is prepended
/// to the paths of the system's files.
[[nodiscard]] std::optional<uint64_t> freeMemory(const std::string& root = "");

}  // namespace ryx

#endif
