// SPDX-License-Identifier: Apache-2.0
// A filter is applied to one message after the other, and nothing is kept of those before but a few
// numbers. Two conditions need more than that of the log: the last N matches cannot be told before
// all have been counted, and times that count from the first message or from a date need what that
// message or the header says. For these the log is read once before, which pipes do not allow:
// callers keep a copy of them.
//
// Positions and matches are counted for every message, wanted or not; a caller that leaves one out
// shifts all that follow.

#include "stream/message_filter.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "base/printable_text.h"
#include "stream/log_damage.h"
#include "stream/log_text.h"

namespace ryx::profiling {

Status checkFilter(const MessageFilter& filter) {
  if (filter.first && filter.last)
    return Status::failure("--first and --last contradict each other");
  if (filter.fromTime.since == filter.toTime.since &&
      filter.fromTime.microseconds > filter.toTime.microseconds)
    return Status::failure("--from is later than --to");
  if (filter.firstMessage > filter.lastMessage)
    return Status::failure("--messages: ends before it begins");
  return {};
}

namespace {

/// What times count from, as far as a log says.
struct TimeBases {
  std::optional<uint64_t> firstTime;
  bool hasHeader = false;
  std::optional<uint64_t> epoch;
  std::optional<uint64_t> steadyClock;  ///< at `epoch`
  bool isReadable = false;
};

void readBases(const LogChunk& chunk, TimeBases& bases) {
  bases.isReadable = true;
  if (const LogHeader* header = chunk.header(); header != nullptr && !bases.hasHeader) {
    bases.hasHeader = true;
    if (const auto time = header->epoch_timestamp()) bases.epoch = *time;
    if (const auto time = header->steady_clock_timestamp()) bases.steadyClock = *time;
  }
  if (bases.firstTime || chunk.messages() == nullptr) return;
  for (const Message* message : *chunk.messages()) {
    if (const auto time = message->timestamp()->time()) {
      bases.firstTime = *time;
      return;
    }
  }
}

/// The logged time that is `time`; nothing where it is before or after all that can be logged.
struct LoggedTime {
  bool isBefore = false;
  bool isAfter = false;
  uint64_t time = 0;
};

LoggedTime loggedTime(const LogTime& time, const TimeBases& bases) {
  LoggedTime logged;
  uint64_t base = 0;
  switch (time.since) {
    case LogTime::Since::Logged: break;
    case LogTime::Since::FirstMessage: base = bases.firstTime.value_or(0); break;
    case LogTime::Since::Epoch:
      base = *bases.steadyClock;
      if (time.microseconds < *bases.epoch) {
        const uint64_t earlier = *bases.epoch - time.microseconds;
        logged.isBefore = earlier > base;
        logged.time = logged.isBefore ? 0 : base - earlier;
        return logged;
      }
      logged.isAfter = __builtin_add_overflow(base, time.microseconds - *bases.epoch, &logged.time);
      return logged;
  }
  logged.isAfter = __builtin_add_overflow(base, time.microseconds, &logged.time);
  return logged;
}

}  // namespace

MessageSelector::MessageSelector(MessageFilter filter)
    : filter_(std::move(filter)),
      fromTime_(filter_.fromTime.microseconds),
      toTime_(filter_.toTime.microseconds) {
  for (std::string& graph : filter_.graphs) graph = replacedUtf8(graph);
}

bool MessageSelector::areTimesLogged() const {
  return filter_.fromTime.since == LogTime::Since::Logged &&
         filter_.toTime.since == LogTime::Since::Logged;
}

Status MessageSelector::resolveTimes(const std::string& path) {
  if (areTimesLogged()) return {};
  const LogTime times[] = {filter_.fromTime, filter_.toTime};
  const auto isAnySince = [&](LogTime::Since since) {
    return times[0].since == since || times[1].since == since;
  };
  const bool needsFirst = isAnySince(LogTime::Since::FirstMessage);
  const bool needsHeader = isAnySince(LogTime::Since::Epoch);
  TimeBases bases;
  CheckedLog log;
  if (log.open(path)) {
    const auto isComplete = [&] {
      return (!needsFirst || bases.firstTime) && (!needsHeader || bases.hasHeader);
    };
    for (const LogChunk* chunk = log.next(); chunk != nullptr; chunk = log.next()) {
      readBases(*chunk, bases);
      if (isComplete()) break;
    }
  }
  // Whoever reads the log next finds out, and says, why there is nothing to read.
  if (!bases.isReadable) return {};
  if (needsHeader && (!bases.epoch || !bases.steadyClock))
    return Status::failure(
        "its header does not tie its clock to dates, as --from or --to by date needs");
  const LoggedTime from = loggedTime(times[0], bases);
  const LoggedTime to = loggedTime(times[1], bases);
  fromTime_ = from.time;
  toTime_ = to.isAfter ? UINT64_MAX : to.time;
  // Nothing is from after all times on, or up to before them.
  if (from.isAfter || to.isBefore) {
    fromTime_ = UINT64_MAX;
    toTime_ = 0;
  }
  return {};
}

void MessageSelector::countMessages(const std::string& path) {
  MessageSelector counter(filter_);
  counter.fromTime_ = fromTime_;
  counter.toTime_ = toTime_;
  CheckedLog log;
  if (log.open(path)) {
    while (const LogChunk* chunk = log.next()) {
      if (chunk->messages() == nullptr) continue;
      for (const Message* message : *chunk->messages())
        counter.matches_ += counter.meetsConditions(*message) ? 1 : 0;
    }
  }
  setMatchCount(counter.matches_);
}

void MessageSelector::setMatchCount(uint64_t count) {
  skipped_ = count - std::min(count, filter_.last.value_or(UINT64_MAX));
}

bool MessageSelector::selects(const Message& message) {
  if (!meetsConditions(message)) return false;
  const uint64_t match = matches_++;
  return match < filter_.first.value_or(UINT64_MAX) && match >= skipped_ &&
         match - skipped_ < filter_.last.value_or(UINT64_MAX);
}

bool MessageSelector::meetsConditions(const Message& message) {
  const uint64_t position = position_++;
  if (position < filter_.firstMessage || position > filter_.lastMessage) return false;
  if (filter_.positions && !isListed(position)) return false;
  const uint64_t time = message.timestamp()->time().value_or(0);
  if (time < fromTime_ || time > toTime_) return false;
  if (filter_.level && message.level().value_or(0) >= *filter_.level) return false;
  const auto method =
      static_cast<int8_t>(message.method_type().value_or(static_cast<MethodType>(0)));
  const std::vector<int8_t>& methods = filter_.methods;
  if (!methods.empty() && std::count(methods.begin(), methods.end(), method) == 0) return false;
  return filter_.graphs.empty() || isAboutGraph(message.text());
}

bool MessageSelector::isListed(uint64_t position) {
  const std::vector<uint64_t>& positions = *filter_.positions;
  while (nextListed_ < positions.size() && positions[nextListed_] < position) ++nextListed_;
  return nextListed_ < positions.size() && positions[nextListed_] == position;
}

/// Names are equal when they are shown as the same text.
bool MessageSelector::isAboutGraph(const flatbuffers::String* text) const {
  if (text == nullptr) return false;
  const auto isWanted = [this](std::string_view name) {
    return std::find(filter_.graphs.begin(), filter_.graphs.end(), name) != filter_.graphs.end();
  };
  const std::string_view name = logText(text);
  const bool isAscii =
      std::all_of(name.begin(), name.end(), [](char c) { return static_cast<uint8_t>(c) < 0x80; });
  return isAscii ? isWanted(name) : isWanted(replacedUtf8(name));
}

}  // namespace ryx::profiling
