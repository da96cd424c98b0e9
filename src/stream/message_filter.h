// SPDX-License-Identifier: Apache-2.0
// Which messages of a log are meant: what --graph, --method, --level, --from, --to, --messages,
// --first and --last say, to every command and export that takes them.
//
// The conditions on a message itself are joined by "and"; what --first or --last counts are the
// messages that meet all of them. --messages speaks of positions in the whole log.

#ifndef RYX_STREAM_MESSAGE_FILTER_H
#define RYX_STREAM_MESSAGE_FILTER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/status.h"
#include "profile_log_generated.h"
#include "ryx/message_filter.h"

namespace ryx::profiling {

/// Fails where conditions contradict each other, in the terms of the options above.
[[nodiscard]] Status checkFilter(const MessageFilter& filter);

/// Tells for one message after the other, in the order of the log, whether a filter selects it.
class MessageSelector {
 public:
  explicit MessageSelector(MessageFilter filter);

  /// Whether the log has to be read before it can be told what is selected of it: its beginning,
  /// for times that count from something in it, or all of it, for the last messages.
  [[nodiscard]] bool isLogNeeded() const { return isCountNeeded() || !areTimesLogged(); }
  [[nodiscard]] bool isCountNeeded() const { return filter_.last.has_value(); }

  // Before `selects`, where they are needed:

  /// Finds what the filter's times are in the log at `path`. Fails where its header does not say,
  /// and succeeds for a log of which nothing can be read.
  [[nodiscard]] Status resolveTimes(const std::string& path);

  /// Counts the messages that meet the conditions, up to the log's end or first damage.
  void countMessages(const std::string& path);

  /// That so many messages meet them, where the caller has counted them.
  void setMatchCount(uint64_t count);

  /// To be called once for each message of the log, whatever came of those before.
  [[nodiscard]] bool selects(const Message& message);

 private:
  [[nodiscard]] bool areTimesLogged() const;
  [[nodiscard]] bool meetsConditions(const Message& message);
  [[nodiscard]] bool isListed(uint64_t position);
  [[nodiscard]] bool isAboutGraph(const flatbuffers::String* text) const;

  MessageFilter filter_;
  uint64_t fromTime_;  ///< as logged
  uint64_t toTime_;
  uint64_t position_ = 0;  ///< of the next message
  size_t nextListed_ = 0;  ///< the first of the filter's positions from `position_` on
  uint64_t matches_ = 0;   ///< messages so far that meet the conditions
  uint64_t skipped_ = 0;   ///< matches that `last` leaves out
};

}  // namespace ryx::profiling

#endif
