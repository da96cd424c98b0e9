// SPDX-License-Identifier: Apache-2.0
// Logs taken elsewhere: the loop that reads them and feeds a sink, whatever its format.

#ifndef RYX_EXPORTS_EXPORT_H
#define RYX_EXPORTS_EXPORT_H

#include <functional>
#include <string>
#include <vector>

#include "exports/table_sink.h"
#include "ryx/message_filter.h"

namespace ryx::profiling {

enum class ExportResult {
  Whole,   ///< all logs are in the output
  Partly,  ///< a log was damaged, and is there up to its damage, or could not be opened
  Failed,  ///< there is no output: it could not be written, or no log could be opened
};

/// Exports what `filter` selects of the logs, in this order. `say` is given what the user has to
/// know, a sentence at a time.
[[nodiscard]] ExportResult exportLogs(const std::vector<ExportedLog>& logs,
                                      const MessageFilter& filter, TableSink& sink,
                                      const std::function<void(const std::string&)>& say);

}  // namespace ryx::profiling

#endif
