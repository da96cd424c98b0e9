// SPDX-License-Identifier: Apache-2.0
// The process-wide logger of the library.
//
// A logger owns no output: it holds a callback and a maximum level. Loggers live in a registry
// keyed by an opaque handle, and log statements look the process's logger up on every call, so that
// a logger can be replaced or removed while other threads log through it: a statement holds a
// shared copy for as long as it runs. With no logger registered, which is how the library is
// loaded, every statement is silent.

#ifndef RYX_BASE_LOGGER_H
#define RYX_BASE_LOGGER_H

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "ryx/logging.h"

namespace ryx::log {

using LogHandle = uint64_t;

/// What `getMaxLogLevel` returns when no logger is registered.
constexpr uint32_t kNoLogger = 0x7FFFFFFF;

enum LogStatus : uint64_t {
  kLogStatusOk = 0,
  kLogStatusInvalidLevel = 11003,  ///< the maximum level is outside 1 to 5
};

static const std::unordered_map<uint32_t, std::string> logLevelNames = {
    {RYX_LOG_LEVEL_ERROR, "RYX_LOG_LEVEL_ERROR"}, {RYX_LOG_LEVEL_WARN, "RYX_LOG_LEVEL_WARN"},
    {RYX_LOG_LEVEL_INFO, "RYX_LOG_LEVEL_INFO"},   {RYX_LOG_LEVEL_VERBOSE, "RYX_LOG_LEVEL_VERBOSE"},
    {RYX_LOG_LEVEL_DEBUG, "RYX_LOG_LEVEL_DEBUG"},
};

class Logger {
 public:
  /// A null callback means `defaultLogCallback`. `status`, when given, receives whether the level
  /// is valid; the level is stored either way.
  Logger(LogCallback messageCallback, uint32_t maximum, LogStatus* status);

  /// False, and no change, when the level is outside 1 to 5. May be called while others log.
  bool setMaxLevel(uint32_t level);

  /// Passes the line to the callback when the maximum level admits it. `tag` and `line` are
  /// accepted and ignored. A null format throws std::logic_error.
  void log(uint32_t level, const char* tag, int line, const char* format, ...)
      __attribute__((format(printf, 5, 6)));

  /// As `log`, for a started argument list, and without the test of the level.
  void logv(uint32_t level, const char* tag, int line, const char* format, va_list arguments);
  void logv(uint32_t level, const char* format, va_list arguments);

  // For reading only.
  LogCallback callback;  ///< never null
  std::atomic<uint32_t> maxLevel;
  uint64_t startTime;  ///< when it was made, in nanoseconds of the system clock
};

/// The handle of the process's logger: 0 before the first, stale after `terminateLogging`.
extern std::atomic<LogHandle> g_logHandle;

/// Makes and registers a logger. When `status` comes back other than kLogStatusOk nothing was
/// registered and the handle is 0.
LogHandle createLogger(LogCallback callback, uint32_t maxLevel, LogStatus* status);

/// The logger registered under `handle`, or empty.
std::shared_ptr<Logger> lookupLogger(LogHandle handle);

/// The process's logger: its callback, or null; its maximum level, or kNoLogger; whether it exists.
LogCallback getLogCallback();
uint32_t getMaxLogLevel();
bool isLoggingInitialized();

/// False when no logger is registered or the level is outside 1 to 5.
bool setMaxLogLevel(uint32_t level);

/// Prints "%8.1fms [%-7s] " and the message on standard output, as one line of at most 1023
/// characters. A timestamp of 0 stands for now.
void defaultLogCallback(const char* format, uint32_t level, uint64_t timestamp, va_list arguments);

/// Formats the line of `defaultLogCallback` into `destination` (of `size` bytes) for callbacks that
/// send it elsewhere. Returns what vsnprintf does for the message's part.
int formatLogLine(char* destination, size_t size, const char* format, uint32_t level,
                  uint64_t timestamp, va_list arguments);

/// Prints a line of at most 1023 characters on standard error, bypassing the logger.
void logToStderr(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace ryx::log

#define RYX_LOG(level, ...)                                                              \
  do {                                                                                   \
    if (const auto ryxLogger = ::ryx::log::lookupLogger(::ryx::log::g_logHandle.load()); \
        ryxLogger && ryxLogger->maxLevel.load(std::memory_order_acquire) >= (level))     \
      ryxLogger->log((level), "", 0, __VA_ARGS__);                                       \
  } while (false)

#define RYX_LOG_ERROR(...) RYX_LOG(::ryx::log::RYX_LOG_LEVEL_ERROR, __VA_ARGS__)
#define RYX_LOG_DEBUG(...) RYX_LOG(::ryx::log::RYX_LOG_LEVEL_DEBUG, __VA_ARGS__)

#endif
