// SPDX-License-Identifier: Apache-2.0
// Standard output, and files in memory that stand in for it.

#ifndef RYX_VIEWER_STANDARD_OUTPUT_H
#define RYX_VIEWER_STANDARD_OUTPUT_H

#include <string>

#include "base/descriptor.h"
#include "base/status.h"

namespace ryx::viewer {

constexpr char kStandardOutputName[] = "standard output";

/// A file that lives in memory for as long as it is open.
[[nodiscard]] Result<Descriptor> openMemoryFile(const char* name);

/// A path under which this process can open `descriptor`'s file again.
[[nodiscard]] std::string pathOf(const Descriptor& descriptor);

/// Copies the whole of the file `from`, wherever its offset is, to `to`; to a terminal with
/// control characters escaped. A failure is the system's reason alone.
[[nodiscard]] Status copyFile(const Descriptor& from, int to);

/// Writes out what C and C++ streams hold back for standard output. False when that or an earlier
/// write failed; the next one is then tried anew.
[[nodiscard]] bool flushStandardOutput();

/// Sends standard output elsewhere for as long as it lives.
class ScopedStandardOutput {
 public:
  ScopedStandardOutput() = default;
  ScopedStandardOutput(const ScopedStandardOutput&) = delete;
  ScopedStandardOutput& operator=(const ScopedStandardOutput&) = delete;
  ~ScopedStandardOutput();

  /// To `target`, which is only needed here. To be called once.
  [[nodiscard]] Status sendTo(int target);

 private:
  Descriptor original_;
};

}  // namespace ryx::viewer

#endif
