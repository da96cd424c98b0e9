// SPDX-License-Identifier: Apache-2.0
// Reading: what a log's chunks and messages leave in the reader.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/logger.h"
#include "reader/ryx_profile_log_reader_gpu.h"
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
  using RyxProfileLogReader::saveObjectEvents_;
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

  OpenReader unreadable("/proc/self/mem", VisibilityLevel{127});
  EXPECT_FALSE(unreadable.readLogFile(false));
  EXPECT_TRUE(logged("Invalid or nonexistent file: /proc/self/mem"));

  EXPECT_TRUE(readBytes(""));
  EXPECT_TRUE(readBytes("abc"));
}

#ifndef RYX_SANITIZED  // sanitizers have memory needs of their own
TEST_F(ReaderTest, ChunksThatDoNotFitIntoMemory) {
  rlimit old;
  getrlimit(RLIMIT_AS, &old);
  const rlimit one = {rlim_t{1} << 30, old.rlim_max};
  setrlimit(RLIMIT_AS, &one);
  EXPECT_FALSE(readBytes("\xff\xff\xff\x7f" + std::string(16, 'x')));
  setrlimit(RLIMIT_AS, &old);
  EXPECT_EQ(std::vector<std::string>{"Unable to allocate memory: std::bad_alloc"}, g_loggedLines);
}
#endif

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
  EXPECT_FALSE(reader_->readLogFile(true));
  EXPECT_FALSE(reader_->saveObjectEvents_);
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
  g_loggedLines.clear();
  ASSERT_TRUE(read());
  const std::string none = "profiling::FlatBufferReaderUtil no more messages! (Message Counter: 0)";
  const std::string end = "profiling::RyxProfileLogReader reached EOF!";
  EXPECT_EQ((std::vector<std::string>{
                "hdr is nullptr",
                "profiling::FlatBufferReaderUtil no more messages! (Message Counter: 1)", end, none,
                end, "Header details have been saved already.", none, end}),
            g_loggedLines);
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

TEST_F(ReaderTest, InitTotalsOfStepsThatTookNoTime) {
  MessageRecord step = message(ProfiledMethod::InitStep);
  step.timestamp = 77;
  step.end = step.start;
  write(step);
  step.method = ProfiledMethod::Finalize;
  write(step);
  ASSERT_TRUE(read());
  EXPECT_EQ(0U, data().initTotalDuration_);
  EXPECT_EQ(77U, data().initTotalTimestamp_) << "there is no Init message to take another from";
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

TEST_F(ReaderTest, OneGraphWithoutAQueueWaitLeavesNone) {
  const EventRecord third[] = {event(405, "wait")};
  EventRecord second = event(0, "second");
  second.nestedEvents = third;
  const EventRecord seconds[] = {second};
  EventRecord first = event(0, "first");
  first.nestedEvents = seconds;
  write(message(ProfiledMethod::ExecuteHostRoundTrip, "a"), {event(405, "wait", 4)});
  write(message(ProfiledMethod::Execute, "b"), {event(405, "wait", 4)});
  write(message(ProfiledMethod::Execute, "too deep"), {first});
  ASSERT_TRUE(read());
  EXPECT_EQ(3, std::count(notes_.begin(), notes_.end(), '\n'));
  EXPECT_TRUE(data().queueWaitAverages_.empty());
  EXPECT_TRUE(data().queueWaitMaxima_.empty());
  EXPECT_TRUE(data().queueWaitMinima_.empty());
}

TEST_F(ReaderTest, ASecondReadAddsToTheFirst) {
  write(message(ProfiledMethod::Execute, "a"));
  ASSERT_TRUE(read());
  ASSERT_TRUE(reader_->readLogFile(true));
  EXPECT_TRUE(reader_->saveObjectEvents_);
  ASSERT_EQ(1U, data().graphExecutions_.graphs().size());
  EXPECT_EQ(2U, data().graphExecutions_.graphs()[0].executions.size());
  EXPECT_EQ(2U, data().executeAverages_.size());
}

/// A subclass's own way of writing events and header.
template <typename Reader>
class Overriding : public Reader {
 public:
  using Reader::Reader;
  std::string getHeaderDetails() override { return "own header\n"; }
  void printEventTree(std::ostream& os, const std::vector<ProfileEvent>& events,
                      uint64_t level) override {
    if (!events.empty()) os << "own tree " << level << '\n';
  }
  void writeCsvEvents(std::ostream& os, const std::vector<ProfileEvent>& events, uint64_t timestamp,
                      const std::string& message) override {
    if (!events.empty()) os << "own rows " << timestamp << message << '\n';
  }
};

/// A standard output of the host's that refuses what is written first.
class RefusingOnce : public std::stringbuf {
 public:
  RefusingOnce() : hosts_(std::cout.rdbuf(this)) {}
  ~RefusingOnce() override {
    std::cout.rdbuf(hosts_);
    std::cout.clear();
  }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    return std::exchange(refuses_, false) ? 0 : std::stringbuf::xsputn(text, size);
  }

 private:
  std::streambuf* hosts_;
  bool refuses_ = true;
};

TEST_F(ReaderTest, ReportsGoThroughWhatASubclassOverrides) {
  write(message(ProfiledMethod::Execute), {event(0, "conv")});
  write(message(ProfiledMethod::DeInit), {event(0, "release")});
  ASSERT_TRUE(writer_.close());
  const auto reportsOf = [this](auto&& reader) {
    EXPECT_TRUE(reader.readLogFile(false));
    testing::internal::CaptureStdout();
    EXPECT_TRUE(reader.generateOutput(folder_ / "report"));
    std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(0U, text.find("own header\n\nRyx Init"));
    return text;
  };
  const auto trees = [](const std::string& text) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find("own tree 1\n", at)) != std::string::npos; ++at) ++count;
    return count;
  };
  constexpr VisibilityLevel kEverything{127};
  EXPECT_EQ(4U, trees(reportsOf(Overriding<RyxProfileLogReader>(path_, kEverything))));
  const std::string csv = tests::readFile(folder_ / "report");
  EXPECT_NE(std::string::npos, csv.find("own rows 1000DE-INIT\n")) << csv;
  EXPECT_NE(std::string::npos, csv.find("own rows 1000EXECUTE\n")) << csv;
  EXPECT_EQ(2U, trees(reportsOf(Overriding<RyxProfileLogReaderGPU>(path_, kEverything))));
}

TEST_F(ReaderTest, AFailedStandardOutputIsLoggedAndKeepsItsState) {
  OpenReader reader("", VisibilityLevel{127});
  RefusingOnce output;
  EXPECT_TRUE(reader.generateOutput(""));
  EXPECT_TRUE(logged("Invalid output file: [standard output]"));
  EXPECT_TRUE(std::cout.good());
  std::cout.setstate(std::ios::failbit);
  EXPECT_TRUE(reader.generateOutput(""));
  EXPECT_EQ(1, std::count(g_loggedLines.begin(), g_loggedLines.end(),
                          "Invalid output file: [standard output]"));
  EXPECT_EQ(0U, output.str().find("\nRyx Init"));
  EXPECT_TRUE(std::cout.fail());
}

}  // namespace
}  // namespace ryx::profiling
