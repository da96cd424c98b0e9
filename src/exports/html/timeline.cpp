// SPDX-License-Identifier: Apache-2.0
// Phases and executions share one axis, whose ends are the earliest start and the latest end that
// the log has. Lines without times are listed all the same, where the log has them: that something
// happened is worth more than when. Of too many lines the longest are kept.

#include "exports/html/timeline.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "base/number_text.h"
#include "exports/html/graph_view.h"
#include "exports/html/page_frame.h"
#include "exports/html/quantities.h"
#include "stream/log_text.h"

namespace ryx::profiling {
namespace {

constexpr size_t kMaxLines = 60;

/// A line of the timeline: a phase with its values, or all executions of a graph.
struct Line {
  const Row* row;
  const PhaseMessage* phase = nullptr;  ///< null of executions
  std::optional<uint64_t> start;
  std::optional<uint64_t> end;
};

class Timeline {
 public:
  Timeline(const LogSamples& samples, Markup& out) : samples_(samples), out_(out) {
    for (const PhaseMessage& phase : samples.phases())
      lines_.push_back({&samples.rows()[phase.row], &phase, phase.start, phase.end});
    for (const Row& row : samples.rows())
      if (row.isExecution && row.earliestStart <= row.latestEnd)
        lines_.push_back({&row, nullptr, row.earliestStart, row.latestEnd});
    // As things happened, and then what has no time, as the log has it.
    std::stable_sort(lines_.begin(), lines_.end(), [](const Line& a, const Line& b) {
      return a.start && (!b.start || *a.start < *b.start);
    });
    for (const Line& line : lines_) {
      if (!line.start || !line.end || *line.end < *line.start) continue;
      begin_ = std::min(begin_, *line.start);
      end_ = std::max(end_, *line.end);
    }
  }

  void write() {
    beginSection(
        out_, "phases", "Phases",
        lines_.empty() ? "" : "What happened when. Bars share one axis, the time of the run.");
    if (lines_.empty()) {
      out_.raw("<div class=\"panel\"><p>The log has no phases.</p></div></section>\n");
      return;
    }
    const bool isShortened = keepLongest();
    beginTable(out_, "Phases");
    headerRow(out_, {"Phase", "Graph", "When", "#Duration"});
    for (const Line& line : lines_) writeLine(line);
    endTable(out_);
    if (isShortened)
      out_.raw("<p class=\"note\">The ")
          .text(groupedCount(kMaxLines))
          .text(" longest are shown.</p>\n");
    out_.raw("</section>\n");
  }

 private:
  static uint64_t length(const Line& line) {
    return line.start && line.end && *line.end > *line.start ? *line.end - *line.start : 0;
  }

  bool keepLongest() {
    if (lines_.size() <= kMaxLines) return false;
    std::vector<uint64_t> lengths;
    lengths.reserve(lines_.size());
    for (const Line& line : lines_) lengths.push_back(length(line));
    std::nth_element(lengths.begin(), lengths.begin() + kMaxLines - 1, lengths.end(),
                     std::greater<>());
    const uint64_t bar = lengths[kMaxLines - 1];
    // Of those as long as the bar the first, beside all that are longer.
    const auto longer = std::count_if(lines_.begin(), lines_.end(),
                                      [&](const Line& line) { return length(line) > bar; });
    size_t room = kMaxLines - static_cast<size_t>(longer);
    std::vector<Line> kept;
    kept.reserve(kMaxLines);
    for (const Line& line : lines_) {
      if (length(line) < bar || (length(line) == bar && room == 0)) continue;
      if (length(line) == bar) --room;
      kept.push_back(line);
    }
    lines_ = std::move(kept);
    return true;
  }

  void writeLine(const Line& line) {
    out_.raw("<tr><th scope=\"row\">");
    const std::string method = line.row->method ? methodText(*line.row->method) : "–";
    if (line.phase == nullptr) out_.text(plural(line.row->occurrences, "execution")).text(", ");
    out_.name(method).raw("</th><td>");
    if (line.row->graph) out_.name(*line.row->graph);
    out_.raw("</td><td class=\"bar-column\">");
    writeSpan(line);
    out_.raw("</td><td class=\"number\">");
    out_.text(line.start && line.end ? durationText(static_cast<double>(length(line))) : "–");
    out_.raw("</td></tr>\n");
    if (line.phase != nullptr) writeValues(*line.phase);
  }

  void writeSpan(const Line& line) {
    if (!line.start || !line.end || *line.end < *line.start || end_ <= begin_) return;
    const double whole = static_cast<double>(end_ - begin_);
    // A moment is seen, too.
    const double share = std::max(static_cast<double>(length(line)) / whole, 0.004);
    const double from = static_cast<double>(*line.start - begin_) / whole;
    appendBar(out_,
              {share, std::min(from, 1 - share), "gantt", line.phase == nullptr ? "runs" : "span"});
  }

  /// What a phase says of itself, except memory, which has a section of its own.
  void writeValues(const PhaseMessage& phase) {
    const auto position = static_cast<size_t>(&phase - samples_.phases().data());
    size_t lines = 0;
    for (const PhaseValue& value : samples_.phaseValues(position)) {
      const Series& series = samples_.series(value.series);
      if (series.unit == kBytes || !value.sample || ++lines > kMaxLines) continue;
      const auto depth = static_cast<uint64_t>(std::min(samples_.paths().depth(series.node), 3));
      out_.raw("<tr class=\"sub\"><td colspan=\"3\" class=\"name mono depth-" + decimal(depth));
      out_.raw("\">").name(samples_.paths().name(series.node)).raw("</td><td class=\"number\">");
      out_.text(quantityText(series.totals[*value.sample].real(), unitName(series.unit)));
      out_.raw("</td></tr>\n");
    }
  }

  const LogSamples& samples_;
  Markup& out_;
  std::vector<Line> lines_;
  uint64_t begin_ = UINT64_MAX;
  uint64_t end_ = 0;
};

}  // namespace

void writeTimeline(const LogSamples& samples, Markup& out) { Timeline(samples, out).write(); }

std::string utcTime(uint64_t microseconds) {
  const auto seconds = static_cast<std::time_t>(microseconds / 1000000);
  std::tm parts{};
  char text[32];
  if (gmtime_r(&seconds, &parts) == nullptr || parts.tm_year > 9999 - 1900 ||
      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts) == 0)
    return decimal(microseconds) + " µs after 1970";
  return text;
}

}  // namespace ryx::profiling
