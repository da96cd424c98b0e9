// Chunks made to exhaust whoever verifies them, and files that change under the reader.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "profile_log_generated.h"
#include "stream/chunk_file.h"
#include "stream/chunk_verifier.h"
#include "stream/log_format.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

using tests::TemporaryFolder;

/// A chunk of one message with `levels` levels of events, each level the only sub-event of the one
/// above, listed there `repeats` times.
std::string chain(size_t levels, size_t repeats = 1) {
  flatbuffers::FlatBufferBuilder builder;
  std::vector<flatbuffers::Offset<Event>> list;
  flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Event>>> events = 0;
  for (size_t i = 0; i < levels; ++i) {
    EventBuilder event(builder);
    if (i > 0) event.add_nested_events(events);
    list.assign(repeats, event.Finish());
    events = builder.CreateVector(list);
  }
  const auto timestamp = CreateMessageTimestamp(builder);
  const auto timing = CreateMessageTiming(builder);
  MessageBuilder message(builder);
  message.add_timestamp(timestamp);
  message.add_timing(timing);
  message.add_events(events);
  const auto messages = builder.CreateVector(std::vector{message.Finish()});
  builder.Finish(CreateLogChunk(builder, 0, messages));
  return {reinterpret_cast<const char*>(builder.GetBufferPointer()), builder.GetSize()};
}

bool verifies(std::string_view chunk) {
  return verifyChunk(reinterpret_cast<const uint8_t*>(chunk.data()), chunk.size());
}

TEST(HostileChunks, SixtyTwoLevelsOfEvents) {
  EXPECT_TRUE(verifies(chain(62)));
  EXPECT_FALSE(verifies(chain(63)));
  EXPECT_FALSE(verifies(chain(1000000)));
}

TEST(HostileChunks, SharedTablesDoNotMultiply) {
  EXPECT_TRUE(verifies(chain(3, 2)));
  EXPECT_FALSE(verifies(chain(40, 2))) << "2^40 events in less than two thousand bytes";
  EXPECT_FALSE(verifies(chain(3, 500))) << "125 million in six thousand";
}

std::string prefixed(uint32_t announced, const std::string& content) {
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(announced, prefix);
  return std::string(reinterpret_cast<const char*>(prefix), sizeof prefix) + content;
}

// Chunks far above what streams buffer.
class ChangingFile : public testing::Test {
 protected:
  ChangingFile() {
    append("a");
    append("b");
    EXPECT_TRUE(file_.open(path_));
    EXPECT_EQ(file_.readNext(), ChunkRead::Chunk);
  }

  void append(const char* letter) {
    content_ += prefixed(kChunkBytes, std::string(kChunkBytes, *letter));
    tests::writeFile(path_, content_);
  }

  /// The next chunk must be `letters` and then zeros up to its announced size.
  void expectChunk(const std::string& letters) {
    ASSERT_EQ(file_.readNext(), ChunkRead::Chunk);
    EXPECT_EQ(file_.presentBytes(), letters.size());
    const std::string_view bytes(reinterpret_cast<const char*>(file_.bytes()->data()),
                                 file_.bytes()->size());
    EXPECT_TRUE(bytes == letters + std::string(kChunkBytes - letters.size(), '\0'));
  }

  static constexpr uint32_t kChunkBytes = 100000;
  TemporaryFolder folder_;
  const std::string path_ = folder_ / "run.log";
  std::string content_;
  ChunkFile file_;
};

TEST_F(ChangingFile, Shrinks) {
  std::filesystem::resize_file(path_, 2 * kSizePrefixBytes + kChunkBytes + 50000);
  expectChunk(std::string(50000, 'b'));
  EXPECT_EQ(file_.readNext(), ChunkRead::EndOfFile);
}

TEST_F(ChangingFile, ShrinksToNothing) {
  std::filesystem::resize_file(path_, 0);
  // What a stream had buffered of the second chunk may still come.
  if (file_.readNext() == ChunkRead::Chunk) {
    EXPECT_LT(file_.presentBytes(), kChunkBytes);
    EXPECT_EQ(file_.bytes()->data()[kChunkBytes - 1], 0);
  }
  EXPECT_EQ(file_.readNext(), ChunkRead::EndOfFile);
}

TEST_F(ChangingFile, Grows) {
  append("c");
  expectChunk(std::string(kChunkBytes, 'b'));
  expectChunk(std::string(kChunkBytes, 'c'));
  EXPECT_EQ(file_.readNext(), ChunkRead::EndOfFile);
}

}  // namespace
}  // namespace ryx::profiling
