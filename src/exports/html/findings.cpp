// SPDX-License-Identifier: Apache-2.0
// Each kind of finding is tried on each graph, and names what passes its bar. The bars are low
// enough to say something of every log, and what is said is sorted by the time that it is about.

#include "exports/html/findings.h"

#include <algorithm>
#include <cmath>

#include "exports/html/markup.h"
#include "exports/html/quantities.h"

namespace ryx::profiling {
namespace {

constexpr double kWorthSaying = 0.02;  // of a graph's time
constexpr size_t kMaxLargest = 3;
constexpr size_t kMaxUnstable = 2;
constexpr double kUnstableCv = 0.2;
constexpr uint64_t kFewExecutions = 6;  // to call anything unstable

std::string ofTheTime(const GraphView& graph, size_t graphs) {
  return graphs == 1 ? "of the time" : "of " + shownName(graph.graph());
}

class Finder {
 public:
  explicit Finder(const std::vector<GraphView>& graphs) : graphs_(graphs) {
    for (const GraphView& graph : graphs) whole_ += graph.whole();
  }

  std::vector<Finding> run(const std::vector<MemoryUse>& memory) {
    for (size_t i = 0; i < graphs_.size(); ++i) {
      if (graphs_[i].whole() <= 0) continue;
      findLargest(i);
      findUnstable(i);
      findSlowExecutions(i);
      findWarmUp(i);
      findQueueWait(i);
      findUnattributed(i);
    }
    sortByCost(largest_);
    if (!largest_.empty()) largest_.front().after = " takes more time than any other event";
    keepLargestOf(largest_, kMaxLargest);
    keepLargestOf(unstable_, kMaxUnstable);
    sortByCost(found_);
    const size_t forTime = kMaxFindings - (memory.empty() ? 0 : 1);
    if (found_.size() > forTime) found_.resize(forTime);
    findMemoryUse(memory);
    return std::move(found_);
  }

 private:
  static void sortByCost(std::vector<Finding>& findings) {
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.cost > b.cost; });
  }

  void keepLargestOf(std::vector<Finding>& findings, size_t most) {
    sortByCost(findings);
    for (size_t i = 0; i < std::min(most, findings.size()); ++i)
      found_.push_back(std::move(findings[i]));
  }

  /// A finding about `time` of all executions of a graph.
  Finding about(size_t graph, double time, std::optional<size_t> event = std::nullopt) const {
    Finding finding;
    finding.graph = graph;
    finding.event = event;
    finding.share = time / graphs_[graph].whole();
    finding.cost = time / whole_;
    finding.weight = shareText(finding.share);
    finding.weightLabel = ofTheTime(graphs_[graph], graphs_.size());
    if (event) finding.name = graphs_[graph].events()[*event].name;
    return finding;
  }

  /// The largest event of a graph is named whatever its share is; the next ones only if they
  /// matter.
  void findLargest(size_t index) {
    const GraphView& graph = graphs_[index];
    double ofTenLargest = 0;
    for (size_t i = 0; i < std::min<size_t>(10, graph.ranked().size()); ++i)
      ofTenLargest += graph.events()[graph.ranked()[i]].self();
    for (size_t i = 0; i < std::min(kMaxLargest, graph.ranked().size()); ++i) {
      const size_t row = graph.ranked()[i];
      const EventNode& event = graph.events()[row];
      if (event.self() <= 0 || (i > 0 && event.self() < kWorthSaying * graph.whole())) return;
      Finding finding = about(index, event.self(), row);
      finding.after = " is next";
      const Distribution& self = event.statistics->self;
      finding.evidence = "At the median " + durationText(self.p50.real()) + " of " +
                         durationText(graph.statistics().duration.p50.real());
      if (i == 0 && graph.ranked().size() > 10)
        finding.evidence += "; the ten largest of " + groupedCount(graph.ranked().size()) +
                            " events make " + shareText(ofTenLargest / graph.whole());
      largest_.push_back(std::move(finding));
    }
  }

  void findUnstable(size_t index) {
    const GraphView& graph = graphs_[index];
    for (const size_t row : graph.ranked()) {
      const EventStatistics* event = graph.events()[row].statistics;
      if (event == nullptr || event->self.count < kFewExecutions) continue;
      const Distribution& self = event->self;
      if (!self.cv || !(*self.cv >= kUnstableCv)) continue;
      const double count = static_cast<double>(self.count);
      if (*self.stddev * count < kWorthSaying / 2 * graph.whole()) continue;
      // What it costs is what it takes beyond its usual time.
      const double excess = std::max(self.mean - self.p50.real(), 0.0) * count;
      Finding finding = about(index, excess, row);
      finding.after = " is unsteady";
      finding.evidence = "Half of the executions take at most " + durationText(self.p50.real()) +
                         ", the slowest " + durationText(self.max.real());
      finding.weight = "CV " + groupedFixed(*self.cv, 2);
      finding.weightLabel = "deviation by mean";
      finding.share = std::min(*self.cv, 1.0);
      unstable_.push_back(std::move(finding));
    }
  }

  /// Knows the outliers that are listed, of which there are at most kMaxListedOutliers.
  void findSlowExecutions(size_t index) {
    const GraphView& graph = graphs_[index];
    const RowStatistics& statistics = graph.statistics();
    const OutlierStatistics* slowest = nullptr;
    double excess = 0;
    size_t count = 0;
    for (const OutlierStatistics& outlier : statistics.outliers) {
      const double above = outlier.duration.real() - statistics.duration.p50.real();
      if (!outlier.isSevere || above <= 0) continue;
      ++count;
      excess += above;
      if (slowest == nullptr || outlier.duration > slowest->duration) slowest = &outlier;
    }
    if (slowest == nullptr) return;
    Finding finding = about(index, excess);
    finding.before = count == 1 ? "One execution of " : "Some executions of ";
    finding.name = graph.graph();
    finding.after =
        count == 1 ? " is far slower than the others" : " are far slower than the others";
    finding.evidence = "Execution " + groupedCount(slowest->execution) + " took " +
                       durationText(slowest->duration.real());
    if (slowest->path)
      finding.evidence += ", " + changeText(slowest->excess.real(), "us") + " of it in " +
                          shownName(slowest->path->back());
    const bool areAllListed = statistics.outlierCount == statistics.outliers.size();
    finding.weight = (areAllListed ? "" : "at least ") + groupedCount(count);
    finding.weightLabel = "of " + groupedCount(statistics.duration.count) + " executions";
    finding.share = static_cast<double>(count) / static_cast<double>(statistics.duration.count);
    found_.push_back(std::move(finding));
  }

  /// Also where no warm-up is detected, if the first execution stands out: short runs have just
  /// that.
  void findWarmUp(size_t index) {
    const GraphView& graph = graphs_[index];
    const Distribution& duration = graph.statistics().duration;
    const uint64_t detected = graph.statistics().warmUp.detected.value_or(0);
    const double first = duration.first.real() / duration.p50.real();
    if (detected == 0 && !(duration.count > 2 && first >= 1.5)) return;
    const double executions = static_cast<double>(std::max<uint64_t>(detected, 1));
    Finding finding =
        about(index, std::max(duration.first.real() - duration.p50.real(), 0.0) * executions);
    finding.name = graph.graph();
    finding.after = detected == 0 ? " starts slowly" : " needs to warm up";
    finding.evidence = "The first execution took " + durationText(duration.first.real()) +
                       " against a median of " + durationText(duration.p50.real());
    if (detected > 1)
      finding.evidence += "; it is steady after " + groupedCount(detected) + " executions";
    finding.weight = groupedFixed(first, 1) + " ×";
    finding.weightLabel = "the median";
    finding.share = std::min(first / 5, 1.0);
    found_.push_back(std::move(finding));
  }

  void findQueueWait(size_t index) {
    const GraphView& graph = graphs_[index];
    const Distribution& wait = graph.statistics().queueWait;
    if (wait.count == 0 || wait.sum.real() < kWorthSaying / 2 * graph.whole()) return;
    Finding finding = about(index, wait.sum.real());
    finding.before = "Executions of ";
    finding.name = graph.graph();
    finding.after = " wait in the queue";
    finding.evidence = "At the median " + durationText(wait.p50.real()) + ", at most " +
                       durationText(wait.max.real());
    found_.push_back(std::move(finding));
  }

  void findUnattributed(size_t index) {
    const GraphView& graph = graphs_[index];
    const RowStatistics& statistics = graph.statistics();
    if (!statistics.unattributed || !statistics.unattributedShare || graph.ranked().empty()) return;
    const double time = statistics.unattributed->real();
    const double share = *statistics.unattributedShare;
    if (std::fabs(share) < kWorthSaying) return;
    // Waiting in the queue is in no event, either, and has a finding of its own.
    const Distribution& wait = statistics.queueWait;
    if (wait.count > 0 && wait.sum.real() > 0.7 * time) return;
    Finding finding = about(index, std::fabs(time));
    finding.name = graph.graph();
    finding.after = share > 0 ? " spends time outside of its events"
                              : " has events that add up to more than its executions";
    finding.evidence =
        durationText(std::fabs(time) / static_cast<double>(statistics.duration.count)) +
        (share > 0 ? " of an execution is in no event" : " of an execution is in several events");
    finding.weight = shareText(std::fabs(share));
    found_.push_back(std::move(finding));
  }

  void findMemoryUse(const std::vector<MemoryUse>& memory) {
    const MemoryUse* largest = nullptr;
    double all = 0;
    for (const MemoryUse& use : memory) {
      if (!use.isLeaf) continue;
      all += use.bytes;
      if (largest == nullptr || use.bytes > largest->bytes) largest = &use;
    }
    if (largest == nullptr || largest->bytes <= 0) return;
    Finding finding;
    finding.name = largest->path.back();
    finding.after = " takes most of the memory";
    finding.evidence = "Reported by " + largest->method;
    if (!largest->graph.empty()) finding.evidence += " of " + shownName(largest->graph);
    finding.weight = quantityText(largest->bytes, "bytes");
    finding.weightLabel = "of " + quantityText(all, "bytes");
    finding.share = largest->bytes / all;
    finding.isMemory = true;
    found_.push_back(std::move(finding));
  }

  const std::vector<GraphView>& graphs_;
  double whole_ = 0;
  std::vector<Finding> found_;
  std::vector<Finding> largest_;
  std::vector<Finding> unstable_;
};

}  // namespace

std::vector<Finding> findWhatToFix(const std::vector<GraphView>& graphs,
                                   const std::vector<MemoryUse>& memory) {
  return Finder(graphs).run(memory);
}

}  // namespace ryx::profiling
