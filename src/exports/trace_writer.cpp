// SPDX-License-Identifier: Apache-2.0
// Events are appended one by one as the sink draws them, and what can only be known at the end
// (names of threads, what was left out) follows them, which the format allows. Names come as
// finished JSON: one name is drawn a hundred thousand times, and escaped once.

#include "exports/trace_writer.h"

#include <charconv>

#include "base/number_text.h"
#include "base/version.h"
#include "exports/json_text.h"

namespace ryx::profiling {

namespace {

struct OmissionText {
  Omission kind;
  std::string_view key;   ///< in the file
  std::string_view text;  ///< to the user
};

constexpr OmissionText kOmissions[] = {
    {Omission::Executions, "executions", "executions (--all draws them)"},
    {Omission::Phases, "phases", "phases (--all draws them)"},
    {Omission::Overlapping, "overlapping",
     "executions or phases that overlap with too many others"},
    {Omission::Untimed, "without_time", "executions or phases without a time"},
    {Omission::Unplaced, "events_that_do_not_fit", "events that do not fit into what they are in"},
    {Omission::Negative, "negative_events", "events of negative duration"},
    {Omission::Timeless, "events_without_time", "events without a time"},
    {Omission::Surplus, "surplus_events",
     "events of executions that are too large (--all draws them)"},
};

uint64_t countOf(const Omissions& omissions, Omission kind) {
  const auto found = omissions.find(kind);
  return found != omissions.end() ? found->second : 0;
}

constexpr size_t kMaxNumberBytes = 32;

}  // namespace

std::string describe(const Omissions& omissions) {
  std::string list;
  for (const OmissionText& omission : kOmissions)
    if (const uint64_t count = countOf(omissions, omission.kind); count > 0)
      list += (list.empty() ? "" : ", ") + decimal(count) + " " + std::string(omission.text);
  return list;
}

Status TraceWriter::open(const std::string& path) {
  constexpr std::string_view kCompressed = ".gz";
  const bool isCompressed =
      path.size() >= kCompressed.size() &&
      path.compare(path.size() - kCompressed.size(), kCompressed.size(), kCompressed) == 0;
  if (Status status = out_.open(path, isCompressed); !status) return status;
  out_.append("{\"traceEvents\":[");
  return {};
}

void TraceWriter::addSlice(size_t process, uint64_t thread, uint64_t start, uint64_t duration,
                           bool isSynthetic, std::string_view name) {
  startEvent('X', process);
  appendMember(",\"tid\":", thread);
  appendMember(",\"ts\":", start);
  appendMember(",\"dur\":", duration);
  if (isSynthetic) out_.append(",\"cat\":\"synthetic\"");
  appendMember(",\"name\":", name);
  out_.append("}");
}

void TraceWriter::addCounter(size_t process, uint64_t time, std::string_view name,
                             std::string_view series, std::string_view unit, const Cell& value) {
  startEvent('C', process);
  appendMember(",\"ts\":", time);
  appendMember(",\"name\":", name);
  if (!series.empty()) appendMember(",\"id\":", series);
  out_.append(",\"args\":{\"");
  out_.append(unit);
  out_.append("\":");
  char* at = out_.room(kMaxNumberBytes);
  char* end = at + kMaxNumberBytes;
  switch (value.type) {
    case ColumnType::Int64: at = std::to_chars(at, end, value.integer).ptr; break;
    case ColumnType::UInt64: at = std::to_chars(at, end, value.natural).ptr; break;
    default: at = std::to_chars(at, end, value.real).ptr; break;
  }
  out_.take(at);
  out_.append("}}");
}

void TraceWriter::nameProcess(size_t process, std::string_view name) {
  startEvent('M', process);
  appendMember(",\"name\":\"process_name\",\"args\":{\"name\":", name);
  out_.append("}}");
}

void TraceWriter::nameThread(size_t process, uint64_t thread, std::string_view name) {
  startEvent('M', process);
  appendMember(",\"tid\":", thread);
  appendMember(",\"name\":\"thread_name\",\"args\":{\"name\":", name);
  out_.append("}}");
}

Status TraceWriter::finish(const std::vector<TracedLog>& logs) {
  // Readers of traces pass over `otherData`; it is for those who wonder what is missing.
  out_.append("\n],\n\"displayTimeUnit\":\"ms\",\n\"otherData\":{");
  appendText("\"tool\":", "ryx-profile-log " + std::string(kToolVersion));
  out_.append(",\"logs\":[");
  for (size_t i = 0; i < logs.size(); ++i) {
    out_.append(i == 0 ? "\n{" : ",\n{");
    appendLog(logs[i], i + 1);
    out_.append("}");
  }
  out_.append("\n]}}\n");
  return out_.commit();
}

void TraceWriter::appendLog(const TracedLog& log, size_t process) {
  appendMember("\"pid\":", process);
  appendText(",\"path\":", log.path);
  appendMember(",\"first_start_us\":", log.firstStart);
  if (log.damage.empty())
    out_.append(",\"damage\":null");
  else
    appendText(",\"damage\":", log.damage);
  out_.append(",\"left_out\":{");
  for (const OmissionText& omission : kOmissions) {
    out_.append(omission.kind == kOmissions[0].kind ? "\"" : ",\"");
    out_.append(omission.key);
    appendMember("\":", countOf(log.omissions, omission.kind));
  }
  out_.append("}");
}

void TraceWriter::startEvent(char phase, size_t process) {
  // A line for each event, for tools that work by lines.
  out_.append(hasEvents_ ? ",\n{\"ph\":\"" : "\n{\"ph\":\"");
  hasEvents_ = true;
  out_.append({&phase, 1});
  appendMember("\",\"pid\":", process);
}

void TraceWriter::appendMember(std::string_view key, uint64_t value) {
  out_.append(key);
  appendNumber(value);
}

void TraceWriter::appendMember(std::string_view key, std::string_view json) {
  out_.append(key);
  out_.append(json);
}

void TraceWriter::appendText(std::string_view key, std::string_view text) {
  out_.append(key);
  appendJsonString(text, out_);
}

void TraceWriter::appendNumber(uint64_t value) {
  char* at = out_.room(kMaxNumberBytes);
  out_.take(std::to_chars(at, at + kMaxNumberBytes, value).ptr);
}

}  // namespace ryx::profiling
