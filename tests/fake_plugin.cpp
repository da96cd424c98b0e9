// A reader plug-in that does what the name of its log asks for, to show a host every outcome.
// Built three times: whole, without log functions, and without `deleteReader`.

#include <cstdarg>
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

class FakeReader : public ryx::profiling::ProfileLogReader {
 public:
  FakeReader(const std::string& log, int level) : log_(log), level_(level) {
    if (asks("make-exhausted")) throw std::bad_alloc();
  }

  // Leaves its text in the stream's buffer, as a reader may.
  bool generateOutput(const std::string& outputPath) override {
    if (asks("report-exhausted")) throw std::bad_alloc();
    if (asks("report-refused")) return false;
    if (asks("report-error")) emit(ryx::log::RYX_LOG_LEVEL_ERROR, "no room for %s", "it");
    if (!outputPath.empty()) std::ofstream(outputPath, std::ios::app) << "file:" << log_ << '\n';
    std::cout << "text:" << log_ << '\n';
    return true;
  }

  std::string getHeaderDetails() override { return {}; }
  bool processNextMessage() override { return false; }

  bool readLogFile(bool saveObjectEvents) override {
    if (asks("read-exhausted")) throw std::bad_alloc();
    if (asks("read-thrown")) throw std::runtime_error("thrown while reading");
    if (asks("read-refused")) return false;
    if (asks("read-error")) emit(ryx::log::RYX_LOG_LEVEL_ERROR, "odd message");
    if (asks("read-debug"))
      emit(ryx::log::RYX_LOG_LEVEL_DEBUG, "%s", std::string(5000, 'd').c_str());
    if (asks("read-note")) std::cout << "note:" << log_ << '\n';
    if (asks("read-arguments"))
      std::cout << "level:" << level_ << " save:" << saveObjectEvents << '\n';
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
