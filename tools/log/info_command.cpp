// SPDX-License-Identifier: Apache-2.0
// A log's summary in two forms: a table for people and a JSON document for scripts. The table gives
// way to long names and to the width of a terminal; the document is the same wherever it goes, and
// says of a damaged log where its damage is. It is counted in one pass, so that a log of any size
// takes the memory of a chunk.

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/printable_text.h"
#include "common/input.h"
#include "common/program.h"
#include "common/progress.h"
#include "log/commands.h"
#include "log/log_summary.h"
#include "stream/log_damage.h"
#include "stream/log_text.h"

namespace ryx::profiling {

namespace {

using Row = std::vector<std::string>;

/// How wide texts of a log may get. Where nobody watches they are printed whole, but never make
/// other lines wider: a long name costs its own bytes only.
struct Layout {
  size_t paddedName = 40;  ///< a column of names is padded no further
  size_t longestName = SIZE_MAX;
  size_t longestText = SIZE_MAX;
};

Layout layoutOfOutput() {
  if (::isatty(STDOUT_FILENO) == 0) return {};
  winsize window = {};
  constexpr size_t kUsualColumns = 80;
  const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
  const size_t columns = isKnown ? window.ws_col : kUsualColumns;
  constexpr size_t kMinName = 16;
  constexpr size_t kTextLines = 4;
  const size_t name = std::max(kMinName, columns / 2);
  return {name, name, kTextLines * columns};
}

bool startsCharacter(char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }

/// The number of characters of a UTF-8 text.
size_t widthOf(std::string_view text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

/// The text with what is too much replaced in the middle.
std::string shortened(const std::string& text, size_t most) {
  const size_t width = widthOf(text);
  if (width <= most) return text;
  const auto offsetOf = [&text](size_t character) {
    size_t at = 0;
    while (at < text.size() && (!startsCharacter(text[at]) || character-- > 0)) ++at;
    return at;
  };
  const size_t left = most / 2;
  return text.substr(0, offsetOf(left)) + "\u2026" +
         text.substr(offsetOf(width - (most - left - 1)));
}

/// Lines of cells, the first a name, the others set to the right. Each column is as wide as its
/// widest cell, but for names that are wider than names are padded.
std::string tableText(const std::vector<Row>& rows, const Layout& layout) {
  std::vector<size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    widths[0] = std::max(widths[0], std::min(widthOf(row[0]), layout.paddedName));
    for (size_t i = 1; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const Row& row : rows) {
    text += "  " + row[0];
    text.append(widths[0] - std::min(widths[0], widthOf(row[0])), ' ');
    for (size_t i = 1; i < row.size(); ++i) {
      text.append(2 + widths[i] - row[i].size(), ' ');
      text += row[i];
    }
    text += '\n';
  }
  return text;
}

/// Lines of a name of ours and its value.
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

std::string headerText(const LogSummary& summary, const Layout& layout) {
  if (!summary.header) return "Header: none\n";
  const HeaderSummary& header = *summary.header;
  std::vector<Row> fields;
  const auto addText = [&](const char* name, const std::optional<std::string>& value) {
    if (value) fields.push_back({name, shortened(printable(*value), layout.longestText)});
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

std::string messagesText(const LogSummary& summary, const Layout& layout) {
  if (summary.messageCounts.empty()) return {};
  std::vector<Row> rows = {{"method", "level", "messages"}};
  for (const auto& [kind, count] : summary.messageCounts)
    rows.push_back({methodText(kind.first), std::to_string(kind.second), number(count)});
  return "Messages\n" + tableText(rows, layout);
}

bool hasOtherGraphs(const LogSummary& summary) {
  return summary.otherGraphs.executions > 0 || summary.otherGraphs.events > 0;
}

std::string graphsText(const LogSummary& summary, const Layout& layout) {
  if (summary.graphs.empty() && !hasOtherGraphs(summary)) return {};
  std::vector<Row> rows = {{"graph", "executions", "events"}};
  for (const GraphSummary& graph : summary.graphs)
    rows.push_back({shortened(printable(graph.name), layout.longestName), number(graph.executions),
                    number(graph.events)});
  if (hasOtherGraphs(summary))
    rows.push_back({"(all others)", number(summary.otherGraphs.executions),
                    number(summary.otherGraphs.events)});
  return "Graphs\n" + tableText(rows, layout);
}

std::string summaryText(const std::string& name, const LogSummary& summary) {
  if (summary.chunks == 0) return printable(name) + ": " + kEmptyLogText + "\n";
  const Layout layout = layoutOfOutput();
  std::vector<Row> fields = {
      {"chunks", number(summary.chunks)},
      {"messages", number(summary.messages)},
      {"events", number(summary.events)},
      {"bytes", number(summary.bytes)},
      {"largest chunk", number(summary.largestChunkBytes) + " bytes (chunk " +
                            number(summary.largestChunkNumber) + " at byte " +
                            number(summary.largestChunkOffset) + ")"}};
  if (summary.firstTime)
    fields.push_back({"time span", number(*summary.lastTime - *summary.firstTime) + " us (" +
                                       number(*summary.firstTime) + " to " +
                                       number(*summary.lastTime) + ")"});
  return printable(name) + "\n" + fieldsText(fields) + headerText(summary, layout) +
         messagesText(summary, layout) + graphsText(summary, layout);
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
    const std::string text = validUtf8(*value);
    writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }

  void addFloat(const char* key, const std::optional<float>& value) {
    writer_.Key(key);
    if (!value || !std::isfinite(*value)) {
      writer_.Null();
      return;
    }
    // As a double it would have digits that the log's 32 bits do not say.
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

Status printInfo(const std::string& operand, bool asJson) {
  const auto input = tools::InputPath::of(operand);
  if (!input) return input.status();
  const std::string name = tools::inputName(operand);
  CheckedLog log;
  if (!log.open(input->path()))
    return Status::failure("cannot read " + name + ": " + log.damage()->text);
  const tools::Progress progress("summing up", tools::bytesOf({operand}));
  SummaryBuilder builder;
  while (const LogChunk* chunk = log.next()) builder.add(log, *chunk);
  const LogSummary& summary = builder.summary();
  const auto& damage = log.damage();
  Status printed;
  if (asJson)
    printed = tools::printOutput(SummaryJson().print(summary, damage));
  else if (!damage || summary.chunks > 0)  // else there is nothing to sum up but the damage
    printed = tools::printOutput(summaryText(name, summary));
  if (!printed || !damage) return printed;
  return Status::failure(name + ": " + describe(*damage) +
                         (summary.chunks > 0 ? "; summed up until there" : ""));
}

}  // namespace ryx::profiling
