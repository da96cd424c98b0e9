#include "viewer/report_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "viewer/log_lines.h"

namespace ryx::viewer {
namespace {

constexpr char kStandardOutputName[] = "standard output";

/// Says on standard error why the last system call on `name` failed.
bool refuse(const std::string& name) {
  complain(name, std::strerror(errno));
  return false;
}

bool empty(const Descriptor& memory) {
  return ftruncate(memory.get(), 0) == 0 && lseek(memory.get(), 0, SEEK_SET) == 0;
}

}  // namespace

ReportOutput::Route ReportOutput::chooseRoute(const Options& options) {
  const bool toStandardOutput =
      options.outputPath.empty() || options.outputPath == kStandardOutputPath;
  if (options.format == Format::Text) return toStandardOutput ? Route::Reader : Route::TextToFile;
  return options.outputPath == kStandardOutputPath ? Route::DocumentToStandardOutput
                                                   : Route::Reader;
}

ReportOutput::ReportOutput(const Options& options)
    : route_(chooseRoute(options)), name_(options.outputPath) {
  if (name_.empty() || name_ == kStandardOutputPath) name_ = kStandardOutputName;
  if (route_ != Route::Reader) memory_ = openMemoryFile("report");
  if (route_ == Route::DocumentToStandardOutput) {
    readerPath_ = pathOf(memory_);
  } else if (options.format != Format::Text) {
    readerPath_ = options.outputPath;
  }
}

StandardOutputRedirection ReportOutput::redirect() const {
  switch (route_) {
    case Route::Reader: break;
    case Route::DocumentToStandardOutput: return StandardOutputRedirection(STDERR_FILENO);
    case Route::TextToFile: return StandardOutputRedirection(memory_.get());
  }
  return StandardOutputRedirection(-1);
}

bool ReportOutput::beginReport() {
  if (route_ == Route::TextToFile && !file_.isOpen()) {
    file_ = Descriptor(open(name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file_.isOpen()) return refuse(name_);
  }
  reporting_ = true;
  return true;
}

bool ReportOutput::endLog() {
  const bool reported = reporting_;
  reporting_ = false;
  if (route_ != Route::TextToFile) return true;
  // What a reader wrote without getting as far as a report is not lost, but no report either.
  const int target = reported ? file_.get() : STDOUT_FILENO;
  const bool copied = copyFile(memory_, target) || refuse(reported ? name_ : kStandardOutputName);
  return (empty(memory_) || refuse(name_)) && copied;
}

bool ReportOutput::finish() {
  if (route_ == Route::DocumentToStandardOutput)
    return copyFile(memory_, STDOUT_FILENO) || refuse(name_);
  return !file_.isOpen() || file_.close() || refuse(name_);
}

}  // namespace ryx::viewer
