// SPDX-License-Identifier: Apache-2.0
// What long work shows of itself while it lasts: a line on the terminal that is standard error.
//
//     exporting  45 % [#########...........] 1.2 of 2.7 GB, 310 MB/s, 0:05 left
//
// It appears after half a second, changes at most ten times a second, and is gone when the work is,
// or before anything else is said. Nothing appears where standard error is no terminal that can
// erase it, with --quiet, and where the work's own output goes to the screen meanwhile.
//
// How far the work is shows in the bytes that have been read: every source of a log counts them. A
// thread draws, so that the line stays true also while the work reads nothing, as while a database
// makes its indexes.

#ifndef RYX_COMMON_PROGRESS_H
#define RYX_COMMON_PROGRESS_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ryx::tools {

/// The state of some work, for the line that shows it.
struct WorkDone {
  const char* activity = "";  ///< what is done: "exporting"
  uint64_t done = 0;          ///< bytes
  uint64_t total = 0;         ///< 0 where nobody knows
  double seconds = 0;
};

/// The line for it, in less than `columns` characters: what does not fit is left out from its end,
/// and the bar before that.
[[nodiscard]] std::string progressLine(const WorkDone& work, size_t columns);

/// The bytes of the operands, each read so many times; 0 where one is not a file.
[[nodiscard]] uint64_t bytesOf(const std::vector<std::string>& operands, uint64_t passes = 1);

/// The work of its lifetime, on the main thread. Of works within each other the outermost is shown.
class Progress {
 public:
  /// `position`, where given, returns the bytes done, and may be called from another thread;
  /// without it they are those given to `advanceProgress`. `activity` must outlive this.
  Progress(const char* activity, uint64_t totalBytes, std::function<uint64_t()> position = nullptr);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  class Display;

  std::unique_ptr<Display> display_;
};

/// Has nothing shown from now on.
void silenceProgress();

/// The same where `output` is "-" and standard output a terminal, which the line would run through.
void silenceProgressBeside(const std::string& output);

/// So many more bytes are done.
void advanceProgress(uint64_t bytes);

/// Erases the line, for something else to be written. It comes back when it changes.
void hideProgress();

}  // namespace ryx::tools

#endif
