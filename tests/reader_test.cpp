// Reading: what a log's chunks and messages leave in the reader.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/logger.h"
#include "reader/ryx_profile_log_reader.h"
#include "ryx/profile_log_writer.h"
#include "stream/chunk_verifier.h"
#include "stream/log_format.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

std::vector<std::string> g_loggedLines;

void rememberLine(const char* format, uint32_t, uint64_t, va_list arguments) {
  char text[256];
  vsnprintf(text, sizeof text, format, arguments);
  g_loggedLines.emplace_back(text);
}

class OpenReader : public RyxProfileLogReader {
 public:
  using RyxProfileLogReader::RyxProfileLogReader;
  [[nodiscard]] const ProfileData& data() const { return data_; }
};

EventRecord event(uint32_t type, const char* identifier, uint64_t value = 1) {
  EventRecord record;
  record.eventType = type;
  record.identifier = identifier;
  record.setUint(value);
  return record;
}

MessageRecord message(ProfiledMethod method, const char* text = "net") {
  MessageRecord record;
  record.method = method;
  record.text = text;
  record.timestamp = 1000;
  record.start = 10;
  record.end = 30;
  return record;
}

class ReaderTest : public testing::Test {
 protected:
  ReaderTest() {
    g_loggedLines.clear();
    log::initializeLogging(rememberLine, log::RYX_LOG_LEVEL_DEBUG);
    EXPECT_TRUE(writer_.open(path_));
  }
  ~ReaderTest() override { log::terminateLogging(); }

  void write(const MessageRecord& record, const std::vector<EventRecord>& events = {}) {
    MessageRecord withEvents = record;
    withEvents.events = events;
    ASSERT_TRUE(writer_.addMessage(withEvents)) << writer_.error();
  }
  void endChunk() { ASSERT_TRUE(writer_.flush()); }

  /// The log so far as bytes; nothing can be added afterwards.
  std::string bytes() {
    EXPECT_TRUE(writer_.close());
    return tests::readFile(path_);
  }

  bool read(int8_t level = 127) {
    (void)writer_.close();
    reader_ = std::make_unique<OpenReader>(path_, static_cast<VisibilityLevel>(level));
    testing::internal::CaptureStdout();
    const bool whole = reader_->readLogFile(false);
    notes_ = testing::internal::GetCapturedStdout();
    return whole;
  }
  bool readBytes(const std::string& content) {
    (void)writer_.close();
    tests::writeFile(path_, content);
    return read();
  }
  [[nodiscard]] const ProfileData& data() const { return reader_->data(); }
  [[nodiscard]] static bool logged(const std::string& line) {
    return std::count(g_loggedLines.begin(), g_loggedLines.end(), line) > 0;
  }

  tests::TemporaryFolder folder_;
  const std::string path_ = folder_ / "run.log";
  ProfileLogWriter writer_;
  std::unique_ptr<OpenReader> reader_;
  std::string notes_;
};

std::string names(const std::vector<ProfileEvent>& events) {
  std::string text;
  for (const ProfileEvent& each : events) text += each.identifier + ' ';
  return text;
}

TEST_F(ReaderTest, FilesThatAreNoLogs) {
  OpenReader missing(folder_ / "missing.log", VisibilityLevel{127});
  EXPECT_FALSE(missing.readLogFile(false));
  EXPECT_TRUE(logged("Invalid or nonexistent file: " + folder_ / "missing.log"));
  EXPECT_EQ("", missing.getHeaderDetails());
  EXPECT_TRUE(logged("Header details unavailable."));
  EXPECT_EQ(1, missing.getReaderStatus());

  OpenReader folder(folder_.path(), VisibilityLevel{127});
  EXPECT_FALSE(folder.readLogFile(false));
  EXPECT_TRUE(logged("Invalid or nonexistent file: " + folder_.path()));

  EXPECT_TRUE(readBytes(""));
  EXPECT_TRUE(readBytes("abc"));
}

TEST_F(ReaderTest, BytesThatAreNoChunk) {
  using std::string_literals::operator""s;
  for (const std::string& content :
       {"\0\0\0\0"s, "\x0b\0\0\0"s + std::string(11, '\1'),
        "\xff\xff\xff\x7f"s + "abcdefghijklmnop", "\xff\xff\xff\xff"s + "abcdefghijklmnop",
        "\x40\0\0\0"s + std::string(64, '\xff'), "\x10\0\0\0"s + std::string(16, '\0')}) {
    g_loggedLines.clear();
    EXPECT_FALSE(readBytes(content));
    EXPECT_EQ(std::vector<std::string>{"Corrupted flatbuffer binary stream"}, g_loggedLines);
  }
}

TEST_F(ReaderTest, DamageKeepsEarlierMessagesButNoStatistics) {
  write(message(ProfiledMethod::Execute, "a"));
  endChunk();
  const size_t firstChunk = tests::readFile(path_).size();
  write(message(ProfiledMethod::Execute, "b"));
  std::string damaged = bytes();
  damaged[firstChunk + kSizePrefixBytes] = '\x7f';
  EXPECT_FALSE(readBytes(damaged));
  ASSERT_EQ(1U, data().graphExecutions_.graphs().size());
  EXPECT_TRUE(data().executeAverages_.empty());
  // Nothing of the released chunks is handed out afterwards.
  EXPECT_FALSE(reader_->processNextMessage());
}

TEST_F(ReaderTest, EveryTruncationIsRefusedOrReadToItsEnd) {
  for (const char* graph : {"a", "b"}) {
    write(message(ProfiledMethod::Execute, graph), {event(0, "conv"), event(0, "relu")});
    endChunk();
  }
  const std::string whole = bytes();
  const size_t second =
      kSizePrefixBytes + decodeSizePrefix(reinterpret_cast<const uint8_t*>(whole.data()));
  for (size_t size = 0; size < whole.size(); ++size) {
    const bool read = readBytes(whole.substr(0, size));
    const size_t intoChunk = size < second ? size : size - second;
    if (intoChunk <= 3) {
      EXPECT_TRUE(read) << size;
    }
    if (size >= second) {
      EXPECT_EQ("a", data().graphExecutions_.graphs().at(0).graphName);
    }
    EXPECT_EQ(read, !logged("Corrupted flatbuffer binary stream")) << size;
    g_loggedLines.clear();
  }
}

TEST_F(ReaderTest, MisalignedChunksAreRead) {
  write(message(ProfiledMethod::Execute), {event(0, "conv", 77)});
  const std::string whole = bytes();
  const auto* chunk = reinterpret_cast<const uint8_t*>(whole.data()) + kSizePrefixBytes;
  const size_t size = whole.size() - kSizePrefixBytes;
  for (size_t shift = 0; shift < 8; ++shift) {
    std::vector<uint8_t> shifted(shift + size);
    std::copy_n(chunk, size, shifted.begin() + static_cast<ptrdiff_t>(shift));
    EXPECT_TRUE(verifyChunk(shifted.data() + shift, size)) << shift;
  }
}

TEST_F(ReaderTest, DepthLimit) {
  // Levels of events below a message: 62 verify, and the writer refuses the 63rd.
  std::vector<EventRecord> chain(62, event(0, "level"));
  for (size_t i = 0; i + 1 < chain.size(); ++i) chain[i].nestedEvents = {&chain[i + 1], 1};
  write(message(ProfiledMethod::Execute), {chain[0]});
  ASSERT_TRUE(read());
  size_t depth = 0;
  for (const auto* events = &data().graphExecutions_.graphs()[0].executions[0].events;
       !events->empty(); events = &events->front().subEvents)
    ++depth;
  EXPECT_EQ(62U, depth);
}

TEST_F(ReaderTest, FirstHeaderOfAnyChunkIsKept) {
  write(message(ProfiledMethod::Init));
  endChunk();
  HeaderRecord header;
  header.backendVersion = std::string_view("first\0cut", 9);
  ASSERT_TRUE(writer_.setHeader(header));
  endChunk();
  header.backendVersion = "second";
  header.timeScale = 2;
  ASSERT_TRUE(writer_.setHeader(header));
  ASSERT_TRUE(read());
  const std::string details = reader_->getHeaderDetails();
  EXPECT_NE(std::string::npos, details.find("\nBackend: first\n")) << details;
  EXPECT_NE(std::string::npos, details.find("\nTime Scale: 0\n")) << details;
}

TEST_F(ReaderTest, LevelIsSignedAndStrictlyBelow) {
  MessageRecord hidden = message(ProfiledMethod::Execute, "level 2");
  hidden.level = 2;
  write(hidden);
  hidden.level = -1;
  hidden.text = "level -1";
  write(hidden);
  write(message(ProfiledMethod::Execute, "absent"));

  const auto graphs = [this] {
    std::string text;
    for (const auto& graph : data().graphExecutions_.graphs()) text += graph.graphName + ';';
    return text;
  };
  ASSERT_TRUE(read(3));
  EXPECT_EQ("level 2;level -1;absent;", graphs());
  ASSERT_TRUE(read(2));
  EXPECT_EQ("level -1;absent;", graphs());
  ASSERT_TRUE(read(0));
  EXPECT_EQ("level -1;", graphs());
  ASSERT_TRUE(read(-1));
  EXPECT_EQ("", graphs());
}

TEST_F(ReaderTest, HiddenMessagesLeaveTheTracesTheyShould) {
  MessageRecord hidden = message(ProfiledMethod::ExecuteHostRoundTrip);
  hidden.level = 5;
  write(hidden);
  hidden.method = ProfiledMethod::InitStep;
  write(hidden);
  hidden.method = ProfiledMethod::ComposeGraphs;
  write(hidden);
  hidden.method = ProfiledMethod::Init;
  write(hidden);
  ASSERT_TRUE(read(5));
  EXPECT_TRUE(data().queueWaitSeen_);
  EXPECT_TRUE(data().graphExecutions_.graphs().empty());
  EXPECT_EQ(1000U, data().initStepTimestamp_);
  EXPECT_EQ(0U, data().initStepDuration_);
  EXPECT_EQ(1000U, data().composeGraphsTimestamp_);
  EXPECT_FALSE(data().initSeen_);
  EXPECT_EQ(0U, data().initTimestamp_);
}

TEST_F(ReaderTest, DurationNeedsBothEnds) {
  const struct {
    std::optional<uint64_t> start, end;
    uint64_t duration;
  } cases[] = {{10, 30, 20}, {0, 30, 30}, {{}, 30, 0}, {10, {}, 0}, {30, 10, 0}, {30, 30, 0}};
  for (const auto& c : cases) {
    MessageRecord record = message(ProfiledMethod::Execute);
    record.start = c.start;
    record.end = c.end;
    write(record);
  }
  ASSERT_TRUE(read());
  const auto& executions = data().graphExecutions_.graphs()[0].executions;
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(cases[i].duration, executions[i].duration) << i;
}

TEST_F(ReaderTest, LastInitWins) {
  write(message(ProfiledMethod::Init), {event(0, "old"), event(0, "older")});
  MessageRecord second = message(ProfiledMethod::Init);
  second.timestamp = 2000;
  second.end = 15;
  write(second, {event(100, "new")});
  ASSERT_TRUE(read());
  EXPECT_EQ("new ", names(data().initMethodEvents_));
  EXPECT_EQ(5U, data().initTotalDuration_);
  EXPECT_EQ(2000U, data().initTotalTimestamp_);
  EXPECT_FALSE(data().hasInitEvents_);
}

TEST_F(ReaderTest, SplitByEventTypeAndFlagsThatStay) {
  write(message(ProfiledMethod::Finalize, "a"),
        {event(1, "f1"), event(100, "i1"), event(2, "f2"), event(100, "i2")});
  write(message(ProfiledMethod::Finalize, "b"), {event(100, "i3")});
  ASSERT_TRUE(read());
  EXPECT_EQ("i3 ", names(data().initEvents_));
  ASSERT_EQ(2U, data().graphEventSets_.size());
  EXPECT_EQ("f1 f2 ", names(data().graphEventSets_[0].events));
  EXPECT_EQ("", names(data().graphEventSets_[1].events));
  EXPECT_EQ(40U, data().initTotalDuration_);
}

TEST_F(ReaderTest, ExecutionWithoutInitEventsEmptiesThem) {
  write(message(ProfiledMethod::Execute, "a"), {event(100, "i1"), event(0, "x")});
  write(message(ProfiledMethod::Execute, "b"), {event(300, "y")});
  write(message(ProfiledMethod::Execute, "a"));
  ASSERT_TRUE(read());
  EXPECT_TRUE(data().hasInitEvents_);
  EXPECT_EQ("", names(data().initEvents_));
  const auto& graphs = data().graphExecutions_.graphs();
  ASSERT_EQ(2U, graphs.size());
  EXPECT_EQ("a", graphs[0].graphName);
  EXPECT_EQ(2U, graphs[0].executions.size());
  EXPECT_EQ("x ", names(graphs[0].executions[0].events));
  EXPECT_EQ("y ", names(graphs[1].executions[0].events));
}

TEST_F(ReaderTest, GraphRunSplitsThreeWaysAndIgnoresItsTiming) {
  write(message(ProfiledMethod::GraphRun),
        {event(300, "f"), event(0, "x"), event(100, "i"), event(301, "y")});
  ASSERT_TRUE(read());
  EXPECT_EQ("i ", names(data().initEvents_));
  ASSERT_EQ(1U, data().graphEventSets_.size());
  EXPECT_EQ("f ", names(data().graphEventSets_[0].events));
  EXPECT_EQ(0U, data().graphEventSets_[0].duration);
  const ExecutionRecord& execution = data().graphExecutions_.graphs()[0].executions[0];
  EXPECT_EQ("x y ", names(execution.events));
  EXPECT_EQ(0U, execution.duration);
  EXPECT_EQ(0U, execution.timestamp);
  EXPECT_TRUE(data().graphRunSeen_);
  EXPECT_FALSE(data().finalizeSeen_);
}

TEST_F(ReaderTest, MessagesThatCannotBeTakenAreSkipped) {
  for (const auto method :
       {std::optional<ProfiledMethod>{}, std::optional<ProfiledMethod>(ProfiledMethod{0}),
        std::optional<ProfiledMethod>(ProfiledMethod{13}),
        std::optional<ProfiledMethod>(ProfiledMethod{-1})}) {
    MessageRecord unknown = message(ProfiledMethod::Init);
    unknown.method = method;
    write(unknown);
  }
  for (const auto method : {ProfiledMethod::Execute, ProfiledMethod::Finalize,
                            ProfiledMethod::GraphRun, ProfiledMethod::ApplyBinarySection}) {
    MessageRecord nameless = message(method);
    nameless.text.reset();
    write(nameless, {event(100, "i"), event(300, "f")});
  }
  write(message(ProfiledMethod::ApplyBinarySectionAlt), {event(100, "kept")});
  ASSERT_TRUE(read());
  EXPECT_EQ(4, std::count(g_loggedLines.begin(), g_loggedLines.end(), "Unknown method type."));
  EXPECT_TRUE(data().graphEventSets_.empty());
  EXPECT_FALSE(data().finalizeSeen_ || data().graphRunSeen_ || data().hasInitEvents_);
  EXPECT_TRUE(data().graphExecutions_.graphs().empty());
  EXPECT_EQ("kept ", names(data().applyBinarySectionExecutions_.graphs()[0].executions[0].events));
}

TEST_F(ReaderTest, StringValuesAreNotShared) {
  EventRecord text = event(0, "text");
  text.setString("same");
  EventRecord absent = event(0, "absent");
  absent.valueKind = 6;
  write(message(ProfiledMethod::Execute), {text, text, absent});
  ASSERT_TRUE(read());
  const auto& events = data().graphExecutions_.graphs()[0].executions[0].events;
  EXPECT_EQ(3U, data().stringValues_.size());
  EXPECT_NE(events[0].value.payload, events[1].value.payload);
  EXPECT_STREQ("same", reinterpret_cast<const char*>(events[1].value.payload));
  EXPECT_STREQ("", reinterpret_cast<const char*>(events[2].value.payload));
}

TEST_F(ReaderTest, InitTotals) {
  MessageRecord step = message(ProfiledMethod::InitStep);
  step.timestamp = 77;
  write(step);
  write(message(ProfiledMethod::ComposeGraphs));
  write(message(ProfiledMethod::Init));
  ASSERT_TRUE(read());
  EXPECT_EQ(20U, data().initTotalDuration_) << "without a finalisation, what Init reports";
  EXPECT_EQ(1000U, data().initTotalTimestamp_);
}

TEST_F(ReaderTest, InitTotalsOfAFinalizedGraph) {
  MessageRecord step = message(ProfiledMethod::InitStep);
  step.timestamp = 77;
  write(step);
  write(message(ProfiledMethod::ComposeGraphs));
  write(message(ProfiledMethod::Init));
  write(message(ProfiledMethod::Finalize), {event(0, "f")});
  ASSERT_TRUE(read());
  EXPECT_EQ(60U, data().initTotalDuration_);
  EXPECT_EQ(77U, data().initTotalTimestamp_);
}

TEST_F(ReaderTest, QueueWaitsWhereEveryExecutionHasOne) {
  EventRecord device = event(0, "device", 9);
  const EventRecord waits[] = {event(405, "wait", 4)};
  device.nestedEvents = waits;
  write(message(ProfiledMethod::ExecuteHostRoundTrip), {device});
  write(message(ProfiledMethod::ExecuteHostRoundTrip), {event(405, "wait", 7)});
  ASSERT_TRUE(read());
  ASSERT_EQ(1U, data().queueWaitAverages_.size());
  ASSERT_EQ(2U, data().queueWaitAverages_[0].waits.size());
  EXPECT_EQ(4U, data().queueWaitAverages_[0].waits[0].payload);
  EXPECT_EQ(7U, data().queueWaitMaxima_.at(0).wait) << "of the last of two equally long ones";
  EXPECT_EQ("", notes_);
}

TEST_F(ReaderTest, QueueWaitsThatCannotBeToldApart) {
  MessageRecord record = message(ProfiledMethod::ExecuteHostRoundTrip, "a");
  write(record, {event(405, "wait", 4)});
  record.text = "b";
  write(record, {event(405, "wait", 4), event(405, "wait", 4)});
  write(message(ProfiledMethod::Execute, "b"), {event(405, "wait", 4)});
  ASSERT_TRUE(read());
  const std::string note =
      "Multiple queue-wait time events found per execution. Cannot calculate Host Round-Trip "
      "excluding queue wait\n";
  // The last execution of "b" is both its longest and its shortest, and has one.
  EXPECT_EQ(note, notes_);
  EXPECT_TRUE(data().queueWaitAverages_.empty());
  EXPECT_EQ(2U, data().queueWaitMaxima_.size());
}

}  // namespace
}  // namespace ryx::profiling
