// SPDX-License-Identifier: Apache-2.0
// ryx-bench-arrow LOG: the table of events as an Arrow stream out of the C library, each batch
// released before the next. Prints its seconds without those of starting up.

#include <cstdio>

#include "bench/stopwatch.h"
#include "ryx/profile_arrow.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: ryx-bench-arrow LOG\n", stderr);
    return 2;
  }
  const ryx::bench::Stopwatch stopwatch;
  ryx_profile* log = nullptr;
  ArrowArrayStream stream;
  if (ryx_profile_open(argv + 1, 1, &log) != 0 ||
      ryx_profile_stream(log, "events", nullptr, &stream) != 0) {
    std::fprintf(stderr, "ryx-bench-arrow: %s\n", ryx_profile_last_error());
    return 1;
  }
  ryx_profile_close(log);
  size_t rows = 0;
  ArrowArray batch;
  int error = 0;
  while ((error = stream.get_next(&stream, &batch)) == 0 && batch.release != nullptr) {
    rows += static_cast<size_t>(batch.length);
    batch.release(&batch);
  }
  const double seconds = stopwatch.seconds();
  if (error != 0) std::fprintf(stderr, "ryx-bench-arrow: %s\n", stream.get_last_error(&stream));
  stream.release(&stream);
  std::printf("%.6f s, %zu rows\n", seconds, rows);
  return error != 0 ? 1 : 0;
}
