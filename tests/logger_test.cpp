// SPDX-License-Identifier: Apache-2.0
#include "base/logger.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/os_helpers.h"

namespace ryx::log {
namespace {

constexpr uint64_t kMinute = 60'000'000'000;  // nanoseconds

std::vector<std::string> g_lines;
uint64_t g_timestamp;

void rememberLine(const char* format, uint32_t level, uint64_t timestamp, va_list arguments) {
  g_timestamp = timestamp;
  char text[256];
  vsnprintf(text, sizeof text, format, arguments);
  g_lines.push_back(std::to_string(level) + ' ' + text);
}

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() { g_lines.clear(); }
  ~LoggerTest() override { terminateLogging(); }
};

TEST_F(LoggerTest, SilentWithoutALogger) {
  terminateLogging();
  testing::internal::CaptureStdout();
  RYX_LOG_ERROR("nobody sees %s", "this");
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_EQ(kNoLogger, getMaxLogLevel());
  EXPECT_EQ(nullptr, getLogCallback());
  EXPECT_FALSE(isLoggingInitialized());
  EXPECT_FALSE(setMaxLogLevel(RYX_LOG_LEVEL_INFO));
}

TEST_F(LoggerTest, LevelDecidesWhatPasses) {
  ASSERT_TRUE(initializeLogging(rememberLine, RYX_LOG_LEVEL_ERROR));
  EXPECT_EQ(&rememberLine, getLogCallback());
  RYX_LOG_ERROR("a %d", 1);
  RYX_LOG_DEBUG("b");
  EXPECT_FALSE(setMaxLogLevel(0));
  EXPECT_FALSE(setMaxLogLevel(6));
  EXPECT_EQ(RYX_LOG_LEVEL_ERROR, getMaxLogLevel());
  EXPECT_TRUE(setMaxLogLevel(RYX_LOG_LEVEL_DEBUG));
  RYX_LOG_DEBUG("c");
  Logger quiet(rememberLine, RYX_LOG_LEVEL_ERROR, nullptr);
  quiet.log(RYX_LOG_LEVEL_DEBUG, "", 0, "d");
  EXPECT_EQ((std::vector<std::string>{"1 a 1", "5 c"}), g_lines);
  EXPECT_LT(g_timestamp, kMinute) << "since the logger was made";
}

TEST_F(LoggerTest, InvalidLevelLeavesNoLogger) {
  for (const uint32_t level : {0U, 6U, kNoLogger}) {
    ASSERT_TRUE(initializeLogging(rememberLine, RYX_LOG_LEVEL_DEBUG));
    EXPECT_FALSE(initializeLogging(rememberLine, level));
    EXPECT_EQ(0U, g_logHandle);
    EXPECT_FALSE(isLoggingInitialized());
    LogStatus status = kLogStatusOk;
    EXPECT_EQ(0U, createLogger(rememberLine, level, &status));
    EXPECT_EQ(11003U, status);
  }
}

TEST_F(LoggerTest, TerminatedUntilInitializedAgain) {
  ASSERT_TRUE(initializeLogging(rememberLine, RYX_LOG_LEVEL_DEBUG));
  const auto replaced = lookupLogger(g_logHandle);
  const LogHandle former = g_logHandle;
  ASSERT_TRUE(initializeLogging(rememberLine, RYX_LOG_LEVEL_DEBUG));
  EXPECT_EQ(nullptr, lookupLogger(former));
  const LogHandle handle = g_logHandle;
  EXPECT_NE(0U, handle);
  terminateLogging();
  RYX_LOG_ERROR("lost");
  EXPECT_EQ(handle, g_logHandle);
  ASSERT_TRUE(initializeLogging(rememberLine, RYX_LOG_LEVEL_DEBUG));
  RYX_LOG_ERROR("kept");
  EXPECT_EQ(std::vector<std::string>{"1 kept"}, g_lines);
}

TEST_F(LoggerTest, DefaultLineIsPrintedAndCut) {
  ASSERT_TRUE(initializeLogging(nullptr, RYX_LOG_LEVEL_DEBUG));
  testing::internal::CaptureStdout();
  RYX_LOG_ERROR("Invalid output file: [%s]", "x");
  RYX_LOG_ERROR("%s", std::string(2000, 'y').c_str());
  fflush(stdout);
  const std::string printed = testing::internal::GetCapturedStdout();
  const size_t firstEnd = printed.find('\n');
  EXPECT_EQ("ms [ ERROR ] Invalid output file: [x]", printed.substr(8, firstEnd - 8));
  EXPECT_EQ(firstEnd + 1 + 1023 + 1, printed.size());
}

std::string formatted(size_t size, uint32_t level, uint64_t timestamp, const char* format, ...) {
  std::string buffer(size + 1, '#');
  va_list arguments;
  va_start(arguments, format);
  const int length = formatLogLine(buffer.data(), size, format, level, timestamp, arguments);
  va_end(arguments);
  EXPECT_EQ(format[1] == '\0' ? 1 : 3, length) << "of the message";
  EXPECT_EQ('#', buffer[size]) << "written past the end";
  return size == 0 ? "" : buffer.substr(0, buffer.find('\0'));
}

TEST_F(LoggerTest, FormattedLine) {
  EXPECT_EQ("     1.5ms [WARNING] m 7", formatted(64, RYX_LOG_LEVEL_WARN, 1500000, "m %d", 7));
  EXPECT_EQ("     0.0ms [  INFO ] m", formatted(64, RYX_LOG_LEVEL_INFO, 1, "m"));
  EXPECT_EQ("     0.0ms [VERBOSE] m", formatted(64, RYX_LOG_LEVEL_VERBOSE, 1, "m"));
  EXPECT_EQ("     0.0ms [ DEBUG ] m", formatted(64, RYX_LOG_LEVEL_DEBUG, 1, "m"));
  EXPECT_EQ("     0.0ms [UNKNOWN] m", formatted(64, kNoLogger, 1, "m"));
  EXPECT_EQ("     0.0ms [       ] m", formatted(64, 9, 1, "m"));
  EXPECT_EQ("     0.", formatted(8, RYX_LOG_LEVEL_INFO, 1, "m"));
  formatted(0, RYX_LOG_LEVEL_INFO, 1, "m");
  ASSERT_TRUE(initializeLogging(nullptr, RYX_LOG_LEVEL_DEBUG));
  sleepMilliseconds(2);
  const double sinceThen = std::stod(formatted(64, RYX_LOG_LEVEL_INFO, 0, "m"));  // milliseconds
  EXPECT_GE(sinceThen, 1);
  EXPECT_LT(sinceThen * 1e6, kMinute);
}

TEST_F(LoggerTest, LinesOnStandardError) {
  testing::internal::CaptureStderr();
  logToStderr("a %d", 1);
  logToStderr("%s", std::string(2000, 'y').c_str());
  EXPECT_EQ("a 1\n" + std::string(1023, 'y') + "\n", testing::internal::GetCapturedStderr());
}

TEST_F(LoggerTest, NullFormatIsALogicError) {
  Logger logger(rememberLine, RYX_LOG_LEVEL_DEBUG, nullptr);
  const char* volatile none = nullptr;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
  EXPECT_THROW(logger.log(RYX_LOG_LEVEL_ERROR, "", 0, none), std::logic_error);
#pragma GCC diagnostic pop
}

void ignoreLine(const char*, uint32_t, uint64_t, va_list) {}

// Meant for the thread sanitizer: nothing here may race.
TEST_F(LoggerTest, ReplacedAndUsedFromManyThreads) {
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 500; ++i) {
        if (t == 0) initializeLogging(ignoreLine, RYX_LOG_LEVEL_DEBUG);
        if (t == 1) setMaxLogLevel(1 + static_cast<uint32_t>(i % 5));
        if (t == 2 && i % 50 == 0) terminateLogging();
        RYX_LOG_ERROR("line %d of %d", i, t);
      }
    });
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(initializeLogging(ignoreLine, RYX_LOG_LEVEL_ERROR));
  EXPECT_EQ(&ignoreLine, getLogCallback());
}

TEST(OsHelpers, TimesAndDates) {
  const std::time_t epoch = 0;
  std::tm date;
  ASSERT_EQ(&date, localTime(&epoch, &date));
  char text[26];
  EXPECT_EQ(nullptr, asciiTime(&date, text, 25));
  ASSERT_EQ(text, asciiTime(&date, text, 26));
  EXPECT_EQ('\n', text[24]);
  timeval now;
  EXPECT_EQ(0, getTimeOfDay(&now));
  EXPECT_EQ(0, sleepMilliseconds(1000));
  timeval later;
  getTimeOfDay(&later);
  EXPECT_GE((later.tv_sec - now.tv_sec) * 1000000 + later.tv_usec - now.tv_usec, 1000000);
}

}  // namespace
}  // namespace ryx::log
