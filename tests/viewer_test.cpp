// Runs the viewer as its users do, and checks exit status and both streams.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/process.h"

namespace ryx::tests {
namespace {

using Strings = std::vector<std::string>;

const std::string kWhole = RYX_FAKE_PLUGIN_DIR "/libryx_fake_whole.so";
const std::string kSilent = RYX_FAKE_PLUGIN_DIR "/libryx_fake_silent.so";
const std::string kIncomplete = RYX_FAKE_PLUGIN_DIR "/libryx_fake_incomplete.so";
const std::string kRefused = "could not be read to its end\n";
const std::string kNotWritten = "the report or a payload could not be written in full\n";

Strings operator+(Strings left, const Strings& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

/// The line that the viewer itself says.
std::string says(const std::string& text) { return "ryx-profile-viewer: " + text; }

class ViewerTest : public testing::Test {
 protected:
  /// Runs the viewer on the plug-in whose logs say by their names what happens.
  ProcessResult fake(const Strings& arguments) const {
    return runProcess(Strings{RYX_VIEWER_PATH, "--plugin", kWhole} + arguments, folder_.path());
  }

  /// The same, through a shell script.
  ProcessResult fakeIn(const std::string& script, const Strings& arguments) const {
    return runScript(script, Strings{RYX_VIEWER_PATH, "--plugin", kWhole} + arguments,
                     folder_.path());
  }

  /// Runs the viewer on its own plug-ins.
  ProcessResult view(const Strings& arguments) const {
    const Strings viewer = {"env", "LD_LIBRARY_PATH=" RYX_PLUGIN_DIR, RYX_VIEWER_PATH};
    return runProcess(viewer + arguments, folder_.path());
  }

  /// Writes a log of one execution of `graph`, whose object event wants to go to `payloadFile`.
  void makeLog(const std::string& name, const std::string& graph,
               const std::string& payloadFile = "payload.bin") const {
    const std::string text = R"({"messages":[{"timestamp":{"time":5},"method_type":"Execute",)"
                             R"("timing":{"start":1,"end":9},"text":")" +
                             graph +
                             R"(","events":[{"identifier":"weights","unit":5,"value_kind":"BYTES",)"
                             R"("bytes_value":[104,105],"file_name":")" +
                             payloadFile + R"("}]}]})";
    writeFile(folder_ / "case.json", text);
    const ProcessResult made =
        runProcess({RYX_TOOLBOX_PATH, "make", "case.json", name}, folder_.path());
    ASSERT_EQ(made.status, 0) << made.err;
  }

  TemporaryFolder folder_;
};

TEST_F(ViewerTest, AnswersHelpAndVersion) {
  const ProcessResult help = view({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.err, "");
  std::istringstream lines(help.out);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  for (const char* option : {"-f, --format", "-o, --output", "-l, --level", "--save-objects",
                             "--plugin", "--log-level", "-V, --version", "-h, --help"})
    EXPECT_NE(help.out.find(option), std::string::npos) << option;

  const ProcessResult version = view({"-V"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("ryx-profile-viewer ", 0), 0U) << version.out;
  EXPECT_EQ(fakeIn("exec \"$@\" >/dev/full", {"--help"}).status, 1);
  EXPECT_EQ(fakeIn("exec \"$@\" >&-", {"--version"}).status, 1);
}

TEST_F(ViewerTest, RefusesWrongUsageBeforeReading) {
  writeFile(folder_ / "run.log", "precious");
  std::filesystem::create_hard_link(folder_ / "run.log", folder_ / "link.log");
  const Strings cases[] = {
      {},
      {"--bogus", "run.log"},
      {"-f", "xml", "run.log"},
      {"-f", "0", "run.log"},
      {"-f", "json", "run.log"},
      {"--level", "128", "run.log"},
      {"--level", "-129", "run.log"},
      {"--level", "1.5", "run.log"},
      {"--level", "", "run.log"},
      {"--log-level", "loud", "run.log"},
      {"-o", "", "run.log"},
      {"--output=", "run.log", "other.log"},  // must not write to run.log
      {"-o", "./run.log", "other.log", "run.log"},
      {"-o", "link.log", "run.log"},
      {"--plugin", "", "run.log"},
  };
  for (const Strings& arguments : cases) {
    const ProcessResult result = runProcess(Strings{RYX_VIEWER_PATH} + arguments, folder_.path());
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind(says(""), 0), 0U) << result.err;
    EXPECT_NE(result.err.find("--help"), std::string::npos) << result.err;
    EXPECT_EQ(readFile(folder_ / "run.log"), "precious");
  }
}

TEST_F(ViewerTest, PassesArgumentsToTheReader) {
  const std::string text = "\ntext:read-arguments\n";
  EXPECT_EQ(fake({"read-arguments"}).out, "level:127 save:0" + text);
  EXPECT_EQ(fake({"-l", "-128", "--save-objects", "read-arguments"}).out,
            "level:-128 save:1" + text);
  EXPECT_EQ(fake({"-f", "csv", "[a,b]", "--", "--help"}).out, "text:[a,b]\ntext:--help\n");
}

// One outcome a line: a log of that name between two good ones, which are always reported.
TEST_F(ViewerTest, ExitStatusAndStandardErrorTellEachLogsOutcome) {
  const std::string errorLine = "     1.2ms [ ERROR ] ";
  const struct {
    std::string log;
    int status;
    bool reported;
    std::string err;
  } cases[] = {
      {"good", 0, true, ""},
      {"make-null", 1, false, says("make-null: the plug-in has no reader for it\n")},
      {"make-exhausted", 1, false, says("make-exhausted: out of memory\n")},
      {"read-exhausted", 1, false, says("read-exhausted: out of memory\n")},
      {"read-thrown", 1, false, says("read-thrown: thrown while reading\n")},
      {"read-refused", 1, false, says("read-refused: " + kRefused)},
      {"read-error", 0, true, errorLine + "odd message\n"},
      {"report-error", 1, true,
       errorLine + "no room for it\n" + says("report-error: " + kNotWritten)},
      {"report-refused", 1, false, says("report-refused: no report could be written to out.csv\n")},
      {"report-exhausted", 1, false, says("report-exhausted: out of memory\n")},
  };
  for (const auto& [log, status, reported, err] : cases) {
    SCOPED_TRACE(log);
    const ProcessResult result = fake({"-o", "out.csv", "one", log, "two"});
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.err, err);
    EXPECT_EQ(result.out, "text:one\n" + (reported ? "text:" + log + "\n" : "") + "text:two\n");
    EXPECT_EQ(readFile(folder_ / "out.csv"),
              "file:one\n" + (reported ? "file:" + log + "\n" : "") + "file:two\n");
    std::filesystem::remove(folder_ / "out.csv");
  }
}

TEST_F(ViewerTest, LogLevelChoosesTheLinesNotTheExitStatus) {
  const ProcessResult off = fake({"--log-level", "off", "report-error"});
  EXPECT_EQ(off.status, 1);
  EXPECT_EQ(off.err, says("report-error: " + kNotWritten));
  EXPECT_EQ(fake({"--log-level", "verbose", "read-debug"}).err, "");
  EXPECT_EQ(fake({"--log-level", "debug", "read-debug"}).err,
            "     1.2ms [ DEBUG ] " + std::string(5000, 'd') + "\n");
}

TEST_F(ViewerTest, WritesTheReportToStandardOutput) {
  const ProcessResult csv = fake({"-f", "csv", "-o", "-", "one", "read-refused", "read-note"});
  EXPECT_EQ(csv.status, 1);
  EXPECT_EQ(csv.out, "file:one\nfile:read-note\n");
  EXPECT_EQ(csv.err,
            "text:one\n" + says("read-refused: " + kRefused) + "note:read-note\ntext:read-note\n");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "-"));

  EXPECT_EQ(fake({"-o", "-", "one"}).out, "text:one\n");
  EXPECT_EQ(fakeIn("\"$@\" | cat", {"-f", "json", "-o", "-", "one"}).out, "file:one\n");
}

TEST_F(ViewerTest, WritesTheTextReportToAFile) {
  writeFile(folder_ / "out.txt", "older and longer than what follows");
  EXPECT_EQ(fake({"-o", "out.txt", "read-refused"}).status, 1);
  EXPECT_EQ(readFile(folder_ / "out.txt"), "older and longer than what follows");

  const ProcessResult result = fake({"-o", "out.txt", "one", "read-note"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(readFile(folder_ / "out.txt"), "text:one\nnote:read-note\ntext:read-note\n");

  const ProcessResult unopened = fake({"-o", "missing/out.txt", "one"});
  EXPECT_EQ(unopened.status, 1);
  EXPECT_EQ(unopened.err, says("missing/out.txt: No such file or directory\n"));
}

TEST_F(ViewerTest, NoticesWritesThatFailLate) {
  const std::string full = ": No space left on device\n";
  const struct {
    std::string script;
    Strings arguments;
    std::string err;
  } cases[] = {
      {"exec \"$@\" >&-", {"one"}, "one: " + kNotWritten},
      {"exec \"$@\" >/dev/full", {"one"}, "one: " + kNotWritten},
      {"exec \"$@\" >&-", {"-o", "out.csv", "one"}, "one: " + kNotWritten},
      {"exec \"$@\"", {"-f", "text", "-o", "/dev/full", "one"}, "/dev/full" + full},
      {"exec \"$@\" >/dev/full", {"-f", "csv", "-o", "-", "one"}, "standard output" + full},
      {"exec \"$@\" >&-",
       {"-f", "csv", "-o", "-", "one"},
       "standard output: Bad file descriptor\n"},
      {"{ (sleep 0.2; exec \"$@\"); echo $? >status; } | true; exit $(cat status)",
       {"-f", "csv", "-o", "-", "one"},
       "standard output: Broken pipe\n"},
  };
  for (const auto& [script, arguments, err] : cases) {
    SCOPED_TRACE(script + " " + testing::PrintToString(arguments));
    const ProcessResult result = fakeIn(script, arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    // After the text, where that goes to standard error.
    const std::string wanted = says(err);
    EXPECT_EQ(result.err.substr(result.err.size() - std::min(result.err.size(), wanted.size())),
              wanted);
  }
  EXPECT_EQ(fakeIn("exec \"$@\" <&- 2>&-", {"-o", "out.txt", "one"}).status, 0);
  EXPECT_EQ(readFile(folder_ / "out.txt"), "text:one\n");
}

TEST_F(ViewerTest, TakesAnyonesPlugin) {
  const auto with = [this](const std::string& plugin) {
    return runProcess({RYX_VIEWER_PATH, "--plugin", plugin, "--log-level", "debug", "read-error"},
                      folder_.path());
  };
  const ProcessResult silent = with(kSilent);
  EXPECT_EQ(silent.status, 0);
  EXPECT_EQ(silent.out, "text:read-error\n");
  EXPECT_EQ(silent.err, "");

  const ProcessResult incomplete = with(kIncomplete);
  EXPECT_EQ(incomplete.status, 1);
  EXPECT_EQ(incomplete.err, says(kIncomplete + ": not a reader plug-in: it lacks deleteReader\n"));

  EXPECT_NE(with("missing.so").err.find("./missing.so"), std::string::npos);
  std::filesystem::copy_file(kSilent, folder_ / "bare.so");
  EXPECT_EQ(with("bare.so").status, 0);
}

TEST_F(ViewerTest, FindsPluginsBesideItselfThenInLibThenByTheLoader) {
  const std::string name = "libRyxProfilingReader.so";
  for (const char* place : {"bin", "lib", "elsewhere"})
    std::filesystem::create_directory(folder_ / place);
  std::filesystem::copy_file(RYX_VIEWER_PATH, folder_ / "bin/ryx-profile-viewer");
  const auto run = [this] {
    return runProcess({"env", "LD_LIBRARY_PATH=" + (folder_ / "elsewhere"),
                       folder_ / "bin/ryx-profile-viewer", "read-error"});
  };

  // Something that cannot be loaded, so that an installed plug-in is not found instead.
  writeFile(folder_ / "elsewhere/" + name, "not a library");
  const ProcessResult none = run();
  EXPECT_EQ(none.status, 1);
  for (const std::string& place : {folder_ / "bin/" + name, folder_ / "lib/" + name})
    EXPECT_NE(none.err.find(place), std::string::npos) << none.err;

  // Only the whole plug-in logs, so each step shows which one was taken.
  std::filesystem::copy_file(kSilent, folder_ / "elsewhere/" + name,
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(run().err, "");
  EXPECT_EQ(run().out, "text:read-error\n");
  std::filesystem::copy_file(kWhole, folder_ / "lib/" + name);
  EXPECT_NE(run().err.find("odd message"), std::string::npos);
  writeFile(folder_ / "bin/" + name, "not a library");
  const ProcessResult broken = run();
  EXPECT_EQ(broken.status, 1);
  EXPECT_NE(broken.err.find(folder_ / "bin/" + name), std::string::npos) << broken.err;
}

TEST_F(ViewerTest, DrivesTheBaseReader) {
  makeLog("a.log", "first_graph");
  makeLog("b.log", "second_graph");
  std::filesystem::create_directory(folder_ / "folder");
  const ProcessResult text = view({"a.log"});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.err, "");
  EXPECT_NE(text.out.find("first_graph"), std::string::npos) << text.out;

  const ProcessResult some = view({"-o", "out.csv", "a.log", "missing.log", "folder", "b.log"});
  EXPECT_EQ(some.status, 1);
  EXPECT_NE(some.err.find(says("missing.log: " + kRefused)), std::string::npos) << some.err;
  EXPECT_NE(some.err.find(says("folder: " + kRefused)), std::string::npos) << some.err;
  const std::string csv = readFile(folder_ / "out.csv");
  EXPECT_LT(csv.find("location, a.log\n"), csv.find("location, b.log\n"));
  EXPECT_NE(csv.find("location, b.log\n"), std::string::npos) << csv;

  const ProcessResult unopened = view({"-o", "missing/out.csv", "a.log"});
  EXPECT_EQ(unopened.status, 1);
  EXPECT_EQ(unopened.out, "");
  EXPECT_NE(unopened.err.find("Invalid output file: [missing/out.csv]"), std::string::npos);
  EXPECT_EQ(view({"-o", "/dev/full", "-f", "csv", "a.log"}).status, 1);
}

TEST_F(ViewerTest, DrivesTheGpuReader) {
  makeLog("a.log", "first_graph");
  const ProcessResult one = view({"-f", "json", "-o", "-", "a.log"});
  EXPECT_EQ(one.status, 0) << one.err;
  EXPECT_EQ(one.out.substr(0, 1), "{") << one.out;
  EXPECT_NE(one.err, "");

  const ProcessResult two = view({"-o", "out.json", "a.log", "missing.log", "a.log"});
  EXPECT_EQ(two.status, 1);
  EXPECT_EQ(two.out, one.err + one.err);
  EXPECT_EQ(readFile(folder_ / "out.json").substr(0, 1), "[");
  EXPECT_EQ(view({"-f", "json", "-o", "-", "a.log", "a.log"}).out, readFile(folder_ / "out.json"));
}

TEST_F(ViewerTest, SavesPayloadsInTheCurrentFolder) {
  makeLog("a.log", "graph");
  EXPECT_EQ(view({"a.log"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "payload.bin"));
  EXPECT_EQ(view({"--save-objects", "a.log"}).status, 0);
  EXPECT_EQ(readFile(folder_ / "payload.bin"), "hi");

  makeLog("b.log", "graph", "missing/payload");
  const ProcessResult unwritable = view({"--save-objects", "b.log"});
  EXPECT_EQ(unwritable.status, 1);
  EXPECT_NE(unwritable.err.find("Invalid output fileName: [missing/payload]"), std::string::npos);
  EXPECT_NE(unwritable.err.find(says("b.log: " + kNotWritten)), std::string::npos);
}

}  // namespace
}  // namespace ryx::tests
