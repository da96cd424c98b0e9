#include "viewer/memory_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>

namespace ryx::viewer {
namespace {

/// Bytes that the kernel could hand out without swapping; 0 when it does not tell.
uint64_t availableMemory() {
  std::ifstream file("/proc/meminfo");
  for (std::string line; std::getline(file, line);)
    if (line.rfind("MemAvailable:", 0) == 0) return std::stoull(line.substr(13)) * 1024;
  return 0;
}

}  // namespace

void limitMemory() {
#ifdef RYX_SANITIZED
  constexpr bool kMapsWhatItUses = false;  // sanitizers map far more than they use
#else
  constexpr bool kMapsWhatItUses = true;
#endif
  const uint64_t available = kMapsWhatItUses ? availableMemory() : 0;
  rlimit limit = {};
  if (available == 0 || getrlimit(RLIMIT_DATA, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, available);
  setrlimit(RLIMIT_DATA, &limit);
}

}  // namespace ryx::viewer
