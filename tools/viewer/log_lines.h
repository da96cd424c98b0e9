// SPDX-License-Identifier: Apache-2.0
// The lines that a plug-in logs, on standard error.
//
// A log can make a plug-in log a line for each of a million messages. Of lines of one kind, which
// share their format, the first few of each log are printed, and the rest is counted; who asks for
// verbose lines gets all of them. Paths that the viewer made up stand in lines as the user knows
// them.

#ifndef RYX_VIEWER_LOG_LINES_H
#define RYX_VIEWER_LOG_LINES_H

#include <cstdarg>
#include <cstdint>
#include <string>

namespace ryx::viewer {

/// Chooses which lines are printed: those up to `level`, none for 0.
void showLogLines(uint32_t level);

/// From now on lines name `path` as `name`, and ERROR lines about it, "...: [PATH]", are counted.
void nameInLogLines(const std::string& path, const std::string& name);

/// The callback to register in a plug-in: prints the line if it is to be shown, and counts it if it
/// is of level ERROR, shown or not.
void handleLogLine(const char* format, uint32_t level, uint64_t timestamp, va_list arguments);

/// The ERROR lines that `handleLogLine` has seen so far.
struct ErrorLines {
  uint64_t all = 0;
  uint64_t named = 0;  ///< those about a path given to `nameInLogLines`
};
[[nodiscard]] ErrorLines errorLines();

/// Says how many lines of each kind were not printed since the last call, of the log called `log`.
void summarizeLogLines(const std::string& log);

}  // namespace ryx::viewer

#endif
