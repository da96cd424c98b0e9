// The lines on standard error: the viewer's own and those that the library logs.

#ifndef RYX_VIEWER_LOG_LINES_H
#define RYX_VIEWER_LOG_LINES_H

#include <cstdarg>
#include <cstdint>
#include <string>

namespace ryx::viewer {

/// Prints "ryx-profile-viewer: `text`".
void complain(const std::string& text);

/// Prints "ryx-profile-viewer: `file`: `text`".
void complain(const std::string& file, const std::string& text);

/// Chooses which of the library's lines are printed: those up to `level`, none for 0.
void showLogLines(uint32_t level);

/// The callback to register in a plug-in: prints the line if it is to be shown, and counts it if it
/// is of level ERROR, shown or not.
void handleLogLine(const char* format, uint32_t level, uint64_t timestamp, va_list arguments);

/// How many ERROR lines `handleLogLine` has seen so far.
[[nodiscard]] uint64_t errorLineCount();

}  // namespace ryx::viewer

#endif
