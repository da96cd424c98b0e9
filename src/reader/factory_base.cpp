// SPDX-License-Identifier: Apache-2.0
// The factory of libRyxProfilingReader: CSV and the full text report.

#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {

ProfileLogReader* createReader(const std::string& logFilePath, VisibilityLevel level) {
  return new RyxProfileLogReader(logFilePath, level);
}

void deleteReader(ProfileLogReader* reader) { delete reader; }

}  // namespace ryx::profiling
