// SPDX-License-Identifier: Apache-2.0
// ryx-bench-sqlite-floor DATABASE COPY: how long SQLite itself takes for the rows of an exported
// database. Loads them all into memory, and then writes them to a new database: the same tables,
// the same texts, the same indexes, ANALYZE, and to the disk. Prints the seconds that this took,
// and not those of loading.

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/stopwatch.h"

namespace {

/// As many rows as are inserted by one statement; more are no faster.
constexpr size_t kRowsPerInsert = 16;

struct Value {
  int type = SQLITE_NULL;
  int64_t integer = 0;
  double real = 0;
  std::string text;
};

struct Rows {
  std::string table;
  size_t columns = 0;
  std::vector<Value> values;  ///< row by row
};

struct Contents {
  std::string schema;   ///< statements that make tables and views
  std::string indexes;  ///< statements that make indexes
  std::vector<Rows> tables;
};

void require(bool isGood, sqlite3* database) {
  if (isGood) return;
  std::fprintf(stderr, "ryx-bench-sqlite-floor: %s\n", sqlite3_errmsg(database));
  std::exit(1);
}

sqlite3_stmt* prepare(sqlite3* database, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK,
          database);
  return statement;
}

void run(sqlite3* database, const std::string& sql) {
  require(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, database);
}

std::string textAt(sqlite3_stmt* statement, int column) {
  return reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
}

Value valueAt(sqlite3_stmt* statement, int column) {
  Value value;
  value.type = sqlite3_column_type(statement, column);
  if (value.type == SQLITE_INTEGER) value.integer = sqlite3_column_int64(statement, column);
  if (value.type == SQLITE_FLOAT) value.real = sqlite3_column_double(statement, column);
  if (value.type == SQLITE_TEXT) value.text = textAt(statement, column);
  return value;
}

Contents load(const char* path) {
  Contents contents;
  sqlite3* database = nullptr;
  require(sqlite3_open_v2(path, &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK, database);
  sqlite3_stmt* objects = prepare(database,
                                  "SELECT type, name, sql FROM sqlite_master WHERE sql IS NOT NULL "
                                  "AND name NOT LIKE 'sqlite%'");
  while (sqlite3_step(objects) == SQLITE_ROW) {
    const std::string type = textAt(objects, 0);
    (type == "index" ? contents.indexes : contents.schema) += textAt(objects, 2) + ";";
    if (type == "table") contents.tables.push_back({textAt(objects, 1), 0, {}});
  }
  sqlite3_finalize(objects);
  for (Rows& rows : contents.tables) {
    sqlite3_stmt* select = prepare(database, "SELECT * FROM " + rows.table);
    rows.columns = static_cast<size_t>(sqlite3_column_count(select));
    while (sqlite3_step(select) == SQLITE_ROW)
      for (size_t i = 0; i < rows.columns; ++i)
        rows.values.push_back(valueAt(select, static_cast<int>(i)));
    sqlite3_finalize(select);
  }
  sqlite3_close(database);
  return contents;
}

void bind(sqlite3_stmt* statement, int parameter, const Value& value) {
  switch (value.type) {
    case SQLITE_INTEGER: sqlite3_bind_int64(statement, parameter, value.integer); break;
    case SQLITE_FLOAT: sqlite3_bind_double(statement, parameter, value.real); break;
    case SQLITE_TEXT:
      sqlite3_bind_text(statement, parameter, value.text.data(),
                        static_cast<int>(value.text.size()), SQLITE_STATIC);
      break;
    default: sqlite3_bind_null(statement, parameter);
  }
}

/// Inserts rows from the `at`th value on, as many as a statement takes, as long as there are so
/// many left. Returns where it stopped.
size_t insert(sqlite3* database, const Rows& rows, size_t rowsPerInsert, size_t at) {
  std::string sql = "INSERT INTO " + rows.table + " VALUES";
  for (size_t row = 0; row < rowsPerInsert; ++row)
    for (size_t i = 0; i < rows.columns; ++i)
      sql += std::string(i > 0 ? ",?" : row > 0 ? ",(?" : "(?") + (i + 1 < rows.columns ? "" : ")");
  sqlite3_stmt* statement = prepare(database, sql);
  const size_t step = rowsPerInsert * rows.columns;
  for (; rows.values.size() - at >= step; at += step) {
    for (size_t i = 0; i < step; ++i) bind(statement, static_cast<int>(i + 1), rows.values[at + i]);
    require(sqlite3_step(statement) == SQLITE_DONE, database);
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  return at;
}

void store(const Contents& contents, const char* path) {
  sqlite3* database = nullptr;
  require(sqlite3_open(path, &database) == SQLITE_OK, database);
  run(database,
      "PRAGMA page_size = 16384; PRAGMA cache_size = -32768; PRAGMA journal_mode = OFF;"
      "PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; BEGIN;" +
          contents.schema);
  for (const Rows& rows : contents.tables) {
    const size_t at = insert(database, rows, kRowsPerInsert, 0);
    insert(database, rows, 1, at);
  }
  run(database, contents.indexes + "ANALYZE; COMMIT");
  sqlite3_close(database);
  const int file = open(path, O_RDWR);
  if (file < 0 || fsync(file) != 0) std::exit(1);
  close(file);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: ryx-bench-sqlite-floor DATABASE COPY\n", stderr);
    return 2;
  }
  const Contents contents = load(argv[1]);
  unlink(argv[2]);
  const ryx::bench::Stopwatch stopwatch;
  store(contents, argv[2]);
  std::printf("%.6f s\n", stopwatch.seconds());
  return 0;
}
