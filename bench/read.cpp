// SPDX-License-Identifier: Apache-2.0
// ryx-bench-read: a reader plug-in reads a log. Prints the seconds from a new reader to complete
// statistics, without those of loading the plug-in and of destroying the reader.

#include <dlfcn.h>

#include <cstdio>

#include "bench/stopwatch.h"
#include "ryx/profile_log_reader.h"

namespace {

using ryx::profiling::VisibilityLevel;

constexpr VisibilityLevel kEverything{127};

int readLog(const char* plugin, const char* log) {
  void* library = dlopen(plugin, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "ryx-bench-read: %s\n", dlerror());
    return 1;
  }
  const auto createReader =
      reinterpret_cast<decltype(&ryx::profiling::createReader)>(dlsym(library, "createReader"));
  const auto deleteReader =
      reinterpret_cast<decltype(&ryx::profiling::deleteReader)>(dlsym(library, "deleteReader"));
  if (createReader == nullptr || deleteReader == nullptr) {
    std::fprintf(stderr, "ryx-bench-read: %s is not a reader plug-in\n", plugin);
    return 1;
  }

  const ryx::bench::Stopwatch stopwatch;
  ryx::profiling::ProfileLogReader* reader = createReader(log, kEverything);
  const bool read = reader->readLogFile(false);
  const double seconds = stopwatch.seconds();
  deleteReader(reader);
  if (!read) {
    std::fprintf(stderr, "ryx-bench-read: %s: could not be read to its end\n", log);
    return 1;
  }
  std::printf("%.6f s\n", seconds);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fputs("usage: ryx-bench-read LOG [PLUGIN]\n", stderr);
    return 2;
  }
  return readLog(argc == 3 ? argv[2] : RYX_READER_PLUGIN, argv[1]);
}
