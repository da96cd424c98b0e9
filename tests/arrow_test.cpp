// SPDX-License-Identifier: Apache-2.0
// Arrow streams as a C program gets them out of the library, against the tables that they are made
// of.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ryx/profile_tables.h"
#include "tests/arrow_consumer.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

using tests::readFile;
using tests::writeFile;

const std::string kSample = RYX_SAMPLES_DIR "/text-detection.log";

class Profile {
 public:
  explicit Profile(const std::vector<std::string>& paths) {
    std::vector<const char*> texts;
    texts.reserve(paths.size());
    for (const std::string& path : paths) texts.push_back(path.c_str());
    status_ = ryx_profile_open(texts.data(), texts.size(), &handle_);
  }
  ~Profile() { ryx_profile_close(handle_); }

  /// Everything that a consumer sees of a stream, or the error of making it.
  [[nodiscard]] std::string print(const char* table,
                                  const ryx_profile_selection* selection = nullptr,
                                  release_order order = RELEASE_AS_READ) const {
    ArrowArrayStream stream;
    if (status_ != 0) return "error " + lastError(status_);
    if (const int error = ryx_profile_stream(handle_, table, selection, &stream); error != 0)
      return "error " + lastError(error);
    const std::unique_ptr<char, decltype(&std::free)> text(print_stream(&stream, order),
                                                           &std::free);
    EXPECT_EQ(nullptr, stream.release);
    return text.get();
  }

  [[nodiscard]] const ryx_profile* handle() const { return handle_; }

 private:
  static std::string lastError(int error) {
    return std::to_string(error) + ": " + ryx_profile_last_error();
  }

  ryx_profile* handle_ = nullptr;
  int status_ = 0;
};

std::string cellText(const Cell& cell) {
  if (cell.isNull) return "<null>";
  switch (cell.type) {
    case ColumnType::Int64: return std::to_string(cell.integer);
    case ColumnType::UInt64: return std::to_string(cell.natural);
    case ColumnType::Double: {
      char digits[64];
      std::snprintf(digits, sizeof digits, "%a", cell.real);
      return digits;
    }
    case ColumnType::Dictionary:
    case ColumnType::Text: break;
  }
  return std::string(cell.text);
}

std::string schemaLine(TableId id) {
  std::string line;
  for (const Column& column : table(id, LogColumn::Path)) {
    constexpr const char* kFormats[] = {"l", "L", "g", "u", "iu"};
    line += (line.empty() ? "" : "|") + std::string(column.name) + ':' +
            kFormats[static_cast<size_t>(column.type)] + (column.isNullable ? "?" : "");
  }
  return line + '\n';
}

std::string rowLines(TableId id, const std::string& path) {
  Selection selection;
  selection.logColumn = LogColumn::Path;
  selection.add(id);
  TableReader reader(selection);
  std::string lines;
  if (!reader.open(path)) return lines;
  while (const Batch* batch = reader.next())
    for (size_t row = 0; row < batch->rows(); ++row)
      for (size_t i = 0; i < batch->columns(); ++i)
        lines += cellText(batch->cell(row, i)) + (i + 1 == batch->columns() ? '\n' : '|');
  return lines;
}

ryx_profile_selection emptySelection() {
  ryx_profile_selection selection = {};
  selection.size = sizeof selection;
  return selection;
}

TEST(ArrowTest, StreamsHoldTheTablesWhateverIsReleasedFirst) {
  const tests::TemporaryFolder folder;
  const std::string empty = folder / "empty.log";
  writeFile(empty, "");
  const Profile logs({kSample, empty, kSample});
  ryx_profile_selection inRows = emptySelection();
  inRows.batch_rows = 100;
  for (const TableId id :
       {TableId::Logs, TableId::Messages, TableId::Executions, TableId::Events}) {
    const std::string name(table(id).name);
    const std::string expected =
        schemaLine(id) + rowLines(id, kSample) + rowLines(id, empty) + rowLines(id, kSample);
    for (const auto order : {RELEASE_AS_READ, RELEASE_STREAM_FIRST, RELEASE_COLUMNS_APART}) {
      EXPECT_EQ(expected, logs.print(name.c_str(), nullptr, order)) << name << ' ' << order;
      EXPECT_EQ(expected, logs.print(name.c_str(), &inRows, order)) << name << ' ' << order;
    }
  }
  EXPECT_EQ(schemaLine(TableId::Events), Profile({}).print("events"));
  EXPECT_EQ(kSchemaVersion, ryx_profile_schema_version());
}

TEST(ArrowTest, SelectionsAreServedOrRefused) {
  const Profile log({kSample});
  const auto print = [&](const char* table, auto&& choose) {
    ryx_profile_selection selection = emptySelection();
    choose(selection);
    return log.print(table, &selection);
  };
  const char* columns[] = {"method", "graph"};
  const char* graphs[] = {"det"};
  const char* methods[] = {"finalize", "3"};
  const auto choose = [&](ryx_profile_selection& selection) {
    selection.columns = columns;
    selection.column_count = 2;
    selection.graphs = graphs;
    selection.graph_count = 1;
    selection.methods = methods;
    selection.method_count = 1;
  };
  EXPECT_EQ("method:iu?|graph:u?\nFinalize|det\n", print("messages", choose));
  EXPECT_EQ("method:iu?|graph:u?\n", print("messages", [&](auto& selection) {
              choose(selection);
              selection.flags = RYX_PROFILE_LEVEL;
              selection.level = -128;
            }));
  // Of an older version, which knew nothing behind the columns.
  EXPECT_EQ(log.print("messages"), print("messages", [&](auto& selection) {
              choose(selection);
              selection.columns = nullptr;
              selection.size = offsetof(ryx_profile_selection, graphs);
            }));

  columns[1] = "grahp";
  EXPECT_EQ("error 22: messages has no column grahp", print("messages", choose));
  methods[0] = "finalise";
  EXPECT_EQ(0u, print("messages", choose).find("error 22: unknown method 'finalise'; known are "));
  graphs[0] = nullptr;
  EXPECT_EQ("error 22: a graph is NULL", print("messages", choose));
  EXPECT_EQ("error 22: unknown table 'event'", log.print("event"));
  EXPECT_EQ("error 22: an argument is NULL", log.print(nullptr));
  const struct {
    size_t size;
    uint32_t flags;
    int32_t level;
    const char* error;
  } cases[] = {
      {0, 0, 0, "error 22: the selection's size is not that of this version or an older one"},
      {4096, 0, 0, "error 22: the selection's size is not that of this version or an older one"},
      {sizeof(ryx_profile_selection), 4, 0, "error 22: the selection has an unknown flag"},
      {sizeof(ryx_profile_selection), RYX_PROFILE_LEVEL, 128,
       "error 22: the level is not a number between -128 and 127"},
  };
  for (const auto& [size, flags, level, error] : cases)
    EXPECT_EQ(error, print("logs", [&, size = size, flags = flags, level = level](auto& selection) {
                selection.size = size;
                selection.flags = flags;
                selection.level = level;
              }));
}

TEST(ArrowTest, WhatIsWrongWithALogEndsItsStream) {
  const tests::TemporaryFolder folder;
  const auto errorOf = [](const std::vector<std::string>& paths) {
    return Profile(paths).print("events");
  };
  EXPECT_EQ("error 2: cannot read " + folder / "no\\xff: No such file or directory",
            errorOf({folder / "no\xFF"}));
  EXPECT_EQ("error 21: cannot read " + folder.path() + ": Is a directory",
            errorOf({kSample, folder.path()}));

  const std::string sample = readFile(kSample);
  const std::string cut = folder / "cut.log";
  writeFile(cut, sample.substr(0, 200000));
  const std::string damage =
      "chunk 3 at byte 173696: the file ends after 26300 of its 121392 bytes";
  const std::string before = schemaLine(TableId::Events) + rowLines(TableId::Events, cut);
  const Profile logs({cut, kSample});
  EXPECT_EQ(before + "error 5: " + cut + ": " + damage + "\n", logs.print("events"));
  ryx_profile_selection skipping = emptySelection();
  skipping.flags = RYX_PROFILE_SKIP_DAMAGED;
  EXPECT_EQ(before + rowLines(TableId::Events, kSample), logs.print("events", &skipping));
  EXPECT_NE(std::string::npos, logs.print("logs", &skipping).find(damage));

  // Cut short, and removed, between the handle's making and the stream's reading.
  const std::string whole = folder / "whole.log";
  writeFile(whole, sample);
  const Profile later({whole});
  ryx_profile_selection rowByRow = emptySelection();
  rowByRow.batch_rows = 1;
  ArrowArrayStream stream;
  ASSERT_EQ(0, ryx_profile_stream(later.handle(), "events", &rowByRow, &stream));
  ArrowArray batch;
  ASSERT_EQ(0, stream.get_next(&stream, &batch));
  batch.release(&batch);
  std::filesystem::resize_file(whole, 200000);
  int error = 0;
  while ((error = stream.get_next(&stream, &batch)) == 0 && batch.release != nullptr)
    batch.release(&batch);
  EXPECT_EQ(EIO, error);
  EXPECT_EQ(whole + ": " + damage, stream.get_last_error(&stream));
  EXPECT_EQ(EIO, stream.get_next(&stream, &batch));
  stream.release(&stream);
  std::filesystem::remove(whole);
  EXPECT_EQ(schemaLine(TableId::Events) + "error 5: cannot read " + whole +
                ": No such file or directory\n",
            later.print("events"));
}

TEST(ArrowTest, StreamsOfOneHandleShareNothing) {
  auto log = std::make_unique<Profile>(std::vector<std::string>{kSample});
  const std::string expected = log->print("events");
  ArrowArrayStream abandoned;
  ASSERT_EQ(0, ryx_profile_stream(log->handle(), "events", nullptr, &abandoned));
  ArrowArray batch;
  ASSERT_EQ(0, abandoned.get_next(&abandoned, &batch));
  std::vector<std::thread> threads;
  threads.reserve(3);
  while (threads.size() < 3)
    threads.emplace_back([&] { EXPECT_EQ(expected, log->print("events")); });
  for (std::thread& thread : threads) thread.join();
  log.reset();
  abandoned.release(&abandoned);
  batch.release(&batch);
}

}  // namespace
}  // namespace ryx::profiling
