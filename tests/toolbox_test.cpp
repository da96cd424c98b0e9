// SPDX-License-Identifier: Apache-2.0
// Runs ryx-profile-log as a whole, its make and its dump as their users do.

#include "tests/toolbox.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
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
  const std::string text = R"json({
  "header": {
    "time_scale": 0.1,
    "epoch_timestamp": 18446744073709551615,
    "extension": {
      "value_3": 0
    },
    "info_text": "",
    "backend_version": "a\u0000\\x80\\xED\\xA0\\x80\u00E9\uD83D\uDE00\"\\ \\\\x80 \\\\\\x80 C:\\temp"
  },
  "messages": [
    {
      "timestamp": {},
      "method_type": 77,
      "timing": {
        "start": 0
      },
      "level": 0,
      "events": []
    },
    {
      "timestamp": {
        "time": 1
      },
      "method_type": "ExecuteHostRoundTrip",
      "timing": {},
      "level": -128,
      "events": [
        {
          "identifier": "}",
          "value_kind": "UINT64",
          "int_value": -9223372036854775808,
          "float_value": 1e-45,
          "bytes_value": [0, 255],
          "double_value": 5e-324
        },
        {
          "value_kind": 0,
          "float_value": "nan",
          "bytes_value": [],
          "double_value": "-inf"
        },
        {
          "float_value": "nan(0x7f800001)",
          "double_value": "-nan"
        },
        {
          "float_value": -0,
          "double_value": 0.30000000000000004
        }
      ]
    }
  ]
}
{}
{
  "messages": []
}
)json";
  makeLog(text, "a.log");
  ASSERT_EQ(run("dump a.log"), 0) << err_;
  EXPECT_EQ(out_, text);

  // What people write by hand.
  makeLog(
      "\xEF\xBB\xBF// comment\n{messages: [], /* } */ 'header': {info_text: '\\x80\\\\xyz',"
      "time_scale: nan, epoch_timestamp: 0x1F, info_label: null,}}{}",
      "b.log");
  ASSERT_EQ(run("dump b.log"), 0);
  EXPECT_EQ(out_,
            "{\n  \"header\": {\n    \"time_scale\": \"nan\",\n    \"epoch_timestamp\": 31,\n    "
            "\"info_text\": \"\\\\x80\\\\\\\\xyz\"\n  },\n  \"messages\": []\n}\n{}\n");
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
      {"{}\n{\n \"foo\": 1}",
       "3:2: document 2: unknown field 'foo'; LogChunk has header, messages"},
      {"{messages: [{timestamp: {}}]}", "1:27: document 1: Message needs a timing"},
      {"\n{\"header\":", "2:11: document 1: expected '{', but the file ends"},
      {"{} , {}", "1:4: document 2: expected '{', but found ','"},
      {std::string("{}\n{\0}", 6),
       "2:2: document 2: expected a name or a number, but found '\\x00'"},
      {nestedDocument(63), "1:1236: document 1: tables are nested more than 64 deep"},
      {"{header: {}, header: {}}", "1:14: document 1: the field 'header' is given twice"},
      {"{header: {value_3: {}}}",
       "1:11: document 1: unknown field 'value_3'; LogHeader has "
       "time_scale, epoch_timestamp, steady_clock_timestamp, extension, info_text, "
       "backend_version, info_label"},
      {"{header: {extension: {value_3: 256}}}",
       "1:32: document 1: '256' is not a number between 0 and 255"},
      {"{header: {time_scale: 1e39}}", "1:23: document 1: '1e39' is not a number of 32 bits"},
      {"{messages: [{method_type: Exec}]}",
       "1:27: document 1: unknown MethodType 'Exec'; known: Execute, Finalize, "
       "ExecuteHostRoundTrip, Init, DeInit, InitStep, ComposeGraphs, NetRun, GraphRun, LibLoad, "
       "ApplyBinarySection, ApplyBinarySectionAlt, or a number between -128 and 127"},
      {"{header: {info_text: \"\n\"}}", "1:22: document 1: the text has no closing quote"},
      {"{header: {info_text: \"\\ud800\"}}", "1:22: document 1: half a surrogate pair in a text"},
      {"{} /* ", "1:4: document 2: the comment does not end"},
  };
  makeLog("{}", "old.log");
  const std::string old = read("old.log");
  for (const auto& test : cases) {
    write("bad.json", test.json);
    expectFailure("make bad.json old.log", std::string("bad.json:") + test.error);
    EXPECT_EQ(read("old.log"), old);
  }
  expectFailure("make none.json old.log", "cannot read none.json: No such file or directory");
  expectFailure("make . old.log", "cannot read .: Is a directory");
  EXPECT_EQ(run("make bad.json ./bad.json"), 2);
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

TEST_F(ToolboxTest, NoticesThatStandardOutputFails) {
  makeLog("{}", "a.log");
  expectFailure("dump a.log > /dev/full", "cannot write standard output: No space left on device");
  expectFailure("dump a.log >&-", "cannot write standard output: Bad file descriptor");
  // What is printed on a closed stream must not end up in the file that got its number.
  write("case.json", "{}");
  EXPECT_EQ(run("make case.json b.log >&- 2>&-"), 0);
  EXPECT_EQ(read("b.log"), read("a.log"));
}

}  // namespace
}  // namespace ryx::tests
