// SPDX-License-Identifier: Apache-2.0
// Reports go to files in memory and to a caught stream, so that a million of them leave nothing
// behind. Both readers are tried on every log, damaged or not: they share the reading and differ in
// the reports, so they have to agree on whether it was read, and on its header.

#include "fuzz/log_reports.h"

#include <rapidjson/document.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <sstream>

#include "base/logger.h"
#include "fuzz/json_reports.h"
#include "fuzz/require.h"
#include "reader/ryx_profile_log_reader_gpu.h"

namespace ryx::fuzz {
namespace {

using profiling::VisibilityLevel;

/// A file in memory with a path.
class MemoryFile {
 public:
  explicit MemoryFile(const char* name) : descriptor_(memfd_create(name, MFD_CLOEXEC)) {
    require(descriptor_ >= 0, "a file in memory is to be had");
  }

  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  void set(std::string_view content) {
    require(ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, content.data(), content.size(),
                                                     0) == static_cast<ssize_t>(content.size()),
            "a file in memory can be written");
  }

  [[nodiscard]] std::string content() const {
    std::string text(static_cast<size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
    require(pread(descriptor_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
            "a file in memory can be read");
    return text;
  }

 private:
  int descriptor_;
};

/// Catches what is written on std::cout for as long as it lives.
class CaughtOutput {
 public:
  CaughtOutput() : original_(std::cout.rdbuf(caught_.rdbuf())) {}
  CaughtOutput(const CaughtOutput&) = delete;
  CaughtOutput& operator=(const CaughtOutput&) = delete;
  ~CaughtOutput() { std::cout.rdbuf(original_); }

  [[nodiscard]] std::string text() const { return caught_.str(); }

 private:
  std::ostringstream caught_;
  std::streambuf* original_;
};

void formatLine(const char* format, uint32_t, uint64_t, va_list arguments) {
  char line[1024];
  std::vsnprintf(line, sizeof line, format, arguments);
}

struct ReaderResult {
  bool wholeLogRead = false;
  std::string headerDetails;
  std::string printed;
  std::string written;
};

template <typename Reader>
ReaderResult use(const std::string& logPath) {
  static MemoryFile report("report");
  report.set("");
  const CaughtOutput output;
  Reader reader(logPath, VisibilityLevel{127});
  ReaderResult result;
  result.wholeLogRead = reader.readLogFile(false);
  require(!reader.processNextMessage(), "no message is left after reading");
  result.headerDetails = reader.getHeaderDetails();
  require(reader.generateOutput(report.path()), "a report is made");
  result.written = report.content();
  result.printed = output.text();
  return result;
}

bool isJson(const std::string& text) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  return !document.HasParseError();
}

}  // namespace

LogReports makeReports(std::string_view log) {
  static const bool logging = log::initializeLogging(formatLine, log::RYX_LOG_LEVEL_DEBUG);
  require(logging, "a logger is registered");
  static MemoryFile file("log");
  file.set(log);

  const auto base = use<profiling::RyxProfileLogReader>(file.path());
  forgetJsonReports();
  const auto gpu = use<profiling::RyxProfileLogReaderGPU>(file.path());
  require(base.wholeLogRead == gpu.wholeLogRead && base.headerDetails == gpu.headerDetails,
          "both readers read the same");
  require(isJson(gpu.written), "the JSON report is JSON");
  return {base.wholeLogRead, base.headerDetails, base.printed,
          base.written,      gpu.printed,        gpu.written};
}

}  // namespace ryx::fuzz
