// SPDX-License-Identifier: Apache-2.0
// Runs ryx-profile-log diff as its users and their CI do.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>
#include <vector>

#include "tests/toolbox.h"

namespace ryx::tests {
namespace {

class DiffCommandTest : public ToolboxTest {
 protected:
  static std::string sample(const std::string& name) {
    return std::string(RYX_SAMPLES_DIR) + "/" + name + ".log";
  }

  /// A log of 40 executions of "net" that take about `duration`, with one event of that name, and a
  /// finalisation that takes memory.
  void makeRun(const std::string& log, int duration, const std::string& event = "conv",
               int memory = 4096) {
    std::string messages =
        R"({timestamp: {}, timing: {start: 0, end: 50}, method_type: Finalize, text: "net", events: [
             {identifier: "weights", unit: 2, value_kind: UINT64, uint_value: )" +
        std::to_string(memory) + "}]}";
    for (int i = 0; i < 40; ++i) {
      const int took = duration + i * 7 % 11;
      messages += ",\n{timestamp: {}, timing: {start: " + std::to_string(1000 * i) +
                  ", end: " + std::to_string(1000 * i + took) +
                  "}, method_type: Execute, text: \"net\", events: [{identifier: \"" + event +
                  "\", unit: 1, value_kind: UINT64, uint_value: " + std::to_string(took - 5) +
                  "}]}";
    }
    makeLog("{messages: [" + messages + "]}", log);
  }

  bool prints(const std::string& text) const { return out_.find(text) != std::string::npos; }
};

TEST_F(DiffCommandTest, ExitStatusIsTheVerdict) {
  makeRun("a.log", 500);
  makeRun("b.log", 600);
  makeRun("fat.log", 500, "conv", 8192);
  makeRun("renamed.log", 500, "gemm");
  makeLog("{}", "nothing.log");
  write("damaged.log", read("a.log") + "abc");
  const struct {
    const char* arguments;
    int status;
    const char* verdict;
  } cases[] = {
      {"a.log a.log", 0, "not worse: none of 3 rows that gate"},
      {"a.log b.log", 1, "worse: 1 of 3 rows that gate"},
      {"b.log a.log", 0, "better: 1 of 3 rows that gate"},
      {"a.log fat.log", 1, "worse: 1 of 3 rows that gate"},
      {"a.log fat.log --ignore '^weights$'", 0, "not worse: none of 2 rows that gate"},
      {"a.log b.log --threshold 25", 0, "not worse: none of 3 rows that gate"},
      {"a.log b.log --threshold 0 --noise 0", 1, "worse: 1 of 3 rows that gate"},
      {"a.log b.log --min-us 150", 0, "not worse: none of 3 rows that gate"},
      {"a.log b.log --gate events", 1, "worse: 2 of 4 rows that gate"},
      {"a.log renamed.log", 0, "not worse: none of 3 rows that gate"},
      {"a.log renamed.log --gate all", 1, "worse: 0 of 5 rows that gate, but some are on one side"},
      {"a.log nothing.log", 3, "not comparable: no graph in common"},
      {"a.log b.log --ignore net", 3, "not comparable: no graph in common"},
      {"a.log b.log --metric p99", 3, "not comparable: no graph with enough executions"},
      {"a.log damaged.log", 2, "not worse: none of 3 rows that gate"},
      {"a.log b.log --warmup 36", 0, "not worse: none of 3 rows that gate; 1 inconclusive"},
      {"a.log b.log --warmup 36 --strict", 3, "not comparable: 1 row that gates inconclusive"},
      {"--base a.log b.log --new b.log a.log", 0, "not worse: none of 3 rows that gate"},
      {"a.log - < b.log", 1, "worse: 1 of 3 rows that gate"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(test.status, run(std::string("diff ") + test.arguments)) << test.arguments << err_;
    EXPECT_EQ(0U, out_.find(test.verdict)) << test.arguments << '\n' << out_.substr(0, 300);
  }
  EXPECT_EQ(0, run("diff a.log renamed.log"));
  EXPECT_TRUE(prints("gemm, renamed? from conv")) << out_;
  EXPECT_TRUE(prints("run-to-run variation unknown"));
  EXPECT_EQ(2, run("diff a.log damaged.log"));
  EXPECT_NE(std::string::npos, err_.find("; compared up to there; to rescue the rest: "));

  for (const char* arguments :
       {"", "a.log", "a.log b.log a.log", "a.log none.log", "a.log b.log --base a.log",
        "--base a.log", "a.log b.log --threshold -1", "a.log b.log --metric p42",
        "a.log b.log --ignore '('", "a.log b.log -o out.pdf", "a.log b.log -o a.log.txt/x.txt",
        "a.log b.log --thresholds none.txt", "--calibrate a.log", "a.log b.log -o b.log"})
    EXPECT_EQ(2, run(std::string("diff ") + arguments)) << arguments << out_;
}

TEST_F(DiffCommandTest, RecordedRunsTellASlowerBuildFromABusyMachine) {
  const std::string slower = " --new " + sample("backbone-one-core-1") + " " +
                             sample("backbone-one-core-2") + " " + sample("backbone-one-core-3");
  const auto sideOf = [](const char* option, const char* numbers) {
    std::string side = option;
    for (const char* number = numbers; *number != '\0'; ++number)
      side += " " + sample(std::string("backbone-") + *number);
    return side;
  };
  EXPECT_EQ(1, run("diff " + sideOf("--base", "124") + slower));
  EXPECT_TRUE(prints("compared by the variation between runs"));
  // The third run met a busy machine: 40 % above the others.
  EXPECT_EQ(0, run("diff " + sideOf("--base", "124") + sideOf(" --new", "123")));
  EXPECT_EQ(0, run("diff " + sideOf("--base", "123") + sideOf(" --new", "124")));
  EXPECT_EQ(1, run("diff " + sample("backbone-1") + " " + sample("backbone-3")));
  EXPECT_TRUE(prints("run-to-run variation unknown: three or more logs a side tell"));
}

TEST_F(DiffCommandTest, StatisticsStandForTheirLogs) {
  makeRun("a.log", 500);
  makeRun("b.log", 600);
  ASSERT_EQ(0, run("stats a.log --warmup auto -o a.json"));
  EXPECT_EQ(1, run("diff a.json b.log"));
  EXPECT_EQ(0, run("diff a.log a.json --gate events"));
  EXPECT_EQ(0, run("diff b.log a.json"));
  EXPECT_EQ(0U, out_.find("better"));
  // The same numbers, whichever of the two they come from.
  ASSERT_EQ(1, run("diff a.log b.log -f json"));
  const std::string ofLogs = out_.substr(out_.find("\"rows\""));
  rapidjson::Document logs;
  rapidjson::Document documents;
  logs.Parse(out_.c_str());
  ASSERT_EQ(1, run("diff - b.log -f json < a.json"));
  documents.Parse(out_.c_str());
  ASSERT_EQ(logs["rows"].Size(), documents["rows"].Size());
  for (rapidjson::SizeType i = 0; i < logs["rows"].Size(); ++i)
    for (const char* key : {"path", "unit", "base", "new", "change", "samples", "verdict"})
      EXPECT_EQ(logs["rows"][i][key], documents["rows"][i][key]) << key;

  EXPECT_EQ(2, run("diff a.json b.log --by type"));
  EXPECT_EQ("ryx-profile-log: a.json: only the events of logs can be grouped with --by\n", err_);

  for (const char* copy : {"a2.log", "a3.log"}) write(copy, read("a.log"));
  ASSERT_EQ(0, run("stats a.log a2.log a3.log -o three.json"));
  EXPECT_EQ(1, run("diff --base three.json --new b.log b.log b.log"));
  EXPECT_TRUE(prints("compared by the variation between runs"));

  const struct {
    const char* document;
    const char* error;
  } cases[] = {
      {R"({"schema": "ryx-profile-stats/2"})",
       "x.json: is of the schema 'ryx-profile-stats/2', not 'ryx-profile-stats/1'"},
      {R"({"schema": "ryx-profile-stats/1", "graphs": [{"graph": 7}]})",
       "x.json: 'log' is not as stats writes it"},
      {R"({"schema": "ryx-profile-stats/1", "graphs": [)", "x.json: at byte 45: Invalid value."},
  };
  for (const auto& test : cases) {
    write("x.json", test.document);
    EXPECT_EQ(2, run("diff x.json b.log"));
    EXPECT_EQ(std::string("ryx-profile-log: ") + test.error + "\n", err_);
  }
}

TEST_F(DiffCommandTest, OneRunWritesEveryFormat) {
  makeRun("a.log", 500);
  makeRun("b.log", 600);
  ASSERT_EQ(1, run("diff a.log b.log -o d.json -o d.md -o d.xml -o d.txt"));
  EXPECT_EQ(out_, read("d.txt"));
  rapidjson::Document document;
  ASSERT_FALSE(document.Parse(read("d.json").c_str()).HasParseError());
  EXPECT_STREQ("ryx-profile-diff/1", document["schema"].GetString());
  EXPECT_STREQ("worse", document["verdict"].GetString());
  EXPECT_STREQ("unknown", document["settings"]["run_to_run_variation"].GetString());
  const auto& row = document["rows"][0];
  std::string keys;
  for (const auto& member : row.GetObject()) keys += std::string(member.name.GetString()) + " ";
  EXPECT_EQ(
      "graph method phase path unit metric base new change change_percent ci_percent probability "
      "samples verdict gates ",
      keys);
  EXPECT_EQ(0U, row["path"].Size());
  EXPECT_EQ(505, row["base"].GetInt());
  EXPECT_EQ(605, row["new"].GetInt());
  EXPECT_NEAR(100.0 / 505 * 100, row["change_percent"].GetDouble(), 1e-9);
  EXPECT_GT(row["ci_percent"][0].GetDouble(), 15);
  EXPECT_EQ(1, row["probability"].GetDouble());
  EXPECT_EQ(40, row["samples"][0].GetInt());
  EXPECT_TRUE(row["phase"].IsNull());
  EXPECT_STREQ("Execute", row["method"].GetString());
  EXPECT_NE(std::string::npos, read("d.md").find("| + | 505 | 605 | +100 | +19.8 | "))
      << read("d.md");
  EXPECT_NE(std::string::npos,
            read("d.xml").find("<failure message=\"worse: p50: 505 us, now 605 us (+19.8 %)\">\n"
                               "conv: p50: 500 us, now 600 us (+20.0 %)</failure>"))
      << read("d.xml");
}

TEST_F(DiffCommandTest, NoNameBreaksAnOutput) {
  const std::string hostile = R"(|`]]>&\"<b>\u001b[31m\n@you\uffff)";
  makeRun("a.log", 500, hostile);
  makeRun("b.log", 600, hostile);
  EXPECT_EQ(1, run("diff a.log b.log -o d.json -o d.md -o d.xml"));
  EXPECT_TRUE(prints("|`]]>&\"<b>\\x1b[31m\\x0a@you")) << out_;
  rapidjson::Document document;
  EXPECT_FALSE(document.Parse(read("d.json").c_str()).HasParseError());
  EXPECT_NE(std::string::npos,
            read("d.xml").find("|`]]&gt;&amp;&quot;&lt;b&gt;\\x1b[31m\\x0a@you\\xef\\xbf\\xbf"))
      << read("d.xml");
  EXPECT_NE(std::string::npos,
            read("d.md").find("| <code>&#124;&#96;&#93;&#93;&#62;&#38;&#34;&#60;b&#62;"));

  // Comment fields of code hosts end at 65,536 characters.
  std::string events;
  for (int i = 0; i < 2000; ++i)
    events += "{identifier: \"" + std::string(300, '|') + std::to_string(i) +
              "\", unit: 1, value_kind: UINT64, uint_value: 70},";
  for (const char* log : {"many.log", "more.log"}) {
    makeLog(
        "{messages: [{timestamp: {}, timing: {start: 0, end: 9000}, method_type: Execute, "
        "text: \"net\", events: [" +
            events + "]}]}",
        log);
    for (size_t at = 0; (at = events.find(": 70}", at)) != std::string::npos; at += 5)
      events.replace(at, 5, ": 95}");
  }
  EXPECT_EQ(0, run("diff many.log more.log -f markdown"));
  EXPECT_LT(out_.size(), 60000U);
  EXPECT_TRUE(prints("more rows of events that differ left out, the largest of them 25 us"))
      << out_.substr(out_.size() - 500);
}

TEST_F(DiffCommandTest, ColourIsForTerminalsThatWantIt) {
  makeRun("a.log", 500);
  makeRun("b.log", 600);
  // script(1) gives the tool a terminal.
  const auto shown = [this](const std::string& environment) {
    static_cast<void>(run("help > /dev/null; " + environment +
                          " script -qec \"$1 diff a.log b.log\" "
                          "/dev/null"));
    return out_;
  };
  if (shown("TERM=xterm").find("worse") == std::string::npos) GTEST_SKIP() << "no script(1)";
  EXPECT_NE(std::string::npos, shown("TERM=xterm").find("\x1b[31m  +"));
  EXPECT_EQ(std::string::npos, shown("TERM=xterm NO_COLOR=1").find('\x1b'));
  EXPECT_EQ(std::string::npos, shown("TERM=dumb").find('\x1b'));
  EXPECT_EQ(1, run("diff a.log b.log"));
  EXPECT_FALSE(prints("\x1b"));
}

TEST_F(DiffCommandTest, CalibrationKeepsItsRunsQuiet) {
  makeRun("a.log", 500);
  makeRun("b.log", 600);
  ASSERT_EQ(0, run("diff --calibrate a.log b.log --gate events"));
  EXPECT_EQ(
      "# The spread of p50 between 2 logs of one build, and the thresholds in percent that\n"
      "# keep them quiet: for --thresholds.\n"
      "# Finalize of net: 50 to 50 us, spread 0.0 %\n"
      "# Finalize of net: weights: 4096 to 4096 bytes, spread 0.0 %\n"
      "# net (Execute): 505 to 605 us, spread 19.8 %\n"
      "20 net\n"
      "# net (Execute): conv: 500 to 600 us, spread 20.0 %\n"
      "21 conv\n",
      out_);
  write("thresholds.txt", out_);
  EXPECT_EQ(0, run("diff a.log b.log --gate events --thresholds thresholds.txt"));
  write("thresholds.txt", "20 net\r\n21 other name\n19.5\tconv\n");
  EXPECT_EQ(1, run("diff a.log b.log --gate events --thresholds thresholds.txt"));
  write("thresholds.txt", "# fine\nfive net\n");
  EXPECT_EQ(2, run("diff a.log b.log --thresholds thresholds.txt"));
  EXPECT_EQ(0U, err_.find("ryx-profile-log: thresholds.txt:2: is not a threshold in percent"));
}

}  // namespace
}  // namespace ryx::tests
