// SPDX-License-Identifier: Apache-2.0
// The registry is locked to look a logger up, never while its callback runs: a callback may be
// slow, may log itself, and may replace the logger. The shared copy that a statement holds keeps
// the logger alive.

#include "base/logger.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <new>
#include <stdexcept>

namespace ryx::log {
namespace {

/// Makes handles unlike addresses, so that nobody is tempted to convert one back.
constexpr uint64_t kLogHandleMask = 0x5A3C96E1F00D2B47;

constexpr size_t kLineBytes = 1024;

std::unordered_map<LogHandle, std::shared_ptr<Logger>> g_loggers;
std::mutex g_loggersMutex;

/// When the last logger with the default callback was made, in nanoseconds of the system clock.
std::atomic<uint64_t> g_defaultStartTime{0};

uint64_t nowNanoseconds() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count());
}

bool isValidLevel(uint32_t level) {
  return level >= RYX_LOG_LEVEL_ERROR && level <= RYX_LOG_LEVEL_DEBUG;
}

const char* levelLabel(uint32_t level) {
  switch (level) {
    case RYX_LOG_LEVEL_ERROR: return " ERROR ";
    case RYX_LOG_LEVEL_WARN: return "WARNING";
    case RYX_LOG_LEVEL_INFO: return "  INFO ";
    case RYX_LOG_LEVEL_VERBOSE: return "VERBOSE";
    case RYX_LOG_LEVEL_DEBUG: return " DEBUG ";
    case kNoLogger: return "UNKNOWN";
  }
  return "";
}

LogHandle handleOf(const Logger* logger) {
  return __builtin_bswap64(reinterpret_cast<uint64_t>(logger)) ^ kLogHandleMask;
}

void removeRegisteredLogger() {
  const std::lock_guard<std::mutex> lock(g_loggersMutex);
  g_loggers.erase(g_logHandle.load());
}

}  // namespace

std::atomic<LogHandle> g_logHandle{0};

Logger::Logger(LogCallback messageCallback, uint32_t maximum, LogStatus* status)
    : callback(messageCallback), maxLevel(maximum), startTime(nowNanoseconds()) {
  if (callback == nullptr) {
    g_defaultStartTime = startTime;
    callback = defaultLogCallback;
  }
  if (status != nullptr) *status = isValidLevel(maximum) ? kLogStatusOk : kLogStatusInvalidLevel;
}

bool Logger::setMaxLevel(uint32_t level) {
  if (!isValidLevel(level)) return false;
  maxLevel.store(level, std::memory_order_release);
  return true;
}

void Logger::log(uint32_t level, const char* tag, int line, const char* format, ...) {
  const auto maximum = static_cast<int32_t>(maxLevel.load(std::memory_order_acquire));
  if (callback == nullptr || maximum < static_cast<int32_t>(level)) return;
  va_list arguments;
  va_start(arguments, format);
  logv(level, tag, line, format, arguments);
  va_end(arguments);
}

void Logger::logv(uint32_t level, const char*, int, const char* format, va_list arguments) {
  logv(level, format, arguments);
}

void Logger::logv(uint32_t level, const char* format, va_list arguments) {
  if (format == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  const std::string formatCopy(format);
  callback(formatCopy.c_str(), level, nowNanoseconds() - startTime, arguments);
}

bool initializeLogging(LogCallback callback, uint32_t maxLevel) {
  // The old one goes first: whatever logs meanwhile finds none, and is silent.
  if (g_logHandle != 0) removeRegisteredLogger();
  LogStatus status = kLogStatusOk;
  g_logHandle = createLogger(callback, maxLevel, &status);
  return status == kLogStatusOk;
}

LogHandle createLogger(LogCallback callback, uint32_t maxLevel, LogStatus* status) {
  const std::shared_ptr<Logger> logger(new (std::nothrow) Logger(callback, maxLevel, status));
  if (status != nullptr && *status != kLogStatusOk) return 0;
  // Where there was no memory for a logger, the handle leads to none.
  const LogHandle handle = handleOf(logger.get());
  const std::lock_guard<std::mutex> lock(g_loggersMutex);
  if (logger) g_loggers[handle] = logger;
  return handle;
}

void terminateLogging() { removeRegisteredLogger(); }

std::shared_ptr<Logger> lookupLogger(LogHandle handle) {
  const std::lock_guard<std::mutex> lock(g_loggersMutex);
  const auto found = g_loggers.find(handle);
  return found == g_loggers.end() ? nullptr : found->second;
}

LogCallback getLogCallback() {
  const auto logger = lookupLogger(g_logHandle);
  return logger ? logger->callback : nullptr;
}

uint32_t getMaxLogLevel() {
  const auto logger = lookupLogger(g_logHandle);
  return logger ? logger->maxLevel.load(std::memory_order_acquire) : kNoLogger;
}

bool isLoggingInitialized() { return lookupLogger(g_logHandle) != nullptr; }

bool setMaxLogLevel(uint32_t level) {
  const auto logger = lookupLogger(g_logHandle);
  return logger && logger->setMaxLevel(level);
}

int formatLogLine(char* destination, size_t size, const char* format, uint32_t level,
                  uint64_t timestamp, va_list arguments) {
  const uint64_t elapsed = timestamp != 0 ? timestamp : nowNanoseconds() - g_defaultStartTime;
  const int prefix = snprintf(destination, size, "%8.1fms [%-7s] ",
                              static_cast<double>(elapsed) / 1e6, levelLabel(level));
  // snprintf returns what the whole prefix takes, also where there is less room.
  const size_t used = std::min(size, static_cast<size_t>(std::max(prefix, 0)));
  return vsnprintf(destination + used, size - used, format, arguments);
}

void defaultLogCallback(const char* format, uint32_t level, uint64_t timestamp, va_list arguments) {
  char line[kLineBytes] = {};
  formatLogLine(line, sizeof line, format, level, timestamp, arguments);
  puts(line);
}

void logToStderr(const char* format, ...) {
  char line[kLineBytes] = {};
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  fprintf(stderr, "%s\n", line);
}

}  // namespace ryx::log
