// SPDX-License-Identifier: Apache-2.0
// Log lines of the reader library, as a host sees them.
//
// The library logs only when a logger is registered in it, and never registers one itself. A host
// that wants to know why an operation failed looks up `initializeLogging` in the plug-in (it may be
// missing in another maker's plug-in) and passes it a callback.

#ifndef RYX_LOGGING_H
#define RYX_LOGGING_H

#include <cstdarg>
#include <cstdint>

namespace ryx::log {

/// Severity of a line; lower is more severe. A logger emits the lines at or below its maximum.
enum LogLevel : uint32_t {
  RYX_LOG_LEVEL_ERROR = 1,
  RYX_LOG_LEVEL_WARN = 2,
  RYX_LOG_LEVEL_INFO = 3,
  RYX_LOG_LEVEL_VERBOSE = 4,
  RYX_LOG_LEVEL_DEBUG = 5,
};

/// Receives one log line unformatted: a printf-style format, its level, the nanoseconds since the
/// logger was made, and the arguments. Called on the thread that logs, with no lock held; format
/// and arguments are valid for the call only. Must not throw.
using LogCallback = void (*)(const char* format, uint32_t level, uint64_t timestamp,
                             va_list arguments);

extern "C" {

/// Replaces the process-wide logger. A null callback prints on standard output.
/// Returns false, and leaves no logger registered, when `maxLevel` is outside 1 to 5.
__attribute__((visibility("default"))) bool initializeLogging(LogCallback callback,
                                                              uint32_t maxLevel);

/// Removes the process-wide logger: the library is silent again.
__attribute__((visibility("default"))) void terminateLogging();

}  // extern "C"

}  // namespace ryx::log

#endif
