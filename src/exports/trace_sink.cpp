// SPDX-License-Identifier: Apache-2.0
// A log is read twice: for its messages, of which those to be drawn are chosen, and then for the
// events of these. What is kept is one small record for each message, and the events of one message
// at a time.

#include "exports/trace_sink.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "base/keyed_hash.h"
#include "exports/json_text.h"
#include "exports/trace_choice.h"
#include "exports/trace_layout.h"
#include "exports/trace_writer.h"

namespace ryx::profiling {

namespace {

/// The most that is drawn of a thread, unless all is wanted: what readers of traces take with ease.
constexpr uint64_t kMaxThreadEvents = 200'000;

/// How many executions of one graph and method may be under way at a time.
constexpr size_t kMaxLanes = 64;

/// What a path names an event by that has no identifier.
constexpr std::string_view kNoIdentifier = "null";

/// The thread of all messages that are no executions.
constexpr uint32_t kPhases = 0;

/// No event is nested deeper.
constexpr size_t kMaxDepth = UINT8_MAX;

/// Names by number, and as JSON strings.
class NameTable {
 public:
  uint32_t add(std::string_view name) {
    const auto known = numbers_.find(name);
    if (known != numbers_.end()) return known->second;
    const auto number = static_cast<uint32_t>(names_.size());
    bytes_ += name.size();
    const std::string& kept = names_.emplace_back(name);
    json_.push_back(jsonString(name));
    numbers_.emplace(kept, number);
    return number;
  }

  [[nodiscard]] const std::string& text(uint32_t number) const { return names_[number]; }
  [[nodiscard]] const std::string& json(uint32_t number) const { return json_[number]; }
  [[nodiscard]] size_t bytes() const { return bytes_; }

 private:
  std::deque<std::string> names_;
  std::vector<std::string> json_;
  std::unordered_map<std::string_view, uint32_t, KeyedHash> numbers_;
  size_t bytes_ = 0;
};

struct TracedMessage {
  uint64_t id = 0;
  uint64_t start = kNoTime;  ///< by the log's clock
  uint64_t duration = kNoTime;
  uint64_t events = 0;  ///< of an execution
  uint32_t thread = 0;
  uint32_t method = 0;  ///< a name, like the next
  uint32_t graph = kNoGraph;

  static constexpr uint32_t kNoGraph = UINT32_MAX;
};

/// A row of `executions`.
struct Execution {
  uint64_t message = 0;
  uint64_t events = 0;
  uint32_t thread = 0;
};

/// Slices of messages that do not overlap.
struct Lane {
  uint64_t tid = 0;
  uint64_t loggedEnd = 0;  ///< of the last one, by the log, from its first start
  uint64_t drawnEnd = 0;
};

/// The messages of one graph and method, or the phases.
struct Thread {
  std::string name;
  std::vector<Lane> lanes;
  uint64_t drawnEvents = 0;
};

/// A value to be drawn as a counter, and the event that has it.
struct CounterValue {
  size_t event = 0;
  bool isCount = false;  ///< else bytes
  Cell value;
};

/// The number of an event: the exact one where there is one.
Cell numberOf(const Batch& batch, size_t row, size_t integer, size_t natural, size_t real) {
  for (const size_t column : {integer, natural})
    if (Cell cell = batch.cell(row, column); !cell.isNull) return cell;
  return batch.cell(row, real);
}

/// Of a `us` value; leaves both as they are where it is no number.
void readDuration(const Cell& number, TimedEvent& event) {
  if (number.isNull) return;
  switch (number.type) {
    case ColumnType::Int64:
      event.isNegative = number.integer < 0;
      event.duration = static_cast<uint64_t>(number.integer);
      break;
    case ColumnType::UInt64: event.duration = number.natural; break;
    default:
      if (!std::isfinite(number.real)) return;
      event.isNegative = number.real < 0;
      event.duration =
          static_cast<uint64_t>(std::clamp(number.real, 0.0, static_cast<double>(kMaxTraceTime)));
  }
  event.duration = std::min(event.duration, kNoTime - 1);
}

class TraceSink : public TableSink {
 public:
  explicit TraceSink(TraceOptions options) : options_(std::move(options)) {}

  [[nodiscard]] size_t passes() const override { return 2; }

  [[nodiscard]] Selection selection(size_t pass, const MessageFilter& filter) override {
    Selection selection;
    if (pass == 0) {
      selection.filter = filter;
      selection.add(TableId::Messages,
                    {"message_id", "method", "graph", "start_us", "duration_us"});
      selection.add(TableId::Executions, {"message_id", "method", "graph", "events"});
      return selection;
    }
    selection.filter.positions = chooseMessages();
    selection.add(TableId::Events, {"message_id", "depth", "identifier", "unit", "value_int",
                                    "value_uint", "value", "timestamp_us"});
    selection.batchRows = kBatchRows;
    return selection;
  }

  [[nodiscard]] Status begin(const ExportedLog& log) override {
    if (logs_.empty())
      if (Status status = writer_.open(options_.outputPath); !status) return status;
    logs_.push_back({log.path, 0, false, {}, {}});
    names_ = {};
    eventNames_ = {};
    messages_.clear();
    executions_.clear();
    threads_.assign(1, {"phases", {}, 0});
    threadsByName_.clear();
    lastTid_ = 0;
    next_ = 0;
    startMessage();
    return {};
  }

  [[nodiscard]] Status write(const Batch& batch) override {
    for (size_t row = 0; row < batch.rows(); ++row) {
      switch (batch.table().id) {
        case TableId::Messages: addMessage(batch, row); break;
        case TableId::Executions: addExecution(batch, row); break;
        default: addEvent(batch, row); break;
      }
    }
    return writer_.status();
  }

  [[nodiscard]] Status end(const std::optional<TableDamage>& damage) override {
    while (next_ < messages_.size()) drawMessage();
    TracedLog& log = logs_.back();
    if (damage) log.damage = damage->line;
    const size_t process = logs_.size();
    writer_.nameProcess(process, jsonString(log.path + (log.isSynthetic ? kSyntheticMark : "")));
    for (const Thread& thread : threads_)
      for (size_t i = 0; i < thread.lanes.size(); ++i)
        writer_.nameThread(process, thread.lanes[i].tid,
                           jsonString(thread.name + (i == 0 ? "" : " " + std::to_string(i + 1))));
    return writer_.status();
  }

  [[nodiscard]] Status finish() override { return writer_.finish(logs_); }

  [[nodiscard]] std::vector<std::string> omissions() const override {
    std::vector<std::string> lines;
    for (const TracedLog& log : logs_)
      if (const std::string list = describe(log.omissions); !list.empty())
        lines.push_back(log.path + ": the trace leaves out " + list);
    return lines;
  }

 private:
  static constexpr size_t kBatchRows = 4096;
  static constexpr size_t kMaxNameBytes = size_t{16} << 20;
  static constexpr const char* kSyntheticMark = " (start times laid out from durations)";

  // --- The first pass ---

  void addMessage(const Batch& batch, size_t row) {
    TracedMessage message;
    message.id = static_cast<uint64_t>(batch.cell(row, 0).integer);
    const Cell method = batch.cell(row, 1);
    message.method = names_.add(method.isNull ? kNoIdentifier : method.text);
    if (const Cell graph = batch.cell(row, 2); !graph.isNull)
      message.graph = names_.add(graph.text);
    if (const Cell start = batch.cell(row, 3); !start.isNull) message.start = start.natural;
    if (const Cell cell = batch.cell(row, 4); !cell.isNull) message.duration = cell.natural;
    messages_.push_back(message);
  }

  void addExecution(const Batch& batch, size_t row) {
    const uint32_t thread = threadOf(batch.cell(row, 1).text, batch.cell(row, 2).text);
    executions_.push_back({static_cast<uint64_t>(batch.cell(row, 0).integer),
                           static_cast<uint64_t>(batch.cell(row, 3).integer), thread});
  }

  uint32_t threadOf(std::string_view method, std::string_view graph) {
    std::string name = std::string(graph) + " (" + std::string(method) + ")";
    const auto known = threadsByName_.find(name);
    if (known != threadsByName_.end()) return known->second;
    const auto number = static_cast<uint32_t>(threads_.size());
    threadsByName_.emplace(name, number);
    threads_.push_back({std::move(name), {}, 0});
    return number;
  }

  // --- Between the passes ---

  /// Keeps the messages that are to be drawn. Returns their positions in the log.
  std::vector<uint64_t> chooseMessages() {
    findExecutions();
    findFirstStart();
    if (!options_.isWhole) keepChosen();
    std::vector<uint64_t> positions;
    for (const TracedMessage& message : messages_) positions.push_back(message.id);
    return positions;
  }

  void findExecutions() {
    size_t at = 0;
    for (TracedMessage& message : messages_) {
      if (at == executions_.size() || executions_[at].message != message.id) continue;
      message.events = executions_[at].events;
      message.thread = executions_[at].thread;
      ++at;
    }
    executions_ = {};
  }

  void findFirstStart() {
    uint64_t first = kNoTime;
    for (const TracedMessage& message : messages_) first = std::min(first, message.start);
    logs_.back().firstStart = first == kNoTime ? 0 : first;
  }

  void keepChosen() {
    std::vector<std::vector<TraceCandidate>> candidates(threads_.size());
    for (const TracedMessage& message : messages_)
      candidates[message.thread].push_back(
          {message.duration == kNoTime ? 0 : message.duration, message.events + 1});
    std::vector<std::vector<size_t>> chosen;
    chosen.reserve(candidates.size());
    for (const auto& ofThread : candidates)
      chosen.push_back(chooseForTrace(ofThread, kMaxThreadEvents));
    std::vector<size_t> seen(threads_.size());   // messages of each thread
    std::vector<size_t> taken(threads_.size());  // and of these, the chosen ones
    // After the last of the chosen ones `seen` is not kept up: all that follow are left out.
    const auto isLeftOut = [&](const TracedMessage& message) {
      const auto& positions = chosen[message.thread];
      size_t& next = taken[message.thread];
      if (next < positions.size() && positions[next] == seen[message.thread]++) {
        ++next;
        return false;
      }
      ++leftOut()[message.thread == kPhases ? Omission::Phases : Omission::Executions];
      return true;
    };
    std::vector<TracedMessage> kept;
    for (const TracedMessage& message : messages_)
      if (!isLeftOut(message)) kept.push_back(message);
    messages_ = std::move(kept);
  }

  // --- The second pass ---

  void addEvent(const Batch& batch, size_t row) {
    enum : size_t { kMessage, kDepth, kIdentifier, kUnit, kInteger, kNatural, kReal, kTimestamp };
    const auto id = static_cast<uint64_t>(batch.cell(row, kMessage).integer);
    while (next_ < messages_.size() && messages_[next_].id < id) drawMessage();
    // A log that has grown or changed between the passes has others than were chosen.
    if (next_ == messages_.size() || messages_[next_].id != id) return;
    const Thread& thread = threads_[messages_[next_].thread];
    if (!options_.isWhole && thread.drawnEvents + 1 + layout_.events().size() >= kMaxThreadEvents) {
      ++leftOut()[Omission::Surplus];
      return;
    }
    TimedEvent event;
    event.depth = static_cast<uint8_t>(batch.cell(row, kDepth).integer);
    const Cell identifier = batch.cell(row, kIdentifier);
    event.name = nameOf(identifier.isNull ? kNoIdentifier : identifier.text);
    if (const Cell time = batch.cell(row, kTimestamp); !time.isNull) event.timestamp = time.natural;
    const std::string_view unit = batch.cell(row, kUnit).text;
    const Cell number = numberOf(batch, row, kInteger, kNatural, kReal);
    const bool isCount = unit == "count";
    if (unit == "us")
      readDuration(number, event);
    else if ((isCount || unit == "bytes") && !number.isNull && std::isfinite(number.real))
      counters_.push_back({layout_.events().size(), isCount, number});
    layout_.add(event);
  }

  /// The number of the name of the message's next event. Executions of a graph have the same events
  /// again and again: it is likely to be the one that follows what the last event's name has
  /// followed before.
  uint32_t nameOf(std::string_view name) {
    const uint32_t expected = lastName_ < followers_.size() ? followers_[lastName_] : 0;
    if (expected != 0 && eventNames_.text(expected) == name) return lastName_ = expected;
    const uint32_t number = eventNames_.add(name);
    if (followers_.size() <= std::max(lastName_, number))
      followers_.resize(std::max(lastName_, number) + size_t{1});
    followers_[lastName_] = number;
    return lastName_ = number;
  }

  void startMessage() {
    layout_.clear();
    counters_.clear();
    if (eventNames_.bytes() <= kMaxNameBytes) return;
    eventNames_ = {};
    followers_.clear();
    lastName_ = 0;
  }

  /// Draws the next message with the events that have been added.
  void drawMessage() {
    const TracedMessage& message = messages_[next_++];
    Thread& thread = threads_[message.thread];
    const uint64_t length = layout_.measure(message.start);
    TimeSpan span = {relative(message.start), message.duration};
    if (span.duration == kNoTime) span.duration = length;
    if (span.duration == kNoTime) {
      ++leftOut()[Omission::Untimed];
      drawEvents(message, 0, span.start);
    } else if (const Lane* lane = takeLane(thread, message, span)) {
      drawSlice(message, *lane, span);
      layout_.place(span, message.start);
      drawEvents(message, lane->tid, span.start);
    } else {
      ++leftOut()[Omission::Overlapping];
    }
    thread.drawnEvents += 1 + layout_.events().size();
    startMessage();
  }

  /// Where a message of that duration is drawn, which sets the start; null where there is no room.
  Lane* takeLane(Thread& thread, const TracedMessage& message, TimeSpan& span) {
    const bool isTimed = message.start != kNoTime;
    const uint64_t start = isTimed ? span.start : 0;
    // One that has no start comes after the one before it.
    const auto isFree = [&](const Lane& lane) { return !isTimed || lane.loggedEnd <= start; };
    auto lane = std::find_if(thread.lanes.begin(), thread.lanes.end(), isFree);
    const bool isNew = lane == thread.lanes.end();
    if (isNew && thread.lanes.size() == kMaxLanes) return nullptr;
    // Readers take a slice that begins where its namesake ends to be inside it.
    span.start = isNew ? start : std::max(start, lane->drawnEnd + 1);
    if (span.start > kMaxTraceTime || span.duration > kMaxTraceTime - span.start) return nullptr;
    if (isNew) lane = thread.lanes.insert(lane, {++lastTid_, 0, 0});
    lane->drawnEnd = span.start + span.duration;
    lane->loggedEnd = isTimed ? start + span.duration : lane->drawnEnd;
    return &*lane;
  }

  void drawSlice(const TracedMessage& message, const Lane& lane, TimeSpan span) {
    const bool isSynthetic = message.start == kNoTime;
    const bool hasGraph = message.graph != TracedMessage::kNoGraph;
    std::string name = hasGraph ? names_.text(message.graph) : "";
    if (message.thread == kPhases)
      name = names_.text(message.method) + (name.empty() ? "" : " ") + name;
    writer_.addSlice(logs_.size(), lane.tid, span.start, span.duration, isSynthetic,
                     jsonString(name));
    logs_.back().isSynthetic |= isSynthetic;
  }

  /// Draws the slices that have a place, and the counters: where they have no time of their own, at
  /// the start of the slice that they are in.
  void drawEvents(const TracedMessage& message, uint64_t tid, uint64_t start) {
    std::array<uint64_t, kMaxDepth + 2> starts = {start};  // by depth, of what an event is in
    auto counter = counters_.begin();
    for (size_t i = 0; i < layout_.events().size(); ++i) {
      const TimedEvent& event = layout_.events()[i];
      starts[event.depth + 1U] = event.start != kNoTime ? event.start : starts[event.depth];
      if (event.start != kNoTime) {
        writer_.addSlice(logs_.size(), tid, event.start, event.duration, event.isSynthetic,
                         eventNames_.json(event.name));
        logs_.back().isSynthetic |= event.isSynthetic;
      } else if (event.isSlice) {
        ++leftOut()[Omission::Unplaced];
      } else if (event.isNegative) {
        ++leftOut()[Omission::Negative];
      }
      const bool isCounter = counter != counters_.end() && counter->event == i;
      if (isCounter) drawCounter(message, *counter++, event, starts[event.depth]);
      if (!isCounter && !event.isSlice && !event.isNegative) ++leftOut()[Omission::Timeless];
    }
  }

  void drawCounter(const TracedMessage& message, const CounterValue& counter,
                   const TimedEvent& event, uint64_t parentStart) {
    const uint64_t logged = relative(event.timestamp);
    const uint64_t time = logged != kNoTime ? logged : parentStart;
    if (time > kMaxTraceTime) {
      ++leftOut()[Omission::Timeless];
      return;
    }
    const bool hasGraph = message.graph != TracedMessage::kNoGraph;
    writer_.addCounter(logs_.size(), time, eventNames_.json(event.name),
                       hasGraph ? names_.json(message.graph) : "",
                       counter.isCount ? "count" : "bytes", counter.value);
  }

  /// A time of the log as one of the trace; kNoTime for none, and for one before the first start.
  [[nodiscard]] uint64_t relative(uint64_t time) const {
    const uint64_t first = logs_.back().firstStart;
    return time == kNoTime || time < first ? kNoTime : time - first;
  }

  Omissions& leftOut() { return logs_.back().omissions; }

  const TraceOptions options_;
  TraceWriter writer_;
  std::vector<TracedLog> logs_;

  // Of the present log.
  NameTable names_;  ///< of methods and graphs
  std::vector<TracedMessage> messages_;
  std::vector<Execution> executions_;
  std::vector<Thread> threads_;
  std::unordered_map<std::string, uint32_t, KeyedHash> threadsByName_;
  uint64_t lastTid_ = 0;
  size_t next_ = 0;  ///< the message to be drawn next

  // Of that message.
  NameTable eventNames_;
  std::vector<uint32_t> followers_;  ///< by name: the one that came after it, 0 where none has
  uint32_t lastName_ = 0;
  TraceLayout layout_;
  std::vector<CounterValue> counters_;
};

}  // namespace

std::unique_ptr<TableSink> makeTraceSink(TraceOptions options) {
  return std::make_unique<TraceSink>(std::move(options));
}

}  // namespace ryx::profiling
