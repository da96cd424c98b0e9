// SPDX-License-Identifier: Apache-2.0
// Runs ryx-profile-log export as its users do.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/toolbox.h"

namespace ryx::tests {
namespace {

/// Two executions of one event each.
constexpr const char* kTwoMessages = R"({messages: [
  {timestamp: {time: 10}, timing: {start: 1, end: 4}, text: "net", method_type: Execute,
   events: [{identifier: "conv", unit: 1, value_kind: UINT64, uint_value: 3}]},
  {timestamp: {time: 20}, timing: {start: 5, end: 9}, text: "net", method_type: Execute,
   events: [{identifier: "relu", unit: 1, value_kind: UINT64, uint_value: 4}]}]})";

class ExportCommandTest : public ToolboxTest {
 protected:
  /// The names of all files in the folder, hidden ones too.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(ExportCommandTest, SelectedColumnsOfSelectedMessages) {
  makeLog(kTwoMessages, "run.log");
  const struct {
    const char* arguments;
    const char* output;
  } cases[] = {
      {"--format csv --columns identifier,value", "identifier,value\nconv,3\nrelu,4\n"},
      {"--format csv --columns event_id,value_text --last 1", "event_id,value_text\n1,\n"},
      {"--format ndjson --columns log,event_id --from 11 --to 20",
       "{\"log\":\"run.log\",\"event_id\":1}\n"},
      {"--format csv --table executions --columns execution,duration_us --messages 0:0",
       "execution,duration_us\n0,3\n"},
      {"--format csv --table messages --columns message_id --graph none", "message_id\n"},
      {"--format ndjson --table messages --graph none", ""},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(0, run(std::string("export run.log -o - ") + test.arguments)) << err_;
    EXPECT_EQ(test.output, out_);
    EXPECT_EQ("", err_);
  }
}

TEST_F(ExportCommandTest, TimesCountFromTheLogAlsoWhereItIsAPipe) {
  makeLog(kTwoMessages, "run.log");
  EXPECT_EQ(0, run("cut - -o part.log --from +10us <run.log")) << err_;
  const char* columns = "--format csv --table messages --columns message_id,timestamp_us";
  EXPECT_EQ(0, run(std::string("export part.log -o - ") + columns)) << err_;
  EXPECT_EQ("message_id,timestamp_us\n0,20\n", out_);
  runScript("cat run.log | \"$@\"",
            {RYX_TOOLBOX_PATH, "cut", "-", "-o", "part.log", "--to", "+9us", "--last", "1"},
            folder_.path());
  EXPECT_EQ(0, run(std::string("export part.log -o - ") + columns)) << err_;
  EXPECT_EQ("message_id,timestamp_us\n0,10\n", out_);
  EXPECT_EQ(1, run("export run.log -o out.csv --from 2024-03-04"));
  EXPECT_NE(std::string::npos, err_.find("run.log: its header does not tie its clock")) << err_;
  EXPECT_EQ(2, run("export run.log -o out.csv --from yesterday"));
  EXPECT_NE(std::string::npos, err_.find("--from: 'yesterday' is no time: ")) << err_;
}

TEST_F(ExportCommandTest, FoldedStacksAreSelfTimes) {
  const std::string us = "unit: 1, value_kind: INT64, int_value: ";
  const auto message = [](const std::string& events) {
    return "{timestamp: {}, timing: {}, method_type: Execute, text: \"net\", events: [" + events +
           "]},";
  };
  makeLog(
      "{messages: [" +
          message("{identifier: \"a\", " + us + "10, nested_events: [{identifier: \"b; c\", " + us +
                  "3}, {identifier: \"b; c\", " + us +
                  "4}, {unit: 3, int_value: 9, "
                  "value_kind: INT64, nested_events: [{identifier: \"line\\nend\", " +
                  us + "5}]}]}") +
          // Less than what is in it, in this message.
          message("{identifier: \"a\", " + us + "1, nested_events: [{identifier: \"b; c\", " + us +
                  "3}]}, {identifier: \"\", unit: 1, value_kind: FLOAT64, double_value: 2.75},"
                  "{identifier: \"back\\\\slash\", unit: 1, value_kind: UINT64, "
                  "uint_value: 18446744073709551615}, {identifier: \"none\", unit: 1}") +
          message("{identifier: \"back\\\\slash\", " + us + "1}, {identifier: \"negative\", " + us +
                  "-1}") +
          "]}",
      "run.log");
  EXPECT_EQ(0, run("export run.log run.log -o - --format folded")) << err_;
  EXPECT_EQ(
      "a 6\n"
      "a;b\\x3b c 20\n"
      "a;null;line\\x0aend 10\n"
      " 5\n"
      "back\\\\slash 36893488147419103232\n"
      "negative 0\n",
      out_);
}

TEST_F(ExportCommandTest, TracesCanBeCompressed) {
  makeLog(kTwoMessages, "run.log");
  EXPECT_EQ(0, run("export run.log -o run.trace.json.gz")) << err_;
  EXPECT_EQ(0, run("export run.log -o run.trace.json")) << err_;
  EXPECT_EQ(0, run("export run.log -o - --format trace")) << err_;
  EXPECT_EQ(read("run.trace.json"), out_);
  EXPECT_EQ(out_, runScript("\"$@\"", {"gzip", "-dc", "run.trace.json.gz"}, folder_.path()).out);
}

TEST_F(ExportCommandTest, RefusesWhatContradictsItself) {
  makeLog(kTwoMessages, "run.log");
  write("there.csv", "as it was");
  const std::string before = read("run.log");
  const struct {
    const char* arguments;
    const char* error;
  } cases[] = {
      {"-o out.xls",
       "formats are sqlite (.sqlite, .db), csv (.csv), ndjson (.ndjson, .jsonl), "
       "trace (.trace.json, .trace.json.gz), folded (.folded)"},
      {"-o out.csv --format ndjson", "--format ndjson contradicts the extension of 'out.csv'"},
      {"-o out --format xls", "unknown format 'xls'"},
      {"-o -", "standard output needs --format"},
      {"-o out.csv --table event", "known are logs, messages, executions, events"},
      {"-o out.csv --columns value,log_id", "events has no column 'log_id'; it has log, event_id"},
      {"-o out.csv --columns value,value", "'value' twice"},
      {"-o out.csv --first 1 --last 1", "contradict"},
      {"-o - --format sqlite", "sqlite needs a regular file"},
      {"-o /dev/null --format sqlite", "sqlite needs a regular file"},
      {"-o out.db --table logs", "--table is for csv and ndjson, not for sqlite"},
      {"-o out.db --columns value", "--columns is for csv and ndjson, not for sqlite"},
      {"-o out.csv --all", "--all is for trace, not for csv"},
      {"-o out.csv.gz --format csv", "only traces are written as gzip data"},
      {"-o out.csv --no-indexes", "--no-indexes is for sqlite, not for csv"},
      {"-o there.csv", "there.csv: exists; --force replaces it"},
      {"-o run.log --format csv --force", "is the same file as"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(2, run(std::string("export run.log ") + test.arguments)) << test.arguments;
    EXPECT_NE(std::string::npos, err_.find(test.error)) << err_;
  }
  EXPECT_EQ("as it was", read("there.csv"));
  EXPECT_EQ(before, read("run.log"));
  EXPECT_EQ((std::vector<std::string>{"case.json", "run.log", "there.csv"}), files());
  EXPECT_EQ(0, run("export run.log -o there.csv --force")) << err_;
  EXPECT_NE("as it was", read("there.csv"));
}

TEST_F(ExportCommandTest, FailedAndInterruptedExportsLeaveNothing) {
  makeLog(kTwoMessages, "run.log");
  run("export run.log -o /dev/full --format csv");
  EXPECT_EQ("ryx-profile-log: cannot write /dev/full: No space left on device\n", err_);
  EXPECT_EQ(1, run("export run.log -o - --format ndjson >/dev/full"));
  EXPECT_EQ("ryx-profile-log: cannot write standard output: No space left on device\n", err_);
  EXPECT_EQ(1, run("export run.log -o none/out.csv"));

  // The pipe never ends: what is killed has the log before it in its output.
  for (const char* output : {"out.csv", "out.ndjson", "out.db", "out.trace.json", "out.folded"}) {
    for (const char* signal : {"INT", "TERM", "HUP"}) {
      runScript(
          "mkfifo pipe; (cat run.log; exec sleep 60) >pipe 2>/dev/null & feeder=$!\n"
          "\"$@\" & tool=$!\n"
          "while kill -0 $tool && ! ls -A | grep -q tmp; do sleep 0.01; done\n"
          "kill -" +
              std::string(signal) + " $tool; wait $tool; kill $feeder; rm pipe",
          {"env", "--default-signal", RYX_TOOLBOX_PATH, "export", "run.log", "pipe", "-o", output},
          folder_.path());
      EXPECT_EQ((std::vector<std::string>{"case.json", "run.log"}), files()) << signal;
    }
  }
}

}  // namespace
}  // namespace ryx::tests
