// SPDX-License-Identifier: Apache-2.0
// Everything but the indexes follows from the catalogue. A text is stored as its number, an event's
// identifier in a few bytes; the views put texts and names back, so that nobody has to know.
// Integers that may exceed 63 bits get no type, or SQLite would turn their texts into rounded
// numbers.

#include "exports/sqlite_schema.h"

#include <cstddef>

namespace ryx::profiling {

namespace {

/// How a column is stored: its name and type.
std::string storedColumn(const Column& column) {
  std::string name(column.name);
  switch (column.type) {
    case ColumnType::Int64: return name + " INTEGER";
    case ColumnType::Double: return name + " REAL";
    case ColumnType::Text:
    case ColumnType::Dictionary: return name + "_id INTEGER";
    // Numbers above 2^63 - 1 are decimal text, of which a type would make rounded numbers.
    case ColumnType::UInt64: break;
  }
  return name;
}

std::string dataTableSql(const Table& table) {
  std::string columns;
  for (const Column& column : table)
    columns += (columns.empty() ? "" : ", ") + storedColumn(column);
  return "CREATE TABLE " + dataTableOf(table) + "(" + columns + ");\n";
}

std::string viewSql(const Table& table) {
  std::string columns;
  std::string joins;
  for (const Column& column : table) {
    const std::string name(column.name);
    columns += columns.empty() ? "" : ", ";
    if (!isText(column)) {
      columns += "d." + name;
      continue;
    }
    // An underscore, because some of the names are words of SQL.
    columns += name + "_.value AS " + name;
    joins +=
        "\n  LEFT JOIN strings AS " + name + "_ ON " + name + "_.string_id = d." + name + "_id";
  }
  return "CREATE VIEW " + std::string(table.name) + " AS SELECT " + columns + "\n  FROM " +
         dataTableOf(table) + " AS d" + joins + ";\n";
}

}  // namespace

std::string dataTableOf(const Table& table) { return std::string(table.name) + "_data"; }

std::string schemaSql() {
  std::string sql =
      "CREATE TABLE export_info(key TEXT PRIMARY KEY, value TEXT);\n"
      "CREATE TABLE strings(string_id INTEGER PRIMARY KEY, value TEXT);\n";
  for (size_t i = 0; i < kTableCount; ++i) {
    const Table& one = table(static_cast<TableId>(i));
    sql += dataTableSql(one) + viewSql(one);
  }
  return sql;
}

std::string indexSql() {
  return "CREATE INDEX events_by_id ON events_data(log_id, event_id);\n"
         "CREATE INDEX events_by_message ON events_data(log_id, message_id);\n"
         "CREATE INDEX events_by_identifier ON events_data(identifier_id);\n"
         "CREATE INDEX messages_by_id ON messages_data(log_id, message_id);\n"
         "CREATE INDEX messages_by_graph_and_method ON messages_data(graph_id, method_id);\n"
         "CREATE INDEX executions_by_graph_and_method ON executions_data(graph_id, method_id);\n"
         "CREATE INDEX strings_by_value ON strings(value);\n";
}

}  // namespace ryx::profiling
