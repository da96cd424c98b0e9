// SPDX-License-Identifier: Apache-2.0
// The JSON reports of one process, and the files that they are written to.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "base/logger.h"
#include "fuzz/json_reports.h"
#include "reader/ryx_profile_log_reader_gpu.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

namespace fs = std::filesystem;

std::string g_lines;

void rememberLine(const char* format, uint32_t, uint64_t, va_list arguments) {
  char text[256];
  vsnprintf(text, sizeof text, format, arguments);
  g_lines += text;
}

/// Sets the time of the last change back or forth, which the system may keep too coarsely.
void setTime(const std::string& path, const timespec& time) {
  const timespec times[] = {time, time};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
}

class JsonReportTest : public testing::Test {
 protected:
  JsonReportTest() {
    g_lines.clear();
    log::initializeLogging(rememberLine, log::RYX_LOG_LEVEL_ERROR);
    forget();
  }
  ~JsonReportTest() override {
    log::terminateLogging();
    forget();
  }

  void forget() {
    fuzz::forgetJsonReports();
    reports_ = 0;
  }

  /// The next report of the process, each of another log.
  bool report(const std::string& path) {
    RyxProfileLogReaderGPU reader("log " + std::to_string(++reports_), VisibilityLevel{127});
    testing::internal::CaptureStdout();
    const bool good = reader.generateOutput(path);
    testing::internal::GetCapturedStdout();
    return good;
  }

  /// What `count` reports come to, each written to a file of its own.
  std::string whole(int count) {
    forget();
    std::string path;
    for (int i = 0; i < count; ++i)
      EXPECT_TRUE(report(path = folder_ / "whole" + std::to_string(i)));
    forget();
    return tests::readFile(path);
  }

  tests::TemporaryFolder folder_;
  const std::string path_ = folder_ / "report.json";
  int reports_ = 0;
};

TEST_F(JsonReportTest, OneIsAnObjectAndMoreAreAnArrayInTheirOrder) {
  for (const int count : {1, 2, 5}) {
    const std::string text = whole(count);
    rapidjson::Document document;
    ASSERT_FALSE(document.Parse(text.c_str()).HasParseError());
    rapidjson::StringBuffer pretty;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(pretty);
    document.Accept(writer);
    EXPECT_EQ(pretty.GetString() + std::string("\n"), text);
    ASSERT_EQ(count > 1, document.IsArray());
    for (int i = 0; i < count; ++i) {
      const auto& object = count > 1 ? document[static_cast<rapidjson::SizeType>(i)] : document;
      EXPECT_EQ("log " + std::to_string(i + 1),
                object["metadata"]["input log file location"].GetString());
    }
  }
}

TEST_F(JsonReportTest, AFileIsExtendedOnlyWhereItIsAsItWasLeft) {
  const struct {
    const char* what;
    std::function<void(const std::string& path)> change;
  } cases[] = {
      {"nothing", [](const std::string&) {}},
      {"a byte more",
       [](const std::string& p) {
         struct stat old = {};
         ASSERT_EQ(0, stat(p.c_str(), &old));
         tests::writeFile(p, tests::readFile(p) + " ");
         setTime(p, old.st_mtim);
       }},
      {"emptied", [](const std::string& p) { fs::resize_file(p, 0); }},
      {"removed", [](const std::string& p) { fs::remove(p); }},
      {"replaced by its like",
       [](const std::string& p) {
         struct stat old = {};
         ASSERT_EQ(0, stat(p.c_str(), &old));
         fs::rename(p, p + "old");
         tests::writeFile(p, std::string(static_cast<size_t>(old.st_size), 'x'));
         setTime(p, old.st_mtim);
       }},
      {"rewritten",
       [](const std::string& p) {
         tests::writeFile(p, std::string(tests::readFile(p).size(), 'x'));
         setTime(p, {});
       }},
      {"moved away", [](const std::string& p) { fs::rename(p, p + "moved"); }},
  };
  for (const int before : {1, 2, 3}) {
    const std::string expected = whole(before + 1);
    for (const auto& c : cases) {
      for (int i = 0; i < before; ++i) EXPECT_TRUE(report(path_));
      c.change(path_);
      EXPECT_TRUE(report(path_));
      EXPECT_EQ(expected, tests::readFile(path_)) << c.what << " after " << before;
      forget();
    }
  }
}

TEST_F(JsonReportTest, OnlyWhatIsNewIsWritten) {
  std::string expected = whole(4);
  expected[10] = 'X';
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(report(path_));
  struct stat left = {};
  ASSERT_EQ(0, stat(path_.c_str(), &left));
  std::string marked = tests::readFile(path_);
  marked[10] = 'X';
  tests::writeFile(path_, marked);
  setTime(path_, left.st_mtim);
  EXPECT_TRUE(report(path_));
  EXPECT_EQ(expected, tests::readFile(path_));
}

TEST_F(JsonReportTest, AReportThatFailsLeavesThoseBeforeIt) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  for (const int before : {0, 1, 2, 3}) {
    const std::string expected = whole(before + 2);
    tests::writeFile(path_, "");
    for (int i = 0; i < before; ++i) EXPECT_TRUE(report(path_));
    const std::string held = tests::readFile(path_);
    g_lines.clear();
    const rlimit full = {held.size() + 20, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_TRUE(report(path_));
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(0U, g_lines.find("Invalid output jsonFile: [" + path_ + "]"));
    if (before > 0) {
      EXPECT_EQ(held, tests::readFile(path_));
    }
    EXPECT_TRUE(report(path_));
    EXPECT_EQ(expected, tests::readFile(path_)) << before;
    forget();
  }
  signal(SIGXFSZ, SIG_DFL);
}

TEST_F(JsonReportTest, WhatCannotBeOpenedIsLogged) {
  EXPECT_FALSE(report(""));
  EXPECT_FALSE(report("no such folder/report.json"));
  EXPECT_EQ("Output jsonFile not provided.Invalid output jsonFile: [no such folder/report.json]",
            g_lines);
  EXPECT_TRUE(report("/dev/full"));
}

}  // namespace
}  // namespace ryx::profiling
