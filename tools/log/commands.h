// The commands of ryx-profile-log. Each answers whether it succeeded, and has reported why not.

#ifndef RYX_LOG_COMMANDS_H
#define RYX_LOG_COMMANDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ryx::profiling {

/// Writes the log at `logPath`, one chunk for each JSON document in the file at `casePath`. The log
/// appears only when it is whole; on failure what stood at `logPath` is unchanged.
[[nodiscard]] bool makeLog(const std::string& casePath, const std::string& logPath);

/// Prints every chunk of the log on standard output as a JSON document. Stops at the first chunk
/// that does not verify; the chunks before it have been printed.
[[nodiscard]] bool dumpLog(const std::string& logPath);

/// Prints one line for each log: what it holds, or its first damage. False when one is damaged.
[[nodiscard]] bool verifyLogs(const std::vector<std::string>& paths);

/// Prints what the log holds, as a table or as JSON. A damaged log is summed up until its first
/// damage, and false is answered.
[[nodiscard]] bool printInfo(const std::string& logPath, bool asJson);

/// Writes every chunk of the log that verifies to a new log, which appears only when it is whole,
/// and prints what was kept and lost. True when anything could be kept.
[[nodiscard]] bool salvageLog(const std::string& brokenPath, const std::string& goodPath);

/// The messages that meet all conditions.
struct CutSelection {
  std::optional<std::string> graph;  ///< what the message's text is
  uint64_t fromTime = 0;             ///< microseconds, both inclusive; an absent time is 0
  uint64_t toTime = UINT64_MAX;
  std::optional<int8_t> level;  ///< of a reader that shows the message
  std::vector<int8_t> methods;  ///< any of these; empty: all
  uint64_t first = 1;           ///< among those that meet the other conditions, both inclusive
  uint64_t last = UINT64_MAX;
};

/// The code of a method given by its name, in any case, or as a number.
[[nodiscard]] std::optional<int8_t> methodCode(const std::string& text);

/// Writes the selected messages and the log's first header to a new log, which appears only when it
/// is whole. A damaged log is refused.
[[nodiscard]] bool cutLog(const std::string& logPath, const std::string& partPath,
                          const CutSelection& selection);

/// "1 chunk", "2 chunks".
[[nodiscard]] std::string counted(uint64_t count, const std::string& noun);

/// Prints one line on standard error. Answers false, for the caller to return.
bool reportError(const std::string& text);

/// Prints `text`, or only what is still buffered, on standard output.
[[nodiscard]] bool printText(const std::string& text = {});

}  // namespace ryx::profiling

#endif
