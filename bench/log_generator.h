// SPDX-License-Identifier: Apache-2.0
// Large logs to measure with, written as a back end would write them.
//
// A log is a function of its shape alone: two calls write the same bytes.

#ifndef RYX_BENCH_LOG_GENERATOR_H
#define RYX_BENCH_LOG_GENERATOR_H

#include <cstddef>
#include <string>

namespace ryx::bench {

struct LogShape {
  size_t graphs = 1;
  size_t executionsPerGraph = 1;
  size_t rootEventsPerExecution = 1;
  size_t subEventsPerRootEvent = 0;
  size_t messagesPerChunk = 0;  ///< 0: as many as fit in 256 KiB, at most 256
};

// The standard shapes, of about 4 million events each.
constexpr LogShape kDeepRun{4, 2000, 60, 8};
constexpr LogShape kWideGraph{1, 400, 5000, 1};
constexpr LogShape kManyGraphs{20000, 4, 25, 1};

/// The root events and sub-events of all executions; the few of other messages are not counted.
[[nodiscard]] size_t eventCount(const LogShape& shape);

/// Writes a log of `shape` to `path`. False on failure; `error` then says what failed.
[[nodiscard]] bool writeLog(const LogShape& shape, const std::string& path, std::string& error);

}  // namespace ryx::bench

#endif
