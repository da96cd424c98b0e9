// SPDX-License-Identifier: Apache-2.0
// A SQLite database under construction: opening, statements, and failures as a Status.

#ifndef RYX_EXPORTS_SQLITE_DATABASE_H
#define RYX_EXPORTS_SQLITE_DATABASE_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/status.h"

struct sqlite3;
struct sqlite3_stmt;

namespace ryx::profiling {

/// A prepared statement. Must not outlive its database.
class SqliteStatement {
 public:
  SqliteStatement() = default;

  /// Parameters count from 1. Texts are borrowed until `run` has returned.
  void bind(int parameter, int64_t value);
  void bind(int parameter, std::string_view text);

  /// Runs the statement to its end, and makes it ready to be run again.
  [[nodiscard]] Status run();

 private:
  friend class SqliteDatabase;
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Failures are SQLite's reason alone. Exhausted memory is std::bad_alloc.
class SqliteDatabase {
 public:
  /// Opens the file at `path`, which has to be there: a database, or empty. Nobody else may use it:
  /// it is not locked.
  [[nodiscard]] Status open(const std::string& path);

  /// Runs any number of statements.
  [[nodiscard]] Status run(const std::string& sql);

  [[nodiscard]] Status prepare(const std::string& sql, SqliteStatement& statement);

  /// Fails while there are statements.
  [[nodiscard]] Status close();

  [[nodiscard]] sqlite3* get() const { return database_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace ryx::profiling

#endif
