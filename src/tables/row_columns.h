// SPDX-License-Identifier: Apache-2.0
// How the columns of the tables with one row for each log or message are filled. Each operation
// appends the one row to the column that it is named after.

#ifndef RYX_TABLES_ROW_COLUMNS_H
#define RYX_TABLES_ROW_COLUMNS_H

#include "tables/table_definition.h"

namespace ryx::profiling::columns {

// logs
void path(const LogRow& row, ColumnBuilder& out);
void logId(const LogRow& row, ColumnBuilder& out);
void bytes(const LogRow& row, ColumnBuilder& out);
void chunks(const LogRow& row, ColumnBuilder& out);
void messages(const LogRow& row, ColumnBuilder& out);
void events(const LogRow& row, ColumnBuilder& out);
void backendVersion(const LogRow& row, ColumnBuilder& out);
void infoLabel(const LogRow& row, ColumnBuilder& out);
void infoText(const LogRow& row, ColumnBuilder& out);
void timeScale(const LogRow& row, ColumnBuilder& out);
void epoch(const LogRow& row, ColumnBuilder& out);
void steadyClock(const LogRow& row, ColumnBuilder& out);
void damage(const LogRow& row, ColumnBuilder& out);

// messages, executions
void path(const MessageRows& row, ColumnBuilder& out);
void logId(const MessageRows& row, ColumnBuilder& out);
void messageId(const MessageRows& row, ColumnBuilder& out);
void chunk(const MessageRows& row, ColumnBuilder& out);
void method(const MessageRows& row, ColumnBuilder& out);
void graph(const MessageRows& row, ColumnBuilder& out);
void level(const MessageRows& row, ColumnBuilder& out);
void timestamp(const MessageRows& row, ColumnBuilder& out);
void start(const MessageRows& row, ColumnBuilder& out);
void end(const MessageRows& row, ColumnBuilder& out);
void duration(const MessageRows& row, ColumnBuilder& out);
void execution(const MessageRows& row, ColumnBuilder& out);
void queueWait(const MessageRows& row, ColumnBuilder& out);
void eventCount(const MessageRows& row, ColumnBuilder& out);

}  // namespace ryx::profiling::columns

#endif
