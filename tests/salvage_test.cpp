// Damages recorded and made logs in every way that the format allows, and counts what comes back.

#include "log/salvage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "ryx/profile_log_writer.h"
#include "stream/chunk_verifier.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

using tests::readFile;
using tests::TemporaryFolder;
using tests::writeFile;

std::string prefixed(const std::string& content, uint32_t size) {
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(size, prefix);
  return std::string(reinterpret_cast<const char*>(prefix), sizeof prefix) + content;
}

std::string prefixed(const std::string& content) {
  return prefixed(content, static_cast<uint32_t>(content.size()));
}

/// A sound log, taken apart.
struct SoundLog {
  explicit SoundLog(const std::string& bytes) {
    for (size_t at = 0; at < bytes.size();) {
      const auto* prefix = reinterpret_cast<const uint8_t*>(bytes.data() + at);
      chunks.push_back(bytes.substr(at + kSizePrefixBytes, decodeSizePrefix(prefix)));
      at += kSizePrefixBytes + chunks.back().size();
    }
  }

  [[nodiscard]] std::string bytes() const {
    std::string all;
    for (const std::string& chunk : chunks) all += prefixed(chunk);
    return all;
  }

  /// Where the size prefix of a chunk is.
  [[nodiscard]] size_t offset(size_t chunk) const {
    size_t offset = 0;
    for (size_t i = 0; i < chunk; ++i) offset += kSizePrefixBytes + chunks[i].size();
    return offset;
  }

  /// All chunks but those damaged.
  [[nodiscard]] std::vector<std::string> without(const std::vector<size_t>& damaged) const {
    std::vector<std::string> others;
    for (size_t i = 0; i < chunks.size(); ++i)
      if (std::count(damaged.begin(), damaged.end(), i) == 0) others.push_back(chunks[i]);
    return others;
  }

  std::vector<std::string> chunks;
};

/// Whether the chunks are the same but for padding at their end, which nothing leads to: where a
/// size is damaged, nobody knows how much there was.
bool isSame(const std::string& one, const std::string& other) {
  const size_t common = std::min(one.size(), other.size());
  return std::max(one.size(), other.size()) - common < 16 &&
         one.compare(0, common, other, 0, common) == 0;
}

/// Keeps all that is found, and checks that it adds up.
class Found : public SalvageSink {
 public:
  bool keep(const SalvagedChunk& chunk) override {
    EXPECT_TRUE(verifyChunk(chunk.data, chunk.size));
    cover(chunk.place);
    chunks.emplace_back(reinterpret_cast<const char*>(chunk.data), chunk.size);
    mended += chunk.isFramed ? 0 : 1;
    return true;
  }

  void lose(const LostStretch& stretch) override {
    cover(stretch.place);
    lost.push_back(stretch);
  }

  std::vector<std::string> chunks;
  std::vector<LostStretch> lost;
  size_t mended = 0;
  uint64_t covered = 0;
  bool gaveUp = false;

 private:
  void cover(const Stretch& place) {
    EXPECT_EQ(place.offset, covered);
    EXPECT_GT(place.bytes, 0u);
    covered += place.bytes;
  }
};

class SalvageTest : public testing::Test {
 protected:
  Found salvage(const std::string& bytes) {
    writeFile(folder_ / "broken.log", bytes);
    RandomAccessFile file;
    EXPECT_FALSE(file.open(folder_ / "broken.log"));
    Found found;
    Salvage salvage(file, found);
    EXPECT_TRUE(salvage.run());
    EXPECT_EQ(found.covered, bytes.size());
    found.gaveUp = salvage.gaveUp();
    return found;
  }

  /// Expects every undamaged chunk back, in order. A chunk whose damage does not show may come back
  /// too.
  void expectBack(const std::string& bytes, const std::vector<std::string>& undamaged,
                  size_t damaged) {
    const Found found = salvage(bytes);
    size_t back = 0;
    for (const std::string& chunk : found.chunks)
      if (back < undamaged.size() && isSame(chunk, undamaged[back])) ++back;
    EXPECT_EQ(back, undamaged.size());
    EXPECT_LE(found.chunks.size(), undamaged.size() + damaged);
    EXPECT_FALSE(found.gaveUp);
  }

  /// A log of several small chunks of all sorts, some of which carry `payload`.
  [[nodiscard]] SoundLog madeLog(const std::string& payload = "payload") {
    const std::string path = folder_ / "made.log";
    {
      ProfileLogWriter log({2, 1 << 20});
      EXPECT_TRUE(log.open(path));
      HeaderRecord header;
      header.infoText = "made";
      EXPECT_TRUE(log.setHeader(header) && log.flush());
      for (uint64_t i = 0; i < 9; ++i) {
        std::vector<EventRecord> events(i);
        for (EventRecord& event : events) {
          event.identifier = "layer";
          event.eventType = 404;
          event.nestedEvents = {events.data(), static_cast<size_t>(&event - events.data()) / 3};
          event.setBytes(
              {reinterpret_cast<const uint8_t*>(payload.data()), i % 2 * payload.size()});
        }
        MessageRecord message;
        if (i != 4) message.method = ProfiledMethod::Execute;
        if (i != 4) message.text = "graph";
        message.start = i;
        message.events = events;
        EXPECT_TRUE(log.addMessage(message));
      }
      EXPECT_TRUE(log.close());
    }
    return SoundLog(readFile(path));
  }

  [[nodiscard]] static SoundLog recordedLog() {
    return SoundLog(readFile(RYX_SAMPLES_DIR "/text-detection.log"));
  }

  const TemporaryFolder folder_;
};

TEST_F(SalvageTest, KeepsASoundLogAsItIs) {
  for (const SoundLog& log : {madeLog(), recordedLog(), SoundLog("")}) {
    const Found found = salvage(log.bytes());
    EXPECT_EQ(found.chunks, log.chunks);
    EXPECT_EQ(found.mended, 0u);
    EXPECT_TRUE(found.lost.empty());
  }
}

TEST_F(SalvageTest, BringsBackWhatIsBeforeACut) {
  const auto cutAll = [this](const SoundLog& log, size_t step) {
    const std::string whole = log.bytes();
    const size_t count = log.chunks.size();
    for (size_t chunk = count - 2; chunk < count; ++chunk) {
      const size_t begin = log.offset(chunk);
      const size_t end = log.offset(chunk + 1);
      for (size_t cut = begin; cut < end; cut += cut < begin + 100 || cut + 100 > end ? 1 : step) {
        SCOPED_TRACE(cut);
        const std::vector<std::string> before(log.chunks.begin(),
                                              log.chunks.begin() + static_cast<int>(chunk));
        expectBack(whole.substr(0, cut), before, 1);
      }
    }
  };
  cutAll(madeLog(), 1);
  cutAll(recordedLog(), 997);
}

TEST_F(SalvageTest, BringsBackAllButTheChunkWithAFlippedBit) {
  std::mt19937 random(3);
  for (const SoundLog& log : {madeLog(), recordedLog()}) {
    const std::string whole = log.bytes();
    for (size_t chunk = 0; chunk < log.chunks.size(); ++chunk) {
      const size_t begin = log.offset(chunk) + kSizePrefixBytes;
      for (int i = 0; i < 300; ++i) {
        std::string damaged = whole;
        // Half of them where the tables begin.
        const size_t range =
            i % 2 == 0 ? std::min<size_t>(64, log.chunks[chunk].size()) : log.chunks[chunk].size();
        const size_t at = begin + random() % range;
        damaged[at] = static_cast<char>(damaged[at] ^ 1 << random() % 8);
        SCOPED_TRACE(at);
        expectBack(damaged, log.without({chunk}), 1);
      }
    }
  }
}

TEST_F(SalvageTest, MendsOverwrittenSizes) {
  std::mt19937 random(4);
  for (const SoundLog& log : {madeLog(), recordedLog()}) {
    const std::string whole = log.bytes();
    const size_t count = log.chunks.size();
    /// The whole log with the size of one chunk, or of all, changed by `change`.
    const auto damage = [&](size_t first, size_t last, auto change) {
      std::string damaged = whole;
      for (size_t chunk = first; chunk <= last; ++chunk) {
        uint8_t prefix[kSizePrefixBytes];
        encodeSizePrefix(change(chunk), prefix);
        std::memcpy(damaged.data() + log.offset(chunk), prefix, sizeof prefix);
      }
      SCOPED_TRACE("chunk " + std::to_string(first) + " to " + std::to_string(last));
      SCOPED_TRACE(change(first));
      expectBack(damaged, log.chunks, 0);
    };
    const auto damageEachAndAll = [&](auto change) {
      for (size_t chunk = 0; chunk < count; ++chunk) damage(chunk, chunk, change);
      damage(0, count - 1, change);
    };
    const auto size = [&](size_t chunk) { return static_cast<uint32_t>(log.chunks[chunk].size()); };

    for (const uint32_t value : {0u, 1u, 11u, 12u, 16u, 20u, 24u, 100u, 4000u, 60000u, 0x7FFFFFFEu,
                                 0x80000000u, 0xFFFFFFFFu})
      damageEachAndAll([&](size_t) { return value; });
    for (uint32_t bit = 0; bit < 32; ++bit)
      damageEachAndAll([&](size_t chunk) { return size(chunk) ^ 1u << bit; });
    for (uint32_t more = 1; more < 64; ++more)
      damageEachAndAll([&](size_t chunk) { return size(chunk) + more; });
    for (uint32_t i = 0; i < 40; ++i) {
      const auto value = static_cast<uint32_t>(random() >> random() % 32);
      damageEachAndAll([&](size_t) { return value; });
    }
    // Exactly to the end of a chunk behind it, and of the file.
    for (size_t chunk = 0; chunk < count; ++chunk)
      for (size_t last = chunk + 1; last < count; ++last)
        damage(chunk, chunk, [&](size_t) {
          return static_cast<uint32_t>(log.offset(last + 1) - log.offset(chunk) - kSizePrefixBytes);
        });
  }
}

TEST_F(SalvageTest, FindsChunksBehindLostAndForeignBytes) {
  std::mt19937 random(5);
  for (const SoundLog& log : {madeLog(), recordedLog()}) {
    const std::string whole = log.bytes();
    for (size_t chunk = 0; chunk < log.chunks.size(); ++chunk) {
      const size_t begin = log.offset(chunk);
      SCOPED_TRACE(begin);
      for (size_t bytes = 1; bytes <= 4; ++bytes)  // of the size
        expectBack(std::string(whole).erase(begin, bytes), log.chunks, 0);
      for (const size_t bytes : {1u, 2u, 3u, 5u, 16u, 1000u}) {
        std::string foreign(bytes, '\0');
        expectBack(std::string(whole).insert(begin, foreign), log.chunks, 0);
        for (char& c : foreign) c = static_cast<char>(random());
        expectBack(std::string(whole).insert(begin, foreign), log.chunks, 0);
        // From the inside of a chunk: all others are behind or before.
        expectBack(
            std::string(whole).insert(begin + 4 + random() % log.chunks[chunk].size(), foreign),
            log.without({chunk}), 1);
      }
      for (size_t part = 2; part < 20; ++part)
        expectBack(std::string(whole).erase(begin + 4 + part, log.chunks[chunk].size() / part),
                   log.without({chunk}), 1);
    }
  }
}

TEST_F(SalvageTest, SaysWhatIsLostAndMended) {
  const SoundLog log = recordedLog();
  ASSERT_EQ(log.chunks.size(), 4u);
  std::string bytes = log.bytes();
  bytes[log.offset(1) + 7] = 127;  // the root's offset
  bytes.replace(log.offset(2), kSizePrefixBytes, kSizePrefixBytes, '\0');
  bytes += "xyz";
  const Found found = salvage(bytes);
  EXPECT_EQ(found.chunks, log.without({1}));
  EXPECT_EQ(found.mended, 1u);
  ASSERT_EQ(found.lost.size(), 2u);
  EXPECT_EQ(found.lost[0].place.offset, log.offset(1));
  EXPECT_EQ(found.lost[0].place.bytes, kSizePrefixBytes + log.chunks[1].size());
  EXPECT_EQ(found.lost[0].reason, "its 121392 bytes do not verify");
  EXPECT_TRUE(found.lost[0].isOneChunk);
  EXPECT_EQ(found.lost[1].reason, "the file ends within the chunk's size, after 3 of 4 bytes");
}

TEST_F(SalvageTest, TakesNoPayloadForALogWhereSizesAreGood) {
  const SoundLog log = madeLog(madeLog().bytes());
  for (size_t chunk = 0; chunk < log.chunks.size(); ++chunk) {
    std::string bytes = log.bytes();
    bytes[log.offset(chunk) + 7] = 127;  // the root's offset
    EXPECT_EQ(salvage(bytes).chunks, log.without({chunk})) << chunk;
  }
}

/// A file that looks like chunks everywhere costs a multiple of its length, not the square of it.
TEST_F(SalvageTest, GivesUpOnFilesMadeToBeSearchedForever) {
  std::string chunk = madeLog().chunks[2];
  const auto verifies = [&] {
    return verifyChunk(reinterpret_cast<const uint8_t*>(chunk.data()), chunk.size());
  };
  for (size_t at = 100; verifies(); at += 4) chunk[at + 3] = 127;  // behind what a look takes in
  std::string hostile;
  while (hostile.size() < 8 << 20) hostile += prefixed(chunk, 4 << 20);

  const auto before = std::chrono::steady_clock::now();
  const Found found = salvage(hostile);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(60));
  EXPECT_TRUE(found.gaveUp);
  EXPECT_TRUE(found.chunks.empty());

  // What precedes them comes back all the same.
  const SoundLog log = recordedLog();
  EXPECT_EQ(salvage(log.bytes() + hostile).chunks, log.chunks);
}

}  // namespace
}  // namespace ryx::profiling
