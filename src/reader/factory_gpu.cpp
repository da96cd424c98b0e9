// SPDX-License-Identifier: Apache-2.0
// The factory of libRyxGpuProfilingReader: the JSON report.

#include "reader/ryx_profile_log_reader_gpu.h"

namespace ryx::profiling {

ProfileLogReader* createReader(const std::string& logFilePath, VisibilityLevel level) {
  return new RyxProfileLogReaderGPU(logFilePath, level);
}

void deleteReader(ProfileLogReader* reader) { delete reader; }

}  // namespace ryx::profiling
