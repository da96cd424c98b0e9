// SPDX-License-Identifier: Apache-2.0
// Timelines: small logs as JSON, and the events that a trace of them has.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "exports/export.h"
#include "exports/export_format.h"
#include "exports/trace_choice.h"
#include "log/commands.h"
#include "tests/exported_logs.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

using tests::readFile;
using tests::TemporaryFolder;
using tests::writeFile;

using Lines = std::vector<std::string>;

/// A trace, read back.
class Trace {
 public:
  explicit Trace(const std::string& json) {
    document_.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
    EXPECT_TRUE(document_.IsObject()) << json.substr(0, 1000);
    if (document_.IsObject()) expectDrawable();
  }

  /// "1: 10+5 conv" for a slice of thread 1, with ~ where it is synthetic; "10 memory bytes=7" for
  /// a counter, with the graph in brackets; "run.log" and "1 = phases" for names.
  [[nodiscard]] Lines lines() const {
    Lines lines;
    for (const auto& event : events().GetArray()) {
      const std::string name = event["name"].GetString();
      const char phase = event["ph"].GetString()[0];
      if (phase == 'X') {
        lines.push_back(text(event["tid"]) + ": " + text(event["ts"]) + "+" + text(event["dur"]) +
                        (event.HasMember("cat") ? "~ " : " ") + name);
      } else if (phase == 'C') {
        const auto& value = *event["args"].MemberBegin();
        const std::string graph =
            event.HasMember("id") ? " [" + std::string(event["id"].GetString()) + "]" : "";
        lines.push_back(text(event["ts"]) + " " + name + graph + " " + value.name.GetString() +
                        "=" + text(value.value));
      } else {
        const std::string named = event["args"]["name"].GetString();
        lines.push_back(name == "thread_name" ? text(event["tid"]) + " = " + named : named);
      }
    }
    return lines;
  }

  [[nodiscard]] size_t countSlices(const std::string& name) const {
    return static_cast<size_t>(
        std::count_if(events().Begin(), events().End(), [&](const auto& event) {
          return event["ph"] == "X" && event["name"].GetString() == name;
        }));
  }

  /// What is left out of the log that is process 1, where that is not 0.
  [[nodiscard]] std::map<std::string, uint64_t> leftOut() const {
    std::map<std::string, uint64_t> counts;
    for (const auto& one : log(0)["left_out"].GetObject())
      if (one.value.GetUint64() > 0) counts[one.name.GetString()] = one.value.GetUint64();
    return counts;
  }

  [[nodiscard]] const rapidjson::Value& log(rapidjson::SizeType index) const {
    return document_["otherData"]["logs"][index];
  }

 private:
  [[nodiscard]] const rapidjson::Value& events() const { return document_["traceEvents"]; }

  static std::string text(const rapidjson::Value& number) {
    if (number.IsUint64()) return std::to_string(number.GetUint64());
    return number.IsInt64() ? std::to_string(number.GetInt64())
                            : std::to_string(number.GetDouble());
  }

  struct Slice {
    uint64_t start;
    uint64_t end;
  };

  /// What every reader of traces relies on: in the order of their starts, and of equal ones in that
  /// of the file, the slices of a thread are inside those before them or after their end.
  void expectDrawable() const {
    std::map<std::pair<uint64_t, uint64_t>, std::vector<Slice>> threads;
    for (const auto& event : events().GetArray()) {
      if (event["ph"] != "X") continue;
      EXPECT_GE(event["tid"].GetUint64(), 1U);
      const uint64_t start = event["ts"].GetUint64();
      threads[{event["pid"].GetUint64(), event["tid"].GetUint64()}].push_back(
          {start, start + event["dur"].GetUint64()});
    }
    for (auto& [thread, slices] : threads) {
      std::stable_sort(slices.begin(), slices.end(), [](const Slice& one, const Slice& other) {
        return one.start < other.start;
      });
      std::vector<Slice> open;
      for (const Slice& slice : slices) {
        while (!open.empty() && open.back().end <= slice.start && open.back().end < slice.end)
          open.pop_back();
        ASSERT_TRUE(open.empty() || slice.end <= open.back().end)
            << slice.start << " to " << slice.end << " of thread " << thread.second;
        open.push_back(slice);
      }
    }
  }

  rapidjson::Document document_;
};

class TraceTest : public testing::Test {
 protected:
  /// Logs are given by their bare names, which the traces then have.
  void SetUp() override {
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
  }
  void TearDown() override { std::filesystem::current_path(previous_); }

  Trace trace(const std::vector<std::string>& logs, bool isWhole = false) {
    ExportOptions options;
    options.outputPath = folder_ / "run.trace.json";
    options.isWhole = isWhole;
    const auto sink = makeSink(ExportFormat::Trace, options);
    EXPECT_TRUE(sink);
    said_.clear();
    const auto say = [this](const std::string& text) { said_.push_back(text); };
    EXPECT_EQ(ExportResult::Whole, exportLogs(tests::exportedLogs(logs), {}, **sink, say));
    return Trace(readFile(options.outputPath));
  }

  std::string makeLog(const std::string& name, const std::string& messages) {
    writeFile(folder_ / "case.json", "{messages: [" + messages + "]}");
    EXPECT_TRUE(profiling::makeLog(folder_ / "case.json", folder_ / name));
    return name;
  }

  const TemporaryFolder folder_;
  std::filesystem::path previous_;
  Lines said_;
};

/// An execution of the graph "net".
std::string execution(const std::string& timing, const std::string& events) {
  return "{timestamp: {}, timing: {" + timing +
         "}, text: \"net\", method_type: Execute, events: [" + events + "]},";
}

/// An event of so many microseconds, and the other fields.
std::string us(const std::string& name, int value, const std::string& fields = "") {
  return "{identifier: \"" + name +
         "\", unit: 1, value_kind: INT64, int_value: " + std::to_string(value) +
         (fields.empty() ? "" : ", " + fields) + "},";
}

std::string nested(const std::string& events) { return "nested_events: [" + events + "]"; }
std::string at(int time) { return "timestamp: " + std::to_string(time); }

constexpr const char* kSynthetic = "run.log (start times laid out from durations)";

TEST_F(TraceTest, PlacesEventsByTheRules) {
  const struct {
    const char* what;
    std::string messages;
    Lines lines;
    std::map<std::string, uint64_t> leftOut;
  } cases[] = {
      {"nothing", "", {"run.log"}, {}},
      {"one after the other, children inside",
       execution("start: 100, end: 150",
                 us("a", 20, nested(us("x", 5) + us("y", 5))) + us("b", 30)),
       {"1: 0+50 net", "1: 0+20~ a", "1: 0+5~ x", "1: 5+5~ y", "1: 20+30~ b", kSynthetic,
        "1 = net (Execute)"},
       {}},
      {"the first that fit",
       execution("start: 100, end: 110", us("a", 4) + us("b", 7) + us("c", 1)),
       {"1: 0+10 net", "1: 0+4~ a", kSynthetic, "1 = net (Execute)"},
       {{"events_that_do_not_fit", 2}}},
      {"timestamps that fit, in any order",
       execution("start: 100, end: 150",
                 us("late", 10, at(140)) +
                     us("early", 10, at(101) + ", " + nested(us("x", 10, at(101))))),
       {"1: 0+50 net", "1: 40+10 late", "1: 1+10 early", "1: 1+10 x", "run.log",
        "1 = net (Execute)"},
       {}},
      {"siblings that overlap",
       execution("start: 100, end: 150", us("a", 10, at(110)) + us("b", 10, at(119))),
       {"1: 0+50 net", "1: 0+10~ a", "1: 10+10~ b", kSynthetic, "1 = net (Execute)"},
       {}},
      {"outside of the parent",
       execution("start: 100, end: 150", us("a", 10, at(110)) + us("b", 10, at(141))),
       {"1: 0+50 net", "1: 0+10~ a", "1: 10+10~ b", kSynthetic, "1 = net (Execute)"},
       {}},
      {"a timestamp is missing",
       execution("start: 100, end: 150", us("a", 10, at(110)) + us("b", 1)),
       {"1: 0+50 net", "1: 0+10~ a", "1: 10+1~ b", kSynthetic, "1 = net (Execute)"},
       {}},
      {"as long as its children",
       execution("start: 100, end: 150",
                 "{identifier: \"group\", " + nested(us("a", 3) + us("a", 4) + us("b", 5)) + "}," +
                     "{identifier: \"timed\", " +
                     nested(us("a", 3, at(110)) + us("b", 4, at(120))) + "}"),
       {"1: 0+50 net", "1: 0+13~ group", "1: 0+3~ a", "1: 4+4~ a", "1: 8+5~ b", "1: 13+14~ timed",
        "1: 13+3~ a", "1: 16+4~ b", kSynthetic, "1 = net (Execute)"},
       {}},
      {"namesakes stay apart where there is room",
       execution("start: 100, end: 109", us("a", 3) + us("a", 3)) +
           execution("start: 200, end: 206", us("a", 3) + us("a", 3)),
       {"1: 0+9 net", "1: 0+3~ a", "1: 4+3~ a", "1: 100+6 net", "1: 100+3~ a", "1: 103+3~ a",
        kSynthetic, "1 = net (Execute)"},
       {}},
      {"neither negative nor timeless, rounded down",
       execution("start: 100, end: 150",
                 us("negative", -1, nested(us("in it", 1))) +
                     "{identifier: \"float\", unit: 1, value_kind: FLOAT64, double_value: 7.9},"
                     "{identifier: \"text\", unit: 1, value_kind: STRING, string_value: \"7\"},"
                     "{identifier: \"cycles\", unit: 3, value_kind: UINT64, uint_value: 7}"),
       {"1: 0+50 net", "1: 0+7~ float", kSynthetic, "1 = net (Execute)"},
       {{"negative_events", 1}, {"events_that_do_not_fit", 1}, {"events_without_time", 2}}},
      {"counters",
       execution("start: 100, end: 150",
                 us("a", 20,
                    nested("{identifier: \"peak\", unit: 2, value_kind: UINT64, "
                           "uint_value: 18446744073709551615},"
                           "{identifier: \"hits\", unit: 4, value_kind: INT64, int_value: -3, "
                           "timestamp: 130}"))) +
           "{timestamp: {}, timing: {start: 5}, events: [{unit: 4, value_kind: FLOAT32, "
           "float_value: "
           "0.5}]},",
       {"1: 95+50 net", "1: 95+20~ a", "95 peak [net] bytes=18446744073709551615",
        "125 hits [net] count=-3", "0 null count=0.500000", kSynthetic, "1 = net (Execute)"},
       {{"without_time", 1}}},
      {"a microsecond between executions that follow at once, and lanes for those at a time",
       execution("start: 100, end: 110", "") + execution("start: 110, end: 120", "") +
           execution("start: 120, end: 120", "") + execution("start: 115, end: 118", "") +
           execution("start: 125, end: 126", ""),
       {"1: 0+10 net", "1: 11+10 net", "1: 22+0 net", "2: 15+3 net", "1: 25+1 net", "run.log",
        "1 = net (Execute)", "2 = net (Execute) 2"},
       {}},
      {"executions without a time of their own",
       execution("", us("a", 3) + us("b", 4)) + execution("", us("a", 5)) +
           execution("start: 100", us("a", 5)) + execution("end: 7", ""),
       {"1: 0+7~ net", "1: 0+3~ a", "1: 3+4~ b", "1: 8+5~ net", "1: 8+5~ a", "2: 0+5 net",
        "2: 0+5~ a", kSynthetic, "1 = net (Execute)", "2 = net (Execute) 2"},
       {{"without_time", 1}}},
      {"a thread a graph and method, phases on their own",
       "{timestamp: {}, timing: {start: 1, end: 3}, method_type: Init},"
       "{timestamp: {}, timing: {start: 3, end: 5}, method_type: Finalize, text: \"net\"}," +
           execution("start: 10, end: 12", "") +
           "{timestamp: {}, timing: {start: 13, end: 15}, method_type: GraphRun, text: \"net\"},"
           "{timestamp: {}, timing: {start: 13, end: 15}, method_type: Execute, text: \"\"},"
           "{timestamp: {}, timing: {start: 14, end: 15}, method_type: 77}",
       {"1: 0+2 Init", "1: 3+2 Finalize net", "2: 9+2 net", "3: 12+2 net", "4: 12+2 ", "1: 13+1 77",
        "run.log", "1 = phases", "2 = net (Execute)", "3 = net (GraphRun)", "4 =  (Execute)"},
       {}},
      {"too long to be drawn",
       execution("start: 1, end: 18446744073709551615", us("a", 1)) +
           execution("start: 5, end: 6", ""),
       {"1: 4+1 net", "run.log", "1 = net (Execute)"},
       {{"overlapping", 1}}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    const Trace made = trace({makeLog("run.log", test.messages)});
    EXPECT_EQ(test.lines, made.lines());
    EXPECT_EQ(test.leftOut, made.leftOut());
    EXPECT_EQ(test.leftOut.empty(), said_.empty());
  }
}

TEST_F(TraceTest, ALogIsAProcessWithItsOwnClock) {
  makeLog("one.log", execution("start: 18446744073709551000, end: 18446744073709551010", ""));
  makeLog("tw\"o.log", execution("start: 7, end: 9", ""));
  const Trace made = trace({"one.log", "tw\"o.log"});
  EXPECT_EQ((Lines{"1: 0+10 net", "one.log", "1 = net (Execute)", "1: 0+2 net", "tw\"o.log",
                   "1 = net (Execute)"}),
            made.lines());
  EXPECT_EQ(18446744073709551000U, made.log(0)["first_start_us"].GetUint64());
  EXPECT_EQ(2U, made.log(1)["pid"].GetUint64());
}

TEST_F(TraceTest, RealLogsCanBeDrawn) {
  std::vector<std::string> logs = {std::string(RYX_SAMPLES_DIR) + "/text-detection.log"};
  for (const auto& entry : std::filesystem::directory_iterator(RYX_GOLDEN_DIR)) {
    logs.push_back(folder_ / entry.path().filename());
    EXPECT_TRUE(profiling::makeLog(entry.path() / "log.json", logs.back()));
  }
  const Trace made = trace(logs);
  EXPECT_EQ(20U, made.countSlices("Device execute"));
}

TEST_F(TraceTest, LongRunsAreDrawnInPart) {
  std::string events;
  for (int i = 0; i < 999; ++i) events += us("e", 1);
  std::string messages;
  for (int i = 0; i < 300; ++i) {
    const int start = 2000 * i;
    messages += execution("start: " + std::to_string(start) +
                              ", end: " + std::to_string(start + 1000 + (i == 250 ? 500 : i % 7)),
                          events);
  }
  makeLog("run.log", messages);
  const Trace part = trace({"run.log"});
  EXPECT_EQ((std::map<std::string, uint64_t>{{"executions", 100}}), part.leftOut());
  EXPECT_EQ(200U, part.countSlices("net"));
  EXPECT_EQ(200U * 999, part.countSlices("e"));
  EXPECT_EQ((Lines{"run.log: the trace leaves out 100 executions (--all draws them)"}), said_);
  const Trace whole = trace({"run.log"}, true);
  EXPECT_TRUE(whole.leftOut().empty());
  EXPECT_EQ(300U * 999, whole.countSlices("e"));
}

TEST(TraceChoiceTest, KeepsTheLandmarksAndSpacesTheRest) {
  std::vector<TraceCandidate> candidates(1000, {100, 10});
  candidates[700] = {50, 10};  // the median is 100: of the equal ones the first
  for (size_t i = 0; i < 10; ++i) candidates[301 + 3 * i].duration = 1000 + i;
  const auto chosen = chooseForTrace(candidates, 1000);
  EXPECT_LE(chosen.size(), 100U);
  EXPECT_GE(chosen.size(), 90U);
  EXPECT_TRUE(std::is_sorted(chosen.begin(), chosen.end()));
  const auto has = [&](size_t position) {
    return std::binary_search(chosen.begin(), chosen.end(), position);
  };
  for (size_t i = 0; i < 5; ++i) EXPECT_TRUE(has(i)) << i;
  for (size_t i = 0; i < 10; ++i) EXPECT_TRUE(has(301 + 3 * i)) << i;
  size_t gap = 0;
  for (size_t i = 1; i < chosen.size(); ++i) gap = std::max(gap, chosen[i] - chosen[i - 1]);
  EXPECT_LE(gap, 13U);

  std::vector<size_t> all(candidates.size());
  std::iota(all.begin(), all.end(), size_t{0});
  EXPECT_EQ(all, chooseForTrace(candidates, 10000));
  EXPECT_EQ((std::vector<size_t>{0}), chooseForTrace(candidates, 5)) << "larger than what is shown";
  // Durations 5 4 3 2 1: the median is 3, at 2.
  EXPECT_EQ((std::vector<size_t>{0, 1, 2}),
            chooseForTrace({{5, 1}, {4, 1}, {3, 1}, {2, 8}, {1, 8}}, 3));
}

}  // namespace
}  // namespace ryx::profiling
