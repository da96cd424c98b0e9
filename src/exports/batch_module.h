// SPDX-License-Identifier: Apache-2.0
// A batch as a table that SQLite reads by itself: INSERT INTO ... SELECT * FROM it.
//
// Binding each value to a parameter and running a statement for each row, or each sixteen, takes
// SQLite half as long again as asking for the values when it is about to store them.

#ifndef RYX_EXPORTS_BATCH_MODULE_H
#define RYX_EXPORTS_BATCH_MODULE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "exports/sqlite_database.h"
#include "ryx/profile_tables.h"

namespace ryx::profiling {

/// The rows that SQLite reads: those of a batch, its texts replaced by numbers.
struct NumberedBatch {
  static constexpr int64_t kNull = -1;

  const Batch* batch = nullptr;               ///< borrowed while SQLite reads
  std::vector<std::vector<int64_t>> numbers;  ///< by column; of texts, a number or kNull each row
  size_t columns = 0;
};

/// Makes `rows`, which must outlive the database, known to it as a table called `name`.
[[nodiscard]] Status addBatchTable(SqliteDatabase& database, const std::string& name,
                                   NumberedBatch& rows);

}  // namespace ryx::profiling

#endif
