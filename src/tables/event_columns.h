// SPDX-License-Identifier: Apache-2.0
// How the columns of events are filled: each operation appends the rows of one column, in a loop of
// its own, so that columns which are not selected cost nothing.

#ifndef RYX_TABLES_EVENT_COLUMNS_H
#define RYX_TABLES_EVENT_COLUMNS_H

#include "tables/table_definition.h"

namespace ryx::profiling::columns {

void path(const EventRows& rows, ColumnBuilder& out);
void logId(const EventRows& rows, ColumnBuilder& out);
void eventId(const EventRows& rows, ColumnBuilder& out);
void messageId(const EventRows& rows, ColumnBuilder& out);
void parentId(const EventRows& rows, ColumnBuilder& out);
void lastEventId(const EventRows& rows, ColumnBuilder& out);
void depth(const EventRows& rows, ColumnBuilder& out);
void method(const EventRows& rows, ColumnBuilder& out);
void graph(const EventRows& rows, ColumnBuilder& out);
void execution(const EventRows& rows, ColumnBuilder& out);
void identifier(const EventRows& rows, ColumnBuilder& out);
void eventType(const EventRows& rows, ColumnBuilder& out);
void unit(const EventRows& rows, ColumnBuilder& out);
void valueKind(const EventRows& rows, ColumnBuilder& out);
void value(const EventRows& rows, ColumnBuilder& out);
void valueInt(const EventRows& rows, ColumnBuilder& out);
void valueUint(const EventRows& rows, ColumnBuilder& out);
void valueText(const EventRows& rows, ColumnBuilder& out);
void payloadBytes(const EventRows& rows, ColumnBuilder& out);
void fileName(const EventRows& rows, ColumnBuilder& out);
void timestamp(const EventRows& rows, ColumnBuilder& out);

}  // namespace ryx::profiling::columns

#endif
