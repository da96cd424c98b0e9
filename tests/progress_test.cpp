// SPDX-License-Identifier: Apache-2.0
// What long work shows on a terminal. script(1) is the terminal.

#include "common/progress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
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
  using Clock = std::chrono::steady_clock;
  using Milliseconds = std::chrono::duration<double, std::milli>;

  void SetUp() override {
    write("run.log", readFile(kRecordedLog));
    // Waits until the terminal has got a text: a machine may be slow. Gives up after a minute.
    write("shown", "");
    write("await", "for i in $(seq 1200); do grep -qF \"$1\" shown && exit; sleep 0.05; done\n");
  }

  /// What a terminal gets while `command` runs, where $tool and $viewer are the programs. What is
  /// shown so far is in the file "shown".
  std::string onTerminal(const std::string& command, const std::string& term = "xterm") {
    write("command", command);
    const Clock::time_point begin = Clock::now();
    runScript(
        "tool=\"$1\" viewer=\"$2\" TERM=" + term + " script -qefc 'sh command' shown </dev/null",
        {RYX_TOOLBOX_PATH, RYX_VIEWER_PATH}, folder_.path());
    took_ = Clock::now() - begin;
    // Between the lines of script(1) itself.
    const std::string shown = read("shown");
    const size_t first = shown.find('\n') + 1;
    return shown.substr(first, shown.rfind("\nScript done") - first);
  }

  static constexpr char kErase[] = "\r\x1b[K";
  Milliseconds took_{0};
};

TEST_F(ProgressTest, ShowsOnATerminalWhileWorkIsLong) {
  const struct {
    const char* command;
    const char* line;
  } cases[] = {{"$tool verify - >out", "verifying 100 kB, "},
               {"$tool export - -o out.csv", "exporting 100 kB, "},
               {"$tool stats - -o out.json", "reading 100 kB, "},
               {"$viewer - >out", "reading 0:01 so far"}};
  for (const auto& test : cases) {
    // The rest of the input comes when the line has been shown.
    const std::string shown =
        onTerminal("(head -c 100000 run.log; sh await \"" + std::string(test.line) +
                   "\"; tail -c +100001 run.log) | " + test.command);
    EXPECT_EQ(0u, shown.find(kErase + std::string(test.line).substr(0, 8))) << shown;
    EXPECT_NE(std::string::npos, shown.find(test.line)) << shown;
    EXPECT_EQ(kErase, shown.substr(shown.size() - std::min(shown.size(), sizeof kErase - 1)));
    // One line in 100 ms, and the last erasure.
    EXPECT_LE(std::count(shown.begin(), shown.end(), '\x1b'), took_.count() / 100 + 1) << shown;
  }
  // Nothing of it for short work, other terminals, those who want none, and between output.
  const std::string quick = onTerminal("$tool verify run.log >out");
  EXPECT_TRUE(quick.empty() || took_.count() > 500) << quick;
  const std::string slowly = "(head -c 100000 run.log; sleep 1; tail -c +100001 run.log) | ";
  EXPECT_EQ("", onTerminal(slowly + "$tool verify - >out", "dumb"));
  EXPECT_EQ("", onTerminal(slowly + "$tool verify --quiet - >out"));
  EXPECT_EQ("", onTerminal(slowly + "$viewer -q - >out"));
  EXPECT_EQ(std::string::npos, onTerminal(slowly + "$tool dump -").find(kErase));
  EXPECT_EQ(
      "", runScript(slowly + "\"$@\" export - -o out.db", {RYX_TOOLBOX_PATH}, folder_.path()).err);
}

TEST_F(ProgressTest, IsErasedBeforeMessagesAndBySignals) {
  std::string shown = onTerminal(
      "(head -c 100000 run.log; sh await \"verifying 100 kB\"; echo no chunk) | $tool verify -");
  EXPECT_NE(std::string::npos, shown.find(std::string(kErase) + "standard input: damaged"))
      << shown;
  // The pipe never ends, and the shell says nothing of whom it has killed.
  shown = onTerminal(
      "mkfifo feed; exec 3<>feed 4>&2 2>/dev/null; cat run.log >feed & "
      "$tool export - -o out.db <feed 2>&4 & "
      "sh await \"exporting 356 kB\"; kill $!; wait $!; echo over");
  EXPECT_NE(std::string::npos, shown.find("exporting 356 kB")) << shown;
  const std::string end = kErase + std::string("over\r\n");
  EXPECT_EQ(end, shown.substr(shown.size() - std::min(shown.size(), end.size()))) << shown;
  EXPECT_FALSE(exists("out.db"));
}

TEST_F(ProgressTest, ColourIsByOptionThenEnvironmentThenTerminal) {
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
