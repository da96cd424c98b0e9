// SPDX-License-Identifier: Apache-2.0
// Logs to export, by their paths alone.

#ifndef RYX_TESTS_EXPORTED_LOGS_H
#define RYX_TESTS_EXPORTED_LOGS_H

#include <cstdint>
#include <string>
#include <vector>

#include "exports/table_sink.h"

namespace ryx::tests {

inline std::vector<profiling::ExportedLog> exportedLogs(const std::vector<std::string>& paths) {
  std::vector<profiling::ExportedLog> logs;
  for (const std::string& path : paths)
    logs.push_back({path, static_cast<int64_t>(logs.size()), path, path});
  return logs;
}

}  // namespace ryx::tests

#endif
