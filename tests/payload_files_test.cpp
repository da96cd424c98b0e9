#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "base/logger.h"
#include "reader/ryx_profile_log_reader.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

namespace fs = std::filesystem;

int g_errorLines = 0;

void countLine(const char*, uint32_t, uint64_t, va_list) { ++g_errorLines; }

class PayloadReader : public RyxProfileLogReader {
 public:
  using RyxProfileLogReader::forgetPayloadNames;
  using RyxProfileLogReader::RyxProfileLogReader;
  using RyxProfileLogReader::saveObjectPayload;
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
    reader_.forgetPayloadNames();
    for (const std::string& name : c.present) tests::writeFile(name, "old");
    save(c.requested);
    EXPECT_EQ("new", tests::readFile(c.saved)) << c.requested;
    for (const std::string& name : c.present) EXPECT_EQ("old", tests::readFile(name));
  }
  EXPECT_EQ(0, g_errorLines);
}

TEST_F(PayloadFilesTest, NumbersGoOnWhereFilesAreInTheWay) {
  tests::writeFile("trace_2.bin", "old");
  for (const char* content : {"0", "1", "3"}) save("trace.bin", content);
  EXPECT_EQ("0", tests::readFile("trace.bin"));
  EXPECT_EQ("1", tests::readFile("trace_1.bin"));
  EXPECT_EQ("old", tests::readFile("trace_2.bin"));
  EXPECT_EQ("3", tests::readFile("trace_3.bin"));
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
