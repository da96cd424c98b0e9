// SPDX-License-Identifier: Apache-2.0
// The writer library: what it writes verifies and reads back, and what goes wrong is told.

#include <fcntl.h>
#include <flatbuffers/idl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "fuzz/log_model.h"
#include "ryx/profile_log_writer.h"
#include "stream/chunk_file.h"
#include "stream/chunk_verifier.h"
#include "tests/process.h"
#include "writer/chunk_builder.h"
#include "writer/text_table.h"

namespace ryx::profiling {
namespace {

using Chunks = std::vector<std::string>;  // each as JSON on one line

constexpr size_t kNoLimit = std::numeric_limits<size_t>::max();

class WriterTest : public testing::Test {
 protected:
  WriterTest() {
    EXPECT_TRUE(parser_.Parse(tests::readFile(RYX_SCHEMA_PATH).c_str()));
    parser_.opts.indent_step = -1;
    parser_.opts.output_enum_identifiers = false;
    parser_.opts.set_empty_strings_to_null = parser_.opts.set_empty_vectors_to_null = false;
    parser_.opts.size_prefixed = true;
  }

  static MessageRecord named(std::string_view text) {
    MessageRecord message;
    message.text = text;
    return message;
  }
  static std::string json(const std::string& text) {
    return "{timestamp: {},timing: {},text: \"" + text + "\"}";
  }
  /// The chunk of one or two messages that are `named`.
  static std::string chunk(const std::string& text) { return "{messages: [" + json(text) + "]}"; }
  static std::string chunk(const std::string& one, const std::string& two) {
    return "{messages: [" + json(one) + "," + json(two) + "]}";
  }

  /// A message whose events go `levels` deep.
  const MessageRecord& nested(size_t levels) {
    chain_.assign(levels, EventRecord());
    for (size_t i = 1; i < levels; ++i) chain_[i - 1].nestedEvents = {&chain_[i], 1};
    deep_.events = {chain_.data(), 1};
    return deep_;
  }

  /// The chunks of the file; fails the test when it is not a whole log.
  Chunks readChunks() { return readChunks(path_); }
  Chunks readChunks(const std::string& path) {
    ChunkFile file;
    EXPECT_TRUE(file.open(path));
    Chunks chunks;
    parser_.opts.size_prefixed = false;
    while (file.readNext() == ChunkRead::Chunk) {
      const ByteVector& bytes = *file.bytes();
      EXPECT_EQ(bytes.size(), file.presentBytes());
      chunks.emplace_back("damaged");
      if (!verifyChunk(bytes.data(), bytes.size())) continue;
      chunks.back().clear();
      flatbuffers::GenerateText(parser_, bytes.data(), &chunks.back());
    }
    EXPECT_EQ(0U, file.trailingBytes());
    return chunks;
  }

  flatbuffers::Parser parser_;
  const tests::TemporaryFolder folder_;
  const std::string path_ = folder_ / "run.log";
  std::vector<EventRecord> chain_;
  MessageRecord deep_;
};

TEST_F(WriterTest, PutsEveryValueIntoItsField) {
  // Every field with a value of its own; zero and empty; absent.
  const std::string document =
      "{header: {time_scale: 1.5,epoch_timestamp: 11,steady_clock_timestamp: 12,"
      "extension: {value_0: 13,value_1: 14,value_2: 15,value_3: 16},"
      "info_text: \"text\",backend_version: \"version\",info_label: \"label\"},"
      "messages: [{timestamp: {time: 1,time_2: 2},method_type: 8,"
      "timing: {start: 3,end: 4,start_2: 5,end_2: 6,flag: 9},level: -2,"
      "events: [{identifier: \"i\\n\",event_type: 405,uint_value: 18446744073709551615,unit: 3,"
      "nested_events: [{identifier: \"\",event_type: 0,uint_value: 0,unit: 0,value_kind: 0,"
      "int_value: 0,float_value: 0.0,bytes_value: [],file_name: \"\",timestamp: 0,"
      "double_value: 0.0,string_value: \"\"},{}],value_kind: 4,int_value: -5,float_value: 0.5,"
      "bytes_value: [1,255],file_name: \"f\",timestamp: 7,double_value: -0.25,"
      "string_value: \"s\"}],text: \"graph\"},{timestamp: {time: 0,time_2: 0},method_type: 0,"
      "timing: {start: 0,end: 0,start_2: 0,end_2: 0,flag: 0},level: 0,events: [],text: \"\"},"
      "{timestamp: {},timing: {}}]}";
  ASSERT_TRUE(parser_.ParseJson(document.c_str())) << parser_.error_;
  const auto* log = reinterpret_cast<const char*>(parser_.builder_.GetBufferPointer());
  const auto model = fuzz::readModel({log, parser_.builder_.GetSize()});
  ASSERT_TRUE(model);
  tests::writeFile(path_, fuzz::writeModel(*model));
  EXPECT_EQ(Chunks{document}, readChunks());
}

TEST_F(WriterTest, SettersChooseTheField) {
  const uint8_t bytes[] = {1, 2};
  EventRecord events[6];
  events[0].setInt(-5);
  events[1].setUint(5);
  events[2].setFloat(0.5F);
  events[3].setBytes(bytes);
  events[4].setDouble(-0.25);
  events[5].setString("s");
  deep_.method = ProfiledMethod::Execute;
  deep_.events = events;
  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.addMessage(deep_) && log.close());
  EXPECT_EQ(Chunks{"{messages: [{timestamp: {},method_type: 1,timing: {},events: ["
                   "{value_kind: 1,int_value: -5},{uint_value: 5,value_kind: 2},"
                   "{value_kind: 3,float_value: 0.5},{value_kind: 4,bytes_value: [1,2]},"
                   "{value_kind: 5,double_value: -0.25},{value_kind: 6,string_value: \"s\"}]}]}"},
            readChunks());
}

TEST_F(WriterTest, EndsChunksAtTheFirstLimit) {
  const std::string big(1000, 'x');
  const struct {
    ChunkLimits limits;
    std::vector<std::string> texts;
    Chunks chunks;
  } cases[] = {
      {{2, kNoLimit}, {"a", "b", "c"}, {chunk("a", "b"), chunk("c")}},
      {{2, kNoLimit}, {"a", "b"}, {chunk("a", "b")}},
      {{0, kNoLimit}, {"a", "b"}, {chunk("a"), chunk("b")}},
      {{kNoLimit, 1000}, {"a", big, "b"}, {chunk("a", big), chunk("b")}},
      {{}, {"a", "b"}, {chunk("a", "b")}},
      {{}, {}, {}},
  };
  for (const auto& test : cases) {
    ProfileLogWriter log(test.limits);
    ASSERT_TRUE(log.open(path_));
    for (const std::string& text : test.texts) ASSERT_TRUE(log.addMessage(named(text)));
    ASSERT_TRUE(log.close() && log.close()) << log.error();
    EXPECT_EQ(test.chunks, readChunks());
  }
}

TEST_F(WriterTest, FinishedChunksAreInTheFileAndEveryEndWritesTheLast) {
  for (const bool opensAnother : {false, true}) {
    std::optional<ProfileLogWriter> log(ChunkLimits{2, kNoLimit});
    ASSERT_TRUE(log->open(path_));
    for (const char* text : {"a", "b", "c"}) ASSERT_TRUE(log->addMessage(named(text)));
    EXPECT_EQ(Chunks{chunk("a", "b")}, readChunks());
    ASSERT_TRUE(!opensAnother || log->open(folder_ / "another.log"));
    log.reset();
    EXPECT_EQ((Chunks{chunk("a", "b"), chunk("c")}), readChunks());
  }
}

TEST_F(WriterTest, WritesTheHeaderIntoTheNextChunkOnly) {
  HeaderRecord first, second;
  first.infoText = "first";
  second.infoText = "second";
  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.setHeader(first) && log.setHeader(second) && log.flush());
  ASSERT_TRUE(log.flush() && log.addMessage(named("m")) && log.close());
  EXPECT_EQ((Chunks{"{header: {info_text: \"second\"}}", chunk("m")}), readChunks());
}

TEST_F(WriterTest, RefusesWhatCannotBeReadBackAndGoesOn) {
  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.addMessage(nested(62)) && log.flush());
  EXPECT_FALSE(log.addMessage(nested(63)));
  // Only announced: a refused message is never looked into.
  const uint8_t byte = 0;
  EventRecord huge[2];
  for (EventRecord& event : huge) event.setBytes({&byte, 1073741820});
  // 2^40 events: each level's two share the next level.
  EventRecord shared[40][2];
  for (size_t i = 1; i < std::size(shared); ++i)
    shared[i - 1][0].nestedEvents = shared[i - 1][1].nestedEvents = shared[i];
  for (const EventRecord* events : {huge, shared[0]}) {
    deep_.events = {events, 2};
    EXPECT_FALSE(log.addMessage(deep_));
  }
  EXPECT_FALSE(log.addMessage(named({"", kNoLimit})));
  HeaderRecord header;
  header.infoText = std::string_view("", kNoLimit - 1);
  EXPECT_FALSE(log.setHeader(header));

  EXPECT_TRUE(log.addMessage(named("good")) && log.close());
  EXPECT_EQ("cannot write " + path_ + ": the events of a message are nested too deeply",
            log.error());
  const Chunks chunks = readChunks();
  ASSERT_EQ(2U, chunks.size());
  EXPECT_EQ(chunk("good"), chunks[1]);
}

TEST_F(WriterTest, WritesATextThatRepeatsOnceAChunk) {
  const std::string text(1000, 'x');
  size_t sizes[2] = {};
  for (const bool once : {false, true}) {
    ProfileLogWriter log({}, once ? RepeatedTexts::Once : RepeatedTexts::EachTime);
    ASSERT_TRUE(log.open(path_) && log.addMessage(named(text)) && log.addMessage(named(text)));
    ASSERT_TRUE(log.close());
    EXPECT_EQ(Chunks{chunk(text, text)}, readChunks());
    sizes[once] = tests::readFile(path_).size();
  }
  EXPECT_LT(2 * text.size(), sizes[0]);
  EXPECT_GT(2 * text.size(), sizes[1]);

  // A log of many chunks, events and texts, recorded when texts were written each time.
  const std::string recorded = RYX_SAMPLES_DIR "/text-detection.log";
  const std::string bytes = tests::readFile(recorded);
  const auto model = fuzz::readModel(bytes);
  ASSERT_TRUE(model);
  tests::writeFile(path_, fuzz::writeModel(*model));
  EXPECT_EQ(readChunks(recorded), readChunks());
  EXPECT_GT(bytes.size() * 3 / 4, tests::readFile(path_).size());
}

TEST(TextTableTest, FindsNoOtherTextAndNoPlaceOfAnEarlierChunk) {
  TextTable table;
  const auto find = [&](std::string_view text, uint64_t hash) {
    return table.find(text, hash, [](TextTable::Place) { return std::string_view("text"); });
  };
  for (TextTable::Place place = 1; place <= 5; ++place) table.remember(11, place);
  EXPECT_EQ(5U, find("text", 11));
  EXPECT_EQ(0U, find("text", 12));
  EXPECT_EQ(0U, find("tex", 11));
  for (int i = 1; i <= 70000; ++i) {  // more chunks than their numbers tell apart
    table.clear();
    ASSERT_EQ(0U, find("text", 11)) << i;
  }
}

TEST(ChunkBuilderTest, NeverBuildsMoreThanTheMaximum) {
  std::mt19937 random(7);  // any seed
  const std::string text(64, 'x');
  for (uint64_t maxBytes = 0; maxBytes < 6000; maxBytes += 61) {
    const bool isTiny = random() % 2 == 0;  // then, what the chunk keeps of each message counts
    ChunkBuilder builder(RepeatedTexts::EachTime, maxBytes);
    HeaderRecord header;
    header.infoText = std::string_view(text).substr(0, random() % 64);
    AddResult result = builder.setHeader(header);
    while (result == AddResult::Added) {
      std::vector<EventRecord> events(isTiny ? 0 : random() % 4);
      for (EventRecord& event : events) {
        const auto fields = random();  // many different vtables
        if (fields & 1) event.identifier = std::string_view(text).substr(random() % 64);
        if (fields & 2) event.setBytes({});
        if (fields & 4) event.doubleValue = event.floatValue = event.uintValue = 0;
        if (fields & 8) event.intValue = event.timestamp = event.unit = 0;
        if (fields & 16) event.fileName = event.stringValue = "", event.eventType = 0;
      }
      MessageRecord message;
      message.events = events;
      if (!isTiny) message.flag = message.start = message.end2 = 0;
      result = builder.addMessage(message);
    }
    EXPECT_TRUE(!builder.empty() || result == AddResult::TooLarge);
    if (builder.empty()) continue;
    EXPECT_GE(maxBytes, builder.finish().size);
    builder.clear();
    EXPECT_EQ(AddResult::Added, builder.setHeader(header));
  }
}

TEST_F(WriterTest, ReportsTheFirstFailureAndStops) {
  ProfileLogWriter log;
  EXPECT_FALSE(log.addMessage(named("")));
  EXPECT_EQ("no log is open", log.error());
  EXPECT_FALSE(log.open("/nonexistent/run.log"));
  EXPECT_EQ("cannot open /nonexistent/run.log: No such file or directory", log.error());
  EXPECT_FALSE(log.close());

  const std::string full = "cannot write /dev/full: No space left on device";
  for (const bool flushes : {false, true}) {
    ASSERT_TRUE(log.open("/dev/full") && log.addMessage(named("")));
    EXPECT_FALSE(flushes && log.flush());
    EXPECT_FALSE(flushes && (log.addMessage(named("")) || log.setHeader({}) || log.flush()));
    EXPECT_FALSE(log.close() || log.addMessage(named("")));
    EXPECT_EQ(full, log.error());
  }
  ASSERT_TRUE(log.open(path_) && log.addMessage(named("m")) && log.close()) << log.error();
  EXPECT_EQ("", log.error());
}

TEST_F(WriterTest, RefusesASecondWriterOfOneFile) {
  const std::string link = folder_ / "link.log";
  ASSERT_EQ(0, symlink(path_.c_str(), link.c_str()));
  ProfileLogWriter first, second;
  ASSERT_TRUE(first.open(path_) && first.addMessage(named("a")) && first.flush());
  EXPECT_FALSE(second.open(link) || second.addMessage(named("lost")));
  EXPECT_EQ("cannot open " + link + ": another writer has it open", second.error());
  ASSERT_TRUE(first.addMessage(named("b")) && first.close()) << first.error();
  EXPECT_EQ((Chunks{chunk("a"), chunk("b")}), readChunks());

  ASSERT_TRUE(second.open(link) && second.addMessage(named("c")) && second.close());
  EXPECT_EQ(Chunks{chunk("c")}, readChunks());
  EXPECT_TRUE(first.open("/dev/null") && second.open("/dev/null"));
}

TEST_F(WriterTest, OnlyTheProcessThatOpenedALogWritesIt) {
  for (const bool childDestroysIt : {false, true}) {
    std::optional<ProfileLogWriter> log(std::in_place);
    ASSERT_TRUE(log->open(path_) && log->addMessage(named("once")));
    const pid_t child = fork();
    if (child == 0) {
      const bool refused =
          !log->flush() && log->error() == "cannot write " + path_ + ": another process opened it";
      if (childDestroysIt) log.reset();
      raise(refused ? SIGSTOP : SIGABRT);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, WUNTRACED));
    EXPECT_TRUE(WIFSTOPPED(status));
    EXPECT_FALSE(ProfileLogWriter().open(path_)) << "the child has unlocked the log";
    EXPECT_TRUE(log->close());
    EXPECT_EQ(Chunks{chunk("once")}, readChunks());
    EXPECT_TRUE(log->open(path_)) << log->error() << ", by the child";
    kill(child, SIGKILL);
    ASSERT_EQ(child, waitpid(child, &status, 0));
  }
}

TEST_F(WriterTest, CutsAHalfWrittenChunkOffAndRaisesNoSignal) {
  rlimit before{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
  const std::string text(400, 'x');
  sigset_t blocked, pending;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGXFSZ);
  for (const bool hostHasOnePending : {false, true}) {
    if (hostHasOnePending) pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    if (hostHasOnePending) raise(SIGXFSZ);
    const rlimit small = {1000, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    ProfileLogWriter log({1, kNoLimit});
    EXPECT_TRUE(log.open(path_) && log.addMessage(named(text)) && log.addMessage(named(text)));
    EXPECT_FALSE(log.addMessage(named(text)));
    EXPECT_FALSE(log.close());
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ("cannot write " + path_ + ": File too large", log.error());
    EXPECT_EQ((Chunks{chunk(text), chunk(text)}), readChunks());
    sigpending(&pending);
    EXPECT_EQ(hostHasOnePending, sigismember(&pending, SIGXFSZ));
  }
  sigtimedwait(&blocked, nullptr, nullptr);
  pthread_sigmask(SIG_UNBLOCK, &blocked, &pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE)) << "the writer has left it blocked";
}

TEST_F(WriterTest, WaitsOutInterruptionsAndSurvivesABrokenPipe) {
  ASSERT_EQ(0, mkfifo(path_.c_str(), 0600));
  const std::string text(200000, 'x');  // more than a pipe holds
  FILE* counter = popen(("exec <'" + path_ + "'; sleep 0.05; wc -c").c_str(), "r");
  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.addMessage(named(text)));
  struct sigaction action = {}, before = {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, &before);
  const itimerval often = {{0, 2000}, {0, 2000}}, never = {};
  setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_TRUE(log.close()) << log.error();
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  size_t size = 0;
  EXPECT_EQ(1, fscanf(counter, "%zu", &size));
  EXPECT_LT(text.size(), size);
  pclose(counter);

  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_TRUE(log.open(path_) && log.addMessage(named("lost")));
  close(reader);
  EXPECT_FALSE(log.close());
  EXPECT_EQ("cannot write " + path_ + ": Broken pipe", log.error());
}

}  // namespace
}  // namespace ryx::profiling
