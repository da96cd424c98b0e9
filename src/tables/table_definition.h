// SPDX-License-Identifier: Apache-2.0
// What the catalogue says of a table, and how its rows are read: one definition for each column.

#ifndef RYX_TABLES_TABLE_DEFINITION_H
#define RYX_TABLES_TABLE_DEFINITION_H

#include <array>
#include <cstddef>
#include <string>

#include "ryx/profile_tables.h"
#include "tables/column_builder.h"
#include "tables/log_walk.h"

namespace ryx::profiling {

struct LogIdentity {
  std::string path;
  int64_t id = 0;
};

// The rows that a column is filled from.

struct LogRow {
  const LogIdentity& log;
  const LogTotals& totals;
  const std::optional<LogDamage>& damage;
};

/// One message; of the table of executions, one that is an execution.
struct MessageRows {
  const LogIdentity& log;
  const MessageRow& message;
  const LogWalk& walk;
};

/// `count` events of a block from `begin` on, all of one message.
struct EventRows {
  const LogIdentity& log;
  const MessageRow& message;
  const EventBlock& block;
  size_t begin;
  size_t count;
  /// What the texts of the selected fields take in the log, all together.
  std::array<size_t, kEventFieldCount> textBytes;

  [[nodiscard]] EventRow row(size_t i) const { return block.row(begin + i); }
  [[nodiscard]] size_t textBytesOf(EventField field) const {
    return textBytes[static_cast<size_t>(field)];
  }
  [[nodiscard]] uint64_t firstId() const { return block.firstId + begin; }
};

/// The position of the message's method in the dictionary of them.
[[nodiscard]] inline std::optional<int32_t> methodPosition(const MessageRow& message) {
  if (!message.method) return std::nullopt;
  return int32_t{*message.method} - INT8_MIN;
}

template <typename Rows>
struct ColumnDefinition {
  Column column;
  void (*fill)(const Rows& rows, ColumnBuilder& column);  ///< appends all of them
};

/// The definition that a column of the catalogue comes from, in a table that has such rows.
template <typename Rows>
[[nodiscard]] const ColumnDefinition<Rows>& definitionOf(TableId table, const Column& column);

}  // namespace ryx::profiling

#endif
