// What long work shows on a terminal. script(1) is the terminal.

#include "common/progress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "common/terminal.h"
#include "tests/toolbox.h"

namespace ryx::tests {
namespace {

constexpr const char* kRecordedLog = RYX_SAMPLES_DIR "/text-detection.log";

TEST(ProgressLineTest, SaysWhatFitsAndNothingThatIsNotKnown) {
  const tools::WorkDone half = {"reading", 1'350'000'000, 2'700'000'000, 5};
  const struct {
    tools::WorkDone work;
    size_t columns;
    const char* line;
  } cases[] = {
      {half, 80, "reading  50 % [##########..........] 1.4 of 2.7 GB, 270 MB/s, 0:05 left"},
      {half, 60, "reading  50 % 1.4 of 2.7 GB, 270 MB/s, 0:05 left"},
      {half, 40, "reading  50 % 1.4 of 2.7 GB, 270 MB/s"},
      {half, 14, "reading  50 %"},
      {half, 13, ""},
      {{"reading", 0, 5'000, 1},
       80,
       "reading   0 % [....................] 0.0 of 5.0 kB, 0 bytes/s"},
      // Not yet all.
      {{"reading", 999'999, 1'000'000, 90},
       80,
       "reading  99 % [###################.] 1.0 of 1.0 MB, 11.1 kB/s, 0:00 left"},
      {{"exporting", 1'000'000, 1'000'000, 61},
       80,
       "exporting all 1.0 MB read, finishing, 1:01 so far"},
      {{"reading", 500, 0, 1}, 80, "reading 500 bytes, 500 bytes/s, 0:01 so far"},
      {{"reading", 0, 0, 3}, 80, "reading 0:03 so far"},
  };
  for (const auto& test : cases) EXPECT_EQ(test.line, progressLine(test.work, test.columns));
}

class ProgressTest : public ToolboxTest {
 protected:
  /// What a terminal gets while `command` runs, where $tool and $viewer are the programs.
  std::string onTerminal(const std::string& command, const std::string& term = "xterm") {
    return runScript("export tool=\"$1\" viewer=\"$2\" TERM=" + term + "; exec script -qec '" +
                         command + "' /dev/null </dev/null",
                     {RYX_TOOLBOX_PATH, RYX_VIEWER_PATH}, folder_.path())
        .out;
  }
  static constexpr char kErase[] = "\r\x1b[K";
};

TEST_F(ProgressTest, ShowsOnATerminalWhileWorkIsLong) {
  write("run.log", readFile(kRecordedLog));
  // The input comes late: however fast the machine, the work is long.
  const std::string slowly = "(head -c 100000 run.log; sleep 1; tail -c +100001 run.log) | ";
  const struct {
    const char* command;
    const char* line;
  } cases[] = {{"$tool verify - >out", "verifying 100 kB, "},
               {"$tool export - -o out.csv", "exporting 100 kB, "},
               {"$tool stats - -o out.json", "reading 100 kB, "},
               {"$viewer - >out", "reading 0:01 so far"}};
  for (const auto& test : cases) {
    const std::string shown = onTerminal(slowly + test.command);
    EXPECT_EQ(0u, shown.find(kErase + std::string(test.line).substr(0, 8))) << shown;
    EXPECT_NE(std::string::npos, shown.find(test.line)) << shown;
    EXPECT_EQ(kErase, shown.substr(shown.size() - std::min(shown.size(), sizeof kErase - 1)));
    EXPECT_LE(std::count(shown.begin(), shown.end(), '\x1b'), 12) << shown;
  }
  // Nothing of it for short work, other terminals, those who want none, and between output.
  EXPECT_EQ("", onTerminal("$tool verify run.log >out"));
  EXPECT_EQ("", onTerminal(slowly + "$tool verify - >out", "dumb"));
  EXPECT_EQ("", onTerminal(slowly + "$tool verify --quiet - >out"));
  EXPECT_EQ("", onTerminal(slowly + "$viewer -q - >out"));
  EXPECT_EQ(std::string::npos, onTerminal(slowly + "$tool dump -").find(kErase));
  EXPECT_EQ(
      "", runScript(slowly + "\"$@\" export - -o out.db", {RYX_TOOLBOX_PATH}, folder_.path()).err);
}

TEST_F(ProgressTest, IsErasedBeforeMessagesAndBySignals) {
  write("run.log", readFile(kRecordedLog));
  const std::string half = "(head -c 100000 run.log; sleep 1; echo no chunk) | ";
  std::string shown = onTerminal(half + "$tool verify -");
  EXPECT_NE(std::string::npos, shown.find(std::string(kErase) + "standard input: damaged"))
      << shown;
  shown = onTerminal(
      "(cat run.log; sleep 3) | $tool export - -o out.db & sleep 0.9; kill $!; wait $!; ls -A");
  EXPECT_NE(std::string::npos, shown.find("exporting 356 kB")) << shown;
  const std::string end = kErase + std::string("run.log\r\n");
  EXPECT_EQ(end, shown.substr(shown.size() - std::min(shown.size(), end.size()))) << shown;
}

TEST_F(ProgressTest, ColourIsByOptionThenEnvironmentThenTerminal) {
  write("run.log", readFile(kRecordedLog));
  // Half of the executions are gone, which is a change to be shown.
  ASSERT_EQ(0, run("cut run.log -o new.log --messages 0:16")) << err_;
  const std::string diff = "$tool diff run.log new.log --gate all ";
  const struct {
    std::string command;
    bool isColored;
  } cases[] = {
      {diff, true},
      {"NO_COLOR=1 " + diff, false},
      {"NO_COLOR=1 CLICOLOR_FORCE=1 " + diff, false},
      {"NO_COLOR=1 " + diff + "--color always", true},
      {diff + "--color never", false},
      {"TERM=dumb " + diff, false},
      {diff + "| cat", false},
      {"CLICOLOR_FORCE=1 " + diff + "| cat", true},
      {"CLICOLOR_FORCE=0 " + diff + "| cat", false},
      {"CLICOLOR_FORCE=1 " + diff + "--color auto | cat", true},
      {diff + "--color always | cat", true},
  };
  for (const auto& test : cases)
    EXPECT_EQ(test.isColored, onTerminal(test.command).find("\x1b[3") != std::string::npos)
        << test.command;
  EXPECT_EQ(2, run("stats run.log --color sometimes"));
}

}  // namespace
}  // namespace ryx::tests
