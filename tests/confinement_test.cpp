// SPDX-License-Identifier: Apache-2.0
// What a hostile log can make the viewer write, and show on a terminal.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/process.h"

namespace ryx::tests {
namespace {

namespace fs = std::filesystem;

/// An object event whose payload "x" wants to go to `fileName`.
std::string payloadEvent(const std::string& fileName) {
  return R"({"unit":5,"value_kind":"BYTES","bytes_value":[120],"file_name":")" + fileName + "\"}";
}

class ConfinementTest : public testing::Test {
 protected:
  ConfinementTest() {
    for (const char* name : {"home", "home/saved", "elsewhere"})
      fs::create_directory(folder_ / name);
  }

  /// Writes home/NAME, a log of one Init message with these events.
  void makeLog(const std::string& name, const std::string& events) {
    writeFile(folder_ / "case.json",
              R"({"header":{},"messages":[{"timestamp":{},"timing":{},"method_type":)"
              R"("Init","events":[)" +
                  events + "]}]}");
    const auto made =
        runProcess({RYX_TOOLBOX_PATH, "make", "case.json", "home/" + name}, folder_.path());
    ASSERT_EQ(0, made.status) << made.err;
  }

  ProcessResult view(std::vector<std::string> arguments, std::vector<std::string> wrapper = {}) {
    wrapper.push_back(RYX_VIEWER_PATH);
    wrapper.insert(wrapper.end(), arguments.begin(), arguments.end());
    return runProcess(wrapper, folder_ / "home");
  }

  /// Every file below the test's folder but the logs, sorted.
  std::string files() {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path()))
      if (entry.is_regular_file() && !entry.is_symlink() && entry.path().extension() != ".log" &&
          entry.path().extension() != ".json")
        names.push_back(fs::relative(entry.path(), folder_.path()));
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string& name : names) text += name + ' ';
    return text;
  }

  TemporaryFolder folder_;
};

TEST_F(ConfinementTest, PayloadsStayInTheirFolder) {
  const std::string elsewhere = folder_ / "elsewhere";
  fs::create_symlink(elsewhere, folder_ / "home/saved/folder-link");
  fs::create_symlink(elsewhere + "/made", folder_ / "home/saved/file-link");
  writeFile(elsewhere + "/precious.txt", "old");
  fs::create_hard_link(elsewhere + "/precious.txt", folder_ / "home/saved/precious.txt");
  makeLog("a.log", payloadEvent("first.bin") + ',' + payloadEvent("../escaped.bin") + ',' +
                       payloadEvent(elsewhere + "/absolute.bin") + ',' +
                       payloadEvent("folder-link/through.bin") + ',' + payloadEvent("file-link") +
                       ',' + payloadEvent("precious.txt") + ',' + payloadEvent("last.bin"));
  const std::string confinedTo =
      "elsewhere/precious.txt home/saved/first.bin home/saved/last.bin "
      "home/saved/precious.txt home/saved/precious_1.txt ";

  const auto result = view({"--save-objects=saved", "a.log"});
  EXPECT_EQ(1, result.status);
  for (const std::string& refused :
       {std::string("../escaped.bin"), elsewhere + "/absolute.bin",
        std::string("folder-link/through.bin"), std::string("file-link")})
    EXPECT_NE(std::string::npos, result.err.find("Invalid output fileName: [" + refused + "]\n"))
        << result.err;
  EXPECT_EQ(confinedTo, files());
  EXPECT_EQ("old", readFile(elsewhere + "/precious.txt"));

  const auto unconfined = view({"--save-objects=saved", "--unconfined", "a.log"});
  EXPECT_EQ(0, unconfined.status) << unconfined.err;
  EXPECT_NE(std::string::npos, files().find("home/escaped.bin"));
}

TEST_F(ConfinementTest, NothingElseThanWritingFilesIsAllowed) {
  writeFile(folder_ / "home/report-more", "\xff");
  const std::string plugin = RYX_FAKE_PLUGIN_DIR "/libryx_fake_whole.so";
  EXPECT_EQ("refused: symlink mkdir mkfifo rename unlink\ntext:report-more\n",
            view({"--plugin", plugin, "--save-objects=saved", "report-more"}).out);
}

TEST_F(ConfinementTest, ReportsAndLogsAreStillReached) {
  makeLog("a.log", payloadEvent("p.bin"));
  makeLog("b.log", payloadEvent("p.bin"));
  const std::string elsewhere = folder_ / "elsewhere/new.csv";
  const struct {
    std::string script;
    std::string output;
    const char* log;  ///< that the last report in it is of
  } cases[] = {
      {"viewer a.log b.log -o new.csv", "new.csv", "b.log"},
      {"viewer a.log b.log -o new.json", "new.json", "b.log"},
      {"viewer a.log b.log -o new.txt", "new.txt", "b.log"},
      {"viewer a.log b.log -o " + elsewhere, elsewhere, "b.log"},
      {"viewer a.log b.log >caught", "caught", "b.log"},
      {"viewer -f csv a.log b.log >caught", "caught", "b.log"},
      {"viewer a.log b.log | cat >caught", "caught", "b.log"},
      {"viewer -f json -o /dev/stdout b.log | cat >caught", "caught", "b.log"},
      {"cat b.log | viewer a.log - >caught", "caught", "/dev/stdin"},
      {"viewer a.log - <b.log >caught", "caught", "/dev/stdin"},
      {"mkfifo pipe; cat b.log >pipe & viewer pipe >caught", "caught", "pipe"},
      // More logs than rules could be stacked.
      {"set a.log a.log a.log a.log; viewer $* $* $* $* $* b.log >caught", "caught", "b.log"},
  };
  for (const auto& [script, output, log] : cases) {
    const auto result = runScript(
        "viewer() { " RYX_VIEWER_PATH " --save-objects=made/on/the/way \"$@\"; }; " + script, {},
        folder_ / "home");
    EXPECT_EQ(0, result.status) << script << result.err;
    EXPECT_NE(std::string::npos, readFile(fs::path(folder_ / "home") / output).find(log)) << script;
    EXPECT_TRUE(fs::exists(folder_ / "home/made/on/the/way/p.bin")) << script;
    fs::remove_all(folder_ / "home/made");
  }
  EXPECT_EQ("elsewhere/new.csv home/caught home/new.csv home/new.txt ", files());
}

// What the process needs to know of its system is read before it is confined.
TEST_F(ConfinementTest, ReportsAreThoseOfAFreeProcess) {
  const std::string sample = RYX_SAMPLES_DIR "/text-detection.log";
  // A zone of its own, three hours east of UTC.
  writeFile(folder_ / "zone", "TZif" + std::string(35, '\0') + "\1" +
                                  std::string("\0\0\0\4\0\0\x2a\x30\0\0EAT\0", 14));
  const std::vector<std::string> zoned = {"env", "TZ=:" + (folder_ / "zone")};
  const std::string free = view({sample}, zoned).out;
  EXPECT_EQ(free, view({"--save-objects=saved", sample}, zoned).out);
  EXPECT_NE(free, view({sample}, {"env", "TZ=UTC"}).out);
}

TEST_F(ConfinementTest, FoldersThatCannotBeUsed) {
  makeLog("a.log", payloadEvent("p.bin"));
  writeFile(folder_ / "home/file", "");
  EXPECT_EQ(2, view({"--save-objects=", "a.log"}).status);
  EXPECT_EQ(2, view({"--unconfined", "a.log"}).status);
  const auto result = view({"-o", "old.csv", "--save-objects=file/below", "a.log"});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("ryx-profile-viewer: a.log: file/below: Not a directory\n", result.err);
  EXPECT_FALSE(fs::exists(folder_ / "home/old.csv"));
}

TEST_F(ConfinementTest, NeedsAKernelThatCan) {
  makeLog("a.log", payloadEvent("p.bin"));
  const auto refused = view({"--save-objects", "a.log"}, {RYX_NO_LANDLOCK_PATH});
  EXPECT_EQ(1, refused.status);
  EXPECT_EQ("", refused.out);
  EXPECT_NE(std::string::npos, refused.err.find("--unconfined")) << refused.err;
  EXPECT_EQ("", files());
  const auto forced = view({"--save-objects", "--unconfined", "a.log"}, {RYX_NO_LANDLOCK_PATH});
  EXPECT_EQ(0, forced.status) << forced.err;
  EXPECT_EQ("home/p.bin ", files());
}

TEST_F(ConfinementTest, TerminalsShowControlCharactersOnly) {
  makeLog("a.log", R"({"identifier":"\u001b]0;title\u0007 \u009b2J é \xff\t.","unit":1})");
  const std::string raw =
      "\x1b]0;title\x07 \xc2\x9b"
      "2J \xc3\xa9 \xff\t.";
  const std::string shown = "\\x1b]0;title\\x07 \\xc2\\x9b2J \xc3\xa9 \\xff\t.";
  EXPECT_NE(std::string::npos, view({"a.log"}).out.find("Backend (" + raw + ")"));
  const auto onTerminal = [&](const std::string& arguments) {
    return runProcess({"script", "-qec", RYX_VIEWER_PATH " " + arguments, "/dev/null"},
                      folder_ / "home")
        .out;
  };
  for (const char* arguments :
       {"a.log", "-f csv -o - a.log 2>/dev/null", "-f csv -o - a.log >/dev/null"}) {
    const std::string out = onTerminal(arguments);
    EXPECT_NE(std::string::npos, out.find(shown)) << arguments << out;
    EXPECT_EQ(std::string::npos, out.find('\x1b')) << arguments;
  }
  EXPECT_NE(std::string::npos,
            onTerminal("\"$(printf 'a\\033b')\"").find("cannot read a\\x1bb: No"));
}

TEST_F(ConfinementTest, DamageIsLocatedAndARescueNamed) {
  makeLog("it's.log", payloadEvent("p.bin"));
  const std::string good = readFile(folder_ / "home/it's.log");
  writeFile(folder_ / "home/it's.log",
            good + std::string("\x10\0\0\0", 4) + std::string(16, '\xff'));
  const auto result = view({"it's.log"});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("", result.out);
  const std::string line =
      "ryx-profile-viewer: it's.log: could not be read to its end: chunk 2 at byte " +
      std::to_string(good.size()) + ": its 16 bytes do not verify; to rescue the rest: ";
  const size_t at = result.err.find(line);
  ASSERT_NE(std::string::npos, at) << result.err;

  // The command works as it stands.
  const std::string command = result.err.substr(at + line.size());
  const auto rescue =
      runScript("PATH=" + fs::path(RYX_TOOLBOX_PATH).parent_path().string() + ":$PATH; " + command,
                {}, folder_ / "home");
  EXPECT_EQ(good, readFile(folder_ / "home/it's.salvaged.log")) << command << rescue.err;
}

}  // namespace
}  // namespace ryx::tests
