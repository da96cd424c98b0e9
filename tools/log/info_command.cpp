// A log's summary in two forms: a table for people and a JSON document for scripts.

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "base/printable_text.h"
#include "log/commands.h"
#include "log/log_summary.h"
#include "stream/log_damage.h"

namespace ryx::profiling {

namespace {

using Row = std::vector<std::string>;

/// Lines of cells, each column as wide as its widest cell; all but the first are set to the right.
std::string tableText(const std::vector<Row>& rows) {
  std::vector<size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const Row& row : rows) {
    text += "  ";
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - row[i].size(), ' ');
      text += i == 0 ? row[i] + padding : "  " + padding + row[i];
    }
    text += '\n';
  }
  return text;
}

/// Lines of a name and its value.
std::string fieldsText(const std::vector<Row>& fields) {
  size_t width = 0;
  for (const Row& field : fields) width = std::max(width, field[0].size());
  std::string text;
  for (const Row& field : fields)
    text += "  " + field[0] + std::string(width - field[0].size() + 2, ' ') + field[1] + '\n';
  return text;
}

std::string number(uint64_t value) { return std::to_string(value); }

/// As many digits as it takes to tell the value from its neighbours.
std::string number(float value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return {text, result.ptr};
}

/// The time of day after "1700000000000000 us"; empty for a year that has more than 4 digits.
std::string dateText(uint64_t epochMicroseconds) {
  const auto seconds = static_cast<time_t>(epochMicroseconds / 1000000);
  std::tm date{};
  char text[64];
  if (::gmtime_r(&seconds, &date) == nullptr || date.tm_year + 1900 > 9999) return {};
  const size_t size = std::strftime(text, sizeof text, " (%Y-%m-%d %H:%M:%S UTC)", &date);
  return {text, size};
}

std::string headerText(const LogSummary& summary) {
  if (!summary.header) return "Header: none\n";
  const HeaderSummary& header = *summary.header;
  std::vector<Row> fields;
  const auto addText = [&](const char* name, const std::optional<std::string>& value) {
    if (value) fields.push_back({name, log::printable(*value)});
  };
  addText("backend version", header.backendVersion);
  addText("info label", header.infoLabel);
  addText("info text", header.infoText);
  if (header.timeScale) fields.push_back({"time scale", number(*header.timeScale)});
  if (header.epochTimestamp)
    fields.push_back(
        {"epoch time", number(*header.epochTimestamp) + " us" + dateText(*header.epochTimestamp)});
  if (header.steadyClockTimestamp)
    fields.push_back({"steady clock", number(*header.steadyClockTimestamp) + " us"});
  return fields.empty() ? "Header: empty\n" : "Header\n" + fieldsText(fields);
}

std::string messagesText(const LogSummary& summary) {
  if (summary.messageCounts.empty()) return {};
  std::vector<Row> rows = {{"method", "level", "messages"}};
  for (const auto& [kind, count] : summary.messageCounts)
    rows.push_back({methodText(kind.first), std::to_string(kind.second), number(count)});
  return "Messages\n" + tableText(rows);
}

bool hasOtherGraphs(const LogSummary& summary) {
  return summary.otherGraphs.executions > 0 || summary.otherGraphs.events > 0;
}

std::string graphsText(const LogSummary& summary) {
  if (summary.graphs.empty() && !hasOtherGraphs(summary)) return {};
  std::vector<Row> rows = {{"graph", "executions", "events"}};
  for (const GraphSummary& graph : summary.graphs)
    rows.push_back({log::printable(graph.name), number(graph.executions), number(graph.events)});
  if (hasOtherGraphs(summary))
    rows.push_back({"(all others)", number(summary.otherGraphs.executions),
                    number(summary.otherGraphs.events)});
  return "Graphs\n" + tableText(rows);
}

std::string summaryText(const std::string& logPath, const LogSummary& summary) {
  std::vector<Row> fields = {{"chunks", number(summary.chunks)},
                             {"messages", number(summary.messages)},
                             {"events", number(summary.events)},
                             {"bytes", number(summary.bytes)}};
  if (summary.chunks > 0)
    fields.push_back({"largest chunk", number(summary.largestChunkBytes) + " bytes (chunk " +
                                           number(summary.largestChunkNumber) + " at byte " +
                                           number(summary.largestChunkOffset) + ")"});
  if (summary.firstTime)
    fields.push_back({"time span", number(*summary.lastTime - *summary.firstTime) + " us (" +
                                       number(*summary.firstTime) + " to " +
                                       number(*summary.lastTime) + ")"});
  return log::printable(logPath) + "\n" + fieldsText(fields) + headerText(summary) +
         messagesText(summary) + graphsText(summary);
}

/// The JSON document of a summary.
class SummaryJson {
 public:
  std::string print(const LogSummary& summary, const std::optional<LogDamage>& damage) {
    writer_.SetIndent(' ', 2);
    writer_.StartObject();
    addNumber("chunks", summary.chunks);
    addNumber("messages", summary.messages);
    addNumber("events", summary.events);
    addNumber("bytes", summary.bytes);
    addLargestChunk(summary);
    addNumber("first_time_us", summary.firstTime);
    addNumber("last_time_us", summary.lastTime);
    addHeader(summary.header);
    addMessageCounts(summary);
    addGraphs(summary);
    addDamage(damage);
    writer_.EndObject();
    return std::string(buffer_.GetString(), buffer_.GetSize()) + "\n";
  }

 private:
  void addNumber(const char* key, const std::optional<uint64_t>& value) {
    writer_.Key(key);
    value ? writer_.Uint64(*value) : writer_.Null();
  }

  void addText(const char* key, const std::optional<std::string>& value) {
    writer_.Key(key);
    if (!value) {
      writer_.Null();
      return;
    }
    const std::string text = log::validUtf8(*value);
    writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }

  void addFloat(const char* key, const std::optional<float>& value) {
    writer_.Key(key);
    if (!value || !std::isfinite(*value)) {
      writer_.Null();
      return;
    }
    const std::string text = number(*value);
    writer_.RawValue(text.data(), text.size(), rapidjson::kNumberType);
  }

  void addLargestChunk(const LogSummary& summary) {
    writer_.Key("largest_chunk");
    if (summary.chunks == 0) {
      writer_.Null();
      return;
    }
    writer_.StartObject();
    addNumber("number", summary.largestChunkNumber);
    addNumber("offset", summary.largestChunkOffset);
    addNumber("bytes", summary.largestChunkBytes);
    writer_.EndObject();
  }

  void addHeader(const std::optional<HeaderSummary>& header) {
    writer_.Key("header");
    if (!header) {
      writer_.Null();
      return;
    }
    writer_.StartObject();
    addText("backend_version", header->backendVersion);
    addText("info_label", header->infoLabel);
    addText("info_text", header->infoText);
    addFloat("time_scale", header->timeScale);
    addNumber("epoch_timestamp_us", header->epochTimestamp);
    addNumber("steady_clock_timestamp_us", header->steadyClockTimestamp);
    writer_.EndObject();
  }

  void addMessageCounts(const LogSummary& summary) {
    writer_.Key("message_counts");
    writer_.StartArray();
    for (const auto& [kind, count] : summary.messageCounts) {
      writer_.StartObject();
      addText("method", methodText(kind.first));
      writer_.Key("method_type");
      writer_.Int(kind.first);
      writer_.Key("level");
      writer_.Int(kind.second);
      addNumber("messages", count);
      writer_.EndObject();
    }
    writer_.EndArray();
  }

  void addGraphs(const LogSummary& summary) {
    writer_.Key("graphs");
    writer_.StartArray();
    for (const GraphSummary& graph : summary.graphs) addGraph(graph.name, graph);
    if (hasOtherGraphs(summary)) addGraph(std::nullopt, summary.otherGraphs);
    writer_.EndArray();
  }

  void addGraph(const std::optional<std::string>& name, const GraphSummary& graph) {
    writer_.StartObject();
    addText("name", name);
    addNumber("executions", graph.executions);
    addNumber("events", graph.events);
    writer_.EndObject();
  }

  void addDamage(const std::optional<LogDamage>& damage) {
    writer_.Key("damage");
    if (!damage) {
      writer_.Null();
      return;
    }
    writer_.StartObject();
    addNumber("chunk", damage->chunkNumber);
    addNumber("offset", damage->offset);
    addText("text", damage->text);
    writer_.EndObject();
  }

  rapidjson::StringBuffer buffer_;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer_{buffer_};
};

}  // namespace

bool printInfo(const std::string& logPath, bool asJson) {
  CheckedLog log;
  if (!log.open(logPath)) return reportError("cannot read " + logPath + ": " + log.damage()->text);
  SummaryBuilder builder;
  while (const LogChunk* chunk = log.next()) builder.add(log, *chunk);
  const std::string text = asJson ? SummaryJson().print(builder.summary(), log.damage())
                                  : summaryText(logPath, builder.summary());
  if (!printText(text)) return false;
  return !log.damage() ||
         reportError(logPath + ": " + describe(*log.damage()) + "; summed up until there");
}

}  // namespace ryx::profiling
