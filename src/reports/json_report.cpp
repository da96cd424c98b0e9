// SPDX-License-Identifier: Apache-2.0
// The GPU reader's output: a JSON document and a shorter text summary.
//
// The document is process-wide: every report adds one object to it, and the second report of a
// process and all later ones write the array of all objects so far. That is what hosts expect, who
// make one reader for each log and name the same file for all. It also means that reports of one
// process must not be made by several threads at once, and that memory grows with each.
//
// A value is an event's payload, 64 bits, as one unsigned number, whatever its kind: of a float its
// bits.

#include <iomanip>
#include <sstream>
#include <string_view>
#include <utility>

#include "base/logger.h"
#include "base/version.h"
#include "events/event_text.h"
#include "reader/ryx_profile_log_reader_gpu.h"
#include "reader/standard_output.h"
#include "reports/json_builder.h"
#include "reports/json_file.h"

namespace ryx::profiling {
namespace {

/// Every report of the process, in their order. Its allocator throws where RapidJSON's own returns
/// null: see ThrowingJsonAllocator.
JsonDocument g_jsonReports(rapidjson::kArrayType);
bool g_firstJsonReport = true;
WrittenReports g_lastWritten;

constexpr std::string_view kFinalizeIdentifier = "RyxGraph_finalize";

JsonPool& pool() { return g_jsonReports.GetAllocator(); }

JsonValue copiedText(const std::string& text) {
  return JsonValue(text.data(), jsonSize(text.size()), pool());
}

/// Adds `name` to `object`, with the value that `build` feeds to a builder.
template <typename Build>
void addBuilt(JsonValue& object, std::string_view name, Build build) {
  JsonDocument part(&pool());
  const auto generate = [&](JsonDocument& document) {
    JsonBuilder json(document);
    build(json);
    return true;
  };
  part.Populate(generate);
  object.AddMember(JsonValue::StringRefType(name.data(), jsonSize(name.size())),
                   static_cast<JsonValue&>(part), pool());
}

/// The event objects of a phase or an execution. Sub-events end at the first level.
void appendEventObjects(JsonBuilder& json, const std::vector<ProfileEvent>& events) {
  json.array(events, [&](const ProfileEvent& event) {
    json.object([&] {
      uint64_t total = 0;
      for (const ProfileEvent& subEvent : event.subEvents) total += subEvent.value.payload;
      json.member("value", event.value.payload);
      json.member("unit", unitJsonText(event.unit));
      json.member("source", "backend");
      json.memberCopied("name", event.identifier);
      json.member("sub-events-total", total);
      json.key("sub-events");
      json.array(event.subEvents, [&](const ProfileEvent& subEvent) {
        json.object([&] {
          json.member("value", subEvent.value.payload);
          json.memberCopied("name", subEvent.identifier);
        });
      });
    });
  });
}

/// A phase as a whole: its duration and its events.
void appendPhaseObject(JsonBuilder& json, uint64_t duration,
                       const std::vector<ProfileEvent>& events) {
  json.object([&] {
    json.member("value", duration);
    json.member("unit", "us");
    json.member("source", "netrun");
    json.key("events");
    appendEventObjects(json, events);
  });
}

/// Each set's first finalisation event of one unit, in set order.
std::vector<const ProfileEvent*> finalizeEvents(const std::vector<GraphEventSet>& sets,
                                                EventUnit unit) {
  std::vector<const ProfileEvent*> found;
  for (const GraphEventSet& set : sets) {
    for (const ProfileEvent& event : set.events) {
      if (event.identifier != kFinalizeIdentifier || event.unit != static_cast<uint32_t>(unit))
        continue;
      found.push_back(&event);
      break;
    }
  }
  return found;
}

/// With several graphs the keys repeat within the one object, here and below.
void appendFinalizeObject(JsonBuilder& json, const std::vector<GraphEventSet>& sets) {
  const auto events = finalizeEvents(sets, EventUnit::Microseconds);
  json.object([&] {
    for (const ProfileEvent* event : events) {
      json.member("value", event->value.payload);
      json.key("sub-events");
      json.array(event->subEvents, [&](const ProfileEvent& subEvent) {
        json.object([&] {
          json.memberCopied("name", subEvent.identifier);
          json.member("value", subEvent.value.payload);
        });
      });
    }
  });
}

void appendPeakMemoryObject(JsonBuilder& json, const std::vector<GraphEventSet>& sets) {
  const auto events = finalizeEvents(sets, EventUnit::Bytes);
  json.object([&] {
    json.member("unit", "bytes");
    for (const ProfileEvent* event : events) json.member("value", event->value.payload);
  });
}

}  // namespace

bool RyxProfileLogReaderGPU::generateOutput(const std::string& outputPath) {
  if (outputPath.empty()) {
    RYX_LOG_ERROR("Output jsonFile not provided.");
    return false;
  }
  JsonFile file(g_lastWritten);
  if (!file.open(outputPath)) {
    RYX_LOG_ERROR("Invalid output jsonFile: [%s]", outputPath.c_str());
    return false;
  }

  const PayloadNumbering numbering(*this);
  std::ostringstream text;
  text.exceptions(std::ios::badbit);  // or exhausted memory would cut the report short unnoticed
  text << std::fixed << std::setprecision(0);
  printHeaderDetails(text);
  printPhaseSections(text);
  printExecuteAverage(text);

  jsonRoot_.SetObject();
  addMetadata();
  addInitSection();
  addDeInitSection();
  addExecuteSection();
  g_jsonReports.PushBack(jsonRoot_, pool());
  const bool isFirst = std::exchange(g_firstJsonReport, false);
  if (isFirst && g_jsonReports.Size() != 1) return false;
  if (!file.write(g_jsonReports, !isFirst))
    RYX_LOG_ERROR("Invalid output jsonFile: [%s]", outputPath.c_str());
  writeStandardOutput(text.str());
  return true;
}

void RyxProfileLogReaderGPU::addMetadata() {
  JsonValue metadata(rapidjson::kObjectType);
  metadata.AddMember("input log file location", copiedText(logFilePath_), pool());
  metadata.AddMember("ryx-profile-viewer version", JsonValue::StringRefType(kToolVersion), pool());
  const std::string label = infoLabel_.empty() ? "app" : infoLabel_;
  metadata.AddMember(copiedText(label + " version"), copiedText(infoText_), pool());
  metadata.AddMember("backend version", copiedText(backendVersion_), pool());
  jsonRoot_.AddMember("metadata", metadata, pool());
}

void RyxProfileLogReaderGPU::addInitSection() {
  addBuilt(jsonRoot_, "init", [this](JsonBuilder& json) {
    json.object([&] {
      json.key("duration");
      json.object([&] {
        json.member("value", data_.initTotalDuration_);
        json.member("unit", "us");
        json.key("compose");
        json.object([&] { json.member("value", data_.composeGraphsDuration_); });
        json.key("finalize");
        appendFinalizeObject(json, data_.graphEventSets_);
      });
      json.key("peak-memory");
      appendPeakMemoryObject(json, data_.graphEventSets_);
    });
  });
}

void RyxProfileLogReaderGPU::addDeInitSection() {
  addBuilt(jsonRoot_, "de-init", [this](JsonBuilder& json) {
    appendPhaseObject(json, data_.deInitDuration_, data_.deInitEvents_);
  });
}

void RyxProfileLogReaderGPU::addExecuteSection() {
  std::vector<const ExecutionRecord*> executions;
  for (const GraphExecutions& graph : data_.graphExecutions_.graphs())
    for (const ExecutionRecord& execution : graph.executions) executions.push_back(&execution);
  addBuilt(jsonRoot_, "execute", [&](JsonBuilder& json) {
    json.array(executions, [&](const ExecutionRecord* execution) {
      appendPhaseObject(json, execution->duration, execution->events);
    });
  });
}

}  // namespace ryx::profiling
