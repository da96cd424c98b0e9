// SPDX-License-Identifier: Apache-2.0
// SQLite's codes and messages become a Status where they arise, because its message is that of the
// last call and gone with the next. The database is opened without locks (unix-none): it is a
// temporary that nobody knows of, and there are file systems that have no locks.

#include "exports/sqlite_database.h"

#include <sqlite3.h>

#include <new>

namespace ryx::profiling {

namespace {

/// What the outcome `code` of the last call means.
Status statusOf(int code, sqlite3* database) {
  const int kind = code & 0xFF;
  if (kind == SQLITE_OK || kind == SQLITE_DONE || kind == SQLITE_ROW) return {};
  if (kind == SQLITE_NOMEM) throw std::bad_alloc();
  return Status::failure(database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(code));
}

}  // namespace

void SqliteStatement::Finalize::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

void SqliteStatement::bind(int parameter, int64_t value) {
  sqlite3_bind_int64(statement_.get(), parameter, value);
}

void SqliteStatement::bind(int parameter, std::string_view text) {
  // Null would be bound for a text that has no address.
  const char* bytes = text.data() != nullptr ? text.data() : "";
  sqlite3_bind_text64(statement_.get(), parameter, bytes, text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

Status SqliteStatement::run() {
  int code = SQLITE_ROW;
  while (code == SQLITE_ROW) code = sqlite3_step(statement_.get());
  Status status = statusOf(code, sqlite3_db_handle(statement_.get()));
  sqlite3_reset(statement_.get());
  return status;
}

void SqliteDatabase::Close::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

Status SqliteDatabase::open(const std::string& path) {
  sqlite3* database = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, "unix-none");
  database_.reset(database);
  return statusOf(code, database);
}

Status SqliteDatabase::run(const std::string& sql) {
  return statusOf(sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr),
                  database_.get());
}

Status SqliteDatabase::prepare(const std::string& sql, SqliteStatement& statement) {
  sqlite3_stmt* prepared = nullptr;
  const int code =
      sqlite3_prepare_v3(database_.get(), sql.c_str(), static_cast<int>(sql.size()) + 1,
                         SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
  statement.statement_.reset(prepared);
  return statusOf(code, database_.get());
}

Status SqliteDatabase::close() {
  const int code = sqlite3_close(database_.get());
  if (code == SQLITE_OK) static_cast<void>(database_.release());
  return statusOf(code, database_.get());
}

}  // namespace ryx::profiling
