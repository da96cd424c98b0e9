// SPDX-License-Identifier: Apache-2.0
// The least that any reader of logs has to do, and what the others are compared to.

#ifndef RYX_BENCH_FLOOR_PASS_H
#define RYX_BENCH_FLOOR_PASS_H

#include <cstddef>
#include <optional>
#include <string>

namespace ryx::bench {

/// Reads every chunk of the log at `path`, verifies it and drops it. Returns how many there were,
/// or nothing when one could not be read or did not verify.
[[nodiscard]] std::optional<size_t> countVerifiedChunks(const std::string& path);

}  // namespace ryx::bench

#endif
