// The commands of ryx-profile-log. Each answers whether it succeeded, and has reported why not.

#ifndef RYX_TOOLBOX_COMMANDS_H
#define RYX_TOOLBOX_COMMANDS_H

#include <string>

namespace ryx::profiling {

/// Writes the log at `logPath`, one chunk for each JSON document in the file at `casePath`. The log
/// appears only when it is whole; on failure what stood at `logPath` is unchanged.
[[nodiscard]] bool makeLog(const std::string& casePath, const std::string& logPath);

/// Prints every chunk of the log on standard output as a JSON document. Stops at the first chunk
/// that does not verify; the chunks before it have been printed.
[[nodiscard]] bool dumpLog(const std::string& logPath);

/// Prints one line on standard error. Answers false, for the caller to return.
bool reportError(const std::string& text);

/// Prints `text`, or only what is still buffered, on standard output.
[[nodiscard]] bool printText(const std::string& text = {});

}  // namespace ryx::profiling

#endif
