// SPDX-License-Identifier: Apache-2.0
// ryx-bench-floor: the floor, as a process. Prints its seconds without those of starting up.

#include <cstdio>

#include "bench/floor_pass.h"
#include "bench/stopwatch.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: ryx-bench-floor LOG\n", stderr);
    return 2;
  }
  const ryx::bench::Stopwatch stopwatch;
  const auto chunks = ryx::bench::countVerifiedChunks(argv[1]);
  const double seconds = stopwatch.seconds();
  if (!chunks) {
    std::fprintf(stderr, "ryx-bench-floor: %s: not a readable log\n", argv[1]);
    return 1;
  }
  std::printf("%.6f s, %zu chunks\n", seconds, *chunks);
  return 0;
}
