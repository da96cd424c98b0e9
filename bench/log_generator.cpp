// SPDX-License-Identifier: Apache-2.0
// What matters for a measurement is what a reader's speed depends on: how often texts repeat and
// how long they are, which fields are there, in which order messages come. So every execution of a
// graph carries the same identifiers (each once), graphs do not share theirs, texts have 20 to 40
// characters, and the graphs execute in turn. Texts that repeat are written each time, which gives
// an event the most bytes: the floor that readers are measured to is to verify these.

#include "bench/log_generator.h"

#include <cstdint>
#include <iterator>
#include <optional>
#include <random>
#include <string_view>
#include <vector>

#include "ryx/profile_log_writer.h"

namespace ryx::bench {
namespace {

using profiling::ArrayView;
using profiling::ChunkLimits;
using profiling::EventRecord;
using profiling::HeaderRecord;
using profiling::MessageRecord;
using profiling::ProfiledMethod;
using profiling::ProfileLogWriter;
using profiling::RepeatedTexts;

constexpr uint64_t kEpochTimestamp = 1700000000000000;
constexpr uint64_t kSteadyClockTimestamp = 5000000000;
constexpr uint64_t kPauseBetweenMessages = 40;

constexpr uint32_t kMicroseconds = 1;
constexpr uint32_t kCount = 4;
constexpr uint32_t kExecuteEventType = 400;

constexpr size_t kMinIdentifierLength = 20;
constexpr size_t kMaxIdentifierLength = 40;

constexpr std::string_view kOperations[] = {
    "conv2d", "matmul",    "softmax", "layer_norm", "gelu", "transpose",  "concat",
    "resize", "max_pool",  "gather",  "reduce_sum", "relu", "batch_norm", "sigmoid",
    "slice",  "broadcast", "pad",     "quantize",   "cast", "dequantize"};

/// The standard library's distributions differ between its makers; its generators do not.
class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  uint64_t between(uint64_t low, uint64_t high) { return low + engine_() % (high - low + 1); }

 private:
  std::mt19937_64 engine_;
};

/// An identifier such as "conv2d_relu_batch_norm_gel:id_417"; `number` makes it the only one.
std::string makeIdentifier(Random& random, size_t number) {
  const std::string ending = ":id_" + std::to_string(number);
  const size_t length = random.between(kMinIdentifierLength, kMaxIdentifierLength);
  std::string identifier;
  while (identifier.size() + ending.size() < length) {
    if (!identifier.empty()) identifier += '_';
    identifier += kOperations[random.between(0, std::size(kOperations) - 1)];
  }
  identifier.resize(length > ending.size() ? length - ending.size() : 0);
  return identifier + ending;
}

struct Graph {
  std::string name;
  std::vector<std::string> identifiers;  // each root event's, followed by its sub-events'
};

Graph makeGraph(const LogShape& shape, size_t number) {
  Random random(number);
  Graph graph{"model_graph_" + std::to_string(number), {}};
  const size_t events = shape.rootEventsPerExecution * (1 + shape.subEventsPerRootEvent);
  graph.identifiers.reserve(events);
  for (size_t i = 0; i < events; ++i) graph.identifiers.push_back(makeIdentifier(random, i));
  return graph;
}

/// The events of one execution: storage that all executions use in turn.
class ExecutionEvents {
 public:
  explicit ExecutionEvents(const LogShape& shape)
      : subEventsPerRoot_(shape.subEventsPerRootEvent),
        roots_(shape.rootEventsPerExecution),
        subEvents_(shape.rootEventsPerExecution * shape.subEventsPerRootEvent) {
    for (EventRecord& root : roots_) root.eventType = kExecuteEventType;
    for (std::vector<EventRecord>* events : {&roots_, &subEvents_})
      for (EventRecord& event : *events) event.unit = kMicroseconds;
    for (size_t i = 0; i < roots_.size(); ++i)
      roots_[i].nestedEvents = {subEvents_.data() + i * subEventsPerRoot_, subEventsPerRoot_};
  }

  /// One more execution of `graph`, which must outlive the use of the events.
  const std::vector<EventRecord>& fill(const Graph& graph, Random& random, uint64_t start) {
    const std::string* identifier = graph.identifiers.data();
    EventRecord* subEvent = subEvents_.data();
    duration_ = 0;
    for (EventRecord& root : roots_) {
      root.identifier = *identifier++;
      root.timestamp = start + duration_;
      uint64_t rootDuration = random.between(1, 200);
      for (size_t i = 0; i < subEventsPerRoot_; ++i, ++subEvent) {
        const uint64_t value = random.between(1, 2000);
        subEvent->identifier = *identifier++;
        subEvent->timestamp = *root.timestamp + rootDuration;
        subEvent->setUint(value);
        rootDuration += value;
      }
      root.setUint(rootDuration);
      duration_ += rootDuration;
    }
    return roots_;
  }

  /// The sum of the root events filled last.
  [[nodiscard]] uint64_t duration() const { return duration_; }

 private:
  size_t subEventsPerRoot_;
  std::vector<EventRecord> roots_;
  std::vector<EventRecord> subEvents_;
  uint64_t duration_ = 0;
};

ChunkLimits chunkLimits(const LogShape& shape) {
  if (shape.messagesPerChunk == 0) return {256, size_t{256} * 1024};
  return {shape.messagesPerChunk, SIZE_MAX};
}

class LogGenerator {
 public:
  explicit LogGenerator(const LogShape& shape)
      : shape_(shape), writer_(chunkLimits(shape), RepeatedTexts::EachTime) {}

  bool write(const std::string& path) {
    return writer_.open(path) && addHeader() &&
           addPhase(ProfiledMethod::LibLoad, "library_load_latency", 8000) &&
           addPhase(ProfiledMethod::Init, "backend_initialisation_time", 25000) &&
           addPhase(ProfiledMethod::Finalize, "RyxGraph_finalize", 120000) && addExecutions() &&
           addNetRun() && addPhase(ProfiledMethod::DeInit, "backend_release_time", 6000) &&
           writer_.close();
  }

  [[nodiscard]] const std::string& error() const { return writer_.error(); }

 private:
  bool addHeader() {
    HeaderRecord header;
    header.timeScale = 1.0F;
    header.epochTimestamp = kEpochTimestamp;
    header.steadyClockTimestamp = kSteadyClockTimestamp;
    header.infoLabel = "Benchmark";
    header.infoText = "1.0";
    header.backendVersion = "1.0";
    return writer_.setHeader(header);
  }

  bool addPhase(ProfiledMethod method, std::string_view identifier, uint64_t duration) {
    EventRecord event = makeEvent(identifier, kMicroseconds, duration);
    event.timestamp = now_;
    return addMessage(method, "model_graph_0", duration, {&event, 1});
  }

  bool addNetRun() {
    const uint64_t executions = shape_.graphs * shape_.executionsPerGraph;
    const uint64_t duration = now_ - kSteadyClockTimestamp;
    const EventRecord events[] = {makeEvent("duration", kMicroseconds, duration),
                                  makeEvent("count", kCount, executions)};
    return addMessage(ProfiledMethod::NetRun, std::nullopt, duration, events);
  }

  bool addExecutions() {
    std::vector<Graph> graphs;
    graphs.reserve(shape_.graphs);
    for (size_t i = 0; i < shape_.graphs; ++i) graphs.push_back(makeGraph(shape_, i));
    ExecutionEvents events(shape_);
    Random random(0);
    for (size_t i = 0; i < shape_.executionsPerGraph; ++i) {
      for (const Graph& graph : graphs) {
        const auto& roots = events.fill(graph, random, now_);
        if (!addMessage(ProfiledMethod::Execute, graph.name, events.duration(), roots))
          return false;
      }
    }
    return true;
  }

  static EventRecord makeEvent(std::string_view identifier, uint32_t unit, uint64_t value) {
    EventRecord event;
    event.identifier = identifier;
    event.unit = unit;
    event.setUint(value);
    return event;
  }

  bool addMessage(ProfiledMethod method, std::optional<std::string_view> text, uint64_t duration,
                  ArrayView<EventRecord> events) {
    MessageRecord message;
    message.method = method;
    message.level = 1;
    message.text = text;
    message.timestamp = now_;
    message.start = now_;
    message.end = now_ + duration;
    message.events = events;
    now_ += duration + kPauseBetweenMessages;
    return writer_.addMessage(message);
  }

  const LogShape shape_;
  ProfileLogWriter writer_;
  uint64_t now_ = kSteadyClockTimestamp;
};

}  // namespace

size_t eventCount(const LogShape& shape) {
  return shape.graphs * shape.executionsPerGraph * shape.rootEventsPerExecution *
         (1 + shape.subEventsPerRootEvent);
}

bool writeLog(const LogShape& shape, const std::string& path, std::string& error) {
  LogGenerator generator(shape);
  const bool written = generator.write(path);
  error = generator.error();
  return written;
}

}  // namespace ryx::bench
