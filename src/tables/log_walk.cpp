// SPDX-License-Identifier: Apache-2.0
// What is fast here is what is not done: messages whose events nobody wants are not entered, the
// fields of an event are found through the layout of its vtable, which is read once for thousands
// of events, and a block of events is a few arrays of pointers into the chunk, for loops over one
// field at a time.
//
// Events are walked without recursion, from list to list, so that a block can end anywhere and the
// next one go on there. Their numbers are given in that order; where a message is not walked to its
// end, its events are counted instead, if the numbers of later ones are wanted at all.
//
// A few thousand bytes can stand for billions of events, by naming the same tables again and again.
// Each event becomes a row here, so a chunk with more events than bytes is refused as damage before
// its first row. Counting stops once the bytes are spent: it never takes longer than the chunk is
// large.

#include "tables/log_walk.h"

#include <algorithm>
#include <array>
#include <deque>
#include <unordered_map>
#include <utility>

#include "base/keyed_hash.h"
#include "base/temporary_file.h"
#include "stream/log_format.h"
#include "stream/log_text.h"
#include "stream/message_filter.h"
#include "tables/shown_text.h"

namespace ryx::profiling {

namespace {

constexpr uint32_t kQueueWaitEventType = 405;

using EventVector = flatbuffers::Vector<flatbuffers::Offset<Event>>;

template <typename T>
std::optional<T> toOptional(const flatbuffers::Optional<T>& value) {
  return value ? std::optional<T>(*value) : std::nullopt;
}

uint64_t countEvents(const EventVector* events) {
  if (events == nullptr) return 0;
  uint64_t count = events->size();
  for (const Event* event : *events) count += countEvents(event->nested_events());
  return count;
}

/// Takes the events off `budget`, and stops when it is spent: false.
bool spend(const EventVector* events, uint64_t& budget) {
  if (events == nullptr) return true;
  if (events->size() > budget) return false;
  budget -= events->size();
  for (const Event* event : *events)
    if (!spend(event->nested_events(), budget)) return false;
  return true;
}

bool hasMoreEvents(const LogChunk& chunk, uint64_t count) {
  if (chunk.messages() == nullptr) return false;
  for (const Message* message : *chunk.messages())
    if (!spend(message->events(), count)) return true;
  return false;
}

// The methods whose messages are executions, in the order in which they are counted.
constexpr std::array kExecutionMethods = {MethodType::Execute, MethodType::ExecuteHostRoundTrip,
                                          MethodType::GraphRun};

/// The number of executions so far, by graph and method.
class ExecutionCounters {
 public:
  /// The number of the next execution; nothing for a method that executes no graph.
  std::optional<uint64_t> next(std::string_view graph, int8_t method) {
    const auto place = std::find(kExecutionMethods.begin(), kExecutionMethods.end(),
                                 static_cast<MethodType>(method));
    if (place == kExecutionMethods.end()) return std::nullopt;
    return countersOf(graph)[static_cast<size_t>(place - kExecutionMethods.begin())]++;
  }

 private:
  using Counters = std::array<uint64_t, kExecutionMethods.size()>;

  Counters& countersOf(std::string_view graph) {
    const auto known = counters_.find(graph);
    if (known != counters_.end()) return known->second;
    return counters_[names_.emplace_back(graph)];
  }

  std::deque<std::string> names_;
  std::unordered_map<std::string_view, Counters, KeyedHash> counters_;  ///< by names in `names_`
};

/// The layouts of a chunk's events, by the vtables that they were read from. A table of few entries
/// and no chains: vtables that share an entry replace each other. A layout that is replaced stays
/// in place, because blocks point at layouts, until all are dropped between two blocks.
class LayoutCache {
 public:
  void startChunk() { clear(); }

  /// Makes sure that the layouts of so many events to come stay where they are.
  void startBlock() {
    if (used_ > kCapacity - EventBlock::kMaxSize) clear();
  }

  const EventLayout& layoutOf(const uint8_t* table) {
    const uint8_t* vtable = vtableOf(table);
    Entry& entry = entries_[(reinterpret_cast<uintptr_t>(vtable) >> 1) % kEntries];
    if (entry.vtable != vtable) {
      EventLayout& layout = layouts_[used_++];
      readLayout(vtable, layout);
      entry = {vtable, &layout};
    }
    return *entry.layout;
  }

 private:
  static constexpr size_t kEntries = 64;
  static constexpr size_t kCapacity = 2 * EventBlock::kMaxSize;

  struct Entry {
    const uint8_t* vtable = nullptr;
    const EventLayout* layout = nullptr;
  };

  void clear() {
    entries_.fill({});
    used_ = 0;
  }

  std::array<Entry, kEntries> entries_;
  std::array<EventLayout, kCapacity> layouts_;
  size_t used_ = 0;
};

/// The events of one message in pre-order, a block at a time: a stack of what is left of the lists
/// that the next event is in, the innermost last.
class EventIterator {
 public:
  void startChunk() { layouts_.startChunk(); }

  void startMessage(const EventVector* events, uint64_t firstId) {
    depth_ = 0;
    nextId_ = firstId;
    lists_[0] = {};
    if (events != nullptr) lists_[0] = {events->Data(), events->size(), EventBlock::kNoParent};
  }

  /// Fills the block; it stays empty after the last event.
  void fill(EventBlock& block) {
    layouts_.startBlock();
    block.size = 0;
    block.firstId = nextId_;
    block.inSome = kNoFields;
    block.inAll = kAllFields;
    while (block.size < EventBlock::kMaxSize) {
      if (lists_[depth_].left > 0)
        fillFromList(block);
      else if (depth_ > 0)
        --depth_;
      else
        break;
    }
    nextId_ += block.size;
    block.isLast = isAtEnd();
  }

  /// Of the event that comes next.
  [[nodiscard]] uint64_t nextId() const { return nextId_; }

  [[nodiscard]] bool isAtEnd() const {
    for (size_t i = 0; i <= depth_; ++i)
      if (lists_[i].left > 0) return false;
    return true;
  }

 private:
  /// What is left of a list of events.
  struct List {
    const uint8_t* next = nullptr;
    uint32_t left = 0;
    uint64_t parent = EventBlock::kNoParent;
  };

  /// Adds events of the innermost list, up to the first that others are nested in.
  void fillFromList(EventBlock& block) {
    // Copies: the block's depths are bytes, which for all that the compiler knows may overlap with
    // any member, so that it would load these again after each event.
    List list = lists_[depth_];
    size_t size = block.size;
    EventFields inSome = block.inSome;
    EventFields inAll = block.inAll;
    LogBytes nested;
    while (list.left > 0 && nested.size == 0 && size < EventBlock::kMaxSize) {
      const uint8_t* table = followOffset(list.next);
      const EventLayout& layout = layouts_.layoutOf(table);
      list.next += sizeof(uint32_t);
      --list.left;
      block.tables[size] = table;
      block.layouts[size] = &layout;
      block.parent[size] = list.parent;
      block.depth[size] = static_cast<uint8_t>(depth_);
      inSome |= layout.present;
      inAll &= layout.present;
      if (const uint16_t offset = layout.offset(EventField::NestedEvents))
        nested = vectorAt(followOffset(table + offset));
      ++size;
    }
    lists_[depth_] = list;
    if (nested.size > 0) lists_[++depth_] = {nested.data, nested.size, block.firstId + size - 1};
    block.size = size;
    block.inSome = inSome;
    block.inAll = inAll;
  }

  LayoutCache layouts_;
  // The verifier lets no event be nested deeper.
  std::array<List, kMaxTableDepth> lists_;
  size_t depth_ = 0;
  uint64_t nextId_ = 0;
};

HeaderRow readHeader(const LogHeader& header) {
  std::string storage;
  const auto text = [&](const flatbuffers::String* value) {
    return value != nullptr ? std::optional<std::string>(shownText(*value, storage)) : std::nullopt;
  };
  return {text(header.backend_version()),
          text(header.info_label()),
          text(header.info_text()),
          toOptional(header.time_scale()),
          toOptional(header.epoch_timestamp()),
          toOptional(header.steady_clock_timestamp())};
}

}  // namespace

uint64_t countDescendants(const EventRow& event) {
  if (!event.has(EventField::NestedEvents)) return 0;
  const LogBytes list = event.bytes(EventField::NestedEvents);
  uint64_t count = list.size;
  for (uint32_t i = 0; i < list.size; ++i) {
    const uint8_t* entry = list.data + size_t{i} * sizeof(uint32_t);
    count += countEvents(reinterpret_cast<const Event*>(followOffset(entry))->nested_events());
  }
  return count;
}

namespace {

/// The queue-wait events seen so far.
struct QueueWaits {
  uint64_t count = 0;
  std::optional<uint64_t> value;  ///< of the last one

  void look(const Event& event) {
    if (event.event_type().value_or(0) != kQueueWaitEventType) return;
    ++count;
    value.reset();
    const auto kind = event.value_kind();
    if (kind == EventValueKind::UINT64) value = toOptional(event.uint_value());
    if (kind == EventValueKind::INT64 && event.int_value().value_or(-1) >= 0)
      value = static_cast<uint64_t>(*event.int_value());
  }
};

}  // namespace

std::optional<uint64_t> queueWait(const Message& message) {
  QueueWaits waits;
  if (message.events() == nullptr) return std::nullopt;
  for (const Event* event : *message.events()) {
    waits.look(*event);
    if (event->nested_events() == nullptr) continue;
    for (const Event* subEvent : *event->nested_events()) waits.look(*subEvent);
  }
  return waits.count == 1 ? waits.value : std::nullopt;
}

class LogWalk::State {
 public:
  State(MessageFilter filter, bool countsEvents)
      : filter_(std::move(filter)), selector_(filter_), countsEvents_(countsEvents) {}

  [[nodiscard]] bool open(const std::string& path) {
    if (selector_.isLogNeeded() && !readBefore(path)) return false;
    const bool isOpen = log_.open(selector_.isLogNeeded() ? rereadable_.path() : path);
    damage_ = log_.damage();
    return isOpen;
  }

  const MessageRow* nextMessage() {
    for (;;) {
      finishMessage();
      if (nextMessage_ == messageCount_ && !nextChunk()) return nullptr;
      if (nextMessage_ == messageCount_) continue;
      // Messages that are not selected are read as well: they count among messages and executions.
      read(*chunk_->messages()->Get(nextMessage_++));
      if (!selector_.selects(*message_.table)) continue;
      events_.startMessage(message_.table->events(), message_.firstEventId);
      isWalking_ = true;
      return &message_;
    }
  }

  const EventBlock* nextEvents() {
    if (!isWalking_) return nullptr;
    events_.fill(block_);
    return block_.size > 0 ? &block_ : nullptr;
  }

  [[nodiscard]] uint64_t eventCount() const { return countEvents(message_.table->events()); }
  [[nodiscard]] const std::optional<LogDamage>& damage() const { return damage_; }
  [[nodiscard]] const LogTotals& totals() const { return totals_; }

 private:
  /// Finds out what the filter needs to know of the log.
  [[nodiscard]] bool readBefore(const std::string& path) {
    Status status = rereadable_.open(path);
    if (status) status = selector_.resolveTimes(rereadable_.path());
    if (!status) {
      damage_ = LogDamage{DamageKind::CannotOpen, 1, 0, status.text()};
      return false;
    }
    if (selector_.isCountNeeded()) countMessages();
    return true;
  }

  /// Counts the messages that meet the conditions, of which only the last ones are wanted.
  void countMessages() {
    MessageFilter all = filter_;
    all.last.reset();
    State walk(std::move(all), false);
    uint64_t count = 0;
    if (walk.open(rereadable_.path()))
      while (walk.nextMessage() != nullptr) ++count;
    selector_.setMatchCount(count);
  }

  bool nextChunk() {
    if (damage_) return false;
    chunk_ = log_.next();
    damage_ = log_.damage();
    if (chunk_ == nullptr) return false;
    if (log_.sharesTables() && hasMoreEvents(*chunk_, log_.chunkBytes())) {
      damage_ = LogDamage{DamageKind::SharedEvents, log_.chunkCount(), log_.offset(),
                          damageText(DamageKind::SharedEvents)};
      return false;
    }
    events_.startChunk();
    nextMessage_ = 0;
    messageCount_ = chunk_->messages() != nullptr ? chunk_->messages()->size() : 0;
    totals_.bytes = log_.end();
    totals_.chunks = log_.chunkCount();
    totals_.messages += messageCount_;
    if (!hasHeader_ && chunk_->header() != nullptr) {
      totals_.header = readHeader(*chunk_->header());
      hasHeader_ = true;
    }
    return true;
  }

  void read(const Message& table) {
    message_.id = nextMessageId_++;
    message_.chunk = log_.chunkCount();
    message_.method.reset();
    if (const auto method = table.method_type()) message_.method = static_cast<int8_t>(*method);
    message_.level = toOptional(table.level());
    message_.graph.reset();
    message_.execution.reset();
    if (table.text() != nullptr) {
      message_.graph = shownText(*table.text(), graphStorage_);
      if (message_.method) message_.execution = executions_.next(*message_.graph, *message_.method);
    }
    message_.timestamp = toOptional(table.timestamp()->time());
    message_.start = toOptional(table.timing()->start());
    message_.end = toOptional(table.timing()->end());
    message_.firstEventId = nextEventId_;
    message_.table = &table;
  }

  /// Counts the events of the message read last, unless they have all been walked. Their number is
  /// known only now: whoever asked for the message may have walked all of them, some, or none.
  void finishMessage() {
    if (message_.table == nullptr) return;
    if (isWalking_ && events_.isAtEnd())
      nextEventId_ = events_.nextId();
    else if (countsEvents_)
      nextEventId_ += eventCount();
    totals_.events = nextEventId_;
    message_.table = nullptr;
    isWalking_ = false;
  }

  const MessageFilter filter_;
  MessageSelector selector_;
  RereadableFile rereadable_;  ///< the log, where it is read twice
  const bool countsEvents_;
  CheckedLog log_;
  std::optional<LogDamage> damage_;
  LogTotals totals_;
  bool hasHeader_ = false;
  const LogChunk* chunk_ = nullptr;
  uint32_t nextMessage_ = 0;   ///< of the chunk
  uint32_t messageCount_ = 0;  ///< of the chunk
  uint64_t nextMessageId_ = 0;
  uint64_t nextEventId_ = 0;
  MessageRow message_;
  std::string graphStorage_;
  ExecutionCounters executions_;
  bool isWalking_ = false;
  EventIterator events_;
  EventBlock block_;
};

LogWalk::LogWalk(MessageFilter filter, bool countsEvents)
    : state_(std::make_unique<State>(std::move(filter), countsEvents)) {}
LogWalk::~LogWalk() = default;

bool LogWalk::open(const std::string& path) { return state_->open(path); }
const MessageRow* LogWalk::nextMessage() { return state_->nextMessage(); }
const EventBlock* LogWalk::nextEvents() { return state_->nextEvents(); }
uint64_t LogWalk::eventCount() const { return state_->eventCount(); }
const std::optional<LogDamage>& LogWalk::damage() const { return state_->damage(); }
const LogTotals& LogWalk::totals() const { return state_->totals(); }

}  // namespace ryx::profiling
