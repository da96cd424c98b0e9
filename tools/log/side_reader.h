// SPDX-License-Identifier: Apache-2.0
// The runs of one side of a comparison, from the operands that name them.

#ifndef RYX_LOG_SIDE_READER_H
#define RYX_LOG_SIDE_READER_H

#include <string>
#include <vector>

#include "analysis/comparison.h"

namespace ryx::profiling {

class SideReader {
 public:
  /// `view` must outlive the reader and what it reads.
  SideReader(const WarmUpRule& warmUp, const EventView& view) : warmUp_(warmUp), view_(view) {}

  /// Reads logs, and JSON that statistics were written as. What cannot be read, or only in part, is
  /// printed.
  [[nodiscard]] Sources read(const std::vector<std::string>& operands);

  [[nodiscard]] bool isWhole() const { return failures_.empty(); }

  /// What was printed, a line each.
  [[nodiscard]] const std::vector<std::string>& failures() const { return failures_; }

 private:
  void read(const std::string& operand, Sources& sources);
  void fail(const std::string& why);

  WarmUpRule warmUp_;
  const EventView& view_;
  std::vector<std::string> failures_;
};

/// Brings BASE and NEW into the form that --base and --new have; wrong usage is thrown.
void settleSides(const std::vector<std::string>& operands, std::vector<std::string>& base,
                 std::vector<std::string>& next);

}  // namespace ryx::profiling

#endif
