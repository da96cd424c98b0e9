// SPDX-License-Identifier: Apache-2.0
// One pass over the log, event by event, where everything costs that is done for each: the path is
// found by comparing one identifier (path_tree.h), its series by one index, and the sum of the
// present message by another. What is left to do for a message is in proportion to the series that
// it has numbers of, not to its events.
//
// A self is a total less those of the direct children in the same unit, in the same message. So it
// can be taken only when the whole message has been seen, which is when `finishMessage` turns what
// is open into samples. Children that come with their parents for the first time in a late message
// make selves of all samples before: until then these were the totals.

#include "analysis/log_samples.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "profile_log_generated.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"
#include "tables/shown_text.h"

namespace ryx::profiling {

namespace {

constexpr uint32_t kObject = 5;
constexpr uint32_t kQueueWaitEventType = 405;
constexpr uint32_t kNone = UINT32_MAX;

/// The event's value, if it is a number.
std::optional<Number> numberOf(const EventRow& event) {
  const auto field = [&event](auto type, EventField name) -> std::optional<Number> {
    if (!event.has(name)) return std::nullopt;
    return Number(event.scalar<decltype(type)>(name));
  };
  switch (static_cast<EventValueKind>(event.scalarOr<uint32_t>(EventField::ValueKind, 0))) {
    case EventValueKind::INT64: return field(int64_t{}, EventField::IntValue);
    case EventValueKind::UINT64: return field(uint64_t{}, EventField::UintValue);
    case EventValueKind::FLOAT32: return field(float{}, EventField::FloatValue);
    case EventValueKind::FLOAT64: return field(double{}, EventField::DoubleValue);
    case EventValueKind::BYTES:
    case EventValueKind::STRING: break;
  }
  return std::nullopt;
}

std::optional<uint32_t> codeOf(const EventRow& event, EventField field) {
  if (!event.has(field)) return std::nullopt;
  return event.scalar<uint32_t>(field);
}

/// The name comes last and after a colon, so that no name makes the key of another row.
std::string rowKey(const MessageRow& message) {
  std::string key = message.execution ? "x" : "p";
  key += message.method ? std::to_string(*message.method) : "";
  key += message.graph ? ":" : "";
  return key.append(message.graph.value_or(""));
}

Number notNegative(const Number& number) {
  const bool isNegative = number.isWhole() ? number.whole() < 0 : number.real() < 0;
  return isNegative ? Number() : number;
}

}  // namespace

void CountList::appendToEach(uint32_t count) {
  if (each_.empty()) each_.assign(size_, common_);
  each_.push_back(count);
}

uint64_t CountList::sum(const std::vector<SampleRange>& ranges) const {
  uint64_t sum = 0;
  for (const SampleRange& range : ranges) {
    if (each_.empty()) sum += uint64_t{common_} * (range.end - range.begin);
    for (size_t i = range.begin; !each_.empty() && i < range.end; ++i) sum += each_[i];
  }
  return sum;
}

/// One log on its way into the samples.
class LogSamples::Pass {
 public:
  Pass(LogSamples& samples, LogWalk& walk) : samples_(samples), walk_(walk) {}

  void run() {
    while (const MessageRow* message = walk_.nextMessage()) {
      startMessage(*message);
      while (const EventBlock* block = walk_.nextEvents())
        for (size_t i = 0; i < block->size; ++i) add(block->row(i), block->depth[i]);
      finishMessage(*message);
    }
  }

 private:
  /// A series that the current message has numbers of.
  struct Open {
    uint32_t series = 0;
    uint32_t calls = 0;
    Number total;
    Number ofChildren;
    bool hasChildren = false;
  };

  /// The value of a message's only queue-wait event, if that is an integer and not negative.
  struct QueueWait {
    uint64_t events = 0;
    std::optional<Number> value;
  };

  [[nodiscard]] ReadLog& log() { return samples_.logs_.back(); }
  [[nodiscard]] Row& row() { return samples_.rows_[row_]; }

  void startMessage(const MessageRow& message) {
    ++samples_.messages_;
    row_ = findRow(message);
    startOccurrence(message);
    open_.clear();
    queueWait_ = {};
    ancestors_[0] = previous_ = row().node;
  }

  [[nodiscard]] uint32_t findRow(const MessageRow& message) {
    const auto fresh = static_cast<uint32_t>(samples_.rows_.size());
    const auto [place, isNew] = samples_.rowIndex_.emplace(rowKey(message), fresh);
    if (isNew) {
      samples_.rows_.emplace_back();
      Row& made = samples_.rows_.back();
      made.isExecution = message.execution.has_value();
      if (message.graph) made.graph = std::string(*message.graph);
      made.method = message.method;
      made.node = samples_.paths_.addRoot();
    }
    return place->second;
  }

  void startOccurrence(const MessageRow& message) {
    Row& current = row();
    if (current.occurrences >= kNone || message.execution.value_or(0) >= kNone)
      throw std::length_error("more than 4294967294 executions of one graph");
    const size_t logIndex = samples_.logs_.size() - 1;
    if (current.parts.empty() || current.parts.back().log != logIndex)
      current.parts.push_back({logIndex, current.occurrences, {}});
    if (message.execution)
      current.parts.back().numbers.append(static_cast<uint32_t>(*message.execution));
    occurrence_ = static_cast<uint32_t>(current.occurrences++);
    if (const auto duration = message.duration()) {
      current.durations.append(Number(*duration));
      current.timed.append(occurrence_);
      current.earliestStart = std::min(current.earliestStart, *message.start);
      current.latestEnd = std::max(current.latestEnd, *message.end);
    } else {
      current.isUntimed = true;
    }
  }

  void add(const EventRow& event, size_t depth) {
    const uint32_t node = nodeOf(event, ancestors_[depth]);
    previous_ = ancestors_[depth + 1] = node;
    const std::optional<Number> value = numberOf(event);
    if (depth <= 1) noteQueueWait(event, value);
    if (!value) return;
    const std::optional<uint32_t> unit = codeOf(event, EventField::Unit);
    if (unit == kObject) return;
    if (!value->isFinite()) {
      ++log().leftOut;
      return;
    }
    Open& open = openSeries(node, unit, event);
    open.total += *value;
    ++open.calls;
  }

  [[nodiscard]] uint32_t nodeOf(const EventRow& event, uint32_t parent) {
    std::string_view logged = "null";
    LogBytes bytes;
    if (event.has(EventField::Identifier)) {
      bytes = event.bytes(EventField::Identifier);
      logged = {reinterpret_cast<const char*>(bytes.data), bytes.size};
    }
    // The tree has texts as they are shown. A logged one that equals such a text is shown as it is,
    // so that only those that are not expected need to be looked through.
    const uint32_t likely = samples_.paths_.likelyChild(parent, logged, previous_);
    if (likely != kNone) return likely;
    if (bytes.data != nullptr) logged = shownText(bytes, textStorage_);
    const uint32_t node = samples_.paths_.child(parent, logged, previous_);
    samples_.firstSeries_.resize(samples_.paths_.size(), kNone);
    return node;
  }

  void noteQueueWait(const EventRow& event, const std::optional<Number>& value) {
    if (codeOf(event, EventField::EventType) != kQueueWaitEventType) return;
    ++queueWait_.events;
    queueWait_.value.reset();
    if (value && value->isWhole() && *value >= Number()) queueWait_.value = value;
  }

  [[nodiscard]] Open& openSeries(uint32_t node, const std::optional<uint32_t>& unit,
                                 const EventRow& event) {
    const uint32_t index = seriesOf(node, unit);
    Series& series = samples_.series_[index];
    if (!series.eventType) series.eventType = codeOf(event, EventField::EventType);
    if (series.openedBy != samples_.messages_) {
      series.openedBy = samples_.messages_;
      series.openIndex = static_cast<uint32_t>(open_.size());
      open_.push_back({});
      open_.back().series = index;
    }
    return open_[series.openIndex];
  }

  [[nodiscard]] std::optional<uint32_t> findSeries(uint32_t node,
                                                   const std::optional<uint32_t>& unit) const {
    const uint32_t first = samples_.firstSeries_[node];
    if (first == kNone) return std::nullopt;
    if (samples_.series_[first].unit == unit) return first;
    const auto other = samples_.otherSeries_.find(seriesKey(node, unit));
    if (other == samples_.otherSeries_.end()) return std::nullopt;
    return other->second;
  }

  [[nodiscard]] static std::array<uint32_t, 3> seriesKey(uint32_t node,
                                                         const std::optional<uint32_t>& unit) {
    return {node, unit ? 1U : 0U, unit.value_or(0)};
  }

  [[nodiscard]] uint32_t seriesOf(uint32_t node, const std::optional<uint32_t>& unit) {
    if (const auto known = findSeries(node, unit)) return *known;
    const auto fresh = static_cast<uint32_t>(samples_.series_.size());
    if (samples_.firstSeries_[node] == kNone)
      samples_.firstSeries_[node] = fresh;
    else
      samples_.otherSeries_.emplace(seriesKey(node, unit), fresh);
    samples_.series_.emplace_back();
    samples_.series_.back().node = node;
    samples_.series_.back().unit = unit;
    row().series.push_back(fresh);
    return fresh;
  }

  void finishMessage(const MessageRow& message) {
    addToParents();
    Row& current = row();
    if (!current.isExecution) addPhase(message);
    // Each sample goes to a place of its own, far from the others: fetched ahead of time.
    constexpr size_t kAhead = 8;
    for (size_t i = 0; i < open_.size(); ++i) {
      if (i + kAhead < open_.size()) samples_.series_[open_[i + kAhead].series].totals.prefetch();
      appendSample(open_[i], current.isExecution);
    }
    if (current.isExecution && queueWait_.events == 1 && queueWait_.value)
      current.queueWaits.append(*queueWait_.value);
  }

  /// A parent takes part only with numbers of its own in this message: else there is no total that
  /// its children could be taken from.
  void addToParents() {
    for (const Open& open : open_) {
      const Series& series = samples_.series_[open.series];
      const uint32_t parentNode = samples_.paths_.parent(series.node);
      const auto parent = findSeries(parentNode, series.unit);
      if (!parent || samples_.series_[*parent].openedBy != samples_.messages_) continue;
      Open& openParent = open_[samples_.series_[*parent].openIndex];
      openParent.ofChildren += open.total;
      openParent.hasChildren = true;
    }
  }

  void appendSample(const Open& open, bool isExecution) {
    Series& series = samples_.series_[open.series];
    if (!isExecution) samples_.phaseValues_.push_back({open.series, std::nullopt});
    if (!open.total.isFinite()) {
      ++log().overflown;
      return;
    }
    if (open.hasChildren && series.selves == nullptr)
      series.selves = std::make_unique<Samples>(
          selectSamples(series.totals, {{0, series.totals.size()}}, /*clamps=*/true));
    if (series.selves != nullptr) series.selves->append(notNegative(open.total - open.ofChildren));
    if (!isExecution)
      samples_.phaseValues_.back().sample = static_cast<uint32_t>(series.totals.size());
    series.totals.append(open.total);
    series.occurrences.append(occurrence_);
    series.calls.append(open.calls);
  }

  void addPhase(const MessageRow& message) {
    samples_.phases_.push_back({samples_.logs_.size() - 1, row_, message.start, message.end,
                                message.duration(), samples_.phaseValues_.size()});
  }

  LogSamples& samples_;
  LogWalk& walk_;

  // Of the current message.
  uint32_t row_ = 0;
  uint32_t occurrence_ = 0;
  std::vector<Open> open_;  ///< in the order of their first numbers
  QueueWait queueWait_;

  // Of the current event.
  std::array<uint32_t, kMaxTableDepth + 1> ancestors_{};  ///< the root of the row, and below it
  uint32_t previous_ = 0;
  std::string textStorage_;
};

std::vector<PhaseValue> LogSamples::phaseValues(size_t phase) const {
  const auto at = [this](size_t position) {
    return phaseValues_.begin() + static_cast<ptrdiff_t>(position);
  };
  const bool isLast = phase + 1 == phases_.size();
  return {at(phases_[phase].firstValue),
          isLast ? phaseValues_.end() : at(phases_[phase + 1].firstValue)};
}

Status LogSamples::read(const std::string& path, const std::string& name,
                        const MessageFilter& filter) {
  LogWalk walk(filter, /*countsEvents=*/false);
  if (!walk.open(path)) return Status::failure("cannot read " + name + ": " + walk.damage()->text);
  logs_.emplace_back();
  logs_.back().name = name;
  Pass(*this, walk).run();
  logs_.back().totals = walk.totals();
  if (walk.damage()) {
    const LogDamage& damage = *walk.damage();
    logs_.back().damage = {describe(damage), false, damage.chunkNumber, damage.offset};
    logs_.back().canBeRescued = damage.kind != DamageKind::NotALog && name == path;
  }
  return {};
}

}  // namespace ryx::profiling
