#include "viewer/report_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

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
  if (route_ == Route::TextToFile || isatty(textTarget())) text_ = openMemoryFile("text");
  if (route_ == Route::DocumentToStandardOutput) {
    document_ = openMemoryFile("report");
    readerPath_ = pathOf(document_);
  } else if (options.format != Format::Text && !options.outputPath.empty()) {
    // Absolute only where the working folder changes: messages name what the user named.
    readerPath_ = options.saveObjects ? std::filesystem::absolute(options.outputPath).string()
                                      : options.outputPath;
  }
}

std::string ReportOutput::reportFile() const {
  return route_ == Route::Reader ? readerPath_ : std::string();
}

/// Where a reader's text goes, but for that of a report to a file.
int ReportOutput::textTarget() const {
  return route_ == Route::DocumentToStandardOutput ? STDERR_FILENO : STDOUT_FILENO;
}

StandardOutputRedirection ReportOutput::redirect() const {
  if (text_.isOpen()) return StandardOutputRedirection(text_.get());
  if (textTarget() != STDOUT_FILENO) return StandardOutputRedirection(textTarget());
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
  if (!text_.isOpen()) return true;
  // What a reader wrote without getting as far as a report is not lost, but no report either.
  const bool toFile = route_ == Route::TextToFile && reported;
  const bool copied = copyFile(text_, toFile ? file_.get() : textTarget()) ||
                      refuse(toFile ? name_ : kStandardOutputName);
  return (empty(text_) || refuse(name_)) && copied;
}

bool ReportOutput::finish() {
  if (route_ == Route::DocumentToStandardOutput)
    return copyFile(document_, STDOUT_FILENO) || refuse(name_);
  return !file_.isOpen() || file_.close() || refuse(name_);
}

}  // namespace ryx::viewer
