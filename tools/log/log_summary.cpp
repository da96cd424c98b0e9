// SPDX-License-Identifier: Apache-2.0
// One pass over chunks that are overwritten after it, so whatever is kept is copied. Memory is
// bounded by giving up on names: a log can have a graph of its own for each message, and those that
// come after the first 4 MiB of names are counted together.

#include "log/log_summary.h"

#include <algorithm>

#include "stream/log_text.h"

namespace ryx::profiling {

namespace {

using EventVector = flatbuffers::Vector<flatbuffers::Offset<Event>>;

/// What a name that is kept costs beside its bytes.
constexpr size_t kNameOverhead = 128;

uint64_t countEvents(const EventVector* events) {
  if (events == nullptr) return 0;
  uint64_t count = events->size();
  for (const Event* event : *events) count += countEvents(event->nested_events());
  return count;
}

std::optional<std::string> copied(const flatbuffers::String* text) {
  if (text == nullptr) return std::nullopt;
  return std::string(logText(text));
}

HeaderSummary summarize(const LogHeader& header) {
  const auto toOptional = [](const auto& value) {
    return value ? std::optional(*value) : std::nullopt;
  };
  return {toOptional(header.time_scale()),
          toOptional(header.epoch_timestamp()),
          toOptional(header.steady_clock_timestamp()),
          copied(header.info_text()),
          copied(header.backend_version()),
          copied(header.info_label())};
}

bool namesGraph(MethodType method) {
  switch (method) {
    case MethodType::Execute:
    case MethodType::Finalize:
    case MethodType::ExecuteHostRoundTrip:
    case MethodType::GraphRun:
    case MethodType::ApplyBinarySection:
    case MethodType::ApplyBinarySectionAlt: return true;
    case MethodType::Init:
    case MethodType::DeInit:
    case MethodType::InitStep:
    case MethodType::ComposeGraphs:
    case MethodType::NetRun:
    case MethodType::LibLoad: return false;
  }
  return false;
}

bool isExecution(MethodType method) {
  return method == MethodType::Execute || method == MethodType::ExecuteHostRoundTrip ||
         method == MethodType::GraphRun;
}

}  // namespace

uint64_t countEvents(const Message& message) { return countEvents(message.events()); }

void SummaryBuilder::add(const CheckedLog& log, const LogChunk& chunk) {
  summary_.bytes = log.end();
  summary_.chunks = log.chunkCount();
  if (log.chunkBytes() > summary_.largestChunkBytes) {
    summary_.largestChunkBytes = log.chunkBytes();
    summary_.largestChunkNumber = log.chunkCount();
    summary_.largestChunkOffset = log.offset();
  }
  if (!summary_.header && chunk.header() != nullptr) summary_.header = summarize(*chunk.header());
  if (chunk.messages() == nullptr) return;
  for (const Message* message : *chunk.messages()) add(*message);
}

void SummaryBuilder::add(const Message& message) {
  const uint64_t events = countEvents(message);
  const auto method = message.method_type().value_or(static_cast<MethodType>(0));
  ++summary_.messages;
  summary_.events += events;
  ++summary_.messageCounts[{static_cast<int8_t>(method), message.level().value_or(0)}];
  if (const auto time = message.timestamp()->time()) {
    summary_.firstTime = std::min(summary_.firstTime.value_or(*time), *time);
    summary_.lastTime = std::max(summary_.lastTime.value_or(*time), *time);
  }
  if (message.text() == nullptr || !namesGraph(method)) return;
  GraphSummary& graph = graphOf(logText(message.text()));
  graph.events += events;
  if (isExecution(method)) ++graph.executions;
}

GraphSummary& SummaryBuilder::graphOf(std::string_view name) {
  std::string key(name);
  const auto known = graphPositions_.find(key);
  if (known != graphPositions_.end()) return summary_.graphs[known->second];
  const size_t needed = name.size() + kNameOverhead;
  if (needed > kMaxGraphNameBytes - graphNameBytes_) return summary_.otherGraphs;
  graphNameBytes_ += needed;
  summary_.graphs.push_back({key, 0, 0});
  graphPositions_.emplace(std::move(key), summary_.graphs.size() - 1);
  return summary_.graphs.back();
}

}  // namespace ryx::profiling
