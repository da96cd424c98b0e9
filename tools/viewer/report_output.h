// SPDX-License-Identifier: Apache-2.0
// Where reports go: the file that the reader writes, and the text that it prints.
//
// A reader prints its text on standard output. That stays so for the text report, unless the text
// is wanted in a file; beside a document on standard output it goes to standard error.
//
// Text for a file is caught in memory and copied log by log. So is whatever would go to a terminal,
// to be shown there with its control characters escaped: texts come from the log, and a log may
// come from anywhere.

#ifndef RYX_VIEWER_REPORT_OUTPUT_H
#define RYX_VIEWER_REPORT_OUTPUT_H

#include <memory>
#include <string>

#include "viewer/options.h"
#include "viewer/report_file.h"
#include "viewer/standard_output.h"

namespace ryx::viewer {

/// For each log: `redirect` around every use of a reader, `beginReport` before the report is made,
/// `keepReport` after it has been made, `endLog` after all of it.
class ReportOutput {
 public:
  /// Opens nothing yet.
  explicit ReportOutput(const Options& options);

  /// To be called before the first log is read.
  [[nodiscard]] Status open();

  /// The output path to give to a reader after `beginReport`, good from any working folder; empty
  /// where the text is all that is wanted.
  [[nodiscard]] std::string readerPath() const;
  /// The file that is written, by the reader or from here; may be empty.
  [[nodiscard]] const std::string& reportFile() const { return file_->readerPath(); }
  /// The output as the user knows it, for messages.
  [[nodiscard]] const std::string& name() const { return name_; }

  /// While `output` lives, what a reader writes on standard output goes where this wants it.
  [[nodiscard]] Status redirect(ScopedStandardOutput& output) const;

  /// On failure, the report cannot be written anywhere and should not be made.
  [[nodiscard]] Status beginReport();
  /// The report that has begun is whole: it is not undone by `endLog`.
  void keepReport() { report_ = Report::Whole; }
  /// Fails when what was written for this log could not be delivered.
  [[nodiscard]] Status endLog();
  /// To be called after the last log. Fails when reports could not be delivered.
  [[nodiscard]] Status finish() { return file_->finish(); }

 private:
  enum class Report { None, Begun, Whole };

  [[nodiscard]] int textTarget() const;
  [[nodiscard]] Status copyText(bool toFile);

  const bool isTextForFile_;
  std::string name_;
  std::unique_ptr<ReportFile> file_;
  bool isTextForErrors_;
  Descriptor text_;  ///< the caught text, where it is caught
  Report report_ = Report::None;
};

}  // namespace ryx::viewer

#endif
