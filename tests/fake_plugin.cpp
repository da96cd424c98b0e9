// SPDX-License-Identifier: Apache-2.0
// A reader plug-in that does what the name of its log asks for, to show a host every outcome.
// Built three times: whole, without log functions, and without `deleteReader`.

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "ryx/profile_log_reader.h"

namespace {

ryx::log::LogCallback g_callback = nullptr;
uint32_t g_maxLevel = 0;

void emit(uint32_t level, const char* format, ...) {
  if (g_callback == nullptr || level > g_maxLevel) return;
  va_list arguments;
  va_start(arguments, format);
  g_callback(format, level, 1234567, arguments);
  va_end(arguments);
}

/// In kilobytes; 0 for none.
uint64_t memoryLimit() {
  rlimit limit = {};
  getrlimit(RLIMIT_DATA, &limit);
  return limit.rlim_cur == RLIM_INFINITY ? 0 : limit.rlim_cur / 1024;
}

/// What else than writing files a log could want to have done.
std::string refusedByTheSandbox() {
  std::string refused;
  const auto count = [&refused](const char* what, int result) {
    if (result != 0) refused += what;
  };
  std::ofstream("made") << "x";
  count(" link", link("made", "linked"));
  count(" symlink", symlink("made", "symlinked"));
  count(" mkdir", mkdir("folder", 0700));
  count(" mkfifo", mkfifo("pipe", 0600));
  count(" rename", rename("made", "renamed"));
  count(" unlink", unlink("made"));
  return refused;
}

class FakeReader : public ryx::profiling::ProfileLogReader {
 public:
  FakeReader(const std::string& log, int level) : log_(log), level_(level) {
    if (asks("make-exhausted")) throw std::bad_alloc();
  }

  // Leaves its text in the stream's buffer, as a reader may.
  bool generateOutput(const std::string& outputPath) override {
    if (asks("report-refused")) return false;
    if (asks("report-error")) emit(ryx::log::RYX_LOG_LEVEL_ERROR, "no room for %s", "it");
    if (!outputPath.empty()) std::ofstream(outputPath, std::ios::app) << "file:" << log_ << '\n';
    if (asks("report-exhausted")) throw std::bad_alloc();
    if (asks("report-killed")) raise(SIGTERM);
    if (asks("report-more")) std::cout << "refused:" << refusedByTheSandbox() << '\n';
    if (asks("report-cut"))
      emit(ryx::log::RYX_LOG_LEVEL_ERROR, "cut short: [%s]", outputPath.c_str());
    std::cout << "text:" << log_ << '\n';
    return true;
  }

  std::string getHeaderDetails() override { return {}; }
  bool processNextMessage() override { return false; }

  bool readLogFile(bool saveObjectEvents) override {
    if (asks("read-exhausted")) throw std::bad_alloc();
    if (asks("read-thrown")) throw std::runtime_error("thrown while reading");
    if (asks("read-odd")) throw 7;
    if (asks("read-vanished")) unlink(log_.c_str());
    if (asks("read-refused") || asks("read-vanished")) return false;
    if (asks("read-error")) emit(ryx::log::RYX_LOG_LEVEL_ERROR, "odd message");
    if (asks("read-debug"))
      emit(ryx::log::RYX_LOG_LEVEL_DEBUG, "%s", std::string(5000, 'd').c_str());
    for (int i = 0; asks("read-many") && i < 8; ++i) {
      emit(ryx::log::RYX_LOG_LEVEL_ERROR, "odd message %d", i);
      if (i < 5) emit(ryx::log::RYX_LOG_LEVEL_ERROR, "no more of these");
    }
    if (asks("read-note")) std::cout << "note:" << log_ << '\n';
    if (asks("read-arguments"))
      std::cout << "level:" << level_ << " save:" << saveObjectEvents << '\n';
    if (asks("read-limit")) std::cout << "limit:" << memoryLimit() << '\n';
    return true;
  }

  int getReaderStatus() override { return 1; }
  void printEventTree(std::ostream&, const std::vector<ryx::profiling::ProfileEvent>&,
                      uint64_t) override {}
  void writeCsvEvents(std::ostream&, const std::vector<ryx::profiling::ProfileEvent>&, uint64_t,
                      const std::string&) override {}

 private:
  bool asks(const char* word) const { return log_.find(word) != std::string::npos; }

  std::string log_;
  int level_;
};

}  // namespace

ryx::profiling::ProfileLogReader* ryx::profiling::createReader(const std::string& logFilePath,
                                                               VisibilityLevel level) {
  if (logFilePath.find("make-null") != std::string::npos) return nullptr;
  return new FakeReader(logFilePath, static_cast<int>(level));
}

#ifndef RYX_FAKE_INCOMPLETE
void ryx::profiling::deleteReader(ProfileLogReader* reader) { delete reader; }
#endif

#ifndef RYX_FAKE_SILENT
bool ryx::log::initializeLogging(LogCallback callback, uint32_t maxLevel) {
  g_callback = callback;
  g_maxLevel = maxLevel;
  return true;
}

void ryx::log::terminateLogging() { g_callback = nullptr; }
#endif
