// SPDX-License-Identifier: Apache-2.0
// A timeline: Chrome's trace events as JSON, which Perfetto and speedscope open.

#ifndef RYX_EXPORTS_TRACE_SINK_H
#define RYX_EXPORTS_TRACE_SINK_H

#include <memory>
#include <string>

#include "exports/table_sink.h"

namespace ryx::profiling {

struct TraceOptions {
  std::string outputPath;  ///< or kStandardOutput; gzip data where it ends in ".gz"
  bool isWhole = false;    ///< all executions, however many
};

/// A process for each log, and in it a thread for each graph and method, one for the phases (all
/// that is no execution), and more where executions overlap. docs/exports.md has the rules.
[[nodiscard]] std::unique_ptr<TableSink> makeTraceSink(TraceOptions options);

}  // namespace ryx::profiling

#endif
