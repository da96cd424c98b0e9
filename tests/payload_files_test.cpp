// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

#include "base/logger.h"
#include "reader/ryx_profile_log_reader_gpu.h"
#include "ryx/profile_log_writer.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

namespace fs = std::filesystem;

int g_errorLines = 0;

void countLine(const char*, uint32_t, uint64_t, va_list) { ++g_errorLines; }

class PayloadReader : public RyxProfileLogReader {
 public:
  using RyxProfileLogReader::PayloadNumbering;
  using RyxProfileLogReader::RyxProfileLogReader;
};

class PayloadFilesTest : public testing::Test {
 protected:
  PayloadFilesTest() {
    fs::current_path(folder_.path());
    g_errorLines = 0;
    log::initializeLogging(countLine, log::RYX_LOG_LEVEL_ERROR);
  }
  ~PayloadFilesTest() override {
    fs::current_path("/");
    log::terminateLogging();
  }

  void save(const std::string& fileName, const std::string& content = "new") {
    ProfileEvent event;
    event.payloadFileName = fileName;
    event.bytes.assign(content.begin(), content.end());
    reader_.saveObjectPayload(event);
  }

  tests::TemporaryFolder folder_;
  PayloadReader reader_{"", VisibilityLevel{127}};
};

TEST_F(PayloadFilesTest, FirstFreeName) {
  const struct {
    std::vector<std::string> present;
    std::string requested, saved;
  } cases[] = {
      {{}, "trace.bin", "trace.bin"},
      {{"trace.bin", "trace_1.bin"}, "trace.bin", "trace_2.bin"},
      {{"trace.bin", "trace_2.bin"}, "trace.bin", "trace_1.bin"},
      {{"trace"}, "trace", "trace_1"},
      {{".hidden"}, ".hidden", "_1.hidden"},
      {{"a.b.c"}, "a.b.c", "a.b_1.c"},
      {{"end."}, "end.", "end_1."},
  };
  for (const auto& c : cases) {
    for (const auto& old : fs::directory_iterator(".")) fs::remove(old);
    for (const std::string& name : c.present) tests::writeFile(name, "old");
    save(c.requested);
    EXPECT_EQ("new", tests::readFile(c.saved)) << c.requested;
    for (const std::string& name : c.present) EXPECT_EQ("old", tests::readFile(name));
  }
  EXPECT_EQ(0, g_errorLines);
}

TEST_F(PayloadFilesTest, SearchesBeginAtTheBareNameButWithinAReport) {
  tests::writeFile("trace_2.bin", "old");
  const auto saved = [this](const char* content) {
    save("trace.bin", content);
    for (const auto& entry : fs::directory_iterator("."))
      if (tests::readFile(entry.path()) == content) return entry.path().filename().string();
    return std::string("nowhere");
  };
  {
    const PayloadReader::PayloadNumbering report(reader_);
    EXPECT_EQ("trace.bin", saved("a"));
    EXPECT_EQ("trace_1.bin", saved("b"));
    EXPECT_EQ("trace_3.bin", saved("c"));
    fs::remove("trace.bin");
    EXPECT_EQ("trace_4.bin", saved("d"));
  }
  EXPECT_EQ("trace.bin", saved("e"));
  fs::remove("trace.bin");
  EXPECT_EQ("trace.bin", saved("f"));
}

template <typename Reader>
void expectEachReportToBeginAnew() {
  ProfileLogWriter writer;
  EventRecord object;
  object.unit = 5;
  object.fileName = "trace.bin";
  const EventRecord objects[] = {object, object};
  MessageRecord message;
  message.method = ProfiledMethod::DeInit;
  message.events = objects;
  ASSERT_TRUE(writer.open("run.log") && writer.addMessage(message) && writer.close());
  Reader reader("run.log", VisibilityLevel{127});
  ASSERT_TRUE(reader.readLogFile(true));
  ProfileEvent event;
  event.unit = 5;
  event.payloadFileName = "trace.bin";
  for (int i = 0; i < 2; ++i) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(reader.generateOutput("/dev/null"));
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fs::remove("trace.bin") && fs::remove("trace_1.bin")) << i;
    std::ostringstream tree;
    reader.printEventTree(tree, {event}, 1);
    EXPECT_TRUE(fs::remove("trace.bin")) << "between reports";
  }
}

TEST_F(PayloadFilesTest, EachReportBeginsAnew) {
  expectEachReportToBeginAnew<RyxProfileLogReader>();
  expectEachReportToBeginAnew<RyxProfileLogReaderGPU>();
}

TEST_F(PayloadFilesTest, NothingIsLostWhereManySaveUnderOneName) {
  std::vector<std::thread> savers;
  for (char name = 'a'; name < 'd'; ++name)
    savers.emplace_back([name] {
      PayloadReader reader("", VisibilityLevel{127});
      ProfileEvent event;
      event.payloadFileName = "trace.bin";
      event.bytes = {static_cast<uint8_t>(name)};
      const PayloadReader::PayloadNumbering report(reader);
      for (int i = 0; i < 200; ++i) reader.saveObjectPayload(event);
    });
  for (std::thread& saver : savers) saver.join();
  std::string contents;
  for (int i = 0; i < 600; ++i)
    contents += tests::readFile(i == 0 ? "trace.bin" : "trace_" + std::to_string(i) + ".bin");
  EXPECT_EQ(600U, contents.size());
  for (char name = 'a'; name < 'd'; ++name)
    EXPECT_EQ(200, std::count(contents.begin(), contents.end(), name));
}

TEST_F(PayloadFilesTest, PipesAreTakenNamesAndLinksAreFollowed) {
  ASSERT_EQ(0, mkfifo("pipe", 0600));
  save("pipe");
  EXPECT_EQ("new", tests::readFile("pipe_1"));
  fs::create_symlink("target", "link");
  save("link");
  EXPECT_EQ("new", tests::readFile("target"));
  save("link");
  EXPECT_EQ("new", tests::readFile("link_1"));
  EXPECT_EQ(0, g_errorLines);
}

/// The privileges of nobody in particular, where the tests run with all of them.
class Unprivileged {
 public:
  Unprivileged() { (void)!seteuid(geteuid() == 0 ? 65534 : geteuid()); }
  ~Unprivileged() { (void)!seteuid(getuid()); }
};

TEST_F(PayloadFilesTest, WhatCannotBeReadIsOverwritten) {
  ASSERT_EQ(0, chmod(".", 0777));
  {
    const Unprivileged user;
    tests::writeFile("secret", "longer than the payload");
    ASSERT_EQ(0, chmod("secret", 0200));
    ASSERT_EQ(0, mkfifo("pipe", 0200));
    save("secret");
    EXPECT_EQ(0, g_errorLines);
    save("pipe");
  }
  EXPECT_EQ("new", tests::readFile("secret"));
  EXPECT_EQ(1, g_errorLines) << "nobody reads from the pipe";
}

TEST_F(PayloadFilesTest, ContentIsKeptByteForByte) {
  std::string every;
  for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
  save("bytes", every);
  EXPECT_EQ(every, tests::readFile("bytes"));
  save("empty", "");
  EXPECT_TRUE(fs::exists("empty"));
  save("");
  EXPECT_EQ(2, std::distance(fs::directory_iterator("."), fs::directory_iterator()));
}

TEST_F(PayloadFilesTest, TheDotMayStandInAFolderName) {
  fs::create_directory("dir.v");
  tests::writeFile("dir.v/file", "old");
  save("dir.v/file");
  EXPECT_EQ(1, g_errorLines) << "dir_1.v does not exist";
  fs::create_directory("dir_1.v");
  save("dir.v/file");
  EXPECT_EQ("new", tests::readFile("dir_1.v/file"));
}

TEST_F(PayloadFilesTest, FailuresAreLogged) {
  save("no such folder/file");
  EXPECT_EQ(1, g_errorLines);

  // A disk that is full when the bytes arrive.
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit none = {0, old.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &none);
  save("late");
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(2, g_errorLines);
}

}  // namespace
}  // namespace ryx::profiling
