// The GPU reader's output: a JSON document and a shorter text summary.
//
// The document is process-wide: every report adds one object to it, and the second report of a
// process and all later ones write the array of all objects so far. A report has millions of small
// objects, so they are built the compact way: through the document's event interface, which knows
// how many members an object has before it stores them, with every distinct text stored once.

#include <fstream>
#include <iomanip>
#include <sstream>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "base/logger.h"
#include "events/event_text.h"
#include "reader/ryx_profile_log_reader_gpu.h"
#include "reader/standard_output.h"
#include "reports/block_output_stream.h"

namespace ryx::profiling {
namespace {

JsonDocument g_jsonReports(rapidjson::kArrayType);
bool g_firstJsonReport = true;

constexpr std::string_view kFinalizeIdentifier = "RyxGraph_finalize";

JsonPool& pool() { return g_jsonReports.GetAllocator(); }

rapidjson::SizeType jsonSize(size_t size) { return static_cast<rapidjson::SizeType>(size); }

JsonValue copiedText(const std::string& text) {
  return JsonValue(text.data(), jsonSize(text.size()), pool());
}

/// Texts in the document's pool, each stored once. Executions of a graph repeat their texts in the
/// same order, so the text stored after the last one asked for is looked at first.
class PooledTexts {
 public:
  /// The stored text, which lives as long as the document.
  std::string_view store(std::string_view text) {
    if (next_ < texts_.size() && texts_[next_] == text) return texts_[next_++];
    const auto known = positions_.find(text);
    if (known != positions_.end()) {
      next_ = known->second + 1;
      return known->first;
    }
    const std::string_view stored = copy(text);
    positions_.emplace(stored, texts_.size());
    texts_.push_back(stored);
    next_ = texts_.size();
    return stored;
  }

 private:
  static std::string_view copy(std::string_view text) {
    if (text.empty()) return "";
    char* stored = static_cast<char*>(pool().Malloc(text.size()));
    text.copy(stored, text.size());
    return {stored, text.size()};
  }

  std::vector<std::string_view> texts_;
  std::unordered_map<std::string_view, size_t> positions_;  // in `texts_`
  size_t next_ = 0;
};

/// Feeds a document's event interface.
class JsonBuilder {
 public:
  explicit JsonBuilder(JsonDocument& document) : document_(document) {}

  template <typename Members>
  void object(rapidjson::SizeType memberCount, Members members) {
    document_.StartObject();
    members();
    document_.EndObject(memberCount);
  }

  template <typename Items, typename Item>
  void array(const Items& items, Item item) {
    document_.StartArray();
    for (const auto& each : items) item(each);
    document_.EndArray(jsonSize(items.size()));
  }

  void key(std::string_view name) { document_.Key(name.data(), jsonSize(name.size()), false); }

  void member(std::string_view name, uint64_t number) {
    key(name);
    document_.Uint64(number);
  }

  /// `text` must outlive the document.
  void member(std::string_view name, std::string_view text) {
    key(name);
    document_.String(text.data(), jsonSize(text.size()), false);
  }

  void nameMember(const std::string& identifier) { member("name", texts_.store(identifier)); }

 private:
  JsonDocument& document_;
  PooledTexts texts_;
};

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
    json.object(6, [&] {
      uint64_t total = 0;
      for (const ProfileEvent& subEvent : event.subEvents) total += subEvent.value.payload;
      json.member("value", event.value.payload);
      json.member("unit", unitJsonText(event.unit));
      json.member("source", "backend");
      json.nameMember(event.identifier);
      json.member("sub-events-total", total);
      json.key("sub-events");
      json.array(event.subEvents, [&](const ProfileEvent& subEvent) {
        json.object(2, [&] {
          json.member("value", subEvent.value.payload);
          json.nameMember(subEvent.identifier);
        });
      });
    });
  });
}

/// A phase as a whole: its duration and its events.
void appendPhaseObject(JsonBuilder& json, uint64_t duration,
                       const std::vector<ProfileEvent>& events) {
  json.object(4, [&] {
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

void appendFinalizeObject(JsonBuilder& json, const std::vector<GraphEventSet>& sets) {
  const auto events = finalizeEvents(sets, EventUnit::Microseconds);
  json.object(jsonSize(2 * events.size()), [&] {
    for (const ProfileEvent* event : events) {
      json.member("value", event->value.payload);
      json.key("sub-events");
      json.array(event->subEvents, [&](const ProfileEvent& subEvent) {
        json.object(2, [&] {
          json.nameMember(subEvent.identifier);
          json.member("value", subEvent.value.payload);
        });
      });
    }
  });
}

void appendPeakMemoryObject(JsonBuilder& json, const std::vector<GraphEventSet>& sets) {
  const auto events = finalizeEvents(sets, EventUnit::Bytes);
  json.object(jsonSize(1 + events.size()), [&] {
    json.member("unit", "bytes");
    for (const ProfileEvent* event : events) json.member("value", event->value.payload);
  });
}

void writeJson(const JsonValue& value, std::ostream& os) {
  BlockOutputStream stream(os);
  JsonPrettyWriter writer(stream);
  value.Accept(writer);
  stream.Put('\n');
  stream.Flush();
}

/// Writes what the report just added asks for: itself, if it is the first of the process, else the
/// array of all reports.
bool writeReports(std::ostream& os) {
  if (!g_firstJsonReport) {
    writeJson(g_jsonReports, os);
    return true;
  }
  g_firstJsonReport = false;
  if (g_jsonReports.Size() != 1) return false;
  writeJson(g_jsonReports[0], os);
  return true;
}

}  // namespace

bool RyxProfileLogReaderGPU::generateOutput(const std::string& outputPath) {
  if (outputPath.empty()) {
    RYX_LOG_ERROR("Output jsonFile not provided.");
    return false;
  }
  std::ofstream file(outputPath);
  if (!file) {
    RYX_LOG_ERROR("Invalid output jsonFile: [%s]", outputPath.c_str());
    return false;
  }

  forgetPayloadNames();
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
  if (!writeReports(file)) return false;
  file.close();
  if (!file) RYX_LOG_ERROR("Invalid output jsonFile: [%s]", outputPath.c_str());
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
    json.object(2, [&] {
      json.key("duration");
      json.object(4, [&] {
        json.member("value", data_.initTotalDuration_);
        json.member("unit", "us");
        json.key("compose");
        json.object(1, [&] { json.member("value", data_.composeGraphsDuration_); });
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
