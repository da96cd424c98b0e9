// Fuzz target: the input is a whole log, to be read and reported on by both readers.

#include <cstddef>
#include <cstdint>

#include "fuzz/log_reports.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ryx::fuzz::makeReports({reinterpret_cast<const char*>(data), size});
  return 0;
}
