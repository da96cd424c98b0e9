// SPDX-License-Identifier: Apache-2.0
// A log read as tables: every cell of small logs, and of recorded and generated ones against a
// second, plain way of working the tables out.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/number_text.h"
#include "base/printable_text.h"
#include "fuzz/log_model.h"
#include "fuzz/model_mutator.h"
#include "profile_log_generated.h"
#include "ryx/profile_log_writer.h"
#include "ryx/profile_tables.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"
#include "stream/log_text.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

using fuzz::EventModel;
using fuzz::LogModel;
using fuzz::MessageModel;
using tests::TemporaryFolder;
using tests::writeFile;

// --- Rows as lines: cells separated by blanks, texts in quotes, "-" for null ---------------------

using Lines = std::vector<std::string>;

std::string inQuotes(std::string_view text) { return "'" + std::string(text) + "'"; }

std::string number(double value) {
  char digits[64];
  std::snprintf(digits, sizeof digits, "%.17g", value);
  return digits;
}

std::string cellText(const Cell& cell) {
  if (cell.isNull) return "-";
  switch (cell.type) {
    case ColumnType::Int64: return std::to_string(cell.integer);
    case ColumnType::UInt64: return std::to_string(cell.natural);
    case ColumnType::Double: return number(cell.real);
    case ColumnType::Dictionary:
    case ColumnType::Text: break;
  }
  return inQuotes(cell.text);
}

/// What every batch promises of its layout.
void checkLayout(const Batch& batch) {
  for (size_t i = 0; i < batch.columns(); ++i) {
    const ColumnData& data = batch.data(i);
    const auto isAligned = [](const void* buffer) {
      return reinterpret_cast<uintptr_t>(buffer) % 64 == 0;
    };
    EXPECT_TRUE(isAligned(data.values) && isAligned(data.offsets) && isAligned(data.validity));
    EXPECT_EQ(batch.column(i).type == ColumnType::Text, data.offsets != nullptr);
    if (data.offsets != nullptr) {
      EXPECT_EQ(0, data.offsets[0]);
    }
    size_t nulls = 0;
    for (size_t row = 0; row < batch.rows(); ++row) nulls += batch.cell(row, i).isNull ? 1 : 0;
    EXPECT_EQ(nulls, data.nullCount);
    EXPECT_TRUE(nulls == 0 || batch.column(i).isNullable) << batch.column(i).name;
  }
}

using Rows = std::map<TableId, Lines>;

Rows readRows(TableReader& reader) {
  Rows rows;
  while (const Batch* batch = reader.next()) {
    checkLayout(*batch);
    for (size_t row = 0; row < batch->rows(); ++row) {
      std::string line;
      for (size_t i = 0; i < batch->columns(); ++i)
        line += (i == 0 ? "" : " ") + cellText(batch->cell(row, i));
      rows[batch->table().id].push_back(line);
    }
  }
  return rows;
}

Selection allTables() {
  Selection selection;
  for (size_t i = 0; i < kTableCount; ++i) selection.add(static_cast<TableId>(i));
  return selection;
}

Rows readRows(const std::string& path, const Selection& selection = allTables()) {
  TableReader reader(selection);
  EXPECT_TRUE(reader.open(path)) << reader.damage()->line;
  return readRows(reader);
}

// --- The same, worked out message by message from a model of the log -----------------------------

class ExpectedRows {
 public:
  explicit ExpectedRows(const LogModel& model) {
    for (size_t chunk = 0; chunk < model.size(); ++chunk)
      for (const MessageModel& message : model[chunk].messages) add(message, chunk + 1);
  }

  Rows rows;

 private:
  template <typename Value>
  static std::string text(const std::optional<Value>& value) {
    return value ? std::to_string(*value) : "-";
  }
  static std::string text(const std::optional<std::string_view>& value) {
    return value ? inQuotes(shown(*value)) : "-";
  }
  static std::string shown(std::string_view value) {
    return replacedUtf8(value.substr(0, value.find('\0')));
  }
  static std::string code(const std::optional<uint32_t>& value, std::vector<std::string> names) {
    if (!value) return "-";
    return inQuotes(*value >= 1 && *value <= names.size() ? names[*value - 1]
                                                          : std::to_string(*value));
  }

  static size_t count(const std::vector<EventModel>& events) {
    size_t all = events.size();
    for (const EventModel& event : events) all += count(event.events);
    return all;
  }

  static std::string queueWait(const MessageModel& message) {
    std::vector<const EventRecord*> waits;
    for (const EventModel& root : message.events) {
      if (root.record.eventType == 405) waits.push_back(&root.record);
      for (const EventModel& event : root.events)
        if (event.record.eventType == 405) waits.push_back(&event.record);
    }
    if (waits.size() != 1) return "-";
    if (waits[0]->valueKind == 2) return text(waits[0]->uintValue);
    if (waits[0]->valueKind == 1 && waits[0]->intValue >= 0) return text(waits[0]->intValue);
    return "-";
  }

  void add(const MessageModel& model, size_t chunk) {
    const MessageRecord& message = model.record;
    const std::string id = std::to_string(nextMessage_++);
    std::string duration = "-";
    if (message.start && message.end)
      duration = std::to_string(*message.end > *message.start ? *message.end - *message.start : 0);
    method_ = message.method ? inQuotes(methodText(static_cast<int8_t>(*message.method))) : "-";
    graph_ = text(message.text);
    rows[TableId::Messages].push_back("0 " + id + " " + std::to_string(chunk) + " " + method_ +
                                      " " + graph_ + " " + text(message.level) + " " +
                                      text(message.timestamp) + " " + text(message.start) + " " +
                                      text(message.end) + " " + duration);
    execution_ = "-";
    const bool isExecution = message.method == ProfiledMethod::Execute ||
                             message.method == ProfiledMethod::ExecuteHostRoundTrip ||
                             message.method == ProfiledMethod::GraphRun;
    if (isExecution && message.text) {
      execution_ = std::to_string(executions_[{shown(*message.text), method_}]++);
      rows[TableId::Executions].push_back(
          "0 " + graph_ + " " + execution_ + " " + id + " " + method_ + " " + text(message.level) +
          " " + text(message.timestamp) + " " + duration + " " + queueWait(model) + " " +
          std::to_string(count(model.events)));
    }
    addEvents(model.events, id, "-", 0);
  }

  void addEvents(const std::vector<EventModel>& events, const std::string& message,
                 const std::string& parent, int depth) {
    for (const EventModel& event : events) {
      const size_t id = nextEvent_++;
      rows[TableId::Events].push_back("0 " + std::to_string(id) + " " + message + " " + parent +
                                      " " + std::to_string(id + count(event.events)) + " " +
                                      std::to_string(depth) + " " + method_ + " " + graph_ + " " +
                                      execution_ + " " + values(event.record));
      addEvents(event.events, message, std::to_string(id), depth + 1);
    }
  }

  static std::string values(const EventRecord& event) {
    std::string value = "-", asInt = "-", asUint = "-", asText = "-";
    const uint32_t kind = event.valueKind.value_or(0);
    if (kind == 1 && event.intValue) {
      value = number(static_cast<double>(*event.intValue));
      asInt = text(event.intValue);
    }
    if (kind == 2 && event.uintValue) {
      value = number(static_cast<double>(*event.uintValue));
      asUint = text(event.uintValue);
    }
    if (kind == 3 && event.floatValue) value = number(double{*event.floatValue});
    if (kind == 5 && event.doubleValue) value = number(*event.doubleValue);
    if (kind == 6) asText = text(event.stringValue);
    return text(event.identifier) + " " + text(event.eventType) + " " +
           code(event.unit, {"us", "bytes", "cycles", "count", "object", "none"}) + " " +
           code(event.valueKind, {"int64", "uint64", "float32", "bytes", "float64", "string"}) +
           " " + value + " " + asInt + " " + asUint + " " + asText + " " +
           (event.bytesValue ? std::to_string(event.bytesValue->size) : "-") + " " +
           text(event.fileName) + " " + text(event.timestamp);
  }

  size_t nextMessage_ = 0;
  size_t nextEvent_ = 0;
  std::map<std::pair<std::string, std::string>, size_t> executions_;
  std::string method_, graph_, execution_;
};

// --- Tests ---------------------------------------------------------------------------------------

class TablesTest : public testing::Test {
 protected:
  [[nodiscard]] std::string path() const { return folder_ / "run.log"; }

  void write(const std::vector<MessageRecord>& messages, const HeaderRecord& header = {}) {
    ProfileLogWriter log(ChunkLimits{2, SIZE_MAX});
    ASSERT_TRUE(log.open(path()) && log.setHeader(header)) << log.error();
    for (const MessageRecord& message : messages)
      ASSERT_TRUE(log.addMessage(message)) << log.error();
    ASSERT_TRUE(log.close()) << log.error();
  }

  [[nodiscard]] Lines read(TableId table, std::vector<std::string> columns) const {
    Selection selection;
    selection.add(table, std::move(columns));
    return readRows(path(), selection)[table];
  }

  /// All tables of the log, however they are cut into batches, are those of the model.
  static void expectAsModel(const std::string& log, const std::string& path) {
    const auto model = fuzz::readModel(log);
    ASSERT_TRUE(model);
    writeFile(path, log);
    const Rows expected = ExpectedRows(*model).rows;
    for (const auto& [rows, textBytes] :
         {std::pair<size_t, size_t>{65536, 16 << 20}, {1, 1}, {7, 1 << 20}, {1000, 100}}) {
      Selection selection = allTables();
      selection.batchRows = rows;
      selection.batchTextBytes = textBytes;
      Rows read = readRows(path, selection);
      EXPECT_EQ(1U, read[TableId::Logs].size());
      read.erase(TableId::Logs);
      for (const auto& [table, lines] : expected) EXPECT_EQ(lines, read[table]) << path;
      EXPECT_EQ(expected.size(), read.size());
    }
  }

  const TemporaryFolder folder_;
};

EventRecord event(std::string_view identifier, std::optional<uint32_t> unit = std::nullopt) {
  EventRecord record;
  record.identifier = identifier;
  record.unit = unit;
  return record;
}

MessageRecord message(std::optional<ProfiledMethod> method, std::optional<std::string_view> text,
                      ArrayView<EventRecord> events = {}) {
  MessageRecord record;
  record.method = method;
  record.text = text;
  record.events = events;
  return record;
}

TEST_F(TablesTest, AllColumnsOfASmallLog) {
  EventRecord conv = event("conv", 1), wait, empty, payload = event("", 5);
  conv.eventType = 400, conv.timestamp = 70;
  conv.setUint(UINT64_MAX);
  wait.eventType = 405, wait.unit = 9;
  wait.setInt(7);
  const uint8_t bytes[] = {1, 2, 3};
  payload.fileName = "a.bin";
  payload.setBytes(bytes);
  const EventRecord nested[] = {wait, empty};
  conv.nestedEvents = nested;
  const EventRecord roots[] = {conv, payload};
  MessageRecord execution = message(ProfiledMethod::Execute, "net", roots);
  execution.level = -3, execution.timestamp = 5, execution.start = 10, execution.end = 40;
  HeaderRecord header;
  header.backendVersion = "1.2", header.timeScale = 0.1F, header.epochTimestamp = 0;
  write({MessageRecord(), execution, execution}, header);

  Rows rows = readRows(path());
  EXPECT_EQ((Lines{"0 0 1 - - - - - - -", "0 1 1 'Execute' 'net' -3 5 10 40 30",
                   "0 2 2 'Execute' 'net' -3 5 10 40 30"}),
            rows[TableId::Messages]);
  EXPECT_EQ((Lines{"0 'net' 0 1 'Execute' -3 5 30 7 4", "0 'net' 1 2 'Execute' -3 5 30 7 4"}),
            rows[TableId::Executions]);
  EXPECT_EQ((Lines{"0 0 1 - 2 0 'Execute' 'net' 0 'conv' 400 'us' 'uint64' 1.8446744073709552e+19 "
                   "- 18446744073709551615 - - - 70",
                   "0 1 1 0 1 1 'Execute' 'net' 0 - 405 '9' 'int64' 7 7 - - - - -",
                   "0 2 1 0 2 1 'Execute' 'net' 0 - - - - - - - - - - -",
                   "0 3 1 - 3 0 'Execute' 'net' 0 '' - 'object' 'bytes' - - - - 3 'a.bin' -"}),
            Lines(rows[TableId::Events].begin(), rows[TableId::Events].begin() + 4));
  EXPECT_EQ(8U, rows[TableId::Events].size());
  EXPECT_EQ(
      (Lines{"0 " + inQuotes(path()) + " " + std::to_string(std::filesystem::file_size(path())) +
             " 2 3 8 '1.2' - - 0.10000000149011612 0 - -"}),
      rows[TableId::Logs]);
}

TEST_F(TablesTest, ValuesUnitsAndTexts) {
  const struct {
    std::function<void(EventRecord&)> set;
    const char* cells;  // identifier, unit, value_kind, value, int, uint, text, payload, file name
  } cases[] = {
      {[](EventRecord& e) { e.setInt(INT64_MIN), e.unit = 0; },
       "- '0' 'int64' -9.2233720368547758e+18 -9223372036854775808 - - - -"},
      {[](EventRecord& e) { e.setFloat(0.1F), e.unit = 6; },
       "- 'none' 'float32' 0.10000000149011612 - - - - -"},
      {[](EventRecord& e) { e.setFloat(-INFINITY), e.unit = 7; }, "- '7' 'float32' -inf - - - - -"},
      {[](EventRecord& e) { e.setDouble(-0.0), e.unit = 3; }, "- 'cycles' 'float64' -0 - - - - -"},
      {[](EventRecord& e) { e.setString("a\0b"), e.unit = 4; }, "- 'count' 'string' - - - 'a' - -"},
      {[](EventRecord& e) { e.setString(""), e.unit = 2; }, "- 'bytes' 'string' - - - '' - -"},
      {[](EventRecord& e) { e.setUint(1), e.valueKind = 1; }, "- - 'int64' - - - - - -"},
      {[](EventRecord& e) { e.setUint(1), e.valueKind = 0; }, "- - '0' - - - - - -"},
      {[](EventRecord& e) { e.setUint(1), e.valueKind.reset(); }, "- - - - - - - - -"},
      {[](EventRecord& e) { e.setString("x"), e.valueKind = UINT32_MAX, e.unit = UINT32_MAX; },
       "- '4294967295' '4294967295' - - - - - -"},
      {[](EventRecord& e) { e.setBytes({}), e.setUint(3), e.fileName = ""; },
       "- - 'uint64' 3 - 3 - 0 ''"},
      {[](EventRecord& e) { e.identifier = std::string_view("\0x", 2); }, "'' - - - - - - - -"},
      {[](EventRecord& e) { e.identifier = "12345678\xe4\xb8\x96\xff\xe2\x82z"; },
       "'12345678\xe4\xb8\x96\uFFFD\uFFFDz' - - - - - - - -"},
      {[](EventRecord& e) { e.identifier = "\xff", e.fileName = "eight888\xed\xa0\x80"; },
       "'\uFFFD' - - - - - - - 'eight888\uFFFD\uFFFD\uFFFD'"},
  };
  std::vector<EventRecord> events;
  Lines expected;
  for (const auto& c : cases) {
    c.set(events.emplace_back());
    expected.emplace_back(c.cells);
  }
  write({message(std::nullopt, std::nullopt, events)});
  EXPECT_EQ(expected,
            read(TableId::Events, {"identifier", "unit", "value_kind", "value", "value_int",
                                   "value_uint", "value_text", "payload_bytes", "file_name"}));
}

TEST_F(TablesTest, ExecutionsAreCountedByGraphAndMethod) {
  constexpr auto kRun = ProfiledMethod::Execute;
  constexpr auto kTrip = ProfiledMethod::ExecuteHostRoundTrip;
  write({message(kRun, "a"), message(kTrip, "a"), message(kRun, ""), message(kRun, std::nullopt),
         message(ProfiledMethod::Finalize, "a"), message(ProfiledMethod::GraphRun, "a"),
         message(kRun, std::string_view("a\0b", 3)), message(kRun, "\xfe"), message(kRun, "\xff"),
         message(static_cast<ProfiledMethod>(-1), "a"), message(ProfiledMethod(0), "a")});
  EXPECT_EQ((Lines{"0 'a' 'Execute' 0", "1 'a' 'ExecuteHostRoundTrip' 0", "2 '' 'Execute' 0",
                   "5 'a' 'GraphRun' 0", "6 'a' 'Execute' 1", "7 '\uFFFD' 'Execute' 0",
                   "8 '\uFFFD' 'Execute' 1"}),
            read(TableId::Executions, {"message_id", "graph", "method", "execution"}));
  const Lines methods = read(TableId::Messages, {"method"});
  EXPECT_EQ("'-1'", methods[9]);
  EXPECT_EQ("'0'", methods[10]);
}

TEST_F(TablesTest, QueueWaitIsThatOfTheOnlyEventInTheUpperTwoLevels) {
  EventRecord wait = event("wait"), other = event("other");
  wait.eventType = 405;
  wait.setUint(UINT64_MAX);
  EventRecord negative = wait, real = wait, signedWait = wait;
  negative.setInt(-1), real.setDouble(3), signedWait.setInt(0);
  EventRecord parent = other, grandparent = other;
  parent.nestedEvents = {&wait, 1};
  grandparent.nestedEvents = {&parent, 1};
  const std::pair<std::vector<EventRecord>, const char*> cases[] = {
      {{}, "-"},
      {{wait, other}, "18446744073709551615"},
      {{other, parent}, "18446744073709551615"},
      {{wait, wait}, "-"},
      {{wait, parent}, "-"},
      {{grandparent}, "-"},
      {{wait, grandparent}, "18446744073709551615"},
      {{negative}, "-"},
      {{real}, "-"},
      {{signedWait}, "0"}};
  std::vector<MessageRecord> messages;
  Lines expected;
  for (const auto& [events, cell] : cases) {
    messages.push_back(message(ProfiledMethod::Execute, "net", events));
    expected.emplace_back(cell);
  }
  write(messages);
  EXPECT_EQ(expected, read(TableId::Executions, {"queue_wait_us"}));
}

TEST_F(TablesTest, FiltersKeepTheNumbersOfTheWholeLog) {
  const EventRecord events[] = {event("e"), event("f")};
  std::vector<MessageRecord> messages;
  for (int8_t i = 0; i < 8; ++i) {
    messages.push_back(message(i % 2 == 0 ? ProfiledMethod::Execute : ProfiledMethod::NetRun,
                               i < 4 ? "a" : "b\xff", events));
    messages.back().level = i;
    messages.back().timestamp = 100 * uint64_t(i);
  }
  messages.push_back(message(std::nullopt, std::nullopt, events));
  write(messages);

  const struct {
    std::function<void(MessageFilter&)> set;
    std::vector<int> selected;
  } cases[] = {
      {[](MessageFilter& f) { f.graphs = {"a"}; }, {0, 1, 2, 3}},
      {[](MessageFilter& f) {
         f.graphs = {"b\uFFFD", "c"};
       },
       {4, 5, 6, 7}},
      {[](MessageFilter& f) { f.methods = {1}; }, {0, 2, 4, 6}},
      {[](MessageFilter& f) { f.methods = {0}; }, {8}},
      {[](MessageFilter& f) { f.level = 2; }, {0, 1, 8}},
      {[](MessageFilter& f) { f.fromTime = 100, f.toTime = 300; }, {1, 2, 3}},
      {[](MessageFilter& f) { f.firstMessage = 2, f.lastMessage = 4; }, {2, 3, 4}},
      {[](MessageFilter& f) { f.first = 2, f.methods = {8}; }, {1, 3}},
      {[](MessageFilter& f) { f.last = 3, f.methods = {1}; }, {2, 4, 6}},
      {[](MessageFilter& f) { f.last = 0; }, {}},
      {[](MessageFilter& f) { f.last = 100; }, {0, 1, 2, 3, 4, 5, 6, 7, 8}},
  };
  const Rows whole = readRows(path());
  for (const auto& c : cases) {
    Selection selection = allTables();
    c.set(selection.filter);
    Rows expected;
    expected[TableId::Logs] = whole.at(TableId::Logs);
    for (const int i : c.selected) {
      const auto number = static_cast<size_t>(i);
      expected[TableId::Messages].push_back(whole.at(TableId::Messages)[number]);
      for (const size_t e : {2 * number, 2 * number + 1})
        expected[TableId::Events].push_back(whole.at(TableId::Events)[e]);
      if (i % 2 == 0 && i < 8)
        expected[TableId::Executions].push_back(whole.at(TableId::Executions)[number / 2]);
    }
    EXPECT_EQ(expected, readRows(path(), selection));
  }
}

TEST_F(TablesTest, DamageEndsAPassAndIsNamed) {
  const EventRecord events[] = {event("e"), event("f")};
  write({message(ProfiledMethod::Execute, "a", events), message(ProfiledMethod::NetRun, "a"),
         message(ProfiledMethod::Execute, "b", events), message(ProfiledMethod::Init, "c")});
  const std::string log = tests::readFile(path());
  const Rows whole = readRows(path());
  for (size_t size = 0; size < log.size(); ++size) {
    writeFile(path(), log.substr(0, size));
    TableReader reader(allTables());
    ASSERT_TRUE(reader.open(path()));
    Rows rows = readRows(reader);
    const auto damage = findDamage(path());
    ASSERT_EQ(damage.has_value(), reader.damage().has_value()) << size;
    const std::string end = damage ? inQuotes(describe(*damage)) : "-";
    const std::string row = rows[TableId::Logs].at(0);
    EXPECT_EQ(end, row.substr(row.size() - end.size()));
    if (damage) {
      EXPECT_EQ(describe(*damage), reader.damage()->line);
      EXPECT_EQ(damage->offset, reader.damage()->offset);
      EXPECT_FALSE(reader.damage()->isUnreadable);
    }
    for (const TableId table : {TableId::Messages, TableId::Executions, TableId::Events}) {
      const Lines& all = whole.at(table);
      ASSERT_LE(rows[table].size(), all.size());
      EXPECT_EQ(Lines(all.begin(), all.begin() + static_cast<ptrdiff_t>(rows[table].size())),
                rows[table]);
    }
    const size_t chunks = damage ? damage->chunkNumber - 1 : size == 0 ? 0 : 1;
    EXPECT_EQ(2 * chunks, rows[TableId::Messages].size()) << size;
  }
}

/// A chunk of one message whose events name `width` times the same list, `depth` times over.
std::string chunkOfSharedEvents(size_t width, int depth) {
  flatbuffers::FlatBufferBuilder builder;
  auto shared = CreateEvent(builder);
  for (int i = 0; i < depth; ++i) {
    const auto list = builder.CreateVector(std::vector(width, shared));
    EventBuilder parent(builder);
    parent.add_nested_events(list);
    shared = parent.Finish();
  }
  const auto events = builder.CreateVector(std::vector{shared});
  const auto time = CreateMessageTimestamp(builder);
  const auto timing = CreateMessageTiming(builder);
  MessageBuilder table(builder);
  table.add_timestamp(time);
  table.add_timing(timing);
  table.add_events(events);
  const auto messages = builder.CreateVector(std::vector{table.Finish()});
  builder.Finish(CreateLogChunk(builder, 0, messages));
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(builder.GetSize(), prefix);
  return std::string(prefix, prefix + sizeof prefix) +
         std::string(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
}

TEST_F(TablesTest, StopsWhereEventsAreSharedTooOften) {
  const std::string few = chunkOfSharedEvents(4, 2);  // 1 + 4 + 16 events
  const std::string many = chunkOfSharedEvents(16, 4);
  writeFile(path(), few + many + few);
  TableReader reader(allTables());
  ASSERT_TRUE(reader.open(path()));
  const Rows rows = readRows(reader);
  EXPECT_EQ(21U, rows.at(TableId::Events).size());
  EXPECT_EQ(1U, rows.at(TableId::Messages).size());
  ASSERT_TRUE(reader.damage());
  EXPECT_EQ("chunk 2 at byte " + std::to_string(few.size()) + ": events shared too often",
            reader.damage()->line);
  EXPECT_FALSE(findDamage(path()));
  expectAsModel(few, path());
}

TEST_F(TablesTest, AsAModelOfTheLog) {
  for (const char* folder : {RYX_SAMPLES_DIR, RYX_FUZZ_DIR "/corpus/model"})
    for (const auto& file : std::filesystem::directory_iterator(folder))
      if (const std::string log = tests::readFile(file.path()); fuzz::readModel(log))
        expectAsModel(log, path());
  LogModel model(3);
  for (unsigned seed = 0; seed < 300; ++seed) {
    fuzz::mutateModel(model, seed);
    if (seed % 20 == 0) expectAsModel(fuzz::writeModel(model), path());
  }
}

/// More events than a block or a batch takes, in trees of all shapes.
TEST_F(TablesTest, AsAModelOfManyEvents) {
  uint32_t random = 1;
  std::function<std::vector<EventModel>(size_t, int)> grow = [&](size_t left, int depth) {
    std::vector<EventModel> events;
    while (left > 0) {
      random = random * 1664525 + 1013904223;
      const size_t below = depth > 0 ? (random >> 8) % left : 0;
      events.emplace_back().record.setUint(random);
      events.back().events = grow(below, depth - 1);
      left -= below + 1;
    }
    return events;
  };
  LogModel model(1);
  for (const auto& [count, depth] :
       {std::pair<size_t, int>{3000, 3}, {1024, 0}, {5000, 61}, {1025, 1}})
    model[0].messages.emplace_back().events = grow(count, depth);
  expectAsModel(fuzz::writeModel(model), path());
}

TEST_F(TablesTest, Selections) {
  write({message(ProfiledMethod::Execute, "net")});
  Selection selection;
  selection.logColumn = LogColumn::Path;
  selection.add(TableId::Messages, {"graph", "log", "message_id"});
  selection.add(TableId::Logs);
  Rows rows = readRows(path(), selection);
  EXPECT_EQ((Lines{"'net' " + inQuotes(path()) + " 0"}), rows[TableId::Messages]);
  EXPECT_EQ(0U, rows[TableId::Logs].at(0).find(inQuotes(path()) + " " +
                                               std::to_string(std::filesystem::file_size(path()))));

  const std::function<void(Selection&)> refused[] = {
      [](Selection& s) { s.add(TableId::Logs, {"nothing"}); },
      [](Selection& s) { s.add(TableId::Logs, {"log"}); },
      [](Selection& s) { s = allTables(), s.add(TableId::Events); },
      [](Selection& s) { s.filter.first = s.filter.last = 1; }};
  for (const auto& set : refused) {
    Selection wrong;
    set(wrong);
    EXPECT_THROW(TableReader{wrong}, std::invalid_argument);
  }
}

TEST_F(TablesTest, OpensOneLogAfterTheOther) {
  writeFile(path(), "");
  TableReader reader(allTables());
  EXPECT_FALSE(reader.open(folder_.path()));
  EXPECT_EQ("Is a directory", reader.damage()->line);
  EXPECT_TRUE(reader.damage()->isUnreadable);
  EXPECT_EQ(nullptr, reader.next());
  ASSERT_TRUE(reader.open(path(), 7));
  EXPECT_FALSE(reader.damage());
  EXPECT_EQ((Rows{{TableId::Logs, {"7 " + inQuotes(path()) + " 0 0 0 0 - - - - - - -"}}}),
            readRows(reader));
  EXPECT_EQ(nullptr, reader.next());
}

TEST_F(TablesTest, ReadsAPipe) {
  write({message(ProfiledMethod::Execute, "a"), message(ProfiledMethod::Execute, "b")});
  const std::string log = tests::readFile(path());
  const std::string pipe = folder_ / "pipe";
  for (const bool isReadTwice : {false, true}) {
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    std::thread writer([&] { writeFile(pipe, log); });
    Selection selection;
    selection.add(TableId::Executions, {"graph"});
    if (isReadTwice) selection.filter.last = 1;
    const Lines expected = isReadTwice ? Lines{"'b'"} : Lines{"'a'", "'b'"};
    EXPECT_EQ(expected, readRows(pipe, selection)[TableId::Executions]);
    writer.join();
    std::filesystem::remove(pipe);
  }
}

TEST(TableCatalogue, IsWhatTheDocumentSays) {
  const std::string document = tests::readFile(RYX_DOCS_DIR "/tables.md");
  constexpr const char* kTypes[] = {"int64", "uint64", "double", "text", "dictionary"};
  size_t at = 0;
  for (size_t i = 0; i < kTableCount; ++i) {
    const Table& one = table(static_cast<TableId>(i));
    std::string text = "## `" + std::string(one.name) + "`\n\n" + std::string(one.meaning) +
                       ".\n\n| column | type | null | meaning |\n|---|---|---|---|\n";
    for (const Column& column : one)
      text += "| `" + std::string(column.name) + "` | " + kTypes[static_cast<size_t>(column.type)] +
              " | " + (column.isNullable ? "yes" : "-") + " | " + std::string(column.meaning) +
              " |\n";
    const size_t place = document.find(text + "\n", at);
    EXPECT_NE(std::string::npos, place) << text;
    at = place;
  }
  EXPECT_NE(std::string::npos,
            document.find("`schema_version`, which is " + std::to_string(kSchemaVersion)));
}

}  // namespace
}  // namespace ryx::profiling
