// The writer library: what it writes verifies and reads back, and what goes wrong is told.
//
// An executable of its own, because it replaces the process's operator new: to count allocations,
// and to let them fail.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "profile_log_generated.h"
#include "ryx/profile_log_writer.h"
#include "stream/chunk_file.h"
#include "stream/chunk_verifier.h"
#include "tests/process.h"
#include "writer/chunk_builder.h"

namespace {

size_t g_allocations = 0;
bool g_memoryIsExhausted = false;

}  // namespace

// Not inlined: GCC would see free() meet a pointer of operator new.
[[gnu::noinline]] void* operator new(size_t size) {
  ++g_allocations;
  void* storage = g_memoryIsExhausted ? nullptr : std::malloc(size);
  if (storage == nullptr) throw std::bad_alloc();
  return storage;
}
[[gnu::noinline]] void operator delete(void* storage) noexcept { std::free(storage); }
void operator delete(void* storage, size_t) noexcept { operator delete(storage); }
void* operator new[](size_t size) { return operator new(size); }
void operator delete[](void* storage) noexcept { operator delete(storage); }
void operator delete[](void* storage, size_t) noexcept { operator delete(storage); }

namespace ryx::profiling {
namespace {

constexpr size_t kNoLimit = std::numeric_limits<size_t>::max();

class WriterTest : public testing::Test {
 protected:
  static MessageRecord named(std::string_view text) {
    MessageRecord message;
    message.text = text;
    return message;
  }

  /// A message whose events go `levels` deep.
  const MessageRecord& nested(size_t levels) {
    chain_.assign(levels, EventRecord());
    for (size_t i = 1; i < levels; ++i) chain_[i - 1].nestedEvents = {&chain_[i], 1};
    deep_.events = {chain_.data(), 1};
    return deep_;
  }

  /// The texts of the messages of every chunk; fails the test when the file is not a whole log.
  std::vector<std::vector<std::string>> readTexts() {
    std::vector<std::vector<std::string>> chunks;
    readChunks([&](const LogChunk& chunk) {
      chunks.emplace_back();
      if (chunk.messages() == nullptr) return;
      for (const Message* message : *chunk.messages())
        chunks.back().push_back(message->text() ? message->text()->str() : "-");
    });
    return chunks;
  }

  template <typename Visit>
  void readChunks(Visit visit) {
    ChunkFile file;
    ASSERT_TRUE(file.open(path_));
    while (file.readNext() == ChunkRead::Chunk) {
      const ByteVector& bytes = *file.bytes();
      ASSERT_EQ(file.presentBytes(), bytes.size());
      ASSERT_TRUE(verifyChunk(bytes.data(), bytes.size())) << "at byte " << file.offset();
      visit(*flatbuffers::GetRoot<LogChunk>(bytes.data()));
    }
    EXPECT_EQ(file.trailingBytes(), 0u);
  }

  const tests::TemporaryFolder folder_;
  const std::string path_ = folder_ / "run.log";
  std::vector<EventRecord> chain_;
  MessageRecord deep_;
};

TEST_F(WriterTest, KeepsZeroAndEmptyApartFromAbsent) {
  const std::string odd("a\0\xff\n", 4);
  EventRecord zero;
  zero.identifier = odd, zero.fileName = "", zero.stringValue = "";
  zero.eventType = zero.unit = zero.valueKind = 0;
  zero.timestamp = zero.uintValue = 0, zero.intValue = 0;
  zero.floatValue = 0.0f, zero.doubleValue = 0.0;
  zero.bytesValue = ArrayView<uint8_t>();
  const EventRecord events[] = {zero, EventRecord()};

  MessageRecord full;
  full.method = ProfiledMethod{0}, full.level = 0, full.flag = 0, full.text = "";
  full.timestamp = full.timestamp2 = full.start = full.end = full.start2 = full.end2 = 0;
  full.events = events;
  MessageRecord emptyEvents;
  emptyEvents.emptyEvents = true;
  HeaderRecord header;
  header.timeScale = 0.0f, header.epochTimestamp = header.steadyClockTimestamp = 0;
  header.infoText = header.backendVersion = header.infoLabel = "";
  header.hasExtension = true;
  header.extension0 = header.extension1 = header.extension2 = 0, header.extension3 = 0;

  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.setHeader(header) && log.addMessage(full)) << log.error();
  ASSERT_TRUE(log.addMessage(emptyEvents) && log.addMessage(MessageRecord()) && log.close());

  // Every field of the schema, so that a new one that the writer misses fails here.
  const auto countFields = [](const void* table, size_t fields) {
    size_t count = 0;
    for (size_t i = 0; i < fields; ++i)
      count += static_cast<const flatbuffers::Table*>(table)->CheckField(
          flatbuffers::FieldIndexToOffset(static_cast<flatbuffers::voffset_t>(i)));
    return count;
  };
  readChunks([&](const LogChunk& chunk) {
    EXPECT_EQ(countFields(chunk.header(), 7), 7u);
    EXPECT_EQ(countFields(chunk.header()->extension(), 4), 4u);
    ASSERT_EQ(chunk.messages()->size(), 3u);
    const Message* message = chunk.messages()->Get(0);
    EXPECT_EQ(countFields(message, 6), 6u);
    EXPECT_EQ(countFields(message->timestamp(), 2), 2u);
    EXPECT_EQ(countFields(message->timing(), 5), 5u);
    EXPECT_EQ(countFields(message->events()->Get(0), 13), 12u);  // all but nested_events
    EXPECT_EQ(message->events()->Get(0)->identifier()->str(), odd);
    EXPECT_EQ(countFields(message->events()->Get(1), 13), 0u);
    ASSERT_NE(chunk.messages()->Get(1)->events(), nullptr);
    EXPECT_EQ(countFields(chunk.messages()->Get(2), 6), 2u);  // what the schema requires
  });
}

TEST_F(WriterTest, PutsEveryValueIntoItsField) {
  const uint8_t bytes[] = {1, 2, 255};
  std::vector<EventRecord> values(6);
  values[0].setInt(-5), values[1].setUint(~uint64_t{0}), values[2].setFloat(0.5f);
  values[3].setBytes(bytes), values[4].setDouble(-0.25), values[5].setString("s");
  EventRecord parent;
  parent.identifier = "id", parent.eventType = 405, parent.unit = 3, parent.timestamp = 7;
  parent.fileName = "f";
  parent.nestedEvents = values;
  MessageRecord message;
  message.method = ProfiledMethod::NetRun, message.level = -2, message.flag = 9;
  message.timestamp = 1, message.timestamp2 = 2;
  message.start = 3, message.end = 4, message.start2 = 5, message.end2 = 6;
  message.events = {&parent, 1};
  HeaderRecord header;
  header.timeScale = 1.5f, header.epochTimestamp = 11, header.steadyClockTimestamp = 12;
  header.infoText = "text", header.backendVersion = "version", header.infoLabel = "label";

  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.setHeader(header) && log.addMessage(message) && log.close());

  readChunks([&](const LogChunk& chunk) {
    EXPECT_EQ(chunk.header()->time_scale(), 1.5f);
    EXPECT_EQ(chunk.header()->epoch_timestamp(), 11u);
    EXPECT_EQ(chunk.header()->steady_clock_timestamp(), 12u);
    EXPECT_EQ(chunk.header()->info_text()->str(), "text");
    EXPECT_EQ(chunk.header()->backend_version()->str(), "version");
    EXPECT_EQ(chunk.header()->info_label()->str(), "label");
    EXPECT_EQ(chunk.header()->extension(), nullptr);
    const Message& read = *chunk.messages()->Get(0);
    EXPECT_EQ(read.method_type(), MethodType::NetRun);
    EXPECT_EQ(read.level(), -2);
    EXPECT_EQ(read.timestamp()->time(), 1u);
    EXPECT_EQ(read.timestamp()->time_2(), 2u);
    EXPECT_EQ(read.timing()->start(), 3u);
    EXPECT_EQ(read.timing()->end(), 4u);
    EXPECT_EQ(read.timing()->start_2(), 5u);
    EXPECT_EQ(read.timing()->end_2(), 6u);
    EXPECT_EQ(read.timing()->flag(), 9);
    const Event& event = *read.events()->Get(0);
    EXPECT_EQ(event.identifier()->str(), "id");
    EXPECT_EQ(event.event_type(), 405u);
    EXPECT_EQ(event.unit(), 3u);
    EXPECT_EQ(event.timestamp(), 7u);
    EXPECT_EQ(event.file_name()->str(), "f");
    const auto& children = *event.nested_events();
    ASSERT_EQ(children.size(), 6u);
    for (uint32_t i = 0; i < 6; ++i) {
      const auto kinds = {EventValueKind::INT64, EventValueKind::UINT64,  EventValueKind::FLOAT32,
                          EventValueKind::BYTES, EventValueKind::FLOAT64, EventValueKind::STRING};
      EXPECT_EQ(children[i]->value_kind(), kinds.begin()[i]);
    }
    EXPECT_EQ(children[0]->int_value(), -5);
    EXPECT_EQ(children[1]->uint_value(), ~uint64_t{0});
    EXPECT_EQ(children[2]->float_value(), 0.5f);
    EXPECT_EQ(children[3]->bytes_value()->Get(2), 255);
    EXPECT_EQ(children[4]->double_value(), -0.25);
    EXPECT_EQ(children[5]->string_value()->str(), "s");
  });
}

TEST_F(WriterTest, EndsChunksAtTheFirstLimit) {
  using Texts = std::vector<std::vector<std::string>>;
  const std::string big(1000, 'x');
  const struct {
    ChunkLimits limits;
    std::vector<std::string> texts;
    Texts chunks;
  } cases[] = {
      {{2, kNoLimit}, {"a", "b", "c"}, {{"a", "b"}, {"c"}}},
      {{2, kNoLimit}, {"a", "b"}, {{"a", "b"}}},
      {{0, kNoLimit}, {"a", "b"}, {{"a"}, {"b"}}},
      {{kNoLimit, 1000}, {"a", big, "b"}, {{"a", big}, {"b"}}},
      {{kNoLimit, kNoLimit}, {"a", "b", "c"}, {{"a", "b", "c"}}},
      {{}, {}, {}},
  };
  for (const auto& test : cases) {
    ProfileLogWriter log(test.limits);
    ASSERT_TRUE(log.open(path_));
    for (const std::string& text : test.texts) ASSERT_TRUE(log.addMessage(named(text)));
    ASSERT_TRUE(log.close() && log.close()) << log.error();
    EXPECT_EQ(readTexts(), test.chunks);
  }
}

TEST_F(WriterTest, WritesTheHeaderIntoTheNextChunkOnly) {
  HeaderRecord first, second;
  first.infoText = "first", second.infoText = "second";
  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.setHeader(first) && log.setHeader(second) && log.flush());
  ASSERT_TRUE(log.flush() && log.addMessage(named("m")) && log.close());

  std::vector<std::string> headers;
  readChunks([&](const LogChunk& chunk) {
    headers.push_back(chunk.header() ? chunk.header()->info_text()->str() : "none");
  });
  EXPECT_EQ(headers, (std::vector<std::string>{"second", "none"}));
}

TEST_F(WriterTest, RefusesWhatCannotBeReadBackAndGoesOn) {
  ProfileLogWriter log;
  ASSERT_TRUE(log.open(path_) && log.addMessage(nested(62)));
  EXPECT_FALSE(log.addMessage(nested(63)));
  EXPECT_EQ(log.error(),
            "cannot write " + path_ + ": the events of a message are nested too deeply");

  // Only announced: a refused message is never looked into.
  const uint8_t byte = 0;
  std::vector<EventRecord> huge(3);
  for (EventRecord& event : huge) event.setBytes({&byte, 2147483640 / huge.size()});
  MessageRecord message;
  message.events = huge;
  EXPECT_FALSE(log.addMessage(message));
  EXPECT_FALSE(log.addMessage(named({"", kNoLimit})));
  HeaderRecord header;
  header.infoText = std::string_view("", kNoLimit - 1);
  EXPECT_FALSE(log.setHeader(header));

  EXPECT_TRUE(log.addMessage(named("good")));
  EXPECT_TRUE(log.close());
  EXPECT_EQ(readTexts(), (std::vector<std::vector<std::string>>{{"-", "good"}}));
}

TEST(ChunkBuilderTest, NeverBuildsMoreThanTheMaximum) {
  std::mt19937 random(7);  // any seed
  const std::string text(64, 'x');
  for (uint64_t maxBytes = 0; maxBytes < 6000; maxBytes += 61) {
    ChunkBuilder builder(maxBytes);
    HeaderRecord header;
    header.infoText = std::string_view(text).substr(0, random() % 64);
    AddResult result = builder.setHeader(header);
    size_t largest = 0;
    while (result == AddResult::Added) {
      std::vector<EventRecord> events(random() % 4);
      for (EventRecord& event : events) {
        // All fields or a few: many different vtables.
        const bool all = random() % 2 == 0;
        if (all || random() % 2) event.identifier = std::string_view(text).substr(random() % 64);
        if (all || random() % 2) event.setBytes({});
        if (all || random() % 2) event.setDouble(0), event.setUint(0), event.setFloat(0);
        if (all || random() % 2) event.setInt(0), event.timestamp = 0, event.unit = 0;
        if (all || random() % 2) event.fileName = event.stringValue = "", event.eventType = 0;
      }
      MessageRecord message;
      message.events = events;
      message.flag = message.start = message.end2 = 0;
      const size_t before = builder.size();
      result = builder.addMessage(message);
      largest = std::max(largest, builder.size() - before);
    }
    if (builder.empty()) {
      EXPECT_EQ(result, AddResult::TooLarge);
      continue;
    }
    EXPECT_LE(builder.finish().size, maxBytes);
    builder.clear();
    if (result == AddResult::ChunkFull) {
      EXPECT_EQ(builder.setHeader(header), AddResult::Added);
    }
  }
}

TEST_F(WriterTest, AllocatesNothingOnceWarm) {
  MessageRecord message = nested(5);
  message.text = "a text too long for any small-string optimisation";
  ProfileLogWriter log({4, kNoLimit});
  ASSERT_TRUE(log.open(path_));
  size_t before = 0;
  for (int i = 0; i < 40; ++i) {
    if (i == 8) before = g_allocations;
    ASSERT_TRUE(log.addMessage(message));
  }
  EXPECT_EQ(g_allocations, before);
}

TEST_F(WriterTest, ExhaustedMemoryFailsTheLogUntilItIsOpenedAnew) {
  ProfileLogWriter log({1, kNoLimit});
  ASSERT_TRUE(log.open(path_) && log.addMessage(named("kept")));
  const std::string text(10000, 'x');
  g_memoryIsExhausted = true;
  std::optional<bool> added;
  try {
    added = log.addMessage(named(text));
  } catch (const std::bad_alloc&) {
  }
  g_memoryIsExhausted = false;
  EXPECT_EQ(added, false);
  EXPECT_EQ(log.error(), "cannot write " + path_ + ": out of memory");
  EXPECT_FALSE(log.close());
  EXPECT_EQ(readTexts(), (std::vector<std::vector<std::string>>{{"kept"}}));

  ASSERT_TRUE(log.open(path_) && log.addMessage(named(text)) && log.close()) << log.error();
  EXPECT_EQ(readTexts(), (std::vector<std::vector<std::string>>{{text}}));
}

TEST_F(WriterTest, ReportsTheFirstFailureAndStops) {
  ProfileLogWriter log;
  EXPECT_FALSE(log.addMessage(named("")));
  EXPECT_EQ(log.error(), "no log is open");
  EXPECT_FALSE(log.open("/nonexistent/run.log"));
  EXPECT_EQ(log.error(), "cannot open /nonexistent/run.log: No such file or directory");
  EXPECT_FALSE(log.close());

  const std::string full = "cannot write /dev/full: No space left on device";
  ASSERT_TRUE(log.open("/dev/full") && log.addMessage(named("")));
  EXPECT_FALSE(log.flush());
  EXPECT_EQ(log.error(), full);
  EXPECT_FALSE(log.addMessage(named("")) || log.setHeader({}) || log.flush() || log.close());
  EXPECT_EQ(log.error(), full);

  ASSERT_TRUE(log.open("/dev/full") && log.addMessage(named("")));
  EXPECT_FALSE(log.close());
  EXPECT_EQ(log.error(), full);

  ASSERT_TRUE(log.open(path_) && log.addMessage(named("m")) && log.close()) << log.error();
  EXPECT_EQ(log.error(), "");
}

TEST_F(WriterTest, CutsAHalfWrittenChunkOff) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = 1000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const std::string text(400, 'x');

  ProfileLogWriter log({1, kNoLimit});
  const bool opened = log.open(path_);
  int added = 0;
  while (opened && added < 10 && log.addMessage(named(text))) ++added;
  const bool closed = log.close();
  setrlimit(RLIMIT_FSIZE, &before);

  EXPECT_EQ(added, 2);
  EXPECT_FALSE(closed);
  EXPECT_EQ(log.error(), "cannot write " + path_ + ": File too large");
  EXPECT_EQ(readTexts(), (std::vector<std::vector<std::string>>{{text}, {text}}));
}

TEST_F(WriterTest, AKilledWriterLeavesItsFinishedChunks) {
  const pid_t child = fork();
  if (child == 0) {
    ProfileLogWriter log({2, kNoLimit});
    bool good = log.open(path_);
    for (const char* text : {"a", "b", "c"}) good = good && log.addMessage(named(text));
    raise(good ? SIGKILL : SIGABRT);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_EQ(readTexts(), (std::vector<std::vector<std::string>>{{"a", "b"}}));
}

}  // namespace
}  // namespace ryx::profiling
