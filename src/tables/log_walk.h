// SPDX-License-Identifier: Apache-2.0
// The one walk of a log that every table and statistic stands on: its messages in order, and the
// events of each in pre-order, in blocks, in place.
//
//     LogWalk walk(filter, /*countsEvents=*/true);
//     if (!walk.open(path)) ...
//     while (const MessageRow* message = walk.nextMessage())
//       while (const EventBlock* block = walk.nextEvents())
//         for (size_t i = 0; i < block->size; ++i) ... block->row(i), block->depth[i]
//
// Which to use: a `TableReader` (the public header) where rows are handed on or kept: it delivers
// the columns of the catalogue, decoded. This walk where events are reduced to numbers as they pass
// by, and where a copy of every text would cost more than what is done with it: it delivers the
// events themselves, and decodes what it is asked for.

#ifndef RYX_TABLES_LOG_WALK_H
#define RYX_TABLES_LOG_WALK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "profile_log_generated.h"
#include "ryx/message_filter.h"
#include "stream/log_damage.h"
#include "tables/event_fields.h"

namespace ryx::profiling {

/// One message, with its numbers in the whole log.
struct MessageRow {
  uint64_t id = 0;
  uint64_t chunk = 0;  ///< from 1
  std::optional<int8_t> method;
  std::optional<int8_t> level;
  std::optional<std::string_view> graph;  ///< as tables show it; valid until the next message
  std::optional<uint64_t> timestamp;      ///< microseconds, as the two below
  std::optional<uint64_t> start;
  std::optional<uint64_t> end;
  std::optional<uint64_t> execution;  ///< its number within graph and method, if it is one
  uint64_t firstEventId = 0;          ///< of its events, or of the next one's where it has none
  const Message* table = nullptr;     ///< valid until the next message

  /// The end minus the start; 0 where it is not after it, nothing where one is absent.
  [[nodiscard]] std::optional<uint64_t> duration() const {
    if (!start || !end) return std::nullopt;
    return *end > *start ? *end - *start : 0;
  }
};

/// Some consecutive events of one message, in pre-order. Valid until the next block or message.
struct EventBlock {
  static constexpr size_t kMaxSize = 1024;
  static constexpr uint64_t kNoParent = UINT64_MAX;

  size_t size = 0;
  uint64_t firstId = 0;            ///< of the first event; the ids of the others follow
  bool isLast = false;             ///< of the message
  EventFields inSome = kNoFields;  ///< the fields that one of the events has, or more
  EventFields inAll = kAllFields;  ///< the fields that all of them have
  const uint8_t* tables[kMaxSize];
  const EventLayout* layouts[kMaxSize];
  uint64_t parent[kMaxSize];  ///< its id, or kNoParent
  uint8_t depth[kMaxSize];    ///< of a root 0

  [[nodiscard]] EventRow row(size_t i) const { return {tables[i], *layouts[i]}; }
};

/// The events below this one, at every depth.
[[nodiscard]] uint64_t countDescendants(const EventRow& event);

/// The queue wait of an execution: the value, if an integer and not negative, of its only event of
/// that type among its root events and their direct sub-events.
[[nodiscard]] std::optional<uint64_t> queueWait(const Message& message);

/// What the header of a log says. Texts are as tables show them.
struct HeaderRow {
  std::optional<std::string> backendVersion;
  std::optional<std::string> infoLabel;
  std::optional<std::string> infoText;
  std::optional<float> timeScale;
  std::optional<uint64_t> epoch;        ///< microseconds since the Unix epoch
  std::optional<uint64_t> steadyClock;  ///< microseconds
};

/// What the intact part of a log holds, whatever is selected.
struct LogTotals {
  uint64_t bytes = 0;
  uint64_t chunks = 0;
  uint64_t messages = 0;
  uint64_t events = 0;  ///< 0 where events are not counted
  HeaderRow header;     ///< the first one
};

class LogWalk {
 public:
  /// `filter` does not contradict itself. `countsEvents`: whether the ids of events and the totals'
  /// events are wanted; messages whose events are neither asked for nor counted are passed over at
  /// no cost.
  LogWalk(MessageFilter filter, bool countsEvents);
  ~LogWalk();

  /// On failure `damage` says why.
  [[nodiscard]] bool open(const std::string& path);

  /// The next message that is selected, or null at the end of the log and at its damage. What is
  /// left of the events of the last one is passed over.
  [[nodiscard]] const MessageRow* nextMessage();

  /// The next events of that message, or null after its last. It may have none at all.
  [[nodiscard]] const EventBlock* nextEvents();

  /// The events of that message, at every depth.
  [[nodiscard]] uint64_t eventCount() const;

  [[nodiscard]] const std::optional<LogDamage>& damage() const;
  [[nodiscard]] const LogTotals& totals() const;

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace ryx::profiling

#endif
