// SPDX-License-Identifier: Apache-2.0
// The base reader's output: the text report on standard output and the CSV file.
//
// Rows have the seven fields of the column line; texts go in as they are, never quoted. Rows are
// formatted into blocks, because a log has millions of them.

#include <fstream>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string_view>

#include "base/logger.h"
#include "base/number_text.h"
#include "base/version.h"
#include "events/event_text.h"
#include "reader/ryx_profile_log_reader.h"
#include "reader/standard_output.h"

namespace ryx::profiling {
namespace {

constexpr size_t kBlockBytes = size_t{64} * 1024;
constexpr int kRateDecimals = 6;

/// One row of a phase, a graph or an execution as a whole.
void writeSummaryRow(std::ostream& os, uint64_t timestamp, std::string_view message,
                     std::string_view time, std::string_view unit, std::string_view identifier) {
  os << decimal(timestamp) << ',' << message << ',' << time << ',' << unit << ",NETRUN,ROOT,"
     << identifier << '\n';
}

void writeDurationRow(std::ostream& os, uint64_t timestamp, std::string_view message,
                      uint64_t duration, std::string_view identifier = "null") {
  writeSummaryRow(os, timestamp, message, decimal(duration), "US", identifier);
}

std::string graphIdentifier(size_t index, const std::string& name) {
  return "Graph " + decimal(index) + ": " + name;
}

/// Appends the row of one event, which starts with `rowStart`. Objects have no row.
void appendEventRow(std::string& block, std::string_view rowStart, const ProfileEvent& event,
                    std::string_view level) {
  if (isObject(event)) return;
  block += rowStart;
  appendText(block, event.value);
  block += ',';
  block += unitUpperCaseText(event.unit);
  block += level;
  block += event.identifier;
  block += '\n';
}

void writeBlock(std::ostream& os, std::string& block) {
  os.write(block.data(), static_cast<std::streamsize>(block.size()));
  block.clear();
}

}  // namespace

bool RyxProfileLogReader::generateOutput(const std::string& outputPath) {
  std::ofstream file;
  if (!outputPath.empty()) {
    file.open(outputPath, std::ios::app);
    if (!file.is_open()) {
      RYX_LOG_ERROR("Invalid output file: [%s]", outputPath.c_str());
      return false;
    }
  }

  // The text report saves payloads as it goes: see printEventTree.
  const PayloadNumbering numbering(*this);
  std::ostringstream text;
  text.exceptions(std::ios::badbit);  // or exhausted memory would cut the report short unnoticed
  text << std::fixed << std::setprecision(0);
  printHeaderDetails(text);
  printPhaseSections(text);
  printExecuteOverall(text);
  printExecuteAverage(text);
  printExecuteMinimum(text);
  printExecuteMaximum(text);
  printLibLoad(text);
  printApplyBinarySections(text);

  if (file.is_open()) {
    writeCsvReport(file);
    file.close();
    // Only a log line: the text report is good all the same, and the host gets true.
    if (!file) RYX_LOG_ERROR("Invalid output file: [%s]", outputPath.c_str());
  }
  writeStandardOutput(text.str());
  return true;
}

void RyxProfileLogReader::writeCsvReport(std::ostream& os) {
  os << std::fixed << std::setprecision(0);
  os << "input log file location, " << logFilePath_ << '\n'
     << "ryx-profile-viewer version, " << kToolVersion << '\n'
     << infoLabel_ << " version, " << infoText_ << '\n'
     << "Backend version, " << backendVersion_ << '\n'
     << "Msg Timestamp, Message, Time, Unit of Measurement, Timing Source, Event Level, "
        "Event Identifier\n";

  // Phase by phase, whatever their order in the log.
  writeDurationRow(os, data_.initTotalTimestamp_, "INIT", data_.initTotalDuration_);
  if (const auto* events = initSectionEvents())
    writeCsvEvents(os, *events, data_.initTotalTimestamp_, "INIT");

  writeDurationRow(os, data_.composeGraphsTimestamp_, "COMPOSE GRAPHS",
                   data_.composeGraphsDuration_);

  writeCsvFinalize(os);

  writeDurationRow(os, data_.deInitTimestamp_, "DE-INIT", data_.deInitDuration_);
  writeCsvEvents(os, data_.deInitEvents_, data_.deInitTimestamp_, "DE-INIT");

  writeCsvExecutions(os, data_.graphExecutions_, "EXECUTE", "EXECUTE");

  if (const auto rate = inferenceRate()) {
    os << std::fixed << std::setprecision(kRateDecimals);
    writeSummaryRow(os, data_.netRunTimestamp_, "EXECUTE IPS",
                    fixedPoint(double{*rate}, kRateDecimals), "INF/SEC", "null");
  }

  if (data_.libLoadSeen_ && !data_.libLoadEvents_.empty())
    writeDurationRow(os, data_.libLoadTimestamp_, "DLOPEN LATENCY",
                     data_.libLoadEvents_.front().value.payload);

  writeCsvExecutions(os, data_.applyBinarySectionExecutions_, "APPLY BINARY SECTION",
                     "APPLYBINARY");
}

void RyxProfileLogReader::writeCsvFinalize(std::ostream& os) {
  for (size_t i = 0; i < data_.graphEventSets_.size(); ++i) {
    const GraphEventSet& set = data_.graphEventSets_[i];
    writeDurationRow(os, set.timestamp, "FINALIZE", set.duration,
                     graphIdentifier(i, set.graphName));
    if (data_.hasFinalizeEvents_) writeCsvEvents(os, set.events, set.timestamp, "FINALIZE");
  }
}

void RyxProfileLogReader::writeCsvExecutions(std::ostream& os, const GraphExecutionList& list,
                                             const std::string& rowMessage,
                                             const std::string& eventMessage) {
  for (size_t i = 0; i < list.graphs().size(); ++i) {
    const GraphExecutions& graph = list.graphs()[i];
    const std::string identifier = graphIdentifier(i, graph.graphName);
    for (const ExecutionRecord& execution : graph.executions) {
      writeDurationRow(os, execution.timestamp, rowMessage, execution.duration, identifier);
      writeCsvEvents(os, execution.events, execution.timestamp, eventMessage);
    }
  }
}

void RyxProfileLogReader::writeCsvEvents(std::ostream& os, const std::vector<ProfileEvent>& events,
                                         uint64_t messageTimestamp, const std::string& message) {
  const std::string rowStart = decimal(messageTimestamp) + ',' + message + ',';
  std::string block;
  for (const ProfileEvent& event : events) {
    // Events below these two levels have no rows.
    appendEventRow(block, rowStart, event, ",BACKEND,ROOT,");
    for (const ProfileEvent& subEvent : event.subEvents)
      appendEventRow(block, rowStart, subEvent, ",BACKEND,SUB-EVENT,");
    if (block.size() >= kBlockBytes) writeBlock(os, block);
  }
  writeBlock(os, block);
}

}  // namespace ryx::profiling
