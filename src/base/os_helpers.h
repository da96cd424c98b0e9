// SPDX-License-Identifier: Apache-2.0
// Small wrappers around the system's time and sleep calls.

#ifndef RYX_BASE_OS_HELPERS_H
#define RYX_BASE_OS_HELPERS_H

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace ryx::log {

/// Breaks `time` down in the local time zone. Null when that fails, else `result`.
std::tm* localTime(const std::time_t* time, std::tm* result);

/// The 24-character date text and its newline, in `buffer`. Null when `size` is below 26 or the
/// date has no such text (a year of more than four digits).
char* asciiTime(const std::tm* time, char* buffer, size_t size);

/// Fills seconds and microseconds. 0, or -1 when the clock cannot be read.
int getTimeOfDay(timeval* result);

/// Sleeps for `milliseconds`; returns 0.
int sleepMilliseconds(uint32_t milliseconds);

}  // namespace ryx::log

#endif
