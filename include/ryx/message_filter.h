// SPDX-License-Identifier: Apache-2.0
// Which messages of a log are meant, to everything that reads a part of one.

#ifndef RYX_MESSAGE_FILTER_H
#define RYX_MESSAGE_FILTER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ryx::profiling {

/// A time in a log, in microseconds.
struct LogTime {
  enum class Since : uint8_t {
    Logged,        ///< as logged, by the clock of the back end
    FirstMessage,  ///< after the first message that has a time
    Epoch,         ///< the Unix epoch; in a log whose first header ties its clock to it
  };

  constexpr LogTime(uint64_t time, Since clock = Since::Logged)
      : microseconds(time), since(clock) {}

  uint64_t microseconds;
  Since since;
};

/// The conditions on a message itself are joined by "and"; what `first` or `last` count are the
/// messages that meet all of them. Contradictions (both of these, or a range that ends before it
/// begins) are refused by whatever takes a filter.
struct MessageFilter {
  std::vector<std::string> graphs;  ///< the message's text is any of these; empty: no condition
  std::vector<int8_t> methods;      ///< likewise; an absent method is 0
  std::optional<int8_t> level;      ///< of a reader that shows the message; an absent one is 0
  LogTime fromTime = 0;             ///< both inclusive; an absent time is 0, as logged
  LogTime toTime = UINT64_MAX;
  uint64_t firstMessage = 0;  ///< positions in the log, from 0, both inclusive
  uint64_t lastMessage = UINT64_MAX;
  std::optional<std::vector<uint64_t>> positions;  ///< only those at these, which ascend
  std::optional<uint64_t> first;                   ///< only so many, from the first on
  std::optional<uint64_t> last;  ///< only so many, up to the last; the log is then read twice
};

}  // namespace ryx::profiling

#endif
