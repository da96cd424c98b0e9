// SPDX-License-Identifier: Apache-2.0
// Runs ryx-profile-log's verify, info, salvage and cut as their users do.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/toolbox.h"

namespace ryx::tests {
namespace {

class ToolboxCommandsTest : public ToolboxTest {
 protected:
  /// The message texts of a log, in order.
  std::string textsOf(const std::string& log) {
    EXPECT_EQ(run("dump " + log), 0) << err_;
    std::string texts;
    for (size_t at = 0; (at = out_.find("\"text\": \"", at)) != std::string::npos;) {
      at += 9;
      texts += out_.substr(at, out_.find('"', at) - at);
    }
    return texts;
  }
};

constexpr const char* kRecordedLog = RYX_SAMPLES_DIR "/text-detection.log";

/// Nine messages, whose texts are a to i, in three chunks.
constexpr const char* kNineMessages = R"(
{header: {info_text: "first"}, messages: [
  {timestamp: {time: 10}, timing: {}, text: "a", method_type: Execute},
  {timestamp: {time: 20}, timing: {}, text: "b", method_type: Execute, level: 1},
  {timestamp: {time: 30}, timing: {}, text: "c", method_type: 77, level: -128}]}
{header: {info_text: "second"}, messages: [
  {timestamp: {time: 40}, timing: {}, text: "d", method_type: NetRun, level: 127},
  {timestamp: {}, timing: {}, text: "e"},
  {timestamp: {time: 40}, timing: {}, text: "f", method_type: Init}]}
{messages: [
  {timestamp: {time: 18446744073709551615}, timing: {}, text: "g", method_type: Execute},
  {timestamp: {time: 5}, timing: {}, text: "h", method_type: Finalize, level: 1},
  {timestamp: {time: 50}, timing: {}, text: "i", method_type: NetRun}]}
)";

TEST_F(ToolboxCommandsTest, AllNameDamageAlike) {
  makeLog("{header: {}}", "chunk.log");
  const std::string chunk = read("chunk.log");
  ASSERT_EQ(chunk.size(), 32u);
  const std::string good = "{\n  \"header\": {}\n}\n";
  const auto sized = [&chunk](uint32_t size, size_t bytes) {
    std::string prefix(4, '\0');
    for (char& byte : prefix) {
      byte = static_cast<char>(size & 0xFF);
      size >>= 8;
    }
    return prefix + chunk.substr(4, bytes);
  };
  const std::string place = "chunk 2 at byte 32: ";
  const struct {
    std::string tail;  ///< after one good chunk
    std::string damage;
    std::string dumped;  ///< of the damaged chunk
  } cases[] = {
      {sized(28, 3) + std::string(25, '\x7F') + chunk, "its 28 bytes do not verify", ""},
      {sized(0, 0) + chunk, "its size is 0, less than the 12 bytes of a chunk", ""},
      {sized(11, 28), "its size is 11, less than the 12 bytes of a chunk", ""},
      {sized(12, 12), "its 12 bytes do not verify", ""},
      {sized(0x7FFFFFFE, 12), "the file ends after 12 of its 2147483646 bytes", "{}\n"},
      {sized(0x7FFFFFFF, 28),
       "announces 2147483647 bytes, more than the 2147483646 that a chunk may have", ""},
      // Readers take zeros for what is missing; damage it is all the same.
      {chunk.substr(0, 12), "the file ends after 8 of its 28 bytes", "{}\n"},
      {"abc", "the file ends within the chunk's size, after 3 of 4 bytes", ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.damage);
    write("x.log", chunk + test.tail);
    EXPECT_EQ(run("verify x.log"), 1);
    EXPECT_EQ(out_, "x.log: damaged: " + place + test.damage + "\n");
    EXPECT_EQ(err_, "");
    expectFailure("dump x.log", "x.log: " + place + test.damage);
    EXPECT_EQ(out_, good + test.dumped);
    expectFailure("info x.log", "x.log: " + place + test.damage + "; summed up until there");
    expectFailure("cut x.log -o y.log", "x.log: " + place + test.damage +
                                            "; 'ryx-profile-log salvage' rescues what is good");
    EXPECT_EQ(run("salvage x.log -o z.log"), 0);
    const bool isMended = out_.find("mended") != std::string::npos;
    EXPECT_NE(isMended, out_.find(test.damage) != std::string::npos) << out_;
  }
  EXPECT_FALSE(exists("y.log"));

  // What is no log, holds nothing, or cannot be opened.
  write("x.xz", std::string("\xFD\x37zXZ\0", 6) + std::string(100, 'x'));
  write("empty.log", "");
  const std::string foreign = "x.xz: not a profiling log; it looks like xz data";
  for (const char* command : {"dump", "info", "cut -o y.log"})
    expectFailure(std::string(command) + " x.xz", foreign);
  expectFailure("salvage x.xz -o y.log", foreign + "; y.log is not written");
  EXPECT_EQ(out_, "");
  EXPECT_EQ(run("verify x.xz empty.log none.log . " + std::string(kRecordedLog)), 1);
  EXPECT_EQ(out_, foreign + "\nempty.log: empty: no chunks\n" + kRecordedLog +
                      ": sound: 4 chunks, 27 messages, 4294 events, 356312 bytes\n");
  EXPECT_EQ(err_,
            "ryx-profile-log: cannot read none.log: No such file or directory\n"
            "ryx-profile-log: cannot read .: Is a directory\n");
  for (const char* command : {"dump", "info", "cut -o y.log", "salvage -o y.log"}) {
    expectFailure(std::string(command) + " none.log",
                  "cannot read none.log: No such file or directory");
    expectFailure(std::string(command) + " .", "cannot read .: Is a directory");
  }
  EXPECT_FALSE(exists("y.log"));
  EXPECT_EQ(run("verify empty.log"), 0);
  for (const char* command : {"info", "salvage -o y.log"}) {
    EXPECT_EQ(run(std::string(command) + " empty.log"), 0);
    EXPECT_EQ(out_, "empty.log: empty: no chunks\n");
  }
}

TEST_F(ToolboxCommandsTest, StandardStreamsAreFiles) {
  makeLog(kNineMessages, "a.log");
  write("b.log", read("a.log").substr(0, 400));
  const struct {
    const char* command;
    const char* sameAs;
  } cases[] = {
      {"build - - < case.json", "make case.json -"},
      {"dump - < a.log", "dump a.log"},
      {"cut - -o - < a.log", "cut a.log -o -"},
      {"-V > v; cat a.log | \"$@\" cut - -o - --last 2", "cut a.log -o - --last 2"},
      {"-V > v; mkfifo f; cat a.log > f & \"$@\" cut f -o - --last 2", "cut a.log -o - --last 2"},
      {"-V > v; cat b.log | \"$@\" salvage - -o -", "salvage b.log -o -"},
      {"info --json - < a.log", "info --json a.log"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(run(test.sameAs), 0) << err_;
    const std::string expected = out_;
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(run(test.command), 0) << err_;
    EXPECT_EQ(out_, expected) << test.command;
  }
  EXPECT_EQ(run("verify - < a.log"), 0);
  EXPECT_EQ(out_.rfind("standard input: sound: 3 chunks, 9 messages, 0 events, ", 0), 0u) << out_;
  expectFailure("verify - <&-", "cannot read standard input: Bad file descriptor");
  // A reader that has had enough ends the tool without a word.
  EXPECT_EQ(run("dump " + std::string(kRecordedLog) + " | head -c 1"), 0);
  EXPECT_EQ(err_, "");
}

TEST_F(ToolboxCommandsTest, InfoSumsUpALog) {
  makeLog(R"({header: {backend_version: "v\u001B[31m\x80\u00E9\u0085", time_scale: 0.1,
                       epoch_timestamp: 1700000000000000}}
{messages: [
  {timestamp: {time: 7}, timing: {}, method_type: Execute, text: "net", events: [
    {nested_events: [{}, {nested_events: [{}]}]}]},
  {timestamp: {time: 3}, timing: {}, method_type: Finalize, text: "net", events: [{}]},
  {timestamp: {}, timing: {}, method_type: GraphRun, text: "a\u0000b", level: -2},
  {timestamp: {}, timing: {}, method_type: Init, text: "no graph", events: [{}]},
  {timestamp: {}, timing: {}, method_type: 77}]})",
          "a.log");
  ASSERT_EQ(run("info a.log"), 0) << err_;
  EXPECT_EQ(out_, R"(a.log
  chunks         2
  messages       5
  events         6
  bytes          496
  largest chunk  416 bytes (chunk 2 at byte 76)
  time span      4 us (3 to 7)
Header
  backend version  v\x1b[31m\x80é\xc2\x85
  time scale       0.1
  epoch time       1700000000000000 us (2023-11-14 22:13:20 UTC)
Messages
  method    level  messages
  Execute       0         1
  Finalize      0         1
  Init          0         1
  GraphRun     -2         1
  77            0         1
Graphs
  graph  executions  events
  net             1       5
  a               1       0
)");

  ASSERT_EQ(run("info --json a.log"), 0) << err_;
  rapidjson::Document json;
  ASSERT_FALSE(json.Parse<rapidjson::kParseValidateEncodingFlag>(out_.c_str()).HasParseError());
  EXPECT_STREQ(json["header"]["backend_version"].GetString(), "v\x1B[31m\\x80\u00E9\u0085");
  EXPECT_EQ(json["header"]["time_scale"].GetDouble(), 0.1);
  EXPECT_TRUE(json["header"]["info_label"].IsNull());
  EXPECT_EQ(json["largest_chunk"]["offset"].GetInt(), 76);
  EXPECT_EQ(json["message_counts"].Size(), 5u);
  EXPECT_EQ(json["message_counts"][3]["level"].GetInt(), -2);
  EXPECT_EQ(json["graphs"][0]["events"].GetInt(), 5);
  EXPECT_EQ(json["last_time_us"].GetInt(), 7);
  EXPECT_TRUE(json["damage"].IsNull());

  makeLog(R"({header: {info_text: "text", info_label: "label", time_scale: nan,
                       epoch_timestamp: 253402300800000000}}
{header: {info_text: "another"}, messages: [
  {timestamp: {}, timing: {}, method_type: ExecuteHostRoundTrip, text: "g\\x80"},
  {timestamp: {}, timing: {}, method_type: ApplyBinarySection, text: "g\\x80", events: [{}]},
  {timestamp: {}, timing: {}, method_type: ApplyBinarySectionAlt, text: "g\\x80", events: [{}]}]}
{header: {info_text: "another"}, messages: [
  {timestamp: {}, timing: {}, method_type: ExecuteHostRoundTrip, text: "g\\x80"},
  {timestamp: {}, timing: {}, method_type: ApplyBinarySection, text: "g\\x80", events: [{}]},
  {timestamp: {}, timing: {}, method_type: ApplyBinarySectionAlt, text: "g\\x80", events: [{}]}]})",
          "b.log");
  ASSERT_EQ(run("info b.log"), 0) << err_;
  EXPECT_NE(out_.find(" bytes (chunk 2 at byte "), std::string::npos) << out_;
  EXPECT_NE(out_.find("\nHeader\n"
                      "  info label  label\n"
                      "  info text   text\n"
                      "  time scale  nan\n"
                      "  epoch time  253402300800000000 us\n"
                      "Messages\n"),
            std::string::npos)
      << out_;
  EXPECT_NE(out_.find("\n  g\\x80           2       4\n"), std::string::npos) << out_;
  ASSERT_EQ(run("info --json b.log"), 0) << err_;
  ASSERT_FALSE(json.Parse(out_.c_str()).HasParseError());
  EXPECT_TRUE(json["header"]["time_scale"].IsNull());

  // A long name makes no other line longer.
  const std::string longName(3000, 'n');
  makeLog(
      "{messages: [{timestamp: {}, timing: {}, method_type: Execute, text: 'a'},"
      "{timestamp: {}, timing: {}, method_type: Execute, text: '" +
          longName + "'}]}",
      "b.log");
  ASSERT_EQ(run("info b.log"), 0) << err_;
  EXPECT_NE(out_.find("\n  a" + std::string(39, ' ') + "           1       0\n  " + longName +
                      "           1       0\n"),
            std::string::npos)
      << out_;

  // A damaged log is summed up until there.
  write("b.log", read("a.log") + "ab");
  EXPECT_EQ(run("info --json b.log"), 1);
  EXPECT_EQ(err_,
            "ryx-profile-log: b.log: chunk 3 at byte 496: the file ends within the chunk's size, "
            "after 2 of 4 bytes; summed up until there\n");
  ASSERT_FALSE(json.Parse(out_.c_str()).HasParseError());
  EXPECT_EQ(json["messages"].GetInt(), 5);
  EXPECT_EQ(json["damage"]["chunk"].GetInt(), 3);

  write("empty.log", "");
  EXPECT_EQ(run("info --json empty.log"), 0);
  EXPECT_FALSE(json.Parse(out_.c_str()).HasParseError());
}

TEST_F(ToolboxCommandsTest, SalvageSaysWhatItKeptAndLost) {
  std::string broken = readFile(kRecordedLog);
  broken[52307] = 127;                 // a table of the second chunk
  broken.replace(173696, 4, 4, '\0');  // the third one's size
  broken += "ab";
  write("broken.log", broken);
  write("good.log", "old");
  ASSERT_EQ(run("salvage broken.log -o good.log"), 0) << err_;
  EXPECT_EQ(err_, "");
  EXPECT_EQ(out_, R"(broken.log: lost 1 chunk, bytes 52300 to 173695 (121396 bytes): )"
                  R"(its 121392 bytes do not verify
broken.log: mended bytes 173696 to 295091 (121396 bytes): a chunk of 121392 bytes )"
                  R"(whose size was damaged
broken.log: lost bytes 356312 to 356313 (2 bytes): the file ends within the chunk's size, )"
                  R"(after 2 of 4 bytes
broken.log: kept 3 chunks (234916 bytes, 1 mended), lost 121398 bytes in 2 places
)");
  EXPECT_EQ(run("verify good.log"), 0);
  EXPECT_EQ(out_, "good.log: sound: 3 chunks, 19 messages, 2582 events, 234916 bytes\n");
  EXPECT_EQ(read("broken.log"), broken);

  const std::string sound = readFile(kRecordedLog);
  ASSERT_EQ(run("salvage " + std::string(kRecordedLog) + " -o copy.log"), 0) << err_;
  EXPECT_EQ(read("copy.log"), sound);
}

TEST_F(ToolboxCommandsTest, SalvageNeverWritesWhatItShouldNot) {
  const std::string broken = readFile(kRecordedLog).substr(0, 100000);
  write("broken.log", broken);
  std::filesystem::create_symlink("broken.log", folder_ / "link.log");
  std::filesystem::create_hard_link(folder_ / "broken.log", folder_ / "hard.log");
  for (const char* good :
       {"broken.log", "link.log", "hard.log", "../$(basename $PWD)/broken.log"}) {
    EXPECT_EQ(run(std::string("salvage broken.log -o ") + good), 2) << good;
    EXPECT_NE(err_.find(": is the same file as broken.log\n"), std::string::npos) << err_;
  }
  write("good.log", "old");
  expectFailure(
      "salvage broken.log -o good.log > /dev/null; trap '' XFSZ; ulimit -f 1; "
      "\"$@\" salvage broken.log -o good.log > /dev/null 2> err; s=$?; cat err >&2; "
      "printf old > good.log; exit $s",
      "cannot write good.log: File too large");
  expectFailure("salvage none.log -o good.log", "cannot read none.log: No such file or directory");
  expectFailure("salvage . -o good.log", "cannot read .: Is a directory");
  expectFailure("salvage broken.log -o none/good.log",
                "cannot write none/good.log: No such file or directory");
  write("junk.log", std::string(5000, 'x'));
  expectFailure("salvage junk.log -o good.log",
                "junk.log: not a profiling log; it looks like text; good.log is not written");
  EXPECT_EQ(read("good.log"), "old");
  EXPECT_EQ(read("broken.log"), broken);
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
    EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
}

TEST_F(ToolboxCommandsTest, CutSelectsByAllConditions) {
  makeLog(kNineMessages, "a.log");
  const struct {
    const char* options;
    const char* texts;
  } cases[] = {
      {"", "abcdefghi"},
      {"--graph b", "b"},
      {"--graph B", ""},
      {"--method execute", "abg"},
      {"--method 77 --method NETRUN", "cdi"},
      {"--method 0", "e"},
      {"--level 1", "acefgi"},
      {"--level -127", "c"},
      {"--level 127", "abcefghi"},
      {"--from 20 --to 40", "bcdf"},
      {"--to 9", "eh"},
      {"--from 18446744073709551615", "g"},
      {"--graph b --graph i", "bi"},
      {"--graph \"$(printf 'j\\377')\"", ""},
      {"--first 0", ""},
      {"--first 2", "ab"},
      {"--first 10", "abcdefghi"},
      {"--last 2", "hi"},
      {"--last 10", "abcdefghi"},
      {"--last 0", ""},
      {"--messages 1:3", "bcd"},
      {"--messages 8:99", "i"},
      {"--messages 9:9", ""},
      {"--method Execute --first 2", "ab"},
      {"--method Execute --last 2", "bg"},
      {"--messages 3:8 --level 1 --last 2", "gi"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.options);
    EXPECT_EQ(run(std::string("cut a.log -o part.log ") + test.options), 0);
    EXPECT_EQ(err_, *test.texts != '\0'
                        ? ""
                        : "ryx-profile-log: a.log: no message is selected; part.log holds the "
                          "header alone\n");
    EXPECT_EQ(textsOf("part.log"), test.texts);
    EXPECT_NE(out_.find("\"info_text\": \"first\""), std::string::npos);
    EXPECT_EQ(out_.find("second"), std::string::npos);
    EXPECT_EQ(run("verify part.log"), 0);
  }
  makeLog("{}", "empty.log");
  EXPECT_EQ(run("cut empty.log -o part.log"), 0);
  EXPECT_EQ(read("part.log"), "");
  EXPECT_EQ(err_, "ryx-profile-log: empty.log: no message is selected; part.log holds nothing\n");

  for (const char* options : {"--method nope", "--method 128", "--level 128", "--first -1",
                              "--last 1x", "--to 18446744073709551616", "--graph", "--first=",
                              "b.log", "-o a.log", "--first 1 --last 1", "--from 41 --to 40",
                              "--messages 2:1", "--messages 2", "--messages 2:", "--messages :2"})
    EXPECT_EQ(run(std::string("cut a.log -o part.log ") + options), 2) << options;
  EXPECT_EQ(run("cut a.log"), 2);
}

/// Everything a document can say of a message survives.
TEST_F(ToolboxCommandsTest, CutCopiesEveryField) {
  const std::string document = R"({
  "header": {
    "time_scale": 0.5,
    "epoch_timestamp": 0,
    "steady_clock_timestamp": 3,
    "extension": {
      "value_0": 1,
      "value_1": 0,
      "value_2": 4294967295,
      "value_3": 255
    },
    "info_text": "",
    "backend_version": "a\u0000b\\x80",
    "info_label": "x"
  },
  "messages": [
    {
      "timestamp": {
        "time": 1,
        "time_2": 18446744073709551615
      },
      "method_type": 77,
      "timing": {
        "start": 0,
        "end": 1,
        "start_2": 2,
        "end_2": 3,
        "flag": 0
      },
      "level": -128,
      "events": [
        {
          "identifier": "",
          "event_type": 0,
          "uint_value": 0,
          "unit": 0,
          "nested_events": [],
          "value_kind": 9,
          "int_value": -1,
          "float_value": 0,
          "bytes_value": [0, 255],
          "file_name": "f",
          "timestamp": 0,
          "double_value": -0.125,
          "string_value": "a\u0000"
        },
        {
          "nested_events": [
            {
              "bytes_value": []
            },
            {}
          ]
        }
      ],
      "text": "\\xFF"
    },
    {
      "timestamp": {},
      "timing": {},
      "events": []
    }
  ]
}
)";
  makeLog(document, "a.log");
  ASSERT_EQ(run("cut a.log -o b.log"), 0) << err_;
  ASSERT_EQ(run("dump b.log"), 0) << err_;
  EXPECT_EQ(out_, document);

  // A large log is cut in chunks, and loses nothing either.
  ASSERT_EQ(run("cut " + std::string(kRecordedLog) + " -o whole.log && \"$@\" verify whole.log"),
            0);
  EXPECT_NE(out_.find(" 27 messages, 4294 events, "), std::string::npos) << out_;
}

TEST_F(ToolboxCommandsTest, CutLeavesOutWhatIsPrivate) {
  makeLog(R"({header: {info_text: "det", backend_version: "", info_label: "x"}, messages: [
    {timestamp: {}, timing: {}, text: "det", method_type: Execute, events: [
      {identifier: "det\u0000 more", bytes_value: [1, 2], file_name: "det", string_value: "det",
       uint_value: 7, nested_events: [{bytes_value: []}]}]}]})",
          "a.log");
  ASSERT_EQ(run("cut a.log -o b.log --hash-names --no-payloads && \"$@\" dump b.log"), 0) << err_;
  std::string texts = out_;
  texts.erase(std::remove_if(texts.begin(), texts.end(),
                             [](char c) { return c == ' ' || c == '\n' || c == '"'; }),
              texts.end());
  // printf det | sha256sum
  EXPECT_EQ(texts,
            "{header:{info_text:3c2d493a01a7,backend_version:,info_label:2d711642b726},messages:[{"
            "timestamp:{},method_type:Execute,timing:{},events:[{identifier:3c2d493a01a7,"
            "uint_value:7,nested_events:[{}],file_name:3c2d493a01a7,string_value:3c2d493a01a7}],"
            "text:3c2d493a01a7}]}");
}

}  // namespace
}  // namespace ryx::tests
