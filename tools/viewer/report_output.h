// Where reports go.
//
// A reader writes its report file by path, and text on standard output. Three cases:
//
//   report to a file (csv, json), or text to standard output
//       the reader's own doing; nothing to add
//   csv or json to standard output
//       The reader gets the path of a file in memory, which is copied out once, after the last log:
//       only then is a JSON document complete, and standard output may be a pipe or a socket, which
//       cannot be opened by path or rewritten. The reader's text goes to standard error.
//   text to a file
//       The reader's text is caught in memory and copied to the file log by log. The file is opened
//       when the first report is due, so a run that has none leaves an older file alone.
//
// Whatever would go to a terminal is caught, too, and copied there with its control characters
// escaped: texts come from the log, and a log may come from anywhere.

#ifndef RYX_VIEWER_REPORT_OUTPUT_H
#define RYX_VIEWER_REPORT_OUTPUT_H

#include <string>

#include "viewer/descriptors.h"
#include "viewer/options.h"

namespace ryx::viewer {

/// For each log: `redirect` around every use of a reader, `beginReport` before the report is made,
/// `endLog` after all of it. Failures are said on standard error.
class ReportOutput {
 public:
  /// Opens nothing but files in memory. Throws std::system_error when there are none to be had.
  explicit ReportOutput(const Options& options);

  /// The output path to give to a reader, good from any working folder; may be empty.
  [[nodiscard]] const std::string& readerPath() const { return readerPath_; }
  /// The same where it is a file that the reader will open; else empty.
  [[nodiscard]] std::string reportFile() const;
  /// The output as the user knows it, for messages.
  [[nodiscard]] const std::string& name() const { return name_; }

  /// While the result lives, what a reader writes on standard output goes where this output wants
  /// it. Throws std::system_error.
  [[nodiscard]] StandardOutputRedirection redirect() const;

  /// False when the report cannot be written anywhere, and should not be made.
  [[nodiscard]] bool beginReport();
  /// False when what was written for this log could not be delivered.
  [[nodiscard]] bool endLog();
  /// To be called after the last log. False when reports could not be delivered.
  [[nodiscard]] bool finish();

 private:
  enum class Route { Reader, DocumentToStandardOutput, TextToFile };

  static Route chooseRoute(const Options& options);
  [[nodiscard]] int textTarget() const;

  Route route_;
  std::string name_;
  std::string readerPath_;
  Descriptor document_;  ///< the caught document
  Descriptor text_;      ///< the caught text, where it is caught
  Descriptor file_;      ///< the text report's file, once opened
  bool reporting_ = false;
};

}  // namespace ryx::viewer

#endif
