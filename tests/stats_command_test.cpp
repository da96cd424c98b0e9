// SPDX-License-Identifier: Apache-2.0
// Runs ryx-profile-log stats as its users do. What each number is, tests/golden/ shows as well.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>
#include <vector>

#include "tests/toolbox.h"

namespace ryx::tests {
namespace {

constexpr const char* kRecordedLog = RYX_SAMPLES_DIR "/text-detection.log";

/// A tree of operators, the time of their kinds once more, a queue wait, and what gives no sample.
constexpr const char* kTree = R"({messages: [
 {timestamp: {}, timing: {start: 5, end: 25}, method_type: Finalize, text: "net", events: [
   {identifier: "weights", unit: 2, value_kind: UINT64, uint_value: 4096},
   {identifier: "weights", unit: 2, value_kind: INT64, int_value: -96}]},
 {timestamp: {}, timing: {start: 100, end: 200}, method_type: Execute, text: "net", events: [
   {identifier: "device", event_type: 400, unit: 1, value_kind: UINT64, uint_value: 90, nested_events: [
     {identifier: "a:Conv", unit: 1, value_kind: UINT64, uint_value: 40},
     {identifier: "b:Conv", unit: 1, value_kind: UINT64, uint_value: 20},
     {identifier: "a:Conv", unit: 1, value_kind: UINT64, uint_value: 10},
     {unit: 1, value_kind: UINT64, uint_value: 5}]},
   {identifier: "Conv total", unit: 1, value_kind: UINT64, uint_value: 70},
   {identifier: "wait", event_type: 405, unit: 1, value_kind: UINT64, uint_value: 3},
   {identifier: "dump", unit: 5, value_kind: UINT64, uint_value: 1},
   {identifier: "text", unit: 1, value_kind: STRING, string_value: "7"}]},
 {timestamp: {}, timing: {start: 300, end: 500}, method_type: Execute, text: "net", level: 1, events: [
   {identifier: "device", unit: 1, value_kind: UINT64, uint_value: 150, nested_events: [
     {identifier: "a:Conv", unit: 1, value_kind: FLOAT64, double_value: 60.5},
     {identifier: "b:Conv", unit: 7, value_kind: UINT64, uint_value: 18446744073709551615},
     {identifier: "b:Conv", unit: 7, value_kind: UINT64, uint_value: 1}]},
   {identifier: "Conv total", unit: 1, value_kind: UINT64, uint_value: 60}]},
 {timestamp: {}, timing: {start: 600}, method_type: Execute, text: "net", events: [
   {identifier: "device", unit: 1, value_kind: UINT64, uint_value: 1000}]}]})";

class StatsCommandTest : public ToolboxTest {
 protected:
  /// The document that `stats -f json` prints; it need not succeed.
  const rapidjson::Document& stats(const std::string& arguments) {
    status_ = run("stats -f json " + arguments);
    EXPECT_FALSE(document_.Parse(out_.c_str()).HasParseError()) << out_ << err_;
    return document_;
  }

  /// The events of the first graph, as "device 3; device/a:Conv 2", with their executions.
  std::string eventsOf(const std::string& arguments) {
    std::string text;
    for (const auto& event : stats(arguments)["graphs"][0]["events"].GetArray()) {
      if (!text.empty()) text += "; ";
      for (const auto& name : event["path"].GetArray())
        text += (&name == event["path"].Begin() ? "" : "/") + std::string(name.GetString());
      text += ' ' + std::to_string(event["executions"].GetInt());
    }
    return text;
  }

  static const rapidjson::Value& eventOf(const rapidjson::Value& graph, const char* name,
                                         const char* unit = "us") {
    for (const auto& event : graph["events"].GetArray())
      if (std::string(event["path"][event["path"].Size() - 1].GetString()) == name &&
          std::string(event["unit"].GetString()) == unit)
        return event;
    ADD_FAILURE() << "no event " << name;
    return graph;
  }

  /// Executions of "net" that take so many microseconds one after the other.
  void makeSeries(const std::string& log, const std::vector<uint64_t>& durations) {
    std::string messages;
    uint64_t now = 0;
    for (const uint64_t duration : durations) {
      messages += "{timestamp: {}, method_type: Execute, text: \"net\", timing: {start: " +
                  std::to_string(now) + ", end: " + std::to_string(now + duration) + "}},\n";
      now += duration + 10;
    }
    messages.resize(messages.size() - 2);
    makeLog("{messages: [" + messages + "]}", log);
  }

  rapidjson::Document document_;
  int status_ = 0;
};

TEST_F(StatsCommandTest, TreesAreTakenApart) {
  makeLog(kTree, "a.log");
  const auto& graph = stats("a.log")["graphs"][0];
  EXPECT_EQ(0, status_);
  EXPECT_EQ(3, graph["executions"].GetInt());
  EXPECT_EQ(2, graph["duration_us"]["count"].GetInt());  // one has no end
  EXPECT_TRUE(graph["rate_per_second"].IsNull());
  EXPECT_EQ(3, graph["queue_wait_us"]["p50"].GetInt());
  EXPECT_STREQ("device", graph["main_root"][0].GetString());
  EXPECT_EQ(60, graph["unattributed_us"]["sum"].GetInt());  // 300 - 240
  EXPECT_DOUBLE_EQ(0.2, graph["unattributed_us"]["share"].GetDouble());

  const auto& device = eventOf(graph, "device");
  EXPECT_EQ(1240, device["total"]["sum"].GetInt());
  EXPECT_EQ(15, device["self"]["first"].GetInt());
  EXPECT_EQ(89.5, device["self"]["p50"].GetDouble());
  EXPECT_DOUBLE_EQ(240.0 / 300, device["share"].GetDouble());  // without the untimed execution
  EXPECT_DOUBLE_EQ(104.5 / 300, device["self_share"].GetDouble());
  EXPECT_EQ(400, device["event_type"].GetInt());
  EXPECT_EQ(3, eventOf(graph, "a:Conv")["calls"].GetInt());
  EXPECT_EQ(2, eventOf(graph, "a:Conv")["executions"].GetInt());
  const auto& unknown = eventOf(graph, "b:Conv", "7");
  EXPECT_TRUE(unknown["total"]["sum"].IsDouble());
  EXPECT_EQ(0x1p64, unknown["total"]["sum"].GetDouble());
  EXPECT_TRUE(unknown["share"].IsNull());
  EXPECT_EQ(4000, document_["phases"][0]["events"][0]["value"].GetInt());
  ASSERT_EQ(1U, document_["warnings"].Size());
  EXPECT_STREQ("a.log: net (Execute): 1 sum beyond 64 bits, given as the nearest double",
               document_["warnings"][0].GetString());

  makeLog(R"({messages: [{timestamp: {}, timing: {}, method_type: Execute, text: "net", events: [
    {identifier: "wait", event_type: 405, unit: 1, value_kind: INT64, int_value: -1}]}]})",
          "b.log");
  EXPECT_TRUE(stats("b.log")["graphs"][0]["queue_wait_us"].IsNull());
}

TEST_F(StatsCommandTest, OptionsSayWhichEventsAndHow) {
  makeLog(kTree, "a.log");
  const struct {
    const char* options;
    const char* events;
  } cases[] = {
      {"",
       "device 3; device/a:Conv 2; device/b:Conv 1; device/null 1; Conv total 2; wait 1; "
       "device/b:Conv 1"},
      {"--sort total",
       "device 3; Conv total 2; device/a:Conv 2; device/b:Conv 1; device/null 1; wait 1; "
       "device/b:Conv 1"},
      {"--sort cv --top 2", "device 3; device/a:Conv 2"},
      {"--top 3", "device 3; device/a:Conv 2; Conv total 2"},
      {"--event 'Conv$'", "device/a:Conv 2; device/b:Conv 1; device/b:Conv 1"},
      {"--depth 0", "device 3; Conv total 2; wait 1"},
      // Groups leave out what is beside the main root.
      {"--by type", "(other) 3; Conv 2; Conv 1"},
      {"--by '^[ab]:'", "(other) 3; a: 2; b: 1; b: 1"},
      {"--by identifier --top 1 --sort self", "device 3"},
      {"--level 1",
       "device 2; device/a:Conv 1; device/b:Conv 1; device/null 1; Conv total 1; "
       "wait 1"},
      {"--warmup 1",
       "device 2; device/a:Conv 1; device/b:Conv 0; device/null 0; Conv total 1; "
       "wait 0; device/b:Conv 1"},
  };
  for (const auto& test : cases)
    EXPECT_EQ(test.events, eventsOf(std::string(test.options) + " a.log")) << test.options;

  // A group's sample is the sum of its events' selves.
  const auto& group = stats("--by type a.log")["graphs"][0]["events"][1];
  EXPECT_EQ(70, group["total"]["first"].GetInt());
  EXPECT_EQ(130.5, group["self"]["sum"].GetDouble());
  EXPECT_EQ(4, group["calls"].GetInt());

  for (const char* options : {"--by '('", "--event '['", "--warmup soon", "--sort p98", "-f xml",
                              "--first 1 --last 1", "-o a.log"})
    EXPECT_EQ(2, run(std::string("stats a.log ") + options)) << options << err_;
}

TEST_F(StatsCommandTest, WarmUpIsFoundAndLeftOutLogByLog) {
  std::vector<uint64_t> durations(60, 100);
  for (size_t i = 0; i < durations.size(); ++i) durations[i] += i % 3;
  makeSeries("steady.log", durations);
  std::fill(durations.begin(), durations.begin() + 4, 300);
  durations[40] = 150;
  makeSeries("warm.log", durations);

  const auto& none = stats("warm.log")["graphs"][0];
  EXPECT_EQ(4, none["warmup"]["detected"].GetInt());
  EXPECT_EQ(0, none["warmup"]["excluded"].GetInt());
  EXPECT_EQ(60, none["duration_us"]["count"].GetInt());
  EXPECT_FALSE(none.HasMember("duration_all_us"));
  EXPECT_EQ(5U, none["outliers"].Size());

  const auto& merged = stats("--warmup auto --merge steady.log warm.log")["graphs"];
  ASSERT_EQ(1U, merged.Size());
  EXPECT_TRUE(merged[0]["log"].IsNull());
  EXPECT_EQ(120, merged[0]["executions"].GetInt());
  EXPECT_EQ(4, merged[0]["warmup"]["excluded"].GetInt());
  EXPECT_EQ(116, merged[0]["duration_us"]["count"].GetInt());
  EXPECT_EQ(120, merged[0]["duration_all_us"]["count"].GetInt());
  ASSERT_EQ(1U, merged[0]["outliers"].Size());
  EXPECT_EQ(40, merged[0]["outliers"][0]["execution"].GetInt());
  EXPECT_STREQ("warm.log", merged[0]["outliers"][0]["log"].GetString());
  EXPECT_EQ(2U, stats("--warmup 100 steady.log warm.log")["graphs"].Size());
  EXPECT_EQ(60, document_["graphs"][1]["warmup"]["excluded"].GetInt());
  EXPECT_TRUE(document_["graphs"][1]["duration_us"]["sum"].IsNull());

  EXPECT_EQ(0, run("stats warm.log"));
  EXPECT_NE(std::string::npos, out_.find("--warmup auto would leave out the first 4 executions"));
}

TEST_F(StatsCommandTest, WhatIsLeftOutIsSaid) {
  makeLog(R"({messages: [{timestamp: {}, timing: {start: 0, end: 9}, method_type: Execute,
    text: "net", events: [
      {identifier: "a", unit: 1, value_kind: FLOAT64, double_value: "nan"},
      {identifier: "b", unit: 1, value_kind: FLOAT32, float_value: "-inf"},
      {identifier: "c", unit: 1, value_kind: FLOAT64, double_value: 1e308},
      {identifier: "c", unit: 1, value_kind: FLOAT64, double_value: 1e308},
      {identifier: "d", unit: 1, value_kind: FLOAT64, double_value: 1.5e308}]},
   {timestamp: {}, timing: {start: 0, end: 9}, method_type: Execute, text: "net", events: [
      {identifier: "d", unit: 1, value_kind: FLOAT64, double_value: 1.5e308}]}]})",
          "a.log");
  EXPECT_EQ("c 0; d 2", eventsOf("a.log"));
  EXPECT_TRUE(document_["graphs"][0]["events"][1]["total"]["mean"].IsNull());
  std::string warnings;
  for (const auto& warning : document_["warnings"].GetArray())
    warnings += std::string("ryx-profile-log: ") + warning.GetString() + "\n";
  EXPECT_EQ(warnings, err_);
  EXPECT_EQ(warnings,
            "ryx-profile-log: a.log: 2 values left out: NaN or infinite\n"
            "ryx-profile-log: a.log: 1 sum of an event's values left out: too large for a double\n"
            "ryx-profile-log: a.log: net (Execute): 1 event with numbers too large for a double, "
            "which are null\n");

  std::vector<uint64_t> durations(400, 100);
  for (size_t i = 0; i < durations.size(); i += 3) durations[i] = 101;
  std::fill(durations.begin(), durations.begin() + 99, 900);
  std::fill(durations.end() - 9, durations.end(), 10);
  makeSeries("b.log", durations);
  const auto& many = stats("b.log");
  EXPECT_EQ(100U, many["graphs"][0]["outliers"].Size());
  EXPECT_TRUE(many["graphs"][0]["outliers"][99]["path"].IsNull());
  EXPECT_STREQ("b.log: net (Execute): 8 further outliers not listed",
               many["warnings"][0].GetString());
}

TEST_F(StatsCommandTest, DamagedLogsGiveWhatComesBeforeTheDamage) {
  const std::string whole = readFile(kRecordedLog);
  write("a'b.log", whole.substr(0, whole.size() - 1000));
  const auto& document = stats("\"a'b.log\" none.log " + std::string(kRecordedLog));
  EXPECT_EQ(1, status_);
  ASSERT_EQ(2U, document["graphs"].Size());
  EXPECT_LT(document["graphs"][0]["executions"].GetInt(), 20);
  EXPECT_EQ(20, document["graphs"][1]["executions"].GetInt());
  ASSERT_EQ(2U, document["logs"].Size());
  const std::string damage = document["logs"][0]["damage"].GetString();
  EXPECT_EQ(0U, damage.find("chunk 4 at byte 295092: the file ends after")) << damage;
  EXPECT_EQ(
      "ryx-profile-log: cannot read none.log: No such file or directory\n"
      "ryx-profile-log: a'b.log: " +
          damage +
          "; the numbers are of what comes before it; to rescue the rest: ryx-profile-log "
          "salvage 'a'\\''b.log' -o 'a'\\''b.salvaged.log'\n",
      err_);

  EXPECT_EQ(1, run("stats none.log -o none.json"));
  EXPECT_FALSE(exists("none.json"));
  makeLog("", "empty.log");
  EXPECT_EQ(0U, stats("empty.log")["graphs"].Size());
  EXPECT_EQ(0, status_);
  EXPECT_EQ("ryx-profile-log: empty.log: no message is selected\n", err_);
}

TEST_F(StatsCommandTest, NoNameBreaksATable) {
  makeLog(R"({messages: [{timestamp: {}, timing: {start: 0, end: 9}, method_type: Execute,
    text: "\u001b[31m|`x`", events: [
      {identifier: "a\nb\t\u202e", unit: 1, value_kind: UINT64, uint_value: 4},
      {identifier: "| @you #1 <b>`\\|", unit: 1, value_kind: UINT64, uint_value: 3},
      {identifier: "\u65e5\u672c", unit: 1, value_kind: UINT64, uint_value: 2}]}]})",
          "a.log");
  ASSERT_EQ(0, run("stats a.log"));
  EXPECT_NE(std::string::npos, out_.find(R"(\x1b[31m|`x` (Execute))")) << out_;
  EXPECT_NE(std::string::npos, out_.find("1  a\\x0ab\\x09\\xe2\\x80\\xae\n")) << out_;
  ASSERT_EQ(0, run("stats a.log -f markdown"));
  EXPECT_NE(std::string::npos, out_.find(R"(| `a\x0ab\x09\xe2\x80\xae` |)")) << out_;
  EXPECT_NE(std::string::npos,
            out_.find("| <code>&#124; &#64;you &#35;1 &#60;b&#62;&#96;&#92;&#124;</code> |"))
      << out_;
}

}  // namespace
}  // namespace ryx::tests
