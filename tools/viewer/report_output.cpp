// SPDX-License-Identifier: Apache-2.0
// A reader's text goes three ways: straight through where nothing is to be done with it, or into a
// file in memory, and from there to the report's file or to a terminal. In a report file every
// report is whole, so text goes there only when its report has been kept.

#include "viewer/report_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "common/input.h"
#include "viewer/log_lines.h"

namespace ryx::viewer {
namespace {

bool isStandardOutput(const std::string& path) {
  return path.empty() || path == tools::kStandardStream;
}

Status empty(const Descriptor& memory) {
  const bool isDone = ftruncate(memory.get(), 0) == 0 && lseek(memory.get(), 0, SEEK_SET) == 0;
  return isDone ? Status() : Status::system();
}

}  // namespace

ReportOutput::ReportOutput(const Options& options)
    : isTextForFile_(options.format == Format::Text && !isStandardOutput(options.outputPath)),
      name_(isStandardOutput(options.outputPath) ? kStandardOutputName : options.outputPath),
      file_(makeReportFile(options)),
      isTextForErrors_(options.format != Format::Text && isStandardOutput(options.outputPath)) {}

Status ReportOutput::open() {
  if (Status status = file_->open(); !status) return status;
  nameInLogLines(readerPath().empty() ? kStandardOutputName : readerPath(), name_);
  if (!isTextForFile_ && isatty(textTarget()) == 0) return {};
  Result<Descriptor> text = openMemoryFile("text");
  if (!text) return text.status();
  text_ = std::move(*text);
  return {};
}

std::string ReportOutput::readerPath() const {
  return isTextForFile_ ? std::string() : file_->readerPath();
}

/// Where a reader's text goes, but for that of a report to a file.
int ReportOutput::textTarget() const { return isTextForErrors_ ? STDERR_FILENO : STDOUT_FILENO; }

Status ReportOutput::redirect(ScopedStandardOutput& output) const {
  if (text_.isOpen()) return output.sendTo(text_.get());
  return textTarget() == STDOUT_FILENO ? Status() : output.sendTo(textTarget());
}

Status ReportOutput::beginReport() {
  Status status = file_->beginReport();
  if (status) report_ = Report::Begun;
  return status;
}

Status ReportOutput::endLog() {
  const Report report = std::exchange(report_, Report::None);
  // What a reader prints before its report begins is shown, since it may tell why none was made.
  // Half a report that was meant for a file is dropped.
  if (isTextForFile_ && report == Report::Begun && text_.isOpen())
    if (Status status = empty(text_).of(name_); !status) return status;
  Status copied = copyText(isTextForFile_ && report == Report::Whole);
  if (report == Report::None) return copied;
  const bool isWhole = report == Report::Whole && (copied || !isTextForFile_);
  const Status ended = file_->endReport(isWhole);
  return copied ? ended : copied;
}

Status ReportOutput::copyText(bool toFile) {
  if (!text_.isOpen()) return {};
  Descriptor file;
  if (toFile) {
    Result<Descriptor> opened = openFile(file_->readerPath(), O_WRONLY | O_APPEND | O_CREAT);
    if (!opened) return opened.status().of(name_);
    file = std::move(*opened);
  }
  Status status = copyFile(text_, toFile ? file.get() : textTarget());
  if (status) status = toFile ? file.close() : Status();
  if (!status) return status.of(toFile ? name_ : kStandardOutputName);
  return empty(text_).of(name_);
}

}  // namespace ryx::viewer
