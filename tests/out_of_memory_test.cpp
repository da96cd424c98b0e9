// SPDX-License-Identifier: Apache-2.0
// Every allocation of a read and of the reports after it fails, one by one: alone, and with all
// that follow it. The same of writing a log.
//
// An executable of its own, because all of its allocations go through here: operator new is
// replaced, and the linker wraps malloc and its kin in everything that is linked.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "base/logger.h"
#include "fuzz/json_reports.h"
#include "reader/ryx_profile_log_reader_gpu.h"
#include "ryx/profile_log_writer.h"
#include "tests/process.h"

namespace {

size_t g_liveBlocks = 0;
size_t g_untilFailure = 0;  // the allocation that fails, counted from 1; 0 for none
bool g_failsForGood = false;
bool g_failed = false;

bool isToFail() {
  if (g_untilFailure == 0 || --g_untilFailure > 0) return false;
  g_failed = true;
  g_untilFailure = g_failsForGood ? 1 : 0;
  return true;
}

void* counted(void* storage) {
  if (storage != nullptr) ++g_liveBlocks;
  return storage;
}

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* storage, size_t size);
void __real_free(void* storage);

void* __wrap_malloc(size_t size) { return isToFail() ? nullptr : counted(__real_malloc(size)); }
void* __wrap_calloc(size_t count, size_t size) {
  return isToFail() ? nullptr : counted(__real_calloc(count, size));
}
void* __wrap_realloc(void* storage, size_t size) {
  if (isToFail()) return nullptr;
  return storage == nullptr ? counted(__real_malloc(size)) : __real_realloc(storage, size);
}
void __wrap_free(void* storage) {
  if (storage != nullptr) --g_liveBlocks;
  __real_free(storage);
}
}

// Not inlined: GCC would see free() meet a pointer of operator new.
[[gnu::noinline]] void* operator new(size_t size) {
  void* storage = std::malloc(size);
  if (storage == nullptr) throw std::bad_alloc();
  return storage;
}
[[gnu::noinline]] void operator delete(void* storage) noexcept { std::free(storage); }
void operator delete(void* storage, size_t) noexcept { operator delete(storage); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void* operator new[](size_t size) { return operator new(size); }
void operator delete[](void* storage) noexcept { operator delete(storage); }
void operator delete[](void* storage, size_t) noexcept { operator delete(storage); }

namespace ryx::profiling {
namespace {

EventRecord event(uint32_t type, std::string_view identifier, uint64_t value = 7) {
  EventRecord record;
  record.eventType = type;
  record.identifier = identifier;
  record.unit = 1;
  record.setUint(value);
  return record;
}

/// Has something for every list, section and statistic; two chunks.
void writeLog(const std::string& path) {
  const uint8_t bytes[] = {1, 2, 3};
  EventRecord object = event(0, "object");
  object.unit = 5;
  object.setBytes(bytes);
  object.fileName = "a payload file name that is not saved, and not short";
  const EventRecord nested[] = {event(0, "leaf"), event(405, "wait")};
  EventRecord root = event(0, "a root event with an identifier of some length");
  root.nestedEvents = nested;
  const EventRecord events[] = {root, event(100, "init"), event(300, "RyxGraph_finalize"), object};
  const EventRecord run[] = {event(0, "duration"), event(0, "count")};
  // Where no report shows the address of the text.
  EventRecord text = event(0, "text");
  text.setString("a text that is longer than what a string holds without storage of its own");

  ProfileLogWriter writer;
  HeaderRecord header;
  header.infoText = header.backendVersion = header.infoLabel = "a header text of some length";
  ASSERT_TRUE(writer.open(path) && writer.setHeader(header));
  for (int8_t method = 1; method <= 12; ++method) {
    MessageRecord message;
    message.method = ProfiledMethod{method};
    message.text = "graph";
    message.start = message.timestamp = 5;
    message.end = 1000;
    message.events = events;
    if (message.method == ProfiledMethod::NetRun) message.events = run;
    if (message.method == ProfiledMethod::Init) message.events = {&text, 1};
    ASSERT_TRUE(writer.addMessage(message));
    message.text = "another graph, with a name of some length";
    ASSERT_TRUE(writer.addMessage(message));
    if (method == 6) {
      ASSERT_TRUE(writer.flush());
    }
  }
  ASSERT_TRUE(writer.close());
}

template <typename Reader>
class OutOfMemoryTest : public testing::Test {
 protected:
  void SetUp() override {
    writeLog(log_);
    log::initializeLogging([](const char*, uint32_t, uint64_t, va_list) {},
                           log::RYX_LOG_LEVEL_DEBUG);
  }
  void TearDown() override {
    log::terminateLogging();
    fuzz::forgetJsonReports();
  }

  /// Reads and reports, the nth allocation failing; true when everything says that it worked.
  bool use(Reader& reader, size_t n = 0) {
    tests::writeFile(report_, "");
    testing::internal::CaptureStdout();
    g_failed = false;
    g_untilFailure = n;
    bool good = false;
    try {
      good = reader.readLogFile(false) && reader.generateOutput(report_);
    } catch (const std::bad_alloc&) {
    }
    g_untilFailure = 0;
    reports_ = testing::internal::GetCapturedStdout() + tests::readFile(report_);
    return good;
  }

  std::string reportsOfAFreshReader() {
    Reader reader(log_, kEverything);
    EXPECT_TRUE(use(reader));
    return reports_;
  }

  static constexpr VisibilityLevel kEverything{127};
  tests::TemporaryFolder folder_;
  const std::string log_ = folder_ / "run.log";
  const std::string report_ = folder_ / "report";
  std::string reports_;  ///< what was printed, and the file
};

using Readers = testing::Types<RyxProfileLogReader, RyxProfileLogReaderGPU>;
TYPED_TEST_SUITE(OutOfMemoryTest, Readers, );

TYPED_TEST(OutOfMemoryTest, EveryAllocationMayFail) {
  const std::string first = this->reportsOfAFreshReader();
  const std::string second = this->reportsOfAFreshReader();
  fuzz::forgetJsonReports();

  bool failed = true;
  for (size_t i = 2; failed && !this->HasFailure(); ++i) {
    const size_t n = i / 2;
    g_failsForGood = i % 2 != 0;
    SCOPED_TRACE("allocation " + std::to_string(n) + (g_failsForGood ? " and all later ones" : ""));
    const size_t blocksBefore = g_liveBlocks;
    {
      TypeParam reader(this->log_, this->kEverything);
      if (this->use(reader, n)) {
        EXPECT_EQ(this->reports_, first) << "not whole, and nobody said so";
      }
      failed = g_failed;

      // A JSON report that failed is in the process's document whole or not at all.
      const std::string next = this->reportsOfAFreshReader();
      EXPECT_TRUE(next == first || next == second) << next;

      static_cast<void>(reader.getHeaderDetails());
      while (reader.processNextMessage()) continue;
      testing::internal::CaptureStdout();
      EXPECT_TRUE(reader.generateOutput("/dev/null"));
      testing::internal::GetCapturedStdout();
      this->reports_ = {};
    }
    fuzz::forgetJsonReports();
    EXPECT_EQ(g_liveBlocks, blocksBefore) << "leaked";
  }
}

TEST(WriterOutOfMemoryTest, AWarmWriterAllocatesNothingAndAColdOneSaysWhyItFailed) {
  const tests::TemporaryFolder folder;
  const std::string path = folder / "run.log";
  const std::string text(10000, 'x');  // more than a new writer has room for
  MessageRecord message;
  message.text = text;
  g_failsForGood = true;
  for (const bool isWarm : {false, true}) {
    ProfileLogWriter log({2, SIZE_MAX});
    ASSERT_TRUE(log.open(path));
    for (int i = 0; isWarm && i < 4; ++i) ASSERT_TRUE(log.addMessage(message));
    const std::string before = tests::readFile(path);
    g_untilFailure = 1;
    bool good = true;
    for (int i = 0; i < 20; ++i) good = log.addMessage(message) && good;
    g_untilFailure = 0;
    EXPECT_EQ(isWarm, good);
    EXPECT_EQ(isWarm, log.close());
    EXPECT_EQ(isWarm ? "" : "cannot write " + path + ": out of memory", log.error());
    EXPECT_EQ(isWarm, before != tests::readFile(path));
    EXPECT_TRUE(log.open(path) && log.addMessage(message) && log.close()) << log.error();
  }
}

}  // namespace
}  // namespace ryx::profiling
