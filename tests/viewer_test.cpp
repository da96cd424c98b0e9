// SPDX-License-Identifier: Apache-2.0
// Runs the viewer as its users do, and checks exit status and both streams.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
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
  ViewerTest() {
    for (const char* log : {"one",
                            "two",
                            "make-null",
                            "make-exhausted",
                            "read-arguments",
                            "read-limit",
                            "read-note",
                            "read-error",
                            "read-many",
                            "read-debug",
                            "read-refused",
                            "read-vanished",
                            "read-exhausted",
                            "read-thrown",
                            "read-odd",
                            "report-error",
                            "report-refused",
                            "report-exhausted",
                            "report-killed",
                            "report-cut",
                            "[a,b]",
                            "--help"})
      writeFile(folder_ / log, "\xff");
  }

  /// Runs the viewer on the plug-in whose logs say by their names what happens.
  ProcessResult fake(const Strings& arguments) const {
    return runProcess(Strings{RYX_VIEWER_PATH, "--plugin", kWhole} + arguments, folder_.path());
  }

  /// The same, through a shell script.
  ProcessResult fakeIn(const std::string& script, const Strings& arguments) const {
    return runScript(script, Strings{RYX_VIEWER_PATH, "--plugin", kWhole} + arguments,
                     folder_.path());
  }

  /// The last `size` bytes of a text.
  static std::string endOf(const std::string& text, size_t size) {
    return text.substr(text.size() - std::min(text.size(), size));
  }

  /// The hidden files that are left in the test's folder.
  std::string temporaries() const {
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
      if (entry.path().filename().string().front() == '.') names += entry.path().filename();
    return names;
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

TEST_F(ViewerTest, PassesArgumentsToTheReader) {
  const std::string text = "\ntext:read-arguments\n";
  EXPECT_EQ(fake({"read-arguments"}).out, "level:127 save:0" + text);
  EXPECT_EQ(fake({"-l", "-128", "--save-objects", "read-arguments"}).out,
            "level:-128 save:1" + text);
  EXPECT_EQ(fake({"-f", "csv", "-o", "out", "[a,b]", "--", "--help"}).out,
            "text:[a,b]\ntext:--help\n");
#ifndef RYX_SANITIZED
  EXPECT_NE(fake({"read-limit"}).out, "limit:0\ntext:read-limit\n");
  EXPECT_EQ(fakeIn("ulimit -d 77000; exec \"$@\"", {"read-limit"}).out,
            "limit:77000\ntext:read-limit\n");
#endif
}

// One outcome a line: a log of that name between two good ones, which are always reported.
TEST_F(ViewerTest, ExitStatusAndStandardErrorTellEachLogsOutcome) {
  const std::string errorLine = "     1.2ms [ ERROR ] ";
  const struct {
    std::string log;
    int status;
    std::string text;  ///< on standard output
    bool isFileKept;   ///< the file's part of the report
    std::string error;
  } cases[] = {
      {"one", 0, "text:one\n", true, ""},
      {"make-null", 1, "", false, says("make-null: the plug-in has no reader for it\n")},
      {"make-exhausted", 1, "", false, says("make-exhausted: out of memory\n")},
      {"read-exhausted", 1, "", false, says("read-exhausted: out of memory\n")},
      {"read-thrown", 1, "", false, says("read-thrown: thrown while reading\n")},
      {"read-odd", 1, "", false, says("read-odd: the plug-in failed without saying why\n")},
      {"read-error", 0, "text:read-error\n", true, errorLine + "odd message\n"},
      {"report-error", 1, "text:report-error\n", true,
       errorLine + "no room for it\n" + says("report-error: " + kNotWritten)},
      {"report-refused", 1, "", false,
       says("report-refused: no report could be written to out.csv\n")},
      {"report-exhausted", 1, "", false, says("report-exhausted: out of memory\n")},
      {"report-cut", 1, "text:report-cut\n", false,
       errorLine + "cut short: [out.csv]\n" + says("report-cut: " + kNotWritten)},
      {"missing", 1, "", false, says("cannot read missing: No such file or directory\n")},
      {".", 1, "", false, says("cannot read .: Is a directory\n")},
  };
  for (const auto& [log, status, text, isFileKept, error] : cases) {
    for (const Strings& how : {Strings{}, Strings{"--force"}, Strings{"--save-objects"}}) {
      SCOPED_TRACE(log + testing::PrintToString(how));
      const ProcessResult result = fake(how + Strings{"-o", "out.csv", "one", log, "two"});
      EXPECT_EQ(result.status, status);
      EXPECT_EQ(result.err, error);
      EXPECT_EQ(result.out, "text:one\n" + text + "text:two\n");
      EXPECT_EQ(readFile(folder_ / "out.csv"),
                "file:one\n" + (isFileKept ? "file:" + log + "\n" : "") + "file:two\n");
      std::filesystem::remove(folder_ / "out.csv");
    }
  }
  EXPECT_EQ(fake({"read-vanished"}).err,
            says("read-vanished: could not be read to its end: No such file or directory\n"));
}

TEST_F(ViewerTest, LogLevelChoosesTheLinesNotTheExitStatus) {
  const std::string error = "     1.2ms [ ERROR ] ";
  std::string first;
  for (int i = 0; i < 5; ++i)
    first += error + "odd message " + std::to_string(i) + "\n" + error + "no more of these\n";
  const struct {
    const char* level;
    const char* log;
    int status;
    std::string error;
  } cases[] = {
      {"off", "report-error", 1, says("report-error: " + kNotWritten)},
      {"verbose", "read-debug", 0, ""},
      {"debug", "read-debug", 0, "     1.2ms [ DEBUG ] " + std::string(5000, 'd') + "\n"},
      {"off", "read-many", 0, ""},
      {"error", "read-many", 0, first + says("read-many: 3 more lines like: odd message %d\n")},
      {"verbose", "read-many", 0,
       first + error + "odd message 5\n" + error + "odd message 6\n" + error + "odd message 7\n"},
  };
  for (const auto& [level, log, status, wanted] : cases) {
    const ProcessResult result = fake({"--log-level", level, log});
    EXPECT_EQ(result.status, status) << level << log;
    EXPECT_EQ(result.err, wanted) << level << log;
  }
  EXPECT_EQ(fake({"read-many", "read-many"}).err,
            fake({"read-many"}).err + fake({"read-many"}).err);
}

TEST_F(ViewerTest, WritesTheReportToStandardOutput) {
  for (const Strings& toStandardOutput : {Strings{"-f", "csv"}, Strings{"-f", "csv", "-o", "-"}}) {
    const ProcessResult csv =
        fake(toStandardOutput + Strings{"one", "read-refused", "report-cut", "read-note"});
    EXPECT_EQ(csv.status, 1);
    EXPECT_EQ(csv.out, "file:one\nfile:read-note\n");
    EXPECT_EQ(csv.err, "text:one\n" + says("read-refused: " + kRefused) +
                           "     1.2ms [ ERROR ] cut short: [standard output]\n" +
                           "text:report-cut\n" + says("report-cut: " + kNotWritten) +
                           "note:read-note\ntext:read-note\n");
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "-"));
  EXPECT_EQ(fake({"-o", "-", "one"}).out, "text:one\n");
  EXPECT_EQ(fakeIn("\"$@\" | cat", {"-f", "json", "one"}).out, "file:one\n");
}

TEST_F(ViewerTest, TheExtensionChoosesTheFormat) {
  const struct {
    Strings arguments;
    const char* content;
  } cases[] = {
      {{"-o", "out.txt"}, "text:one\n"},
      {{"-o", "out.CSV"}, "file:one\n"},
      {{"-o", "out.json"}, "file:one\n"},
      {{"-o", "out.csv.txt"}, "text:one\n"},
      {{"-o", "xjson"}, "text:one\n"},
      {{"-o", ".csv"}, "text:one\n"},
      {{"-f", "csv", "-o", "out"}, "file:one\n"},
      {{"-f", "csv", "-o", "o.csv"}, "file:one\n"},
  };
  for (const auto& [arguments, content] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const ProcessResult result = fake(arguments + Strings{"one"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(folder_ / arguments.back()), content);
  }
  // What is no file may have any name.
  ASSERT_EQ(mkfifo((folder_ / "pipe.log").c_str(), 0600), 0);
  EXPECT_EQ(
      fakeIn("cat pipe.log & \"$@\" >/dev/null; wait", {"-f", "csv", "-o", "pipe.log", "one"}).out,
      "file:one\n");
  EXPECT_EQ(fake({"-o", "/dev/null", "/dev/null"}).status, 0);
}

TEST_F(ViewerTest, WritesTheTextReportToAFile) {
  const ProcessResult result = fake({"-o", "out.txt", "one", "read-note"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(readFile(folder_ / "out.txt"), "text:one\nnote:read-note\ntext:read-note\n");
  const ProcessResult unopened = fake({"-o", "missing/out.txt", "one"});
  EXPECT_EQ(unopened.status, 1);
  EXPECT_EQ(unopened.err, says("missing/out.txt: No such file or directory\n"));
}

// A file holds what it held or the reports that were whole, never a part of one.
TEST_F(ViewerTest, AFileThatIsThereIsNotLost) {
  const std::string appended = says(
      "out.csv: appended to what is there; --append says that this is meant, --force starts "
      "the file anew\n");
  const struct {
    Strings arguments;
    std::string content;
    std::string error;
  } cases[] = {
      {{"-o", "out.csv", "one", "two"}, "old\nfile:one\nfile:two\n", appended},
      {{"-o", "out.csv", "--append", "one"}, "old\nfile:one\n", ""},
      {{"-o", "out.csv", "--force", "one"}, "file:one\n", ""},
      {{"-o", "out.csv", "--append", "report-exhausted"}, "old\n", "out of memory\n"},
      {{"-o", "out.csv", "--force", "report-exhausted"}, "old\n", "out of memory\n"},
      {{"-o", "out.csv", "--append", "one", "report-killed"}, "old\nfile:one\n", ""},
      {{"-o", "out.json", "one"}, "file:one\n", ""},
      {{"-o", "out.json", "read-refused"}, "old\n", kRefused},
      {{"-o", "out.json", "report-exhausted"}, "old\n", "out of memory\n"},
      {{"-o", "out.json", "report-cut"}, "old\n", kNotWritten},
      // It is no longer as large as after the last whole report: who knows what is in it.
      {{"-o", "out.json", "one", "report-exhausted"}, "old\n", "out of memory\n"},
      {{"-o", "out.txt", "one"}, "text:one\n", ""},
      {{"-o", "out.txt", "read-refused", "report-exhausted"}, "old\n", "out of memory\n"},
      {{"-o", "out.txt", "one", "report-refused"}, "text:one\n", "written to out.txt\n"},
  };
  for (const auto& [arguments, content, error] : cases) {
    for (const Strings& how : {Strings{}, Strings{"--save-objects=saved"}}) {
      SCOPED_TRACE(testing::PrintToString(arguments + how));
      const std::string output = folder_ / arguments[1];
      writeFile(output, "old\n");
      const ProcessResult result = fake(arguments + how);
      EXPECT_EQ(readFile(output), content);
      EXPECT_EQ(endOf(result.err, error.size()), error);
      std::filesystem::remove(output);
      EXPECT_EQ(temporaries(), "");
    }
  }
  // Another viewer has the file, and removes what it made.
  const ProcessResult waiting = fakeIn(
      "exec 9>new.csv; flock 9; \"$@\" 9>&- & sleep 0.3; cat new.csv; rm new.csv; exec 9>&-; wait",
      {"-o", "new.csv", "one"});
  EXPECT_EQ(waiting.out, "text:one\n");
  EXPECT_EQ(readFile(folder_ / "new.csv"), "file:one\n");
  std::filesystem::remove(folder_ / "new.csv");
  EXPECT_EQ(fake({"-o", "new.csv", "report-killed"}).status, 128 + SIGTERM);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "new.csv"));
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
      {"exec \"$@\" >/dev/full", {"-f", "csv", "one"}, "standard output" + full},
      {"exec \"$@\" >&-", {"-f", "csv", "one"}, "standard output: Bad file descriptor\n"},
  };
  for (const auto& [script, arguments, err] : cases) {
    SCOPED_TRACE(script + " " + testing::PrintToString(arguments));
    const ProcessResult result = fakeIn(script, arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    // After the text, where that goes to standard error.
    EXPECT_EQ(endOf(result.err, says(err).size()), says(err));
  }
  EXPECT_EQ(fakeIn("exec \"$@\" <&- 2>&-", {"-o", "out.txt", "one"}).status, 0);
  EXPECT_EQ(readFile(folder_ / "out.txt"), "text:one\n");
  const ProcessResult broken =
      fakeIn(kToNobody + std::string("exec \"$@\" >&4"), {"-o", "out.json", "one"});
  EXPECT_EQ(broken.status, 128 + SIGPIPE);
  EXPECT_EQ(broken.err, "");
  EXPECT_EQ(temporaries(), "");
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
                       folder_ / "bin/ryx-profile-viewer", "read-error"},
                      folder_.path());
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
  EXPECT_NE(some.err.find(says("cannot read missing.log: No such file or directory\n")),
            std::string::npos)
      << some.err;
  EXPECT_NE(some.err.find(says("cannot read folder: Is a directory\n")), std::string::npos)
      << some.err;
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

/// The reports of a CSV file, each so many `times`, sorted; of another file, all as one.
Strings reportsIn(const std::string& content, int times = 1) {
  Strings reports;
  for (size_t at = 0; at < content.size();) {
    const size_t end =
        std::min(content.find("\ninput log file location, ", at), content.size() - 1);
    reports.insert(reports.end(), static_cast<size_t>(times), content.substr(at, end + 1 - at));
    at = end + 1;
  }
  std::sort(reports.begin(), reports.end());
  return reports;
}

// Limits and other viewers.
TEST_F(ViewerTest, FilesHoldWholeReportsWhateverHappens) {
  const std::string sample = RYX_SAMPLES_DIR "/text-detection.log";
  makeLog("small.log", "graph");
  const auto viewIn = [&](const std::string& script, const Strings& arguments) {
    return runScript(script, Strings{RYX_VIEWER_PATH} + arguments, folder_.path());
  };
  const std::string limited = "ulimit -f 20; exec \"$@\" >/dev/null";  // 10240 bytes
  for (const std::string output : {"out.csv", "out.json", "out.txt"}) {
    for (const Strings& how : {Strings{}, Strings{"--force"}, Strings{"--save-objects=saved"}}) {
      SCOPED_TRACE(output + testing::PrintToString(how));
      const Strings to = how + Strings{"-o", output};
      ASSERT_EQ(view(to + Strings{"small.log"}).status, 0);
      const std::string small = readFile(folder_ / output);
      std::filesystem::remove(folder_ / output);

      const ProcessResult tooLarge = viewIn(limited, to + Strings{"small.log", sample});
      EXPECT_EQ(tooLarge.status, 1);
      EXPECT_EQ(tooLarge.err.substr(tooLarge.err.rfind("[ ERROR ] ")),
                "[ ERROR ] Invalid output " +
                    std::string(output == "out.json" ? "jsonFile" : "file") + ": [" + output +
                    "]\n" + says(sample + ": " + kNotWritten));
      EXPECT_EQ(readFile(folder_ / output), small);
      EXPECT_EQ(temporaries(), "");

      const Strings both = to + Strings{sample, "small.log"};
      const std::string race = "for i in 1 2 3 4 5; do \"$@\" & done >/dev/null 2>&1; wait";
      std::filesystem::remove(folder_ / output);
      viewIn("\"$@\" >/dev/null", both);
      const std::string whole = readFile(folder_ / output);
      std::filesystem::remove(folder_ / output);
      viewIn(race, both);
      const bool isAppended = output == "out.csv" && how != Strings{"--force"};
      EXPECT_EQ(reportsIn(readFile(folder_ / output)), reportsIn(whole, isAppended ? 5 : 1));
      std::filesystem::remove(folder_ / output);
    }
  }
}

TEST_F(ViewerTest, SignalsLeaveTheOldFileAndNothingElse) {
  makeLog("a.log", "graph");
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);  // nobody ever writes to it
  const std::string viewer = "\"$@\" & until ls -A | grep -q tmp; do :; done; ";
  // In the sandbox a child does the removing, which may take a moment longer; what even SIGKILL
  // has left without one is removed by the next report.
  const std::string isRemoved = "until ! ls -A | grep -q tmp; do :; done";
  const struct {
    std::string script;
    Strings how;
  } cases[] = {
      {viewer + "kill -TERM $!; wait $!; ! ls -A | grep -q tmp", {}},
      {viewer + "kill -HUP $!; wait $!; ! ls -A | grep -q tmp", {}},
      {viewer + "kill -TERM $!; " + isRemoved, {"--save-objects=saved"}},
      {viewer + "kill -KILL $!; " + isRemoved, {"--save-objects=saved"}},
      {viewer + "kill -KILL $!; wait $!; cat a.log >pipe & \"$@\" >/dev/null; " + isRemoved, {}},
  };
  for (const auto& [script, how] : cases) {
    writeFile(folder_ / "out.json", "old");
    const Strings command = Strings{RYX_VIEWER_PATH} + how + Strings{"-o", "out.json", "pipe"};
    EXPECT_EQ(runScript(script, command, folder_.path()).status, 0) << script;
    const bool isWhole = script.find("cat") != std::string::npos;
    EXPECT_EQ(readFile(folder_ / "out.json").substr(0, 3), isWhole ? "{\n " : "old") << script;
  }
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
