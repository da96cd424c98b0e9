// SPDX-License-Identifier: Apache-2.0
// Times as users give them, for --from and --to.

#ifndef RYX_STREAM_LOG_TIME_H
#define RYX_STREAM_LOG_TIME_H

#include <string_view>

#include "base/status.h"
#include "ryx/message_filter.h"

namespace ryx::profiling {

/// What a time may look like, for help and for messages about what is none.
constexpr char kLogTimeForms[] =
    "microseconds as logged, +1.5s (or h, m, ms, us) after the first message, or a date like "
    "2024-03-04T10:15:02Z";

/// One of these forms. Dates are ISO 8601, without a zone UTC, from 1970 on; a date alone is its
/// midnight. What is finer than a microsecond is cut off. Fails with "'TEXT' is no time: ...".
[[nodiscard]] Result<LogTime> parseLogTime(std::string_view text);

}  // namespace ryx::profiling

#endif
