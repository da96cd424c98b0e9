// SPDX-License-Identifier: Apache-2.0
// The texts of a log: what its strings and method codes read as, the same to everything that shows
// them.

#ifndef RYX_STREAM_LOG_TEXT_H
#define RYX_STREAM_LOG_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "profile_log_generated.h"

namespace ryx::profiling {

/// A text of the log, up to its first NUL; empty when absent. Points into the chunk, which needs to
/// have been verified and to outlive it.
[[nodiscard]] std::string_view logText(const flatbuffers::String* text);

/// The method's name, "Execute", or its number where it has none.
[[nodiscard]] std::string methodText(int8_t method);

/// The code of a method given by its name, in any case, or as a number; empty for anything else.
[[nodiscard]] std::optional<int8_t> methodCode(std::string_view text);

/// All names, in the order of their codes.
[[nodiscard]] std::vector<std::string> methodNames();

/// The names of units by code, from 1 on.
inline constexpr std::string_view kUnitNames[] = {"us",    "bytes",  "cycles",
                                                  "count", "object", "none"};

/// The unit's name, or its number where it has none.
[[nodiscard]] std::string unitText(uint32_t unit);

}  // namespace ryx::profiling

#endif
