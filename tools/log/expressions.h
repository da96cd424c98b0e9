// SPDX-License-Identifier: Apache-2.0
// Regular expressions of a command line. The engine is RE2, which takes time in proportion to the
// text whatever the expression: names come from logs of anybody.

#ifndef RYX_LOG_EXPRESSIONS_H
#define RYX_LOG_EXPRESSIONS_H

#include <functional>
#include <string>
#include <string_view>

#include "analysis/event_statistics.h"
#include "base/status.h"

namespace ryx::profiling {

/// Whether a text has a match of the expression, anywhere. Failures name what is wrong with it.
[[nodiscard]] Result<std::function<bool(std::string_view)>> makeMatcher(
    const std::string& expression);

/// The groups of `--by`: "path" (none), "identifier", "type", or an expression, whose first capture
/// in an event's identifier, or whose match where it captures nothing, is the group.
[[nodiscard]] Result<GroupOf> makeGrouping(const std::string& by);

}  // namespace ryx::profiling

#endif
