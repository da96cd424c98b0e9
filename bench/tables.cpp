// SPDX-License-Identifier: Apache-2.0
// ryx-bench-tables LOG [COLUMN...]: one pass over the table of events, all columns or these. Prints
// its seconds without those of starting up.

#include <cstdio>

#include "bench/stopwatch.h"
#include "ryx/profile_tables.h"

int main(int argc, char** argv) {
  using namespace ryx::profiling;
  if (argc < 2) {
    std::fputs("usage: ryx-bench-tables LOG [COLUMN...]\n", stderr);
    return 2;
  }
  const ryx::bench::Stopwatch stopwatch;
  Selection selection;
  selection.add(TableId::Events, {argv + 2, argv + argc});
  TableReader reader(selection);
  size_t rows = 0;
  if (reader.open(argv[1]))
    while (const Batch* batch = reader.next()) rows += batch->rows();
  const double seconds = stopwatch.seconds();
  if (reader.damage()) {
    std::fprintf(stderr, "ryx-bench-tables: %s: %s\n", argv[1], reader.damage()->line.c_str());
    return 1;
  }
  std::printf("%.6f s, %zu rows\n", seconds, rows);
  return 0;
}
