// SPDX-License-Identifier: Apache-2.0
// The file that reports go to, as a reader knows it: a path.
//
// What a reader writes may be cut short, by a full disk or exhausted memory, and other viewers may
// be writing to the same file. So that neither costs a report that was whole:
//
//   a CSV file that is appended to
//       is locked for each report, and cut back to where it was when a report fails or a signal
//       ends the viewer
//   every other regular file
//       The reader gets a temporary beside it, which takes its place after the last log if it holds
//       whole reports. Where a temporary cannot be had (the folder cannot be written) the reader
//       writes the file itself.
//   standard output
//       The reader gets a file in memory, which is copied out after the last log: only then is a
//       JSON document complete, and standard output may be a pipe or a socket, which cannot be
//       opened by path or rewritten.
//   what has no content to replace (devices, pipes), and no file at all
//       The reader writes it itself, and nothing is taken back.

#ifndef RYX_VIEWER_REPORT_FILE_H
#define RYX_VIEWER_REPORT_FILE_H

#include <memory>
#include <string>

#include "base/status.h"
#include "viewer/options.h"

namespace ryx::viewer {

/// Failures name the file as the user does.
class ReportFile {
 public:
  ReportFile() = default;
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;
  virtual ~ReportFile() = default;

  /// To be called once, before the first log.
  [[nodiscard]] virtual Status open() { return {}; }
  [[nodiscard]] virtual Status beginReport() { return {}; }
  /// To be called once after each `beginReport`. Keeps the report if it `isWhole`, and if it is
  /// not, the reports before it.
  [[nodiscard]] virtual Status endReport(bool isWhole);
  /// To be called once, after the last log: what was kept reaches its place.
  [[nodiscard]] virtual Status finish() { return {}; }

  /// The path to write to, from `beginReport` to `endReport`; may be empty.
  [[nodiscard]] const std::string& readerPath() const { return readerPath_; }

 protected:
  std::string readerPath_;
};

[[nodiscard]] std::unique_ptr<ReportFile> makeReportFile(const Options& options);

}  // namespace ryx::viewer

#endif
