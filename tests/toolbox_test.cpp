// Runs ryx-profile-log as a whole, its make and its dump as their users do.

#include "tests/toolbox.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace ryx::tests {
namespace {

constexpr const char* kMessage = R"("timestamp": {}, "timing": {})";

/// A document whose events go `levels` deep.
std::string nestedDocument(int levels) {
  std::string events = "[{}]";
  for (int i = 1; i < levels; ++i) events = "[{\"nested_events\": " + events + "}]";
  return std::string("{\"messages\": [{") + kMessage + ", \"events\": " + events + "}]}";
}

TEST_F(ToolboxTest, DumpPrintsWhatMakeWasGiven) {
  const std::string text = R"({
  "header": {
    "time_scale": 0.5,
    "epoch_timestamp": 18446744073709551615,
    "extension": {
      "value_3": 0
    },
    "info_text": "",
    "backend_version": "a\u0000\x80\xED\xA0\x80\u00E9\uD83D\uDE00\"\\"
  },
  "messages": [
    {
      "timestamp": {
      },
      "method_type": 77,
      "timing": {
        "start": 0
      },
      "level": 0,
      "events": [

      ]
    },
    {
      "timestamp": {
        "time": 1
      },
      "method_type": "ExecuteHostRoundTrip",
      "timing": {
      },
      "level": -128,
      "events": [
        {
          "identifier": "}",
          "value_kind": "UINT64",
          "int_value": -9223372036854775808,
          "bytes_value": [
            0,
            255
          ]
        },
        {
          "value_kind": 0,
          "bytes_value": [

          ],
          "double_value": -0.125
        }
      ]
    }
  ]
}
{
}
{
  "messages": [

  ]
}
)";
  makeLog(text, "a.log");
  ASSERT_EQ(run("dump a.log"), 0) << err_;
  EXPECT_EQ(out_, text);

  makeLog("// by hand\n{messages: [], /* */}", "b.log");
  ASSERT_EQ(run("dump b.log"), 0);
  EXPECT_EQ(out_, "{\n  \"messages\": [\n\n  ]\n}\n");
  makeLog("", "empty.log");
  EXPECT_EQ(run("dump empty.log"), 0);
  EXPECT_EQ(out_, "");
  makeLog(nestedDocument(62), "deep.log");
  EXPECT_EQ(run("dump deep.log"), 0);
}

TEST_F(ToolboxTest, MakeRefusesBadInputAndKeepsTheOldLog) {
  const struct {
    std::string json;
    const char* error;
  } cases[] = {
      {"{}\n{\n \"foo\": 1}", "bad.json:3:9: document 2: unknown field: foo"},
      {"{\"messages\": [{}]}",
       "bad.json:1:17: document 1: required field is missing: timestamp in Message"},
      {"\n{\"header\":", "bad.json:2:10: document 1: expecting: { instead got: end of file"},
      {"{} , {}", "bad.json:1:1: document 2: expecting: { instead got: ,"},
      {"table X {}", "bad.json:1:5: document 1: expecting: { instead got: table"},
      {std::string("{}\n{\0}", 6), "bad.json:2: document 2: the document holds a zero byte"},
      {nestedDocument(63), "bad.json:1:1236: document 1: maximum parsing depth 65 reached"},
  };
  makeLog("{}", "old.log");
  const std::string old = read("old.log");
  for (const auto& test : cases) {
    write("bad.json", test.json);
    expectFailure("make bad.json old.log", test.error);
    EXPECT_EQ(read("old.log"), old);
  }
  expectFailure("make none.json old.log", "cannot read none.json: No such file or directory");
  expectFailure("make . old.log", "cannot read .: Is a directory");
  EXPECT_EQ(read("old.log"), old);
}

TEST_F(ToolboxTest, MakeReplacesAFileAndWritesIntoEverythingElse) {
  write("case.json", "{}");
  expectFailure("make case.json none/x.log", "cannot write none/x.log: No such file or directory");
  expectFailure("make case.json /dev/full", "cannot write /dev/full: No space left on device");
  ASSERT_EQ(run("make case.json a.log"), 0) << err_;
  const std::string log = read("a.log");

  ASSERT_EQ(run("make case.json /dev/stdout"), 0) << err_;
  EXPECT_EQ(out_, log);
  ASSERT_EQ(run("make case.json /dev/stdout | cat > piped.log"), 0);
  EXPECT_EQ(read("piped.log"), log);

  // Through a link, keeping the file's permissions.
  write("target.log", "old");
  ASSERT_EQ(chmod((folder_ / "target.log").c_str(), 0640), 0);
  std::filesystem::create_symlink("target.log", folder_ / "link.log");
  ASSERT_EQ(run("make case.json link.log"), 0) << err_;
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "link.log"));
  EXPECT_EQ(read("target.log"), log);
  EXPECT_EQ(std::filesystem::status(folder_ / "target.log").permissions(),
            static_cast<std::filesystem::perms>(0640));

  // A full disk in the middle of writing leaves what was there, and nothing beside it.
  write("case.json", "{\"header\": {\"info_text\": \"" + std::string(5000, 'x') + "\"}}");
  expectFailure("-V > /dev/null; trap '' XFSZ; ulimit -f 1; \"$@\" make case.json a.log",
                "cannot write a.log: File too large");
  EXPECT_EQ(read("a.log"), log);
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
    EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
}

TEST_F(ToolboxTest, DumpPrintsWhatIsGoodAndNamesWhatIsNot) {
  makeLog("{\"header\": {}}", "chunk.log");
  const std::string chunk = read("chunk.log");
  ASSERT_EQ(chunk.size(), 32u);
  const std::string good = "{\n  \"header\": {\n  }\n}\n";
  std::string damaged = chunk;
  damaged[4] = 127;
  const struct {
    std::string log;
    std::string out;
    const char* error;
  } cases[] = {
      {chunk + damaged + chunk, good, "chunk 2 at byte 32: its 28 bytes do not verify"},
      {chunk + std::string(4, '\0'), good, "chunk 2 at byte 32: its 0 bytes do not verify"},
      // As readers see it, with zeros for what is missing.
      {chunk + chunk.substr(0, 12), good + "{\n}\n",
       "chunk 2 at byte 32: the file ends after 8 of its 28 bytes"},
      {chunk + "abc", good,
       "chunk 2 at byte 32: the file ends within the chunk's size, after 3 of 4 bytes"},
  };
  for (const auto& test : cases) {
    write("bad.log", test.log);
    expectFailure("dump bad.log", std::string("bad.log: ") + test.error);
    EXPECT_EQ(out_, test.out);
  }
  expectFailure("dump none.log", "cannot read none.log: No such file or directory");
  expectFailure("dump .", "cannot read .: Is a directory");
}

TEST_F(ToolboxTest, NoticesThatStandardOutputFails) {
  makeLog("{}", "a.log");
  for (const char* command : {"dump a.log", "--help", "--version"}) {
    expectFailure(std::string(command) + " > /dev/full",
                  "cannot write standard output: No space left on device");
    expectFailure(std::string(command) + " >&-",
                  "cannot write standard output: Bad file descriptor");
  }
  // What is printed on a closed stream must not end up in the file that got its number.
  write("case.json", "{}");
  EXPECT_EQ(run("make case.json b.log >&- 2>&-"), 0);
  EXPECT_EQ(read("b.log"), read("a.log"));
}

TEST_F(ToolboxTest, TellsUsageErrorsApart) {
  for (const char* arguments : {"", "mkae", "make", "make a", "make a b c", "dump", "dump --x a"}) {
    EXPECT_EQ(run(arguments), 2) << arguments;
    EXPECT_EQ(err_.rfind("ryx-profile-log: ", 0), 0u) << err_;
    EXPECT_EQ(out_, "");
  }
  // A command's name is an operand like any other.
  write("dump", "{}");
  EXPECT_EQ(run("make dump make"), 0) << err_;

  for (const char* arguments : {"--help", "make --help", "dump -h"}) {
    EXPECT_EQ(run(arguments), 0);
    EXPECT_NE(out_.find("Example"), std::string::npos);
    std::istringstream lines(out_);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  }
  EXPECT_EQ(run("-V"), 0);
  EXPECT_EQ(out_.rfind("ryx-profile-log ", 0), 0u);
}

}  // namespace
}  // namespace ryx::tests
