// SPDX-License-Identifier: Apache-2.0
// Damages recorded and made logs in every way that the format allows, and counts what comes back.

#include "salvage/salvage.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "ryx/profile_log_writer.h"
#include "stream/chunk_verifier.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

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
  Status keep(const SalvagedChunk& chunk) override {
    EXPECT_TRUE(verifyChunk(chunk.data, chunk.size));
    cover(chunk.place);
    chunks.emplace_back(reinterpret_cast<const char*>(chunk.data), chunk.size);
    mended += chunk.isFramed ? 0 : 1;
    return {};
  }

  void lose(const LostRange& range) override {
    cover(range.place);
    lost.push_back(range);
  }

  std::vector<std::string> chunks;
  std::vector<LostRange> lost;
  size_t mended = 0;
  uint64_t covered = 0;
  bool gaveUp = false;

 private:
  void cover(const ByteRange& place) {
    EXPECT_EQ(place.offset, covered);
    EXPECT_GT(place.bytes, 0u);
    covered += place.bytes;
  }
};

class SalvageTest : public testing::Test {
 protected:
  /// Thousands of salvages take the same megabytes: the system need not give them anew each time.
  static void SetUpTestSuite() {
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
  }

  Found salvage(const std::string& bytes) {
    tests::writeFile(path_, bytes);
    RandomAccessFile file;
    EXPECT_TRUE(file.open(path_));
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
    return SoundLog(tests::readFile(path));
  }

  [[nodiscard]] static SoundLog recordedLog() {
    return SoundLog(tests::readFile(RYX_SAMPLES_DIR "/text-detection.log"));
  }

  const tests::TemporaryFolder folder_;
  // In memory: thousands of files are written.
  const Descriptor memory_{memfd_create("broken.log", 0)};
  const std::string path_ = "/proc/self/fd/" + std::to_string(memory_.get());
};

TEST_F(SalvageTest, KeepsASoundLogAsItIs) {
  for (const SoundLog& log : {madeLog(), recordedLog(), SoundLog("")}) {
    const Found found = salvage(log.bytes());
    EXPECT_EQ(found.chunks, log.chunks);
    EXPECT_EQ(found.mended, 0u);
    EXPECT_TRUE(found.lost.empty());
  }
}

// --- Every way to damage one chunk ---------------------------------------------------------------

using Random = std::mt19937;

/// `variant` counts the repetitions.
struct Damage {
  const char* name;
  uint32_t repetitions;
  bool leavesContent;  ///< the chunk itself must come back
  bool mayHitAll;      ///< even if this happens to all chunks at once
  void (*apply)(std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant,
                Random& random);
};

void setSize(std::string& bytes, const SoundLog& log, size_t chunk, size_t size) {
  const std::string prefix = prefixed("", static_cast<uint32_t>(size));
  bytes.replace(log.offset(chunk), kSizePrefixBytes, prefix);
}

constexpr uint32_t kSizes[] = {0,   1,    11,    12,         16,         20,        24,
                               100, 4000, 60000, 0x7FFFFFFE, 0x80000000, 0xFFFFFFFF};

const Damage kDamages[] = {
    {"size set", std::size(kSizes), true, true,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random&) {
       setSize(bytes, log, chunk, kSizes[variant]);
     }},
    {"size bit flipped", 32, true, true,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random&) {
       setSize(bytes, log, chunk, log.chunks[chunk].size() ^ size_t{1} << variant);
     }},
    {"size too large", 64, true, true,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random&) {
       setSize(bytes, log, chunk, log.chunks[chunk].size() + variant + 1);
     }},
    {"size random", 40, true, true,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t, Random& random) {
       setSize(bytes, log, chunk, static_cast<uint32_t>(random() >> random() % 32));
     }},
    {"size up to a later end", 8, true, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random&) {
       const size_t end = log.offset(std::min(chunk + variant + 1, log.chunks.size()));
       setSize(bytes, log, chunk, end - log.offset(chunk) - kSizePrefixBytes);
     }},
    {"size cut", 4, true, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random&) {
       bytes.erase(log.offset(chunk), variant + 1);
     }},
    {"foreign bytes before", 12, true, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random& random) {
       constexpr size_t kCounts[] = {1, 2, 3, 5, 16, 1000};
       std::string foreign(kCounts[variant / 2], '\0');
       if (variant % 2 == 1)
         for (char& c : foreign) c = static_cast<char>(random());
       bytes.insert(log.offset(chunk), foreign);
     }},
    {"foreign bytes within", 12, false, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random& random) {
       bytes.insert(log.offset(chunk) + kSizePrefixBytes + random() % log.chunks[chunk].size(),
                    std::string(size_t{1} << variant, static_cast<char>(random())));
     }},
    {"bytes missing", 18, false, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t variant, Random&) {
       bytes.erase(log.offset(chunk) + kSizePrefixBytes + 2 + variant,
                   log.chunks[chunk].size() / (2 + variant));
     }},
    {"payload up to the next chunk's end", 1, false, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t, Random&) {
       const size_t end = log.offset(std::min(chunk + 2, log.chunks.size()));
       size_t payload = bytes.find(prefixed("payload", 7), log.offset(chunk));
       if (payload >= log.offset(chunk + 1) || chunk + 1 == log.chunks.size()) {
         bytes[log.offset(chunk) + 7] = 127;  // the root's offset
         return;
       }
       payload += kSizePrefixBytes;
       const std::string length = prefixed("", static_cast<uint32_t>(end - payload));
       bytes.replace(payload - kSizePrefixBytes, kSizePrefixBytes, length);
     }},
    {"bit flipped anywhere", 150, false, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t, Random& random) {
       char& byte =
           bytes[log.offset(chunk) + kSizePrefixBytes + random() % log.chunks[chunk].size()];
       byte = static_cast<char>(byte ^ 1 << random() % 8);
     }},
    {"bit flipped where the tables begin", 150, false, false,
     [](std::string& bytes, const SoundLog& log, size_t chunk, uint32_t, Random& random) {
       const size_t range = std::min<size_t>(64, log.chunks[chunk].size());
       char& byte = bytes[log.offset(chunk) + kSizePrefixBytes + random() % range];
       byte = static_cast<char>(byte ^ 1 << random() % 8);
     }},
};

TEST_F(SalvageTest, BringsBackAllButWhatIsDamaged) {
  Random random(3);
  for (const SoundLog& log : {madeLog(), recordedLog()}) {
    for (const Damage& damage : kDamages) {
      for (uint32_t variant = 0; variant < damage.repetitions; ++variant) {
        SCOPED_TRACE(damage.name + (" " + std::to_string(variant)));
        for (size_t chunk = 0; chunk < log.chunks.size(); ++chunk) {
          SCOPED_TRACE("chunk " + std::to_string(chunk));
          std::string bytes = log.bytes();
          damage.apply(bytes, log, chunk, variant, random);
          if (damage.leavesContent)
            expectBack(bytes, log.chunks, 0);
          else
            expectBack(bytes, log.without({chunk}), 1);
        }
        if (!damage.mayHitAll) continue;
        std::string bytes = log.bytes();
        for (size_t chunk = 0; chunk < log.chunks.size(); ++chunk)
          damage.apply(bytes, log, chunk, variant, random);
        expectBack(bytes, log.chunks, 0);
      }
    }
  }
}

TEST_F(SalvageTest, BringsBackWhatIsBeforeACut) {
  for (const SoundLog& log : {madeLog(), recordedLog()}) {
    const std::string whole = log.bytes();
    const size_t count = log.chunks.size();
    for (size_t chunk = count - 2; chunk < count; ++chunk) {
      const size_t begin = log.offset(chunk);
      const size_t end = log.offset(chunk + 1);
      const size_t step = 1 + (end - begin) / 500;
      for (size_t cut = begin; cut < end; cut += cut < begin + 100 || cut + 100 > end ? 1 : step) {
        SCOPED_TRACE(cut);
        const auto first = log.chunks.begin();
        expectBack(whole.substr(0, cut), {first, first + static_cast<int>(chunk)}, 1);
      }
    }
  }
}

// --- Logs within payloads ------------------------------------------------------------------------

TEST_F(SalvageTest, TakesNoPayloadForALogWhereSizesAreGood) {
  const SoundLog log = madeLog(madeLog().bytes());
  for (size_t chunk = 0; chunk < log.chunks.size(); ++chunk) {
    std::string bytes = log.bytes();
    bytes[log.offset(chunk) + 7] = 127;  // the root's offset
    EXPECT_EQ(salvage(bytes).chunks, log.without({chunk})) << chunk;
    if (chunk == 0) continue;
    bytes[log.offset(chunk - 1) + 7] = 127;
    const Found found = salvage(bytes);
    EXPECT_EQ(found.chunks, log.without({chunk - 1, chunk})) << chunk;
    EXPECT_EQ(found.lost.size(), 2u) << chunk;
  }
}

TEST_F(SalvageTest, PrefersTheChunkAroundAPayload) {
  Random random(4);
  const auto expectWhole = [&](const SoundLog& log, const Damage& damage, size_t chunk,
                               uint32_t variant) {
    SCOPED_TRACE(damage.name + (" " + std::to_string(variant)) + ", chunk " +
                 std::to_string(chunk) + " of " + std::to_string(log.bytes().size()) + " bytes");
    std::string bytes = log.bytes();
    damage.apply(bytes, log, chunk, variant, random);
    expectBack(bytes, log.chunks, 0);
  };
  const struct {
    std::string payload;
    uint32_t stride;
  } cases[] = {
      {madeLog().bytes(), 1},
      {madeLog(madeLog().bytes() + "x").bytes(), 1},
      // Chunks of more than a mebibyte, which take their time.
      {recordedLog().bytes(), 7},
  };
  for (const auto& [payload, stride] : cases) {
    const SoundLog log = madeLog(payload);
    const size_t count = log.chunks.size();
    for (const Damage& damage : kDamages) {
      if (!damage.leavesContent) continue;
      for (uint32_t variant = 0; variant < damage.repetitions; variant += stride)
        expectWhole(log, damage, variant % count, variant);
    }
    for (uint32_t i = 0; i < 32 * count; i += stride) expectWhole(log, kDamages[1], i / 32, i % 32);
  }
}

// --- What is said
// ----------------------------------------------------------------------------------

TEST_F(SalvageTest, SaysWhatIsLostAndMended) {
  const SoundLog log = recordedLog();
  ASSERT_EQ(log.chunks.size(), 4u);
  std::string bytes = log.bytes();
  bytes[log.offset(1) + 7] = 127;  // the root's offset
  setSize(bytes, log, 2, 0);
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

/// A file that looks like chunks everywhere costs a multiple of its length, not the square of it.
TEST_F(SalvageTest, GivesUpOnFilesMadeToBeSearchedForever) {
  std::string chunk = madeLog().chunks[2];
  const auto verifies = [&] {
    return verifyChunk(reinterpret_cast<const uint8_t*>(chunk.data()), chunk.size());
  };
  for (size_t at = 100; verifies(); at += 4) chunk[at + 3] = 127;  // after what a probe reads
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
