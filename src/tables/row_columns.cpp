// SPDX-License-Identifier: Apache-2.0
// One row at a time is fast enough here: messages are few beside their events. Counts are unsigned
// in this code and signed in the tables, because databases have no unsigned integers that wide;
// none comes near 2^63.

#include "tables/row_columns.h"

#include "base/printable_text.h"

namespace ryx::profiling::columns {

namespace {

void appendCount(uint64_t count, ColumnBuilder& out) { out.append(static_cast<int64_t>(count)); }

void appendText(const std::optional<std::string>& text, ColumnBuilder& out) {
  out.appendOptionalText(text ? std::optional<std::string_view>(*text) : std::nullopt);
}

void appendPath(const LogIdentity& log, ColumnBuilder& out) {
  out.appendText(replacedUtf8(log.path));
}

}  // namespace

void path(const LogRow& row, ColumnBuilder& out) { appendPath(row.log, out); }
void logId(const LogRow& row, ColumnBuilder& out) { out.append(row.log.id); }
void bytes(const LogRow& row, ColumnBuilder& out) { appendCount(row.totals.bytes, out); }
void chunks(const LogRow& row, ColumnBuilder& out) { appendCount(row.totals.chunks, out); }
void messages(const LogRow& row, ColumnBuilder& out) { appendCount(row.totals.messages, out); }
void events(const LogRow& row, ColumnBuilder& out) { appendCount(row.totals.events, out); }

void backendVersion(const LogRow& row, ColumnBuilder& out) {
  appendText(row.totals.header.backendVersion, out);
}
void infoLabel(const LogRow& row, ColumnBuilder& out) {
  appendText(row.totals.header.infoLabel, out);
}
void infoText(const LogRow& row, ColumnBuilder& out) {
  appendText(row.totals.header.infoText, out);
}
void timeScale(const LogRow& row, ColumnBuilder& out) {
  out.appendOptional<double>(row.totals.header.timeScale);
}
void epoch(const LogRow& row, ColumnBuilder& out) { out.appendOptional(row.totals.header.epoch); }
void steadyClock(const LogRow& row, ColumnBuilder& out) {
  out.appendOptional(row.totals.header.steadyClock);
}

void damage(const LogRow& row, ColumnBuilder& out) {
  if (row.damage)
    out.appendText(describe(*row.damage));
  else
    out.appendNulls(1);
}

void path(const MessageRows& row, ColumnBuilder& out) { appendPath(row.log, out); }
void logId(const MessageRows& row, ColumnBuilder& out) { out.append(row.log.id); }
void messageId(const MessageRows& row, ColumnBuilder& out) { appendCount(row.message.id, out); }
void chunk(const MessageRows& row, ColumnBuilder& out) { appendCount(row.message.chunk, out); }
void method(const MessageRows& row, ColumnBuilder& out) {
  out.appendOptional(methodPosition(row.message));
}
void graph(const MessageRows& row, ColumnBuilder& out) {
  out.appendOptionalText(row.message.graph);
}
void level(const MessageRows& row, ColumnBuilder& out) {
  out.appendOptional<int64_t>(row.message.level);
}
void timestamp(const MessageRows& row, ColumnBuilder& out) {
  out.appendOptional(row.message.timestamp);
}
void start(const MessageRows& row, ColumnBuilder& out) { out.appendOptional(row.message.start); }
void end(const MessageRows& row, ColumnBuilder& out) { out.appendOptional(row.message.end); }
void duration(const MessageRows& row, ColumnBuilder& out) {
  out.appendOptional(row.message.duration());
}
void execution(const MessageRows& row, ColumnBuilder& out) {
  appendCount(*row.message.execution, out);
}
void queueWait(const MessageRows& row, ColumnBuilder& out) {
  out.appendOptional(profiling::queueWait(*row.message.table));
}
void eventCount(const MessageRows& row, ColumnBuilder& out) {
  appendCount(row.walk.eventCount(), out);
}

}  // namespace ryx::profiling::columns
