// SPDX-License-Identifier: Apache-2.0
// Reading a log and making every report of it, within the process and without leaving files.

#ifndef RYX_FUZZ_LOG_REPORTS_H
#define RYX_FUZZ_LOG_REPORTS_H

#include <string>
#include <string_view>

namespace ryx::fuzz {

/// What the two readers made of one log; the reports are made whether it was read whole or not.
struct LogReports {
  bool wholeLogRead = false;
  std::string headerDetails;
  std::string text;  ///< the base reader's notes and text report
  std::string csv;
  std::string summary;  ///< the GPU reader's notes and summary
  std::string json;

  friend bool operator==(const LogReports& a, const LogReports& b) {
    return a.wholeLogRead == b.wholeLogRead && a.headerDetails == b.headerDetails &&
           a.text == b.text && a.csv == b.csv && a.summary == b.summary && a.json == b.json;
  }
};

/// Ends the process as a crash when something does not hold for any log at all: the readers
/// disagree about it, or the JSON report is not JSON.
LogReports makeReports(std::string_view log);

}  // namespace ryx::fuzz

#endif
