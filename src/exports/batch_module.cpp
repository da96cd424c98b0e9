// SPDX-License-Identifier: Apache-2.0
// The least that SQLite needs of a virtual table: one cursor that goes forward over the rows, no
// index, no write. The functions are called by C code, so nothing may be thrown through them; what
// can fail for lack of memory returns SQLITE_NOMEM.
//
// SQLite has no unsigned integers of 64 bits. Those above 2^63 - 1 become text, in all their
// digits: as a double they would be rounded, and nothing would tell.

#include "exports/batch_module.h"

#include <sqlite3.h>

#include <charconv>
#include <new>

#include "exports/sqlite_schema.h"

namespace ryx::profiling {

namespace {

// The objects of SQLite's interface for such tables. It knows their first member alone.

struct BatchTable : sqlite3_vtab {
  const NumberedBatch* rows;
};

struct BatchCursor : sqlite3_vtab_cursor {
  const NumberedBatch* rows;
  size_t row;
};

/// Called by SQLite, through which nothing may be thrown.
int connect(sqlite3* database, void* rows, int, const char* const*, sqlite3_vtab** made,
            char**) try {
  const auto* batch = static_cast<const NumberedBatch*>(rows);
  std::string sql = "CREATE TABLE rows(";
  for (size_t i = 0; i < batch->columns; ++i) sql += (i == 0 ? "c" : ", c") + std::to_string(i);
  const int code = sqlite3_declare_vtab(database, (sql + ")").c_str());
  if (code != SQLITE_OK) return code;
  auto* table = new (std::nothrow) BatchTable{};
  if (table == nullptr) return SQLITE_NOMEM;
  table->rows = batch;
  *made = table;
  return SQLITE_OK;
} catch (const std::bad_alloc&) {
  return SQLITE_NOMEM;
}

int disconnect(sqlite3_vtab* table) {
  delete static_cast<BatchTable*>(table);
  return SQLITE_OK;
}

/// There is but one way to read the rows, whatever SQLite looks for.
int chooseIndex(sqlite3_vtab*, sqlite3_index_info*) { return SQLITE_OK; }

int open(sqlite3_vtab* table, sqlite3_vtab_cursor** opened) {
  auto* cursor = new (std::nothrow) BatchCursor{};
  if (cursor == nullptr) return SQLITE_NOMEM;
  cursor->rows = static_cast<BatchTable*>(table)->rows;
  *opened = cursor;
  return SQLITE_OK;
}

int close(sqlite3_vtab_cursor* cursor) {
  delete static_cast<BatchCursor*>(cursor);
  return SQLITE_OK;
}

int rewind(sqlite3_vtab_cursor* cursor, int, const char*, int, sqlite3_value**) {
  static_cast<BatchCursor*>(cursor)->row = 0;
  return SQLITE_OK;
}

int advance(sqlite3_vtab_cursor* cursor) {
  ++static_cast<BatchCursor*>(cursor)->row;
  return SQLITE_OK;
}

int isAtEnd(sqlite3_vtab_cursor* cursor) {
  const auto* at = static_cast<BatchCursor*>(cursor);
  return at->row >= at->rows->batch->rows() ? 1 : 0;
}

void returnUnsigned(sqlite3_context* result, uint64_t value) {
  if (value <= INT64_MAX) {
    sqlite3_result_int64(result, static_cast<int64_t>(value));
    return;
  }
  char digits[20];
  const char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  sqlite3_result_text(result, digits, static_cast<int>(end - digits), SQLITE_TRANSIENT);
}

int returnCell(sqlite3_vtab_cursor* cursor, sqlite3_context* result, int index) {
  const auto* at = static_cast<BatchCursor*>(cursor);
  const auto column = static_cast<size_t>(index);
  const Batch& batch = *at->rows->batch;
  if (isText(batch.column(column))) {
    const int64_t number = at->rows->numbers[column][at->row];
    if (number != NumberedBatch::kNull) sqlite3_result_int64(result, number);
    return SQLITE_OK;
  }
  const Cell cell = batch.cell(at->row, column);
  if (cell.isNull) return SQLITE_OK;  // what is not said is null
  switch (cell.type) {
    case ColumnType::Int64: sqlite3_result_int64(result, cell.integer); break;
    case ColumnType::UInt64: returnUnsigned(result, cell.natural); break;
    case ColumnType::Double: sqlite3_result_double(result, cell.real); break;
    case ColumnType::Text:
    case ColumnType::Dictionary: break;
  }
  return SQLITE_OK;
}

int returnRowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* id) {
  *id = static_cast<sqlite3_int64>(static_cast<BatchCursor*>(cursor)->row);
  return SQLITE_OK;
}

constexpr sqlite3_module kModule = [] {
  sqlite3_module module = {};
  module.xConnect = connect;
  module.xDisconnect = disconnect;
  module.xBestIndex = chooseIndex;
  module.xOpen = open;
  module.xClose = close;
  module.xFilter = rewind;
  module.xNext = advance;
  module.xEof = isAtEnd;
  module.xColumn = returnCell;
  module.xRowid = returnRowId;
  return module;
}();

}  // namespace

Status addBatchTable(SqliteDatabase& database, const std::string& name, NumberedBatch& rows) {
  const int code = sqlite3_create_module_v2(database.get(), name.c_str(), &kModule, &rows, nullptr);
  if (code == SQLITE_NOMEM) throw std::bad_alloc();
  return code == SQLITE_OK ? Status() : Status::failure(sqlite3_errmsg(database.get()));
}

}  // namespace ryx::profiling
