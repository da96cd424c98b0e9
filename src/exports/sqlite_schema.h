// SPDX-License-Identifier: Apache-2.0
// What is in a SQLite export, in SQL, as the catalogue has it.
//
// A table of the catalogue is a table NAME_data of integers, in which texts are numbers of
// `strings`, and a view NAME that reads as the catalogue says. Queries on the view become joins:
// SQLite leaves out those of columns that a query does not ask for, and finds a text by its index.

#ifndef RYX_EXPORTS_SQLITE_SCHEMA_H
#define RYX_EXPORTS_SQLITE_SCHEMA_H

#include <string>

#include "ryx/profile_tables.h"

namespace ryx::profiling {

[[nodiscard]] inline bool isText(const Column& column) {
  return column.type == ColumnType::Text || column.type == ColumnType::Dictionary;
}

/// "events_data".
[[nodiscard]] std::string dataTableOf(const Table& table);

/// Statements that make all tables and views, empty.
[[nodiscard]] std::string schemaSql();

/// Statements that make all indexes.
[[nodiscard]] std::string indexSql();

}  // namespace ryx::profiling

#endif
