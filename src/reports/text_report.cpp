// SPDX-License-Identifier: Apache-2.0
// The text statistics report: one section per phase, the phase's events as an indented tree.
//
// Numbers are turned to text before they reach the stream, so that no locale and no state of the
// stream changes them. The stream's number format is set nevertheless: `printEventTree` may be
// replaced by a subclass, which then finds the format that each section has always had.
//
// Printing has a side effect that its name does not tell: payloads of object events are saved as
// the walk over the events meets them, so the order of the sections is also the order in which
// files are numbered.

#include <iomanip>
#include <ostream>
#include <string_view>

#include "base/number_text.h"
#include "events/event_text.h"
#include "events/queue_wait.h"
#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {
namespace {

constexpr uint64_t kIndentBlanks = 4;
constexpr uint64_t kTreeLevel = 1;
constexpr int kRateDecimals = 4;
constexpr std::string_view kIndent = "    ";

/// A section's title and the rule below it; the rules' lengths are as fixed as the titles.
void printTitle(std::ostream& os, std::string_view title, size_t dashes) {
  os << title << '\n' << std::string(dashes, '-') << '\n';
}

void printGraphName(std::ostream& os, size_t index, const std::string& name) {
  os << "Graph " << decimal(index) << " (" << name << "):\n";
}

void printDuration(std::ostream& os, std::string_view label, uint64_t duration) {
  os << kIndent << label << decimal(duration) << " us\n";
}

void printDuration(std::ostream& os, uint64_t duration) { printDuration(os, "NetRun: ", duration); }

uint64_t waitOf(const GraphQueueWaits& entry) { return meanQueueWait(entry); }
uint64_t waitOf(const GraphQueueWait& entry) { return entry.wait; }

/// The queue wait of each graph; of several entries for one name the first counts.
template <typename Entries>
QueueWaitsByGraph waitsByGraph(const Entries& entries) {
  QueueWaitsByGraph waits;
  for (const auto& entry : entries) waits.emplace(entry.graphName, waitOf(entry));
  return waits;
}

}  // namespace

void RyxProfileLogReader::printPhaseSections(std::ostream& os) {
  printTitle(os, "Ryx Init/Prepare/Finalize/De-Init/Execute/Lib-Load Statistics:", 60);
  printInit(os);
  printComposeGraphs(os);
  printFinalize(os);
  printDeInit(os);
}

void RyxProfileLogReader::printInit(std::ostream& os) {
  printTitle(os, "Init Stats:", 11);
  printDuration(os, data_.initTotalDuration_);
  if (const auto* events = initSectionEvents()) printEventTree(os, *events, kTreeLevel);
  os << '\n';
}

void RyxProfileLogReader::printComposeGraphs(std::ostream& os) {
  printTitle(os, "Compose Graphs Stats:", 14);
  printDuration(os, data_.composeGraphsDuration_);
  os << '\n';
}

void RyxProfileLogReader::printFinalize(std::ostream& os) {
  printTitle(os, "Finalize Stats:", 15);
  if (data_.graphEventSets_.empty()) os << '\n';
  for (size_t i = 0; i < data_.graphEventSets_.size(); ++i) {
    const GraphEventSet& set = data_.graphEventSets_[i];
    printGraphName(os, i, set.graphName);
    printDuration(os, set.duration);
    if (data_.hasFinalizeEvents_) printEventTree(os, set.events, kTreeLevel);
    os << '\n';
  }
}

void RyxProfileLogReader::printDeInit(std::ostream& os) {
  printTitle(os, "De-Init Stats:", 14);
  printDuration(os, data_.deInitDuration_);
  printEventTree(os, data_.deInitEvents_, kTreeLevel);
  os << '\n';
}

void RyxProfileLogReader::printExecuteOverall(std::ostream& os) {
  const auto rate = inferenceRate();
  if (!rate) return;
  os << std::fixed << std::setprecision(kRateDecimals);
  printTitle(os, "Execute Stats (Overall):", 24);
  os << kIndent
     << "NetRun IPS (includes IO and misc. time): " << fixedPoint(double{*rate}, kRateDecimals)
     << " inf/sec \n\n";
}

void RyxProfileLogReader::printExecuteStatistic(std::ostream& os, std::string_view title,
                                                const std::vector<GraphEventSet>& graphs,
                                                const QueueWaitsByGraph& queueWaits) {
  printTitle(os, title, 24);
  printTitle(os, "Total Inference Time: ", 21);
  if (graphs.empty()) os << '\n';
  for (size_t i = 0; i < graphs.size(); ++i) {
    const GraphEventSet& graph = graphs[i];
    printGraphName(os, i, graph.graphName);
    printDuration(os,
                  data_.queueWaitSeen_ ? "NetRun (Host Round-Trip): " : "NetRun: ", graph.duration);
    if (!data_.graphRunSeen_) {
      const auto wait = queueWaits.find(graph.graphName);
      // Unsigned: where the wait is longer than the round trip, the difference wraps around.
      if (wait != queueWaits.end())
        os << kIndent << "NetRun (Host Round-Trip excluding queue wait): "
           << decimal(graph.duration - wait->second) << '\n';
      printEventTree(os, graph.events, kTreeLevel);
    }
    os << '\n';
  }
}

void RyxProfileLogReader::printExecuteAverage(std::ostream& os) {
  printExecuteStatistic(os, "Execute Stats (Average):", data_.executeAverages_,
                        waitsByGraph(data_.queueWaitAverages_));
  if (!data_.executeAverages_.empty()) saveExecutionPayloads();
}

void RyxProfileLogReader::printExecuteMinimum(std::ostream& os) {
  printExecuteStatistic(os, "Execute Stats (Min):", data_.executeMinima_,
                        waitsByGraph(data_.queueWaitMinima_));
}

void RyxProfileLogReader::printExecuteMaximum(std::ostream& os) {
  printExecuteStatistic(os, "Execute Stats (Max):", data_.executeMaxima_,
                        waitsByGraph(data_.queueWaitMaxima_));
}

/// Saves the payloads of all executions' root object events, once for the event itself and once
/// more for each of its sub-events: the files that existing tooling counts on.
void RyxProfileLogReader::saveExecutionPayloads() {
  if (!saveObjectEvents_) return;
  for (const GraphExecutions& graph : data_.graphExecutions_.graphs())
    for (const ExecutionRecord& execution : graph.executions)
      for (const ProfileEvent& event : execution.events)
        if (isObject(event))
          for (size_t copies = 1 + event.subEvents.size(); copies > 0; --copies)
            saveObjectPayload(event);
}

void RyxProfileLogReader::printLibLoad(std::ostream& os) {
  if (!data_.libLoadSeen_ || data_.libLoadEvents_.empty()) return;
  os << std::fixed << std::setprecision(kRateDecimals);
  printTitle(os, "Dynamic Lib Load Stats:", 24);
  printDuration(os, "Backend Latency: ", data_.libLoadEvents_.front().value.payload);
  os << '\n';
}

void RyxProfileLogReader::printApplyBinarySections(std::ostream& os) {
  if (!data_.applyBinarySectionSeen_) return;
  printApplyBinarySection(os,
                          "ApplyBinarySection Stats (Average):", data_.applyBinarySectionAverages_);
  printApplyBinarySection(os, "ApplyBinarySection Stats (Min):", data_.applyBinarySectionMinima_);
  printApplyBinarySection(os, "ApplyBinarySection Stats (Max):", data_.applyBinarySectionMaxima_);
}

void RyxProfileLogReader::printApplyBinarySection(std::ostream& os, std::string_view title,
                                                  const std::vector<GraphEventSet>& graphs) {
  printTitle(os, title, 35);
  for (size_t i = 0; i < graphs.size(); ++i) {
    printGraphName(os, i, graphs[i].graphName);
    printDuration(os, graphs[i].duration);
    printEventTree(os, graphs[i].events, kTreeLevel);
    os << '\n';
  }
}

void RyxProfileLogReader::printEventTree(std::ostream& os, const std::vector<ProfileEvent>& events,
                                         uint64_t level) {
  for (const ProfileEvent& event : events) {
    if (isObject(event)) {
      if (saveObjectEvents_) saveObjectPayload(event);
    } else {
      std::string line(level * kIndentBlanks, ' ');
      if (level == kTreeLevel)
        line += "Backend (" + event.identifier + "): ";
      else
        line += event.identifier + ": ";
      appendText(line, event.value);
      line += unitSuffixText(event.unit);
      line += '\n';
      os << std::fixed << std::setprecision(0) << line;
    }
    printEventTree(os, event.subEvents, level + 1);
  }
}

}  // namespace ryx::profiling
