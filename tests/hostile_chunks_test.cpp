// SPDX-License-Identifier: Apache-2.0
// Chunks made to exhaust whoever verifies them, and files that change under the reader.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "log/table_copier.h"
#include "profile_log_generated.h"
#include "salvage/salvage.h"
#include "stream/chunk_file.h"
#include "stream/chunk_verifier.h"
#include "stream/log_damage.h"
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

std::string prefixed(const std::string& content) {
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(static_cast<uint32_t>(content.size()), prefix);
  return std::string(reinterpret_cast<const char*>(prefix), sizeof prefix) + content;
}

bool verifies(std::string_view chunk) {
  return verifyChunk(reinterpret_cast<const uint8_t*>(chunk.data()), chunk.size());
}

TEST(HostileChunks, SixtyTwoLevelsOfEvents) {
  EXPECT_TRUE(verifies(chain(62)));
  EXPECT_FALSE(verifies(chain(63)));
  EXPECT_FALSE(verifies(chain(1000000)));
}

TEST(HostileChunks, SharedTablesVerifyOnceForEachTimeTheyAreNamed) {
  EXPECT_TRUE(verifies(chain(3, 2)));
  EXPECT_TRUE(verifies(chain(3, 120))) << "1.7 million events, more than the verifier's default";
}

TEST(HostileChunks, SalvageVerifiesSharedTablesForSomeTimeOnly) {
  struct Counts : SalvageSink {
    Status keep(const SalvagedChunk&) override { return ++kept, Status(); }
    void lose(const LostRange&) override { ++lost; }
    int kept = 0;
    int lost = 0;
  };
  const std::string few = prefixed(chain(2));
  const std::string many = prefixed(chain(3, 40));
  const TemporaryFolder folder;
  tests::writeFile(folder / "shared.log", many + few + many + many + few);
  const struct {
    Salvage::CpuTime time;
    int kept;
    int lost;
  } cases[] = {{Salvage::kMaxSharingTime, 5, 0}, {Salvage::CpuTime(1), 3, 2}};
  for (const auto& [time, kept, lost] : cases) {
    RandomAccessFile file;
    ASSERT_TRUE(file.open(folder / "shared.log"));
    Counts counts;
    Salvage salvage(file, counts, time);
    EXPECT_TRUE(salvage.run());
    EXPECT_EQ(counts.kept, kept);
    EXPECT_EQ(counts.lost, lost);
    EXPECT_EQ(salvage.gaveUp(), lost > 0);
  }
}

TEST(HostileChunks, MessagesNeedTheirTimestampAndTiming) {
  for (const bool hasTimestamp : {false, true})
    for (const bool hasTiming : {false, true}) {
      flatbuffers::FlatBufferBuilder builder;
      const auto timestamp = CreateMessageTimestamp(builder);
      const auto timing = CreateMessageTiming(builder);
      const auto start = builder.StartTable();  // the schema's own builder would refuse it
      if (hasTimestamp) builder.AddOffset(Message::VT_TIMESTAMP, timestamp);
      if (hasTiming) builder.AddOffset(Message::VT_TIMING, timing);
      const flatbuffers::Offset<Message> message = builder.EndTable(start);
      builder.Finish(CreateLogChunk(builder, 0, builder.CreateVector(std::vector{message})));
      EXPECT_EQ(hasTimestamp && hasTiming,
                verifyChunk(builder.GetBufferPointer(), builder.GetSize()));
    }
}

TEST(HostileChunks, SizesThatNoChunkHas) {
  EXPECT_EQ(DamageKind::TooSmall, judgeSizes(11, 11));
  EXPECT_EQ(DamageKind::Unverified, judgeSizes(12, 12));
  EXPECT_EQ(DamageKind::PastEnd, judgeSizes(2147483646, 12));
  EXPECT_EQ(DamageKind::TooLarge, judgeSizes(2147483647, 12));
}

TEST(HostileChunks, CopiesAreNoLargerThanTheirBound) {
  for (const std::string& bytes : {chain(3, 1), chain(3, 20), chain(60, 1)}) {
    const LogChunk& chunk = *flatbuffers::GetRoot<LogChunk>(bytes.data());
    flatbuffers::FlatBufferBuilder builder;
    EXPECT_GT(TableCopier({}).copy(chunkType(), asTable(chunk), builder), 0u);
    EXPECT_LE(builder.GetSize(), TableCopier::sizeBound(chunkType(), asTable(chunk)));
  }
  const std::string bytes = chain(40, 2);
  const LogChunk& chunk = *flatbuffers::GetRoot<LogChunk>(bytes.data());
  EXPECT_EQ(uint64_t{1} << 32, TableCopier::sizeBound(chunkType(), asTable(chunk)));
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
    content_ += prefixed(std::string(kChunkBytes, *letter));
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
