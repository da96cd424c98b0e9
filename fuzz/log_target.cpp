// SPDX-License-Identifier: Apache-2.0
// Fuzz target: the input is a whole log, to be read and reported on by both readers, and read as
// tables, which end where the log's damage is.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/log_reports.h"
#include "fuzz/require.h"
#include "ryx/profile_tables.h"
#include "stream/log_damage.h"

namespace {

using namespace ryx::profiling;

void readTables(const uint8_t* data, size_t size) {
  static const int file = memfd_create("tables", MFD_CLOEXEC);
  ryx::fuzz::require(
      ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size),
      "a file in memory can be written");
  const std::string path = "/proc/self/fd/" + std::to_string(file);
  Selection selection;
  for (size_t i = 0; i < kTableCount; ++i) selection.add(static_cast<TableId>(i));
  TableReader reader(selection);
  ryx::fuzz::require(reader.open(path), "a file in memory can be opened");
  while (const Batch* batch = reader.next())
    for (size_t row = 0; row < batch->rows(); ++row)
      for (size_t i = 0; i < batch->columns(); ++i) {
        const std::string copy(batch->cell(row, i).text);
        ryx::fuzz::require(copy.find('\0') == std::string::npos, "texts end at their first NUL");
      }
  const auto damage = findDamage(path);
  ryx::fuzz::require(!damage || reader.damage(), "tables end at damage");
  if (!reader.damage() || reader.damage()->line.find("shared too often") != std::string::npos)
    return;
  ryx::fuzz::require(damage && describe(*damage) == reader.damage()->line,
                     "tables name the damage as it is");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ryx::fuzz::makeReports({reinterpret_cast<const char*>(data), size});
  readTables(data, size);
  return 0;
}
