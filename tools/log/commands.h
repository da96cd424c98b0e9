// SPDX-License-Identifier: Apache-2.0
// The commands of ryx-profile-log. Each returns why it failed; those that go on with the next
// log after a failure print it, and return whether there was none. An operand "-" is standard
// input, an output "-" standard output.

#ifndef RYX_LOG_COMMANDS_H
#define RYX_LOG_COMMANDS_H

#include <functional>
#include <string>
#include <vector>

#include "base/status.h"
#include "common/program.h"
#include "exports/table_sink.h"
#include "exports/text_sink.h"
#include "log/table_copier.h"
#include "stream/message_filter.h"

namespace ryx::profiling {

/// What is said of a log without chunks, which is intact.
constexpr char kEmptyLogText[] = "empty: no chunks";

/// Writes the log at `logPath`, one chunk for each JSON document in the file at `casePath`. The log
/// appears only when it is whole; on failure what stood at `logPath` is unchanged.
[[nodiscard]] Status makeLog(const std::string& casePath, const std::string& logPath);

/// Prints every chunk of the log on standard output as a JSON document. Stops at the first chunk
/// that does not verify; the chunks before it have been printed.
[[nodiscard]] Status dumpLog(const std::string& logPath);

/// Prints one line for each log: what it holds, or its first damage. False when one is damaged.
[[nodiscard]] bool verifyLogs(const std::vector<std::string>& paths);

/// Prints what the log holds, as a table or as JSON. A damaged log is summed up until its first
/// damage, which is then the failure.
[[nodiscard]] Status printInfo(const std::string& logPath, bool asJson);

/// Writes every chunk of the log that verifies to a new log, which appears only when it is whole,
/// and prints what was kept and lost. Fails when nothing can be kept.
[[nodiscard]] Status salvageLog(const std::string& brokenPath, const std::string& goodPath);

/// Writes the selected messages and the log's first header to a new log, which appears only when it
/// is whole. A damaged log is refused.
[[nodiscard]] Status cutLog(const std::string& logPath, const std::string& partPath,
                            const MessageFilter& filter, Redaction redaction);

/// Exports what `filter` selects of the logs to `sink`. What is good in a damaged log is exported,
/// and false returned; likewise for one that cannot be opened.
[[nodiscard]] bool exportTables(const std::vector<std::string>& logPaths,
                                const MessageFilter& filter, TableSink& sink);

/// Prints one line on standard error. Returns false, for the caller to return.
bool reportError(const std::string& text);

using tools::reportIfFailed;

/// Prints `text`, or only what is still buffered, on standard output.
[[nodiscard]] bool printText(const std::string& text = {});

/// What a report is written by.
using ReportPrinter = std::function<void(const TextSink& sink)>;

/// Writes a report to the file, which appears only when it is whole; "-" is standard output. False,
/// and said, when that fails.
[[nodiscard]] bool writeReport(const std::string& path, const ReportPrinter& print);

}  // namespace ryx::profiling

#endif
