// SPDX-License-Identifier: Apache-2.0
// The file that a JSON report is written to.
//
// All reports of a process but the first write the array of all reports so far. Writing it anew for
// each log would be quadratic in their number: minutes for 500 logs of 350 kB. So what the last
// report left is remembered. Where a path leads to that very file, and nobody has touched it, only
// what is new is written, over the closing bracket. The bytes are those of a file written anew.

#ifndef RYX_REPORTS_JSON_FILE_H
#define RYX_REPORTS_JSON_FILE_H

#include <sys/stat.h>

#include <string>

#include "base/descriptor.h"
#include "base/status.h"
#include "reader/ryx_profile_log_reader_gpu.h"

namespace ryx::profiling {

/// What a report left in a file.
struct WrittenReports {
  struct stat file = {};  ///< the file as it was then
  /// The reports that it has: so many of the process's, from the first on. 0: nothing is known.
  rapidjson::SizeType count = 0;
  bool isArray = false;  ///< else the one report by itself
};

class JsonFile {
 public:
  /// `last`, which must outlive this, is what the last report left.
  explicit JsonFile(WrittenReports& last) : last_(last) {}

  /// Opens the file at `path`, and empties it unless it is as the last report left it.
  [[nodiscard]] Status open(const std::string& path);

  /// Makes the file hold `reports`, as an array or, the only one, by itself, and closes it. When
  /// that fails (or throws std::bad_alloc), a file that had the last report holds what it held.
  [[nodiscard]] Status write(const JsonValue& reports, bool asArray);

 private:
  [[nodiscard]] bool isHeld() const;
  [[nodiscard]] Status empty();
  [[nodiscard]] Status writeReports(const JsonValue& reports, bool asArray);
  [[nodiscard]] Status cutHeld();
  void restore(const JsonValue& reports);
  void remember(rapidjson::SizeType count, bool isArray);

  WrittenReports& last_;
  WrittenReports held_;  // what the file holds, while that is known
  Descriptor file_;
};

}  // namespace ryx::profiling

#endif
