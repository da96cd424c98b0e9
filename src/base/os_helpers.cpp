// SPDX-License-Identifier: Apache-2.0
#include "base/os_helpers.h"

#include <unistd.h>

namespace ryx::log {

std::tm* localTime(const std::time_t* time, std::tm* result) { return localtime_r(time, result); }

char* asciiTime(const std::tm* time, char* buffer, size_t size) {
  constexpr size_t kDateTextBytes = 26;
  return size < kDateTextBytes ? nullptr : asctime_r(time, buffer);
}

int getTimeOfDay(timeval* result) {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) return -1;
  *result = now;
  return 0;
}

int sleepMilliseconds(uint32_t milliseconds) {
  // usleep takes less than a second.
  if (milliseconds > 999) sleep(milliseconds / 1000);
  usleep(milliseconds % 1000 * 1000);
  return 0;
}

}  // namespace ryx::log
