// SPDX-License-Identifier: Apache-2.0
// The HTML report's building blocks: names and numbers as texts, and the data that the page
// carries.

#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "exports/html/block.h"
#include "exports/html/comparison_view.h"
#include "exports/html/deflate.h"
#include "exports/html/findings.h"
#include "exports/html/graph_view.h"
#include "exports/html/markup.h"
#include "exports/html/memory.h"
#include "exports/html/quantities.h"
#include "ryx/profile_log_writer.h"

namespace ryx::profiling {
namespace {

const double kAbsent = std::nan("");

TEST(HtmlTest, NamesShowWhatCannotBeSeen) {
  const std::pair<const char*, const char*> kCases[] = {
      {"conv1:Convolution", "conv1:Convolution"},
      {"", "\"\""},
      {"\x1B[31mred\x07", "\\x1B[31mred\\x07"},
      {"a\nb\tc\x7F\xC2\x85", "a\\x0Ab\\x09c\\x7F\\x85"},
      {"\u202Egnp.exe", "\\u202Egnp.exe"},
      {"\u2066a\u2069\u200B\uFEFF", "\\u2066a\\u2069\\u200B\\uFEFF"},
      {"Свёртка 卷积 👩‍🔬 \uFFFD", "Свёртка 卷积 👩‍🔬 \uFFFD"},
  };
  for (const auto& [name, shown] : kCases) EXPECT_EQ(shown, shownName(name));

  EXPECT_EQ("<p><bdi class=\"mono\">&lt;/script&gt;&lt;!--&amp;&quot;&#39;\\x1B</bdi>a &lt; b",
            Markup().raw("<p>").name("</script><!--&\"'\x1B", "mono").text("a < b").str());
}

TEST(HtmlTest, NumbersReadAsOnTheDrawnPart) {
  const double kInfinity = std::numeric_limits<double>::infinity();
  const std::pair<std::string, std::string> kCases[] = {
      {"0", groupedCount(0)},
      {"999", groupedCount(999)},
      {"18,446,744,073,709,551,615", groupedCount(UINT64_MAX)},
      {"0 µs", durationText(0)},
      {"9,999 µs", durationText(9999)},
      {"16.54 ms", durationText(16541)},
      {"12.35 s", durationText(12345678)},
      {"–", durationText(kAbsent)},
      {"–", durationText(kInfinity)},
      {"179.0 MB", quantityText(179008448, "bytes")},
      {"62.02", quantityText(62.015, "none")},
      {"7 cycles", quantityText(7, "cycles")},
      {"20", quantityText(20, "")},
      {"0.0 %", shareText(0)},
      {"<0.1 %", shareText(0.0001)},
      {"12.7 %", shareText(0.1274)},
      {"+38.2 %", changeText(38.24)},
      {"−3.1 %", changeText(-3.14)},
      {"±0.0 %", changeText(0.01)},
      {"−1,500 µs", changeText(-1500, "us")},
      {"0.42", inScale(420, scaleOf("us", 20000))},
  };
  for (const auto& [expected, actual] : kCases) EXPECT_EQ(expected, actual);
}

TEST(HtmlTest, ColumnsTakeAsFewBytesAsTheyNeed) {
  struct Case {
    std::vector<double> values;
    int width;
    double base;
    std::string planes;
  };
  const Case kCases[] = {
      {{}, 0, 0, ""},
      {{kAbsent, kAbsent}, 0, 0, ""},
      {{300, kAbsent, 301, 554}, 1, 300, {"\x01\x00\x02\xFF", 4}},
      {{0, 255}, 2, 0, {"\x01\x00\x00\x01", 4}},
      {{-1000, kAbsent, 1000}, 2, -1000, {"\x01\x00\xD1\x00\x00\x07", 6}},
      {{0x1p60, 0x1p60 + 512}, 2, 0x1p60, {"\x01\x01\x00\x02", 4}},
      {{1, 0x1p47}, 6, 1, {"\x01\0\0\0\0\0\0\0\0\0\0\x80", 12}},
      {{0.5, 2}, 8, 0, {"\0\0\0\0\0\0\0\0\0\0\0\0\xE0\0\x3F\x40", 16}},
  };
  for (const Case& each : kCases) {
    const PackedColumn column = packColumn(each.values);
    EXPECT_EQ(each.width, column.width);
    EXPECT_EQ(each.base, column.base);
    EXPECT_EQ(each.planes, column.planes);
  }
}

std::string unzipped(const std::string& gzip) {
  std::string plain(1 << 20, '\0');
  z_stream stream{};
  EXPECT_EQ(Z_OK, inflateInit2(&stream, 16 + MAX_WBITS));
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(gzip.data()));
  stream.avail_in = static_cast<uInt>(gzip.size());
  stream.next_out = reinterpret_cast<Bytef*>(plain.data());
  stream.avail_out = static_cast<uInt>(plain.size());
  EXPECT_EQ(Z_STREAM_END, inflate(&stream, Z_FINISH)) << "and its check sum and size are right";
  EXPECT_EQ(0U, stream.avail_in);
  plain.resize(stream.total_out);
  inflateEnd(&stream);
  return plain;
}

TEST(HtmlTest, PiecesMakeOneStream) {
  Deflater deflater;
  std::string noise;
  for (uint32_t i = 0; i < 60000; ++i) noise += static_cast<char>(i * 2654435761U >> 24);
  const DeflatedPiece hello = deflater.deflate("hello ");
  const DeflatedPiece large = deflater.deflate(noise);
  const DeflatedPiece empty = deflater.deflate("");
  EXPECT_EQ("hello hello " + noise, unzipped(gzipOf({hello, empty, hello, large})));
  EXPECT_EQ("", unzipped(gzipOf({})));
  EXPECT_EQ(std::string("\0\0\0\0", 4), gzipOf({hello}).substr(4, 4)) << "no time";
  EXPECT_EQ(hello.bytes.size() + kGzipFrameBytes, gzipOf({hello}).size());
  EXPECT_EQ(hello.bytes, deflater.deflate("hello ").bytes);
}

TEST(HtmlTest, BlocksAreBase64OfTheirStream) {
  const auto base64 = [](std::string_view bytes) {
    std::string text;
    appendBase64(text, bytes);
    EXPECT_EQ(base64Size(bytes.size()), text.size());
    return text;
  };
  EXPECT_EQ("", base64(""));
  EXPECT_EQ("Zg==", base64("f"));
  EXPECT_EQ("Zm8=", base64("fo"));
  EXPECT_EQ("Zm9v", base64("foo"));
  EXPECT_EQ("/+8A", base64({"\xFF\xEF\0", 3}));

  Deflater deflater;
  Block block;
  EXPECT_EQ(0, block.textIndex("</script>"));
  EXPECT_EQ(1, block.textIndex("b"));
  EXPECT_EQ(0, block.textIndex("</script>"));
  block.beginTable("events", 2);
  block.addColumn("self_sum", {7, kAbsent});
  block.beginTable("samples", 1);
  const PackedColumn sample = packColumn({5});
  block.addColumn("17", sample, deflater.deflate(sample.planes));
  const std::string json =
      R"({"texts":["</script>","b"],"tables":{"events":{"rows":2,"columns":[["self_sum",1,7.0]]},)"
      R"("samples":{"rows":1,"columns":[["17",1,5.0]]}}})";
  std::string plain{static_cast<char>(json.size()), 0, 0, 0};
  plain += json;
  plain += std::string("\x01\x00\x01", 3);
  const DeflatedPiece front = deflater.deflate(plain.substr(0, plain.size() - 1));
  EXPECT_EQ("<script type=\"text/plain\" id=\"ryx-graph-0\">" +
                base64(gzipOf({front, deflater.deflate("\x01")})) + "</script>\n",
            block.script("ryx-graph-0", deflater));
}

struct TestEvent {
  std::string name;
  uint64_t value = 0;
  uint32_t unit = 1;
  uint32_t type = 0;
  std::vector<TestEvent> nested = {};
};

/// A log of one graph, which lasts as long as the test.
class TestLog {
 public:
  explicit TestLog(const std::string& name) : path_(testing::TempDir() + name) {
    EXPECT_TRUE(writer_.open(path_));
  }
  ~TestLog() { std::remove(path_.c_str()); }

  void execute(uint64_t duration, const std::vector<TestEvent>& events) {
    addMessage(ProfiledMethod::Execute, duration, events);
  }

  void addMessage(ProfiledMethod method, uint64_t duration, const std::vector<TestEvent>& events) {
    std::list<std::vector<EventRecord>> storage;
    MessageRecord message;
    message.method = method;
    message.text = "net";
    message.start = now_;
    message.end = now_ += duration;
    message.events = recordsOf(events, storage);
    ASSERT_TRUE(writer_.addMessage(message));
  }

  LogSamples read() {
    EXPECT_TRUE(writer_.close());
    LogSamples samples;
    EXPECT_TRUE(samples.read(path_, path_, MessageFilter()));
    return samples;
  }

 private:
  static ArrayView<EventRecord> recordsOf(const std::vector<TestEvent>& events,
                                          std::list<std::vector<EventRecord>>& storage) {
    auto& records = storage.emplace_back(events.size());
    for (size_t i = 0; i < events.size(); ++i) {
      records[i].identifier = events[i].name;
      records[i].unit = events[i].unit;
      if (events[i].type != 0) records[i].eventType = events[i].type;
      records[i].setUint(events[i].value);
      records[i].nestedEvents = recordsOf(events[i].nested, storage);
    }
    return {records.data(), records.size()};
  }

  std::string path_;
  ProfileLogWriter writer_;
  uint64_t now_ = 1000;
};

class FindingsTest : public testing::Test {
 protected:
  /// Each finding on a line: what it says, and its weight.
  std::vector<std::string> findings() {
    const LogSamples samples = log_.read();
    DistributionMaker maker;
    std::vector<GraphView> graphs;
    for (const Row& row : samples.rows())
      if (row.isExecution) graphs.emplace_back(samples, row, maker);
    std::vector<std::string> lines;
    for (const Finding& finding : findWhatToFix(graphs, findMemory(samples, graphs)))
      lines.push_back(std::string(finding.before) + std::string(finding.name) + finding.after +
                      ": " + finding.weight);
    return lines;
  }

  TestLog log_{"findings.log"};
};

TEST_F(FindingsTest, SteadyRunNamesItsLargestEvents) {
  for (int i = 0; i < 30; ++i) log_.execute(1000, {{"a", 600}, {"b", 385}, {"c", 15}});
  EXPECT_EQ((std::vector<std::string>{"a takes more time than any other event: 60.0 %",
                                      "b is next: 38.5 %"}),
            findings());
}

TEST_F(FindingsTest, EachTroubleIsNamedByWhatItCosts) {
  log_.addMessage(ProfiledMethod::Finalize, 50,
                  {{"weights", 4'000'000, 2}, {"blobs", 36'000'000, 2}});
  for (uint64_t i = 0; i < 40; ++i) {
    const uint64_t warm = i < 3 ? 3000 : 0;
    const uint64_t jitter = i % 2 == 0 ? 400 : 0;
    const uint64_t late = i == 30 ? 40'000 : 0;
    log_.execute(10'000 + warm + jitter + late,
                 {{"conv", 5000 + warm + late}, {"copy", 100 + jitter}, {"wait", 500, 1, 405}});
  }
  EXPECT_EQ((std::vector<std::string>{
                "conv takes more time than any other event: 54.5 %",
                "net spends time outside of its events: 38.5 %",
                "conv is unsteady: CV 1.02",
                "Some executions of net are far slower than the others: 4",
                "net needs to warm up: 1.3 ×",
                "Executions of net wait in the queue: 4.4 %",
                "blobs takes most of the memory: 36.0 MB",
            }),
            findings());
}

TEST_F(FindingsTest, EventsThatAddUpToMoreAreSaid) {
  for (int i = 0; i < 10; ++i) log_.execute(1000, {{"a", 800}, {"b", 300}});
  EXPECT_EQ("net has events that add up to more than its executions: 10.0 %", findings().back());
}

TEST(HtmlTest, ComparisonsKeepTheOrderOfTheLog) {
  TestLog baseLog("base.log");
  TestLog nextLog("next.log");
  // Beside the root with the operators there is one that has the same time again.
  const auto execute = [](TestLog& log, uint64_t a, const TestEvent& odd) {
    log.execute(a + 400, {{"root", a + 400, 1, 0, {{"b", 300}, {"a", a}, odd}},
                          {"again", a + 300},
                          {"arena", a * 10, 2}});
  };
  for (uint64_t i = 0; i < 30; ++i) {
    execute(baseLog, 600 + i % 7, {"gone", 90});
    execute(nextLog, 900 + i % 7, {"fresh", 80});
  }
  baseLog.addMessage(ProfiledMethod::Finalize, 5000, {{"weights", 4096, 2}});
  nextLog.addMessage(ProfiledMethod::Finalize, 5000, {{"weights", 8192, 2}});
  const EventView all;
  Sources base;
  Sources next;
  base.push_back(std::make_unique<LogSource>(baseLog.read(), WarmUpRule(), all));
  next.push_back(std::make_unique<LogSource>(nextLog.read(), WarmUpRule(), all));
  const Comparison comparison = compareRuns(base, next, ComparisonOptions());
  const ComparisonView view(comparison, base, next);

  ASSERT_EQ(1U, view.graphs().size());
  const ComparedGraph& graph = view.graphs().front();
  EXPECT_EQ(Verdict::Worse, graph.whole->verdict);
  EXPECT_EQ(30U, graph.baseDurations.size());
  EXPECT_EQ(1306, graph.nextDurations[6]);
  std::string tree;
  for (size_t i = 0; i < graph.tree.size(); ++i)
    tree += std::string(graph.tree[i].name) + (graph.isMain[i] ? " " : "' ");
  EXPECT_EQ("root b a fresh gone again' arena' ", tree);
  EXPECT_EQ(0U, graph.mainRow);
  EXPECT_TRUE(isExplainedBelow(graph, 0)) << "by what a took more";
  EXPECT_FALSE(isExplainedBelow(graph, 2));

  std::string ranked;
  for (const ChangedEvent& change : rankChanges(view))
    ranked += std::string(change.row->path.back()) + ' ';
  EXPECT_EQ("root a gone fresh b ", ranked);
  std::string others;
  for (const ComparedRow* row : view.others())
    others += std::string(row->path.empty() ? *row->method : row->path.back()) + ' ';
  EXPECT_EQ("arena Finalize weights ", others);
}

TEST(HtmlTest, PageOfTooManyEventsKeepsTheLargest) {
  constexpr size_t kEvents = kMaxShownEvents + 1000;
  std::vector<std::string> names(kEvents);
  std::vector<EventRecord> events(kEvents);
  for (size_t i = 0; i < kEvents; ++i) {
    names[i] = "event " + std::to_string(i);
    events[i].identifier = names[i];
    events[i].unit = 1;
    events[i].setUint(i + 1);
  }
  EventRecord root;
  root.identifier = "root";
  root.unit = 1;
  root.setUint(0);
  root.nestedEvents = {events.data(), events.size()};
  MessageRecord execution;
  execution.method = ProfiledMethod::Execute;
  execution.text = "net";
  execution.start = 1;
  execution.end = 1'400'000'000;
  execution.events = {&root, 1};
  const std::string path = testing::TempDir() + "many_events.log";
  ProfileLogWriter writer;
  ASSERT_TRUE(writer.open(path) && writer.addMessage(execution) && writer.close());

  LogSamples samples;
  ASSERT_TRUE(samples.read(path, path, MessageFilter()));
  DistributionMaker maker;
  const GraphView graph(samples, samples.rows().front(), maker);
  EXPECT_EQ(kMaxShownEvents + 1, graph.events().size()) << "the root leads to them";
  EXPECT_EQ(kEvents - kMaxShownEvents, graph.leftOut());
  EXPECT_EQ("event 1000", graph.events()[1].name);
  EXPECT_EQ(0U, graph.events()[1].parent);
  EXPECT_EQ(names.back(), graph.events()[graph.ranked().front()].name);
  std::remove(path.c_str());
}

}  // namespace
}  // namespace ryx::profiling
