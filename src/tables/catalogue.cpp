// SPDX-License-Identifier: Apache-2.0
// The catalogue: every column once, with its name, type, meaning, and how its rows are filled.
// Everything else is derived from it: the tables with either first column, the SQL schema, the
// Arrow schema, the headings of CSV, and docs/tables.md. Names, order, types and meanings are a
// contract with those who query the tables: a column that is renamed or moved breaks their queries.

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include "stream/log_text.h"
#include "tables/event_columns.h"
#include "tables/row_columns.h"
#include "tables/table_definition.h"

namespace ryx::profiling {

namespace {

constexpr auto Int64 = ColumnType::Int64;
constexpr auto UInt64 = ColumnType::UInt64;
constexpr auto Double = ColumnType::Double;
constexpr auto Text = ColumnType::Text;
constexpr auto Dictionary = ColumnType::Dictionary;

constexpr bool kNullable = true;
constexpr bool kAlways = false;

// Each table's first two columns are alternatives.
constexpr Column kLog = {"log", Text, kAlways, "The log's path, as given"};
constexpr Column kLogId = {"log_id", Int64, kAlways,
                           "The log's number among those read together, in the order given"};

constexpr ColumnDefinition<LogRow> kLogColumns[] = {
    {kLog, columns::path},
    {kLogId, columns::logId},
    {{"path", Text, kAlways, "The log's path, as given"}, columns::path},
    {{"bytes", Int64, kAlways, "The size of its intact part: all of it, where it is sound"},
     columns::bytes},
    {{"chunks", Int64, kAlways, "The chunks of its intact part"}, columns::chunks},
    {{"messages", Int64, kAlways, "The messages of its intact part, selected or not"},
     columns::messages},
    {{"events", Int64, kAlways, "The events of its intact part at every depth, selected or not"},
     columns::events},
    {{"backend_version", Text, kNullable, "The version of the back end that wrote it"},
     columns::backendVersion},
    {{"info_label", Text, kNullable, "What `info_text` is about"}, columns::infoLabel},
    {{"info_text", Text, kNullable, "Whatever the back end says of itself"}, columns::infoText},
    {{"time_scale", Double, kNullable, "The log's time scale; it has not been applied to any time"},
     columns::timeScale},
    {{"epoch_us", UInt64, kNullable, "When the log was begun: microseconds since the Unix epoch"},
     columns::epoch},
    {{"steady_clock_us", UInt64, kNullable,
      "The back end's steady clock at that moment, in microseconds"},
     columns::steadyClock},
    {{"damage", Text, kNullable, "Where and how it is damaged; null where it is sound"},
     columns::damage},
};

using MessageColumn = ColumnDefinition<MessageRows>;

constexpr MessageColumn kMessageId = {
    {"message_id", Int64, kAlways, "The message's number in the log"}, columns::messageId};
constexpr MessageColumn kLevel = {
    {"level", Int64, kNullable, "The message's level: readers made with a higher one show it"},
    columns::level};
constexpr MessageColumn kTimestamp = {
    {"timestamp_us", UInt64, kNullable, "The message's timestamp, in microseconds"},
    columns::timestamp};
constexpr MessageColumn kDuration = {{"duration_us", UInt64, kNullable,
                                      "The call's end minus its start, in microseconds; 0 where "
                                      "the end is not after the start, null where one is absent"},
                                     columns::duration};

constexpr MessageColumn kMessageColumns[] = {
    {kLog, columns::path},
    {kLogId, columns::logId},
    kMessageId,
    {{"chunk", Int64, kAlways, "The number of its chunk in the log, from 1"}, columns::chunk},
    {{"method", Dictionary, kNullable, "The method's name; the number of one without a name"},
     columns::method},
    {{"graph", Text, kNullable,
      "The message's text, which is the name of the graph where the method is about one"},
     columns::graph},
    kLevel,
    kTimestamp,
    {{"start_us", UInt64, kNullable, "When the call began, in microseconds"}, columns::start},
    {{"end_us", UInt64, kNullable, "When the call ended, in microseconds"}, columns::end},
    kDuration,
};

constexpr MessageColumn kExecutionColumns[] = {
    {kLog, columns::path},
    {kLogId, columns::logId},
    {{"graph", Text, kAlways, "The graph's name"}, columns::graph},
    {{"execution", Int64, kAlways, "Its number among the executions of the same graph and method"},
     columns::execution},
    kMessageId,
    {{"method", Dictionary, kAlways, "The method's name"}, columns::method},
    kLevel,
    kTimestamp,
    kDuration,
    {{"queue_wait_us", UInt64, kNullable,
      "How long it waited in the queue, in microseconds: the value of its only event of type 405 "
      "among its root events and their direct sub-events; null where there is none or several, or "
      "where the value is negative or no integer"},
     columns::queueWait},
    {{"events", Int64, kAlways, "Its events, at every depth"}, columns::eventCount},
};

constexpr ColumnDefinition<EventRows> kEventColumns[] = {
    {kLog, columns::path},
    {kLogId, columns::logId},
    {{"event_id", Int64, kAlways,
      "The event's number in the log, where an event comes before those nested in it"},
     columns::eventId},
    {{"message_id", Int64, kAlways, "The number of its message"}, columns::messageId},
    {{"parent_id", Int64, kNullable,
      "The `event_id` of the event that it is nested in; null for a root event"},
     columns::parentId},
    {{"last_event_id", Int64, kAlways,
      "The `event_id` of the last event nested in it, or its own: its descendants are the events "
      "from `event_id` + 1 to this one"},
     columns::lastEventId},
    {{"depth", Int64, kAlways, "How deep it is nested: 0 for a root event"}, columns::depth},
    {{"method", Dictionary, kNullable, "The method of its message, as in `messages`"},
     columns::method},
    {{"graph", Text, kNullable, "The graph of its message, as in `messages`"}, columns::graph},
    {{"execution", Int64, kNullable,
      "The number of its execution, as in `executions`; null where its message is none"},
     columns::execution},
    {{"identifier", Text, kNullable, "The event's name"}, columns::identifier},
    {{"event_type", Int64, kNullable, "The code of its type"}, columns::eventType},
    {{"unit", Text, kNullable,
      "The unit of its value: `us`, `bytes`, `cycles`, `count`, `object`, `none`, or the number of "
      "another one"},
     columns::unit},
    {{"value_kind", Text, kNullable,
      "The kind of its value: `int64`, `uint64`, `float32`, `bytes`, `float64`, `string`, or the "
      "number of another one"},
     columns::valueKind},
    {{"value", Double, kNullable,
      "Its value where that is a number, for convenience: integers beyond 2^53 are exact in the "
      "next two columns only"},
     columns::value},
    {{"value_int", Int64, kNullable, "Its value of the kind `int64`"}, columns::valueInt},
    {{"value_uint", UInt64, kNullable, "Its value of the kind `uint64`"}, columns::valueUint},
    {{"value_text", Text, kNullable, "Its value of the kind `string`"}, columns::valueText},
    {{"payload_bytes", Int64, kNullable,
      "The size of the bytes that it carries, whatever the kind of its value"},
     columns::payloadBytes},
    {{"file_name", Text, kNullable, "The name of the file that readers save those bytes to"},
     columns::fileName},
    {{"timestamp_us", UInt64, kNullable, "The event's timestamp, in microseconds"},
     columns::timestamp},
};

// --- Methods -------------------------------------------------------------------------------------

constexpr size_t kMethodCount = 256;

/// The texts of all codes that a method may have, from -128 on.
const std::string_view* methodDictionary() {
  static const auto texts = [] {
    std::array<std::string, kMethodCount> all;
    for (int code = INT8_MIN; code <= INT8_MAX; ++code)
      all[static_cast<size_t>(code - INT8_MIN)] = methodText(static_cast<int8_t>(code));
    return all;
  }();
  static const std::array<std::string_view, kMethodCount> views = [] {
    std::array<std::string_view, kMethodCount> all;
    std::copy(texts.begin(), texts.end(), all.begin());
    return all;
  }();
  return views.data();
}

// --- Tables --------------------------------------------------------------------------------------

/// The columns of a table with either first column.
template <typename Rows, size_t N>
class CataloguedTable {
 public:
  CataloguedTable(TableId id, std::string_view name, std::string_view meaning,
                  const ColumnDefinition<Rows> (&definitions)[N])
      : definitions_(definitions) {
    for (size_t i = 0; i < N; ++i) {
      Column column = definitions[i].column;
      if (column.type == ColumnType::Dictionary) {
        column.dictionary = methodDictionary();
        column.dictionarySize = kMethodCount;
      }
      if (i != 0) byId_[i - 1] = column;
      if (i != 1 && column.name != "path") byPath_[byPathSize_++] = column;
    }
    tables_[0] = {id, name, meaning, byId_.data(), byId_.size()};
    tables_[1] = {id, name, meaning, byPath_.data(), byPathSize_};
  }

  [[nodiscard]] const Table& with(LogColumn first) const {
    return tables_[static_cast<size_t>(first)];
  }

  [[nodiscard]] const ColumnDefinition<Rows>& definitionOf(const Column& column) const {
    return *std::find_if(std::begin(definitions_), std::end(definitions_),
                         [&](const auto& one) { return one.column.name == column.name; });
  }

 private:
  const ColumnDefinition<Rows> (&definitions_)[N];
  std::array<Column, N - 1> byId_;
  std::array<Column, N - 1> byPath_;
  size_t byPathSize_ = 0;
  Table tables_[2];
};

// Made when they are first asked for, which may be before this file's own objects are there.

const auto& logsTable() {
  static const CataloguedTable logs(TableId::Logs, "logs", "One row for each log", kLogColumns);
  return logs;
}

const auto& messagesTable() {
  static const CataloguedTable messages(TableId::Messages, "messages",
                                        "One row for each message, whatever its method",
                                        kMessageColumns);
  return messages;
}

const auto& executionsTable() {
  static const CataloguedTable executions(
      TableId::Executions, "executions",
      "One row for each Execute, ExecuteHostRoundTrip or GraphRun message that names a graph",
      kExecutionColumns);
  return executions;
}

const auto& eventsTable() {
  static const CataloguedTable events(TableId::Events, "events",
                                      "One row for each event at every depth", kEventColumns);
  return events;
}

}  // namespace

std::optional<size_t> Table::find(std::string_view column) const {
  const auto place =
      std::find_if(begin(), end(), [&](const Column& one) { return one.name == column; });
  if (place == end()) return std::nullopt;
  return static_cast<size_t>(place - begin());
}

const Table& table(TableId id, LogColumn first) {
  switch (id) {
    case TableId::Logs: return logsTable().with(first);
    case TableId::Messages: return messagesTable().with(first);
    case TableId::Executions: return executionsTable().with(first);
    case TableId::Events: break;
  }
  return eventsTable().with(first);
}

std::optional<TableId> tableNamed(std::string_view name) {
  for (size_t i = 0; i < kTableCount; ++i)
    if (const Table& one = table(static_cast<TableId>(i)); one.name == name) return one.id;
  return std::nullopt;
}

template <>
const ColumnDefinition<LogRow>& definitionOf(TableId, const Column& column) {
  return logsTable().definitionOf(column);
}

template <>
const ColumnDefinition<MessageRows>& definitionOf(TableId table, const Column& column) {
  return table == TableId::Messages ? messagesTable().definitionOf(column)
                                    : executionsTable().definitionOf(column);
}

template <>
const ColumnDefinition<EventRows>& definitionOf(TableId, const Column& column) {
  return eventsTable().definitionOf(column);
}

}  // namespace ryx::profiling
