// SPDX-License-Identifier: Apache-2.0
// The page of one run: what C++ writes of it, and the data for what the script draws.
//
// It begins with an answer, a sentence on where the time went, and goes on from what to fix to
// single events. What is written here has to stand on its own, for printing and where no script
// runs: so of long lists it has the largest entries. Where the script runs, such a list (the class
// "undrawn") is hidden, and all of it is drawn instead.

#include <algorithm>
#include <cmath>

#include "base/number_text.h"
#include "exports/html/findings.h"
#include "exports/html/graph_view.h"
#include "exports/html/html.h"
#include "exports/html/memory.h"
#include "exports/html/page_frame.h"
#include "exports/html/page_template.h"
#include "exports/html/quantities.h"
#include "exports/html/run_data.h"
#include "exports/html/sparkline.h"
#include "exports/html/timeline.h"
#include "stream/log_text.h"

namespace ryx::profiling {
namespace {

constexpr size_t kMaxGraphs = 100;
constexpr size_t kMaxCards = 12;
constexpr size_t kMaxStaticEvents = 30;
constexpr size_t kMaxMemoryRows = 60;
constexpr size_t kLegendEntries = 5;
constexpr size_t kColouredGroups = 7;

double sumOfDurations(const Row& row) {
  double sum = 0;
  for (size_t i = 0; i < row.durations.size(); ++i) sum += row.durations[i].real();
  return sum;
}

/// The rows of executions, those that take most time first.
std::vector<const Row*> executionRows(const LogSamples& samples) {
  std::vector<std::pair<double, const Row*>> weighed;
  for (const Row& row : samples.rows())
    if (row.isExecution) weighed.emplace_back(sumOfDurations(row), &row);
  std::stable_sort(weighed.begin(), weighed.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<const Row*> rows;
  rows.reserve(weighed.size());
  for (const auto& each : weighed) rows.push_back(each.second);
  return rows;
}

std::string_view groupName(const EventGroup& group) {
  return group.name.empty() ? "(other)" : group.name;
}

/// The class of each group's colour: groups without a name, and those after the seventh, share one.
std::vector<std::string> groupColours(const std::vector<EventGroup>& groups) {
  std::vector<std::string> colours;
  size_t next = 0;
  for (const EventGroup& group : groups) {
    const size_t colour = group.name.empty() ? kColouredGroups : std::min(next++, kColouredGroups);
    colours.push_back("type-" + decimal(colour));
  }
  return colours;
}

class RunPageWriter {
 public:
  explicit RunPageWriter(const LogSamples& samples) : samples_(samples) {
    const std::vector<const Row*> rows = executionRows(samples);
    graphCount_ = rows.size();
    DistributionMaker maker;
    for (const Row* row : rows) {
      executions_ += row->occurrences;
      whole_ += sumOfDurations(*row);
      if (graphs_.size() < kMaxGraphs) graphs_.emplace_back(samples, *row, maker);
    }
    memory_ = findMemory(samples, graphs_);
  }

  std::string write() {
    RunData data(graphs_);
    PageParts parts;
    parts.title = std::string(fileName(log().name)) + " - profile";
    parts.head = head();
    writeWarnings(data);
    writeOverview();
    writeFindings();
    writeTimeline(samples_, out_);
    writeDrawn("executions", "Executions",
               "How long each took, in the order in which they ran. Drag to look closer, "
               "double-click to see all.");
    writeEvents();
    writeDrawn("icicle", "Icicle",
               "The mean execution from left to right; a box is as wide as its time. Click one to "
               "zoom in, again to zoom out.");
    writeMemory();
    parts.body = out_.str();
    parts.data = data.scripts();
    return fillTemplate(parts);
  }

 private:
  [[nodiscard]] const ReadLog& log() const { return samples_.logs().front(); }
  [[nodiscard]] bool hasEvents() const {
    return std::any_of(graphs_.begin(), graphs_.end(),
                       [](const GraphView& graph) { return !graph.events().empty(); });
  }

  // --- Head ---

  std::string head() const {
    Markup meta;
    const auto fact = [&](std::string_view text) { meta.raw("<span>").text(text).raw("</span>"); };
    const HeaderRow& header = log().totals.header;
    if (header.backendVersion) meta.raw("<span>").name(*header.backendVersion).raw("</span>");
    if (header.epoch) fact("recorded " + utcTime(*header.epoch));
    fact(plural(executions_, "execution"));
    if (graphCount_ > 1) fact(plural(graphCount_, "graph"));
    fact(plural(log().totals.messages, "message"));
    fact(quantityText(static_cast<double>(log().totals.bytes), "bytes"));
    SectionList sections = {{"overview", "Overview"}, {"fix-first", "Fix first"},
                            {"phases", "Phases"},     {"executions", "Executions"},
                            {"events", "Events"},     {"icicle", "Icicle"},
                            {"memory", "Memory"},     {"method", "Method"}};
    return pageHead("Profile of a run", fileName(log().name), meta.str(), sections);
  }

  void writeWarnings(const RunData& data) {
    out_.raw("<div id=\"page-note\"></div>\n");
    if (log().damage) {
      out_.raw("<div class=\"warning\"><strong>This log is damaged.</strong> ");
      out_.text(log().damage->line).text(". The page shows what is before that: ");
      out_.text(plural(log().totals.messages, "message")).text(".</div>\n");
    }
    std::vector<std::string> notes;
    if (const uint64_t left = log().leftOut + log().overflown; left > 0)
      notes.push_back(plural(left, "number") + " that are not finite are left out.");
    if (graphCount_ > graphs_.size())
      notes.push_back("Of " + groupedCount(graphCount_) + " graphs the " +
                      groupedCount(graphs_.size()) + " that take most time are shown.");
    size_t events = 0;
    for (const GraphView& graph : graphs_) events += graph.leftOut();
    if (events > 0) notes.push_back("The smallest " + plural(events, "event") + " are left out.");
    if (const std::string note = data.whatIsLeftOut(); !note.empty()) notes.push_back(note);
    for (const std::string& note : notes) out_.raw("<p class=\"note\">").text(note).raw("</p>\n");
  }

  // --- The answer, and a card for each graph ---

  void writeOverview() {
    out_.raw("<section id=\"overview\"><h2 class=\"unseen\">Overview</h2>\n<p class=\"answer\">");
    writeAnswer();
    out_.raw("</p>\n<div class=\"cards\">\n");
    for (size_t i = 0; i < std::min(graphs_.size(), kMaxCards); ++i) writeCard(i);
    out_.raw("</div>\n");
    if (graphs_.size() > kMaxCards)
      out_.raw("<p class=\"note drawn\">")
          .text(groupedCount(graphs_.size() - kMaxCards))
          .text(" more graphs can be chosen above.</p>\n");
    out_.raw("</section>\n");
  }

  void writeAnswer() {
    if (graphs_.empty()) {
      out_.text("This log holds no executions.");
      return;
    }
    // The one that takes most time.
    const GraphView& graph = graphs_.front();
    const Distribution& duration = graph.statistics().duration;
    const auto strong = [&](const std::string& text) {
      out_.raw("<strong>").text(text).raw("</strong>");
    };
    if (duration.count == 0) {
      out_.name(graph.graph(), "mono").text(" was executed, and no execution has a duration.");
      return;
    }
    out_.text("An execution of ").name(graph.graph(), "mono").text(" takes ");
    strong(durationText(duration.p50.real()));
    out_.text(" at the median");
    if (graphs_.size() > 1)
      out_.text(", and all of them " + shareText(graph.whole() / whole_) + " of the time");
    out_.text(". ");
    if (graph.ranked().empty() || graph.whole() <= 0) return;
    const EventGroup& group = graph.groups().front();
    const EventNode& largest = graph.events()[graph.ranked().front()];
    const double share = largest.self() / graph.whole();
    if (!group.name.empty() && group.events > 1 && group.self >= 0.1 * graph.whole()) {
      strong(shareText(group.self / graph.whole()));
      out_.text(" of it is ").name(group.name).text("; the largest single event is ");
    } else {
      out_.text(share < 0.1 ? "No event stands out: the largest is " : "The largest event is ");
    }
    out_.name(largest.name, "mono").text(" with ");
    strong(shareText(share));
    out_.text(".");
  }

  void writeCard(size_t index) {
    const GraphView& graph = graphs_[index];
    const Distribution& duration = graph.statistics().duration;
    const std::string number = decimal(index);
    out_.raw("<article class=\"card panel\" id=\"graph-" + number + "\" data-graph=\"" + number);
    out_.raw("\"><div><h3>").name(graph.graph()).text(" · ").name(graph.method()).raw("</h3>");
    if (duration.count == 0) {
      out_.raw("<p class=\"big-label\">").text(plural(graph.row().occurrences, "execution"));
      out_.text(" without a duration").raw("</p></div></article>\n");
      return;
    }
    writeBigNumber(duration);
    writeFacts(graph);
    out_.raw("</div>\n<div><p class=\"caption\">Every execution, from zero; dashed: median");
    const auto& outliers = graph.statistics().outliers;
    if (std::any_of(outliers.begin(), outliers.end(), [](const auto& each) { return each.isSlow; }))
      out_.text("; dots: outliers");
    out_.raw("</p>");
    appendSparkline(out_, graph.row(), graph.statistics());
    out_.raw("</div>\n");
    writeGroups(graph);
    out_.raw("</article>\n");
  }

  void writeBigNumber(const Distribution& duration) {
    const Scale scale = scaleOf("us", duration.p50.real());
    out_.raw("<p class=\"big\">").text(inScale(duration.p50.real(), scale)).raw(" <small>");
    out_.text(scale.unit).raw("</small></p><p class=\"big-label\">median of ");
    out_.text(plural(duration.count, "execution")).raw("</p>");
  }

  void writeFacts(const GraphView& graph) {
    const RowStatistics& statistics = graph.statistics();
    const Distribution& duration = statistics.duration;
    out_.raw("<dl class=\"facts\">");
    const auto fact = [&](std::string_view term, const std::string& value) {
      out_.raw("<div><dt>").text(term).raw("</dt><dd>").text(value).raw("</dd></div>");
    };
    fact("First", durationText(duration.first.real()));
    fact("Mean", durationText(duration.mean));
    fact("p95", durationText(duration.p95.real()));
    if (duration.p99) fact("p99", durationText(duration.p99->real()));
    fact("Max", durationText(duration.max.real()));
    fact("CV", duration.cv ? groupedFixed(*duration.cv, 3) : "–");
    if (statistics.ratePerSecond) fact("Rate", groupedFixed(*statistics.ratePerSecond, 1) + " /s");
    if (statistics.queueWait.count > 0)
      fact("Queue wait", durationText(statistics.queueWait.p50.real()));
    fact("Warm-up", statistics.warmUp.detected ? groupedCount(*statistics.warmUp.detected) : "–");
    fact("Outliers", groupedCount(statistics.outlierCount));
    out_.raw("</dl>");
  }

  void writeGroups(const GraphView& graph) {
    if (graph.groups().empty() || graph.whole() <= 0) return;
    out_.raw("<div><p class=\"caption\">");
    out_.text(graph.isGroupedByType() ? "Where its time goes, by type" : "Where its time goes");
    out_.raw("</p><svg class=\"stack\" aria-hidden=\"true\">");
    const std::vector<std::string> colours = groupColours(graph.groups());
    const auto percent = [&](double time) {
      return fixedPoint(100 * time / graph.whole(), 2) + "%";
    };
    double left = 0;
    for (size_t i = 0; i < graph.groups().size(); ++i) {
      const double self = graph.groups()[i].self;
      // Too small to be seen, like all after it: the end of the bar stays empty.
      if (self < 0.0005 * graph.whole()) break;
      out_.raw("<rect class=\"" + colours[i] + "\" x=\"" + percent(left) + "\" width=\"" +
               percent(self) + "\" height=\"100%\"/>");
      left += self;
    }
    out_.raw("</svg><ul class=\"type-legend\">");
    const auto entry = [&](std::string_view colour, double time, const auto& writeName) {
      out_.raw("<li><i class=\"swatch ").raw(colour).raw("\"></i>");
      writeName();
      out_.raw("<span class=\"number\">").text(shareText(time / graph.whole()));
      out_.raw("</span></li>");
    };
    const size_t own = std::min(graph.groups().size(), kLegendEntries);
    for (size_t i = 0; i < own; ++i)
      entry(colours[i], graph.groups()[i].self, [&] { out_.name(groupName(graph.groups()[i])); });
    double inGroups = 0;
    double rest = 0;
    for (size_t i = 0; i < graph.groups().size(); ++i) {
      inGroups += graph.groups()[i].self;
      if (i >= own) rest += graph.groups()[i].self;
    }
    if (rest > 0)
      entry("type-7", rest, [&] {
        out_.raw("<span>").text(groupedCount(graph.groups().size() - own)).raw(" more</span>");
      });
    if (inGroups < 0.999 * graph.whole())
      entry("type-none", graph.whole() - inGroups, [&] { out_.raw("<span>in no event</span>"); });
    out_.raw("</ul></div>\n");
  }

  // --- Findings ---

  void writeFindings() {
    const std::vector<Finding> findings = findWhatToFix(graphs_, memory_);
    beginSection(out_, "fix-first", "Fix first",
                 "What costs most and what varies most, the largest first.");
    if (findings.empty())
      out_.raw("<div class=\"panel\"><p>Nothing stands out.</p></div>");
    else
      out_.raw("<div class=\"panel\"><ol class=\"findings\">\n");
    for (const Finding& finding : findings) writeFinding(finding);
    if (!findings.empty()) out_.raw("</ol></div>");
    out_.raw("\n</section>\n");
  }

  void writeFinding(const Finding& finding) {
    out_.raw("<li><p class=\"what\"><a href=\"#").raw(linkOf(finding)).raw("\">");
    out_.text(finding.before).name(finding.name, "mono").text(finding.after);
    out_.raw("</a></p><p class=\"evidence\">").text(finding.evidence);
    out_.raw("</p><div class=\"weight\"><strong>").text(finding.weight).raw("</strong> ");
    out_.text(finding.weightLabel);
    appendBar(out_, {finding.share, 0, "meter", "fill"});
    out_.raw("</div></li>\n");
  }

  static std::string linkOf(const Finding& finding) {
    if (finding.isMemory) return "memory";
    if (!finding.event) return "graph-" + decimal(finding.graph);
    return "event-" + decimal(finding.graph) + "-" + decimal(*finding.event);
  }

  // --- The largest events ---

  struct RankedEvent {
    size_t graph;
    size_t event;
    double self;
  };

  /// The largest events of all graphs, and those that a finding leads to.
  std::vector<RankedEvent> largestEvents() const {
    std::vector<RankedEvent> ranked;
    for (size_t g = 0; g < graphs_.size(); ++g)
      for (const size_t event : graphs_[g].ranked())
        ranked.push_back({g, event, graphs_[g].events()[event].self()});
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const RankedEvent& a, const RankedEvent& b) { return a.self > b.self; });
    std::vector<RankedEvent> largest(
        ranked.begin(),
        ranked.begin() + static_cast<ptrdiff_t>(std::min(ranked.size(), kMaxStaticEvents)));
    for (const Finding& finding : findWhatToFix(graphs_, {})) {
      const auto isIt = [&](const RankedEvent& each) {
        return each.graph == finding.graph && each.event == finding.event;
      };
      if (!finding.event || std::any_of(largest.begin(), largest.end(), isIt)) continue;
      largest.push_back(
          {finding.graph, *finding.event, graphs_[finding.graph].events()[*finding.event].self()});
    }
    return largest;
  }

  void writeEvents() {
    beginSection(
        out_, "events", "Events",
        "Self time is what an event did not spend in its sub-events, so these add up. Self and "
        "total are of the mean execution; p50 to CV are the total's.");
    const std::vector<RankedEvent> largest = largestEvents();
    if (largest.empty()) {
      out_.raw("<div class=\"panel\"><p>The executions have no events with times.</p></div>");
      out_.raw("</section>\n");
      return;
    }
    out_.raw("<div class=\"panel drawn\" id=\"events-host\"></div>\n");
    beginTable(out_, "The largest events", "undrawn");
    headerRow(out_,
              {"Event", "", "#Self %", "#Self", "#Total", "#p50", "#p99", "#Max", "#CV", "#Calls"});
    const double greatest = largest.front().self / graphs_[largest.front().graph].whole();
    for (const RankedEvent& event : largest) writeEvent(event, greatest);
    endTable(out_);
    out_.raw("<div id=\"events-print\"></div>\n</section>\n");
  }

  void writeEvent(const RankedEvent& ranked, double greatest) {
    const GraphView& graph = graphs_[ranked.graph];
    const EventNode& event = graph.events()[ranked.event];
    if (event.statistics == nullptr || event.statistics->self.count == 0) return;
    const Distribution& total = event.statistics->total;
    const double share = graph.whole() > 0 ? ranked.self / graph.whole() : std::nan("");
    out_.raw("<tr id=\"event-" + decimal(ranked.graph) + "-" + decimal(ranked.event) + "\">");
    out_.raw("<td class=\"name mono\">");
    if (graphs_.size() > 1)
      out_.raw("<span class=\"above\">").name(graph.graph()).text(" › ").raw("</span>");
    out_.name(event.name).raw("</td><td class=\"bar-column\">");
    appendBar(out_, {greatest > 0 ? share / greatest : 0});
    out_.raw("</td>");
    const auto cell = [&](const std::string& text) {
      out_.raw("<td class=\"number\">").text(text).raw("</td>");
    };
    cell(shareText(share));
    cell(durationText(event.statistics->self.mean));
    cell(durationText(total.mean));
    cell(durationText(total.p50.real()));
    cell(total.p99 ? durationText(total.p99->real()) : "–");
    cell(durationText(total.max.real()));
    cell(total.cv ? groupedFixed(*total.cv, 2) : "–");
    cell(groupedCount(event.statistics->calls));
    out_.raw("</tr>\n");
  }

  void writeDrawn(std::string_view id, std::string_view title, std::string_view lead) {
    if (!hasEvents() && id == "icicle") return;
    if (graphs_.empty()) return;
    beginSection(out_, id, title, lead, "drawn");
    out_.raw("<div class=\"panel\" id=\"").raw(id).raw("-host\"></div>\n</section>\n");
  }

  // --- Memory ---

  void writeMemory() {
    beginSection(
        out_, "memory", "Memory",
        memory_.empty() ? "" : "What the back end reported. Of executions the largest value.");
    if (memory_.empty()) {
      out_.raw("<div class=\"panel\"><p>This log says nothing about memory.</p></div></section>\n");
      return;
    }
    double most = 0;
    for (const MemoryUse& use : memory_) most = std::max(most, use.bytes);
    beginTable(out_, "Memory");
    headerRow(out_, {"What", "Where", "", "#Size"});
    for (size_t i = 0; i < std::min(memory_.size(), kMaxMemoryRows); ++i)
      writeMemoryUse(memory_[i], most);
    endTable(out_);
    if (memory_.size() > kMaxMemoryRows)
      out_.raw("<p class=\"note\">")
          .text(groupedCount(memory_.size() - kMaxMemoryRows))
          .text(" more values are left out.</p>\n");
    out_.raw("</section>\n");
  }

  void writeMemoryUse(const MemoryUse& use, double most) {
    out_.raw("<tr><td class=\"name mono\">");
    for (size_t i = 0; i + 1 < use.path.size(); ++i)
      out_.raw("<span class=\"above\">").name(use.path[i]).text(" › ").raw("</span>");
    out_.name(use.path.back()).raw("</td><td>").name(use.method);
    if (!use.graph.empty()) out_.text(" · ").name(use.graph);
    out_.raw("</td><td class=\"bar-column\">");
    appendBar(out_, {most > 0 ? use.bytes / most : 0});
    out_.raw("</td><td class=\"number\">").text(quantityText(use.bytes, "bytes"));
    out_.raw("</td></tr>\n");
  }

  const LogSamples& samples_;
  std::vector<GraphView> graphs_;
  std::vector<MemoryUse> memory_;
  size_t graphCount_ = 0;
  uint64_t executions_ = 0;
  double whole_ = 0;
  Markup out_;
};

}  // namespace

Status requirePage() {
  if (!pageTemplate().empty()) return {};
  return Status::failure("this build has no HTML report: " + std::string(whyNoPageTemplate()));
}

std::string runPage(const LogSamples& samples) { return RunPageWriter(samples).write(); }

}  // namespace ryx::profiling
