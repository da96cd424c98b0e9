// SPDX-License-Identifier: Apache-2.0
// Every export read back, each by a reader of its own, and compared with the catalogue's tables
// cell by cell.

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sqlite3.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "base/number_text.h"
#include "exports/export.h"
#include "exports/export_format.h"
#include "exports/string_pool.h"
#include "log/commands.h"
#include "ryx/profile_log_writer.h"
#include "tests/exported_logs.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

using tests::readFile;
using tests::TemporaryFolder;

/// A value in a form that tells whatever the formats have to tell apart; nothing is null.
using Value = std::optional<std::string>;
using Rows = std::vector<std::vector<Value>>;

std::string exactText(double number) {
  if (std::isnan(number)) return "nan";
  char text[64];
  std::snprintf(text, sizeof text, "%a", number);
  return text;
}

Value valueOf(const Cell& cell) {
  if (cell.isNull) return std::nullopt;
  std::string text;
  switch (cell.type) {
    case ColumnType::Int64: appendDecimal(text, cell.integer); return text;
    case ColumnType::UInt64: appendDecimal(text, cell.natural); return text;
    case ColumnType::Double: return exactText(cell.real);
    case ColumnType::Dictionary:
    case ColumnType::Text: break;
  }
  return "'" + std::string(cell.text) + "'";
}

/// A number's text as the same value, or a text's.
Value valueOf(const Column& column, const std::string& text, bool isText) {
  if (isText) return "'" + text + "'";
  return column.type == ColumnType::Double ? exactText(std::strtod(text.c_str(), nullptr)) : text;
}

bool isText(const Column& column) {
  return column.type == ColumnType::Text || column.type == ColumnType::Dictionary;
}

// --- Readers -------------------------------------------------------------------------------------

struct CsvField {
  std::string text;
  bool isQuoted = false;
};

/// RFC 4180 with a newline at the end of every record, and nothing else.
std::vector<std::vector<CsvField>> parseCsv(const std::string& csv) {
  std::vector<std::vector<CsvField>> records;
  std::vector<CsvField> record;
  size_t at = 0;
  while (at < csv.size()) {
    CsvField field;
    if (csv[at] == '"') {
      field.isQuoted = true;
      for (++at; at < csv.size() && (csv[at] != '"' || csv.compare(at, 2, "\"\"") == 0); ++at) {
        field.text += csv[at];
        if (csv[at] == '"') ++at;
      }
      ++at;
    } else {
      for (; at < csv.size() && csv[at] != ',' && csv[at] != '\n'; ++at) {
        EXPECT_TRUE(csv[at] != '"' && csv[at] != '\r') << "unquoted at byte " << at;
        field.text += csv[at];
      }
    }
    record.push_back(field);
    const char separator = at < csv.size() ? csv[at] : '\0';
    EXPECT_TRUE(separator == ',' || separator == '\n') << "at byte " << at;
    ++at;
    if (separator == ',') continue;
    records.push_back(record);
    record.clear();
  }
  EXPECT_TRUE(record.empty()) << "no newline at the end";
  return records;
}

Rows readCsv(const Table& table, const std::string& path) {
  const std::string csv = readFile(path);
  Rows rows;
  for (const auto& record : parseCsv(csv)) {
    EXPECT_EQ(table.size, record.size());
    if (record.size() != table.size) return rows;
    rows.emplace_back();
    for (size_t i = 0; i < record.size(); ++i) {
      const CsvField& field = record[i];
      const bool isName = rows.size() == 1;
      EXPECT_TRUE(!isName || field.text == table.columns[i].name) << field.text;
      const bool isNull = field.text.empty() && !field.isQuoted;
      rows.back().push_back(
          isNull ? Value()
                 : valueOf(table.columns[i], field.text, isName || isText(table.columns[i])));
    }
  }
  EXPECT_FALSE(rows.empty()) << "no header";
  if (!rows.empty()) rows.erase(rows.begin());
  return rows;
}

Rows readNdjson(const Table& table, const std::string& path) {
  const std::string text = readFile(path);
  Rows rows;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    rapidjson::Document row;
    row.Parse<rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseValidateEncodingFlag>(
        text.data() + at, end - at);
    EXPECT_TRUE(row.IsObject() && row.MemberCount() == table.size) << text.substr(at, end - at);
    if (!row.IsObject() || row.MemberCount() != table.size) return rows;
    rows.emplace_back();
    const Column* column = table.columns;
    for (const auto& member : row.GetObject()) {
      EXPECT_EQ(column->name, member.name.GetString());
      const auto& value = member.value;
      rows.back().push_back(
          value.IsNull()
              ? Value()
              : valueOf(*column, {value.GetString(), value.GetStringLength()}, isText(*column)));
      ++column;
    }
    at = end + 1;
  }
  return rows;
}

class Database {
 public:
  explicit Database(const std::string& path) {
    EXPECT_EQ(SQLITE_OK, sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READONLY, nullptr));
  }
  ~Database() { sqlite3_close(database_); }

  /// The rows of a query, and in front of them the names of its columns.
  Rows query(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v2(database_, sql.c_str(), -1, &statement, nullptr);
    EXPECT_EQ(SQLITE_OK, code) << sqlite3_errmsg(database_);
    Rows rows(1);
    const int columns = sqlite3_column_count(statement);
    for (int i = 0; i < columns; ++i) rows[0].emplace_back(sqlite3_column_name(statement, i));
    while (sqlite3_step(statement) == SQLITE_ROW) {
      rows.emplace_back();
      for (int i = 0; i < columns; ++i) rows.back().push_back(valueAt(statement, i));
    }
    sqlite3_finalize(statement);
    return rows;
  }

  /// The one value of a query.
  std::string ask(const std::string& sql) { return query(sql).at(1).at(0).value_or("null"); }

 private:
  static Value valueAt(sqlite3_stmt* statement, int column) {
    const int type = sqlite3_column_type(statement, column);
    if (type == SQLITE_NULL) return std::nullopt;
    if (type == SQLITE_FLOAT) return exactText(sqlite3_column_double(statement, column));
    const std::string text(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                           static_cast<size_t>(sqlite3_column_bytes(statement, column)));
    return type == SQLITE_TEXT ? "'" + text + "'" : text;
  }

  sqlite3* database_ = nullptr;
};

Rows readSqlite(const Table& table, const std::string& path) {
  Database database(path);
  EXPECT_EQ("'ok'", database.ask("PRAGMA integrity_check"));
  Rows rows = database.query("SELECT * FROM " + std::string(table.name));
  EXPECT_EQ(table.size, rows[0].size());
  if (table.size != rows[0].size()) return rows;
  for (size_t i = 0; i < table.size; ++i) EXPECT_EQ(table.columns[i].name, rows[0][i]);
  rows.erase(rows.begin());
  // What does not fit an INTEGER is the number as text.
  for (auto& row : rows)
    for (size_t i = 0; i < row.size(); ++i)
      if (table.columns[i].type == ColumnType::UInt64 && row[i] && row[i]->front() == '\'')
        row[i] = row[i]->substr(1, row[i]->size() - 2);
  return rows;
}

/// One format as these tests need it.
struct Format {
  ExportFormat format;
  std::string fileName;
  LogColumn logColumn;
  bool storesNaN;
  bool storesInfinity;
  bool storesMinusZero;
  Rows (*read)(const Table& table, const std::string& path);
};

const std::vector<Format> kFormats = {
    {ExportFormat::Sqlite, "out.sqlite", LogColumn::Id, false, true, false, readSqlite},
    {ExportFormat::Csv, "out.csv", LogColumn::Path, true, true, true, readCsv},
    {ExportFormat::Ndjson, "out.ndjson", LogColumn::Path, false, false, true, readNdjson},
};

// --- Logs ----------------------------------------------------------------------------------------

/// Numbers that readers tend to lose something of.
void writeNumbers(const std::string& path) {
  std::vector<EventRecord> events;
  const auto add = [&] {
    events.emplace_back().identifier = "number";
    return &events.back();
  };
  using Double = std::numeric_limits<double>;
  for (const double number :
       {0.0, -0.0, 0.1, 1e22, 1e5, 123456789012345680.0, -1e300, Double::max(), Double::min(),
        Double::denorm_min(), Double::infinity(), -Double::infinity(), Double::quiet_NaN(),
        -Double::quiet_NaN()})
    add()->setDouble(number);
  for (const float number : {0.1F, 16777217.0F, std::numeric_limits<float>::denorm_min()})
    add()->setFloat(number);
  for (const uint64_t number : {uint64_t{0}, uint64_t{1} << 53 | 1, uint64_t{INT64_MAX},
                                uint64_t{INT64_MAX} + 1, UINT64_MAX}) {
    add()->setUint(number);
    events.back().timestamp = number;
  }
  for (const int64_t number : {INT64_MIN, int64_t{-1}, INT64_MAX}) add()->setInt(number);
  events.back().eventType = UINT32_MAX, events.back().unit = UINT32_MAX;
  MessageRecord message;
  message.method = static_cast<ProfiledMethod>(-128), message.level = -128;
  message.timestamp = UINT64_MAX, message.start = 0, message.end = UINT64_MAX;
  message.events = events;
  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path) && log.addMessage(message) && log.close()) << log.error();
}

class ExportsTest : public testing::Test {
 protected:
  ExportResult exportTo(const Format& format, TableId table, const std::vector<std::string>& logs) {
    said_.clear();
    ExportOptions options;
    options.outputPath = folder_ / format.fileName;
    if (format.logColumn == LogColumn::Path) options.table = table;
    const auto sink = makeSink(format.format, options);
    EXPECT_TRUE(sink) << sink.status().text();
    return exportLogs(tests::exportedLogs(logs), {}, **sink,
                      [this](const std::string& text) { said_.push_back(text); });
  }

  /// The rows of all logs as the catalogue has them, less what the format cannot store.
  static Rows expectedRows(const Format& format, TableId table,
                           const std::vector<std::string>& logs) {
    Selection selection;
    selection.add(table);
    selection.logColumn = format.logColumn;
    TableReader reader(selection);
    Rows rows;
    for (size_t log = 0; log < logs.size(); ++log) {
      if (!reader.open(logs[log], static_cast<int64_t>(log))) continue;
      while (const Batch* batch = reader.next())
        for (size_t row = 0; row < batch->rows(); ++row) {
          rows.emplace_back();
          for (size_t i = 0; i < batch->columns(); ++i) {
            Cell cell = batch->cell(row, i);
            if (!format.storesMinusZero && cell.real == 0) cell.real = 0;
            const bool isLost = (!format.storesNaN && std::isnan(cell.real)) ||
                                (!format.storesInfinity && std::isinf(cell.real));
            rows.back().push_back(isLost ? Value() : valueOf(cell));
          }
        }
    }
    return rows;
  }

  /// Exports every table in every format and compares all cells.
  void expectExact(const std::vector<std::string>& logs,
                   ExportResult expected = ExportResult::Whole) {
    for (const Format& format : kFormats) {
      for (size_t i = 0; i < kTableCount; ++i) {
        const auto id = static_cast<TableId>(i);
        const Table& table = profiling::table(id, format.logColumn);
        SCOPED_TRACE(format.fileName + ", " + std::string(table.name));
        ASSERT_EQ(expected, exportTo(format, id, logs));
        const Rows rows = format.read(table, folder_ / format.fileName);
        const Rows expectedOnes = expectedRows(format, id, logs);
        ASSERT_EQ(expectedOnes.size(), rows.size());
        for (size_t row = 0; row < rows.size(); ++row) ASSERT_EQ(expectedOnes[row], rows[row]);
      }
    }
  }

  std::string makeGolden(const std::string& name) {
    std::string path = folder_ / (name + ".log");
    EXPECT_TRUE(makeLog(std::string(RYX_GOLDEN_DIR) + "/" + name + "/log.json", path));
    return path;
  }

  /// The recorded log, and those of all golden cases.
  std::vector<std::string> makeAllGolden() {
    std::vector<std::string> logs = {std::string(RYX_SAMPLES_DIR) + "/text-detection.log"};
    for (const auto& entry : std::filesystem::directory_iterator(RYX_GOLDEN_DIR))
      logs.push_back(makeGolden(entry.path().filename()));
    return logs;
  }

  const TemporaryFolder folder_;
  std::vector<std::string> said_;
};

TEST_F(ExportsTest, AllCellsOfAllTables) {
  std::vector<std::string> logs = makeAllGolden();
  logs.push_back(folder_ / "numbers, \"and\"\nlines.log");
  writeNumbers(logs.back());
  expectExact(logs);
  expectExact({folder_ / "empty-log.log"});
}

TEST_F(ExportsTest, DamagedLogsCountUpToTheDamage) {
  const std::string good = makeGolden("full-run");
  const std::string damaged = folder_ / "damaged.log";
  tests::writeFile(damaged, readFile(good) + readFile(good) + "1234");
  const std::string absent = folder_ / "absent.log";
  expectExact({damaged, absent, good}, ExportResult::Partly);
  ASSERT_EQ(2U, said_.size());
  EXPECT_EQ(0U, said_[0].find(damaged + ": chunk 5 at byte ")) << said_[0];
  EXPECT_EQ("cannot read " + absent + ": No such file or directory", said_[1]);

  for (const Format& format : kFormats) {
    std::filesystem::remove(folder_ / format.fileName);
    EXPECT_EQ(ExportResult::Failed, exportTo(format, TableId::Events, {absent, absent}));
    EXPECT_FALSE(std::filesystem::exists(folder_ / format.fileName));
    tests::writeFile(folder_ / format.fileName, "as it was");
    EXPECT_EQ(ExportResult::Failed, exportTo(format, TableId::Events, {absent}));
    EXPECT_EQ("as it was", readFile(folder_ / format.fileName));
  }
}

TEST_F(ExportsTest, DatabasesAnswerByTheirIndexes) {
  const Format& sqlite = kFormats[0];
  ASSERT_EQ(ExportResult::Whole, exportTo(sqlite, TableId::Events, makeAllGolden()));
  Database database(folder_ / sqlite.fileName);
  EXPECT_EQ(std::to_string(kSchemaVersion), database.ask("PRAGMA user_version"));
  EXPECT_EQ(std::to_string(0x52797850), database.ask("PRAGMA application_id"));
  EXPECT_EQ("'1'", database.ask("SELECT value FROM export_info WHERE key = 'schema_version'"));
  EXPECT_EQ("1", database.ask("SELECT value GLOB '20[0-9][0-9]-*T*:*:*Z' FROM export_info "
                              "WHERE key = 'created'"));
  const struct {
    const char* query;
    const char* index;
  } cases[] = {
      {"SELECT * FROM events WHERE identifier = 'conv1'", "events_by_identifier"},
      {"SELECT * FROM events WHERE log_id = 0 AND message_id = 9", "events_by_message"},
      {"SELECT * FROM events WHERE log_id = 0 AND event_id BETWEEN 8 AND 9", "events_by_id"},
      {"SELECT * FROM messages WHERE graph = 'det' AND method = 'Execute'",
       "messages_by_graph_and_method"},
      {"SELECT * FROM executions WHERE graph = 'det'", "executions_by_graph_and_method"},
      {"SELECT e.* FROM executions x JOIN events e USING (log_id, message_id) "
       "WHERE x.graph = 'det' AND x.execution = 7",
       "events_by_message"},
  };
  for (const auto& test : cases) {
    std::string plan;
    for (const auto& row : database.query("EXPLAIN QUERY PLAN " + std::string(test.query)))
      plan += row[3].value_or("") + "\n";
    EXPECT_NE(std::string::npos, plan.find(std::string("INDEX ") + test.index + " ")) << plan;
  }
}

TEST(StringPoolTest, ForgetsWhatDoesNotFit) {
  StringPool pool;
  const std::string texts[] = {std::string(10 << 20, 'a'), std::string(10 << 20, 'b'),
                               std::string(10 << 20, 'c'), std::string(30 << 20, 'd')};
  const size_t order[] = {0, 1, 0, 2, 2, 0, 3, 3, 0};
  const int64_t expected[] = {1, 2, 1, 3, 3, 4, 5, 6, 4};
  int64_t last = 0;
  for (size_t i = 0; i < std::size(order); ++i) {
    const StringPool::Entry entry = pool.add(texts[order[i]]);
    EXPECT_EQ(expected[i], entry.id) << i;
    EXPECT_EQ(entry.id > last, entry.isNew) << i;
    last = std::max(last, entry.id);
  }
}

}  // namespace
}  // namespace ryx::profiling
