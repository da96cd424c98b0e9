// SPDX-License-Identifier: Apache-2.0
// Telling a file that was never a profiling log from a damaged one.

#ifndef RYX_STREAM_FOREIGN_CONTENT_H
#define RYX_STREAM_FOREIGN_CONTENT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ryx::profiling {

/// More bytes than this say no more.
constexpr size_t kTellingBytes = 4096;

/// What the first bytes of a file are known to begin: "gzip data", "JSON text"; empty where they
/// could be a log's. A log may begin with any of them, if rarely: only for one whose first chunk
/// does not verify is this evidence.
[[nodiscard]] std::string foreignContent(std::string_view firstBytes);

}  // namespace ryx::profiling

#endif
