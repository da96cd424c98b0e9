// SPDX-License-Identifier: Apache-2.0
// The page of a comparison: the verdict, a card for each graph, what changed most, phases and
// memory, and the data for what the script draws.

#include <algorithm>
#include <cmath>

#include "base/number_text.h"
#include "exports/html/comparison_data.h"
#include "exports/html/comparison_view.h"
#include "exports/html/graph_view.h"
#include "exports/html/html.h"
#include "exports/html/page_frame.h"
#include "exports/html/quantities.h"

namespace ryx::profiling {
namespace {

constexpr size_t kMaxGraphs = 100;
constexpr size_t kMaxCards = 12;
constexpr size_t kMaxFindings = 7;
constexpr size_t kMaxOtherFindings = 2;
constexpr size_t kMaxStaticRows = 30;
constexpr size_t kMaxOtherRows = 60;

/// Signs stand beside the colours, which not everybody sees; changes_section.ts has the same.
std::string_view signOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::Worse: return "+";
    case Verdict::Better: return "−";
    case Verdict::Same: return "=";
    case Verdict::Changed: return "~";
    case Verdict::Inconclusive: return "?";
    case Verdict::Added: return "»";
    case Verdict::Removed: return "«";
    case Verdict::NotComparable: return "!";
  }
  return {};
}

std::string_view classOf(Verdict verdict) {
  if (verdict == Verdict::Worse) return "worse";
  return verdict == Verdict::Better ? "better" : "";
}

/// "a.log", "a.log and 2 more".
std::string namesOf(const std::vector<std::string>& paths) {
  const std::string first(fileName(paths.front()));
  return paths.size() == 1 ? first : first + " and " + groupedCount(paths.size() - 1) + " more";
}

std::string percentText(const ComparedRow& row) {
  return row.changePercent ? changeText(*row.changePercent) : "–";
}

std::string amountText(const std::optional<Number>& amount, const ComparedRow& row) {
  return quantityText(realOrNan(amount), row.unit.value_or(""));
}

std::string changeOf(const ComparedRow& row) {
  return changeText(realOrNan(row.change), row.unit.value_or(""));
}

std::string intervalText(const ComparedRow& row) {
  if (!row.intervalPercent) return "–";
  return changeText(row.intervalPercent->low) + " … " + changeText(row.intervalPercent->high);
}

bool isOneSided(const ComparedRow& row) {
  return row.verdict == Verdict::Added || row.verdict == Verdict::Removed;
}

bool isBeyondDoubt(const ComparedRow& row) {
  return row.verdict == Verdict::Worse || row.verdict == Verdict::Better || isOneSided(row);
}

class ComparisonPageWriter {
 public:
  ComparisonPageWriter(const ComparisonResult& result, const ComparisonView& view)
      : result_(result), view_(view), changes_(rankChanges(view)) {}

  std::string write(const std::vector<std::string>& damage) {
    PageParts parts;
    parts.title = namesOf(result_.nextNames) + " against " + namesOf(result_.baseNames);
    parts.head = head();
    writeNotes(damage);
    writeOverview();
    writeFindings();
    writeOthers();
    writeDrawn("executions", "Executions",
               "Both sides in the order in which they ran, and how often which duration occurs.");
    writeEvents();
    writeDrawn("icicle", "Icicle",
               "The new side; a box is as wide as its time and coloured by its change. Click one "
               "to zoom in, again to zoom out.");
    parts.body = out_.str();
    parts.data = comparisonScripts(view_, graphs(), metric());
    return fillTemplate(parts);
  }

 private:
  [[nodiscard]] std::string_view metric() const { return textOf(result_.options.metric); }
  [[nodiscard]] size_t graphs() const { return std::min(view_.graphs().size(), kMaxGraphs); }

  std::string head() const {
    const Verdict verdict = result_.comparison.verdict;
    Markup meta;
    meta.raw("<span>base: ").name(namesOf(result_.baseNames)).raw("</span><span>new: ");
    meta.name(namesOf(result_.nextNames)).raw("</span><span>compared by ").text(metric());
    meta.raw("</span><span>verdict: <strong class=\"").raw(classOf(verdict)).raw("\">");
    meta.text(signOf(verdict)).text(" ").text(textOf(verdict)).raw("</strong></span>");
    const SectionList sections = {{"overview", "Overview"},     {"fix-first", "What changed"},
                                  {"phases", "Phases, memory"}, {"executions", "Executions"},
                                  {"events", "Events"},         {"icicle", "Icicle"},
                                  {"method", "Method"}};
    return pageHead("Comparison of two builds or runs", namesOf(result_.nextNames), meta.str(),
                    sections);
  }

  void writeNotes(const std::vector<std::string>& damage) {
    out_.raw("<div id=\"page-note\"></div>\n");
    for (const std::string& each : damage)
      out_.raw("<div class=\"warning\"><strong>A log is damaged.</strong> ")
          .text(shownName(each))
          .text(". It is compared up to there.</div>\n");
    if (!result_.comparison.isByRun)
      writeNote(
          "Run-to-run variation is unknown: it takes three logs a side to tell it from a "
          "change.");
    if (graphs() < view_.graphs().size())
      writeNote("Of " + groupedCount(view_.graphs().size()) + " graphs the " +
                groupedCount(graphs()) + " that changed most are shown.");
  }

  void writeNote(std::string_view note) { out_.raw("<p class=\"note\">").text(note).raw("</p>\n"); }

  // --- The verdict and the cards ---

  void writeOverview() {
    out_.raw("<section id=\"overview\"><h2 class=\"unseen\">Overview</h2>\n<p class=\"answer\">");
    writeAnswer();
    out_.raw("</p>\n<div class=\"cards\">\n");
    for (size_t i = 0; i < std::min(graphs(), kMaxCards); ++i) writeCard(i);
    out_.raw("</div>\n</section>\n");
  }

  void writeAnswer() {
    if (view_.graphs().empty()) {
      out_.text("Neither side has executions: there is nothing to compare.");
      return;
    }
    const ComparedRow& whole = *view_.graphs().front().whole;
    out_.text("An execution of ").name(whole.graph.value_or(""), "mono");
    if (whole.verdict == Verdict::Removed) {
      out_.text(" took ").text(amountText(whole.base, whole)).text("; the new side has none.");
    } else {
      out_.text(" takes ");
      writeStrong(amountText(whole.next, whole));
      if (whole.verdict == Verdict::Added) {
        out_.text("; the base has none.");
      } else {
        out_.text(", it took ").text(amountText(whole.base, whole)).text(": ");
        writeStrong(percentText(whole) + ", " + textOf(whole.verdict), classOf(whole.verdict));
        out_.text(".");
      }
    }
    writeEventsOfAnswer();
    const auto& others = view_.others();
    const auto worse = std::count_if(others.begin(), others.end(), [](const ComparedRow* row) {
      return row->gates && row->verdict == Verdict::Worse;
    });
    if (worse == 0) return;
    out_.text(" Of phases and memory, ");
    writeStrong(plural(static_cast<uint64_t>(worse), "row"), "worse");
    out_.text(worse == 1 ? " is worse." : " are worse.");
  }

  void writeEventsOfAnswer() {
    uint64_t worse = 0;
    uint64_t better = 0;
    const ChangedEvent* most = nullptr;
    for (const ChangedEvent& change : changes_) {
      if (change.graph != 0 || isExplained(change)) continue;
      if (change.row->verdict == Verdict::Worse) ++worse;
      if (change.row->verdict == Verdict::Better) ++better;
      if (most == nullptr && isBeyondDoubt(*change.row)) most = &change;
    }
    if (most == nullptr) {
      if (!changes_.empty()) out_.text(" No event of it changed beyond doubt.");
      return;
    }
    out_.text(" Of its events ");
    writeStrong(groupedCount(worse));
    out_.text(worse == 1 ? " is worse" : " are worse");
    if (better > 0) {
      out_.text(", ");
      writeStrong(groupedCount(better));
      out_.text(better == 1 ? " is better" : " are better");
    }
    out_.text("; ");
    out_.name(most->row->path.back(), "mono");
    if (isOneSided(*most->row)) {
      out_.text(most->row->verdict == Verdict::Added ? " is new." : " is gone.");
      return;
    }
    out_.text(" changed most, by ");
    writeStrong(changeOf(*most->row));
    out_.text(".");
  }

  bool isExplained(const ChangedEvent& change) const {
    return isExplainedBelow(view_.graphs()[change.graph], change.node);
  }

  void writeStrong(std::string_view text, std::string_view classes = {}) {
    out_.raw("<strong class=\"").raw(classes).raw("\">").text(text).raw("</strong>");
  }

  void writeCard(size_t index) {
    const ComparedRow& whole = *view_.graphs()[index].whole;
    const std::string number = decimal(index);
    out_.raw("<article class=\"card panel\" id=\"graph-" + number + "\" data-graph=\"" + number);
    out_.raw("\"><div><h3>").name(whole.graph.value_or("")).text(" · ");
    out_.name(whole.method.value_or("")).raw("</h3><p class=\"big ").raw(classOf(whole.verdict));
    out_.raw("\">").text(percentText(whole)).raw("</p><p class=\"big-label\">");
    out_.text(signOf(whole.verdict)).text(" ").text(textOf(whole.verdict));
    out_.raw("</p></div>\n<div class=\"sides\">");
    const double base = realOrNan(whole.base);
    const double next = realOrNan(whole.next);
    const double most = std::fmax(base, next);
    writeSide("base", base, most, "base");
    writeSide("new", next, most, "next");
    out_.raw("</div>\n");
    writeFacts(whole);
    out_.raw("</article>\n");
  }

  void writeSide(std::string_view name, double value, double most, std::string_view fill) {
    out_.raw("<p class=\"caption\">").text(name).text(", ").text(metric()).text(" ");
    out_.raw("<strong>").text(durationText(value)).raw("</strong></p>");
    appendBar(out_, {most > 0 && std::isfinite(value) ? value / most : 0, 0, "side", fill});
  }

  void writeFacts(const ComparedRow& whole) {
    out_.raw("<div><dl class=\"facts\">");
    const auto fact = [&](std::string_view term, const std::string& value) {
      out_.raw("<div><dt>").text(term).raw("</dt><dd>").text(value).raw("</dd></div>");
    };
    fact("Change", changeOf(whole));
    fact("95 % interval", intervalText(whole));
    if (whole.probability) fact("New above base", groupedFixed(100 * *whole.probability, 0) + " %");
    fact("Samples", groupedCount(whole.baseSamples) + " and " + groupedCount(whole.nextSamples));
    out_.raw("</dl></div>\n");
  }

  // --- What changed most ---

  void writeFindings() {
    beginSection(out_, "fix-first", "What changed most",
                 "What is worse, better, new or gone beyond doubt; the costliest first.");
    std::vector<const ChangedEvent*> events;
    for (const ChangedEvent& change : changes_)
      if (isBeyondDoubt(*change.row) && !isExplained(change)) events.push_back(&change);
    std::vector<const ComparedRow*> others;
    for (const ComparedRow* row : view_.others())
      if (row->gates && row->verdict == Verdict::Worse && others.size() < kMaxOtherFindings)
        others.push_back(row);
    events.resize(std::min(events.size(), kMaxFindings - others.size()));
    if (events.empty() && others.empty()) {
      out_.raw("<div class=\"panel\"><p>Nothing changed beyond doubt.</p></div>\n</section>\n");
      return;
    }
    out_.raw("<div class=\"panel\"><ol class=\"findings\">\n");
    const double most = events.empty() ? 0 : events.front()->row->cost().real();
    for (const ChangedEvent* event : events)
      writeFinding(*event->row, linkOf(*event), most > 0 ? event->row->cost().real() / most : 0);
    for (const ComparedRow* row : others)
      writeFinding(*row, "phases", row->changePercent.value_or(100) / 100);
    out_.raw("</ol></div>\n</section>\n");
  }

  void writeFinding(const ComparedRow& row, const std::string& link, double share) {
    out_.raw("<li><p class=\"what\"><a href=\"#").raw(link).raw("\">");
    out_.name(row.path.empty() ? std::string_view(*row.method) : row.path.back(), "mono");
    out_.text(" is ").text(row.verdict == Verdict::Added     ? "new"
                           : row.verdict == Verdict::Removed ? "gone"
                                                             : textOf(row.verdict));
    out_.raw("</a></p><p class=\"evidence\">");
    if (!row.path.empty() && (!row.isExecution || view_.graphs().size() > 1))
      out_.text("In ").name(ownerOf(row)).text(": ");
    writeEvidence(row);
    out_.raw("</p><div class=\"weight\"><strong class=\"").raw(classOf(row.verdict)).raw("\">");
    out_.text(isOneSided(row) ? amountText(row.base ? row.base : row.next, row) : changeOf(row));
    out_.raw("</strong> ").text(isOneSided(row) ? "" : percentText(row));
    const bool isMore = row.verdict == Verdict::Added || realOrNan(row.change) > 0;
    appendBar(out_, {share, 0, "meter", isMore ? "more" : "fill"});
    out_.raw("</div></li>\n");
  }

  void writeEvidence(const ComparedRow& row) {
    if (isOneSided(row)) {
      out_.text(row.base ? "only the base has it" : "only the new side has it");
      if (row.maybeRenamedFrom)
        out_.text("; renamed from ").name(row.maybeRenamedFrom->back(), "mono").text("?");
      return;
    }
    out_.text(amountText(row.base, row)).text(" before, ");
    out_.text(amountText(row.next, row)).text(" now");
    if (row.intervalPercent) out_.text(", 95 % interval " + intervalText(row));
    if (row.happensOnce) out_.text(", one sample a side");
  }

  static std::string linkOf(const ChangedEvent& change) {
    return "event-" + decimal(change.graph) + "-" + decimal(change.node);
  }

  // --- Phases and memory ---

  void writeOthers() {
    const auto& rows = view_.others();
    beginSection(out_, "phases", "Phases and memory",
                 rows.empty() ? "" : "What happens once, and what the back end reported.");
    if (rows.empty()) {
      out_.raw("<div class=\"panel\"><p>Neither side has any.</p></div></section>\n");
      return;
    }
    beginTable(out_, "Phases and memory");
    headerRow(out_, {"What", "Graph", "#Base", "#New", "#Change", "#Change %", "Verdict"});
    for (size_t i = 0; i < std::min(rows.size(), kMaxOtherRows); ++i) writeOther(*rows[i]);
    endTable(out_);
    if (rows.size() > kMaxOtherRows)
      writeNote(plural(rows.size() - kMaxOtherRows, "more row") + " left out.");
    out_.raw("</section>\n");
  }

  void writeOther(const ComparedRow& row) {
    if (row.path.empty()) {
      out_.raw("<tr><th scope=\"row\">").name(row.method.value_or(""));
    } else {
      const size_t depth = std::min<size_t>(row.path.size() - 1, 3);
      out_.raw("<tr class=\"sub\"><th scope=\"row\" class=\"mono depth-" + decimal(depth) + "\">");
      if (row.isExecution) out_.text("executions › ");
      out_.name(row.path.back());
    }
    out_.raw("</th><td>");
    if (row.graph && (row.path.empty() || row.isExecution)) out_.name(*row.graph);
    out_.raw("</td>");
    writeNumbers(row);
    out_.raw("</tr>\n");
  }

  void writeNumbers(const ComparedRow& row) {
    const auto cell = [&](const std::string& text, std::string_view classes = {}) {
      out_.raw("<td class=\"number ").raw(classes).raw("\">").text(text).raw("</td>");
    };
    const std::string_view colour = classOf(row.verdict);
    cell(amountText(row.base, row));
    cell(amountText(row.next, row));
    cell(changeOf(row), colour);
    cell(percentText(row), colour);
    out_.raw("<td class=\"").raw(colour).raw("\">").text(signOf(row.verdict)).text(" ");
    out_.text(textOf(row.verdict)).raw("</td>");
  }

  // --- Events ---

  void writeEvents() {
    beginSection(out_, "events", "Events",
                 "Every event on either side; the costliest change first.");
    if (changes_.empty()) {
      out_.raw("<div class=\"panel\"><p>The executions have no events.</p></div></section>\n");
      return;
    }
    out_.raw("<div class=\"panel drawn\" id=\"events-host\"></div>\n");
    beginTable(out_, "The largest changes", "undrawn");
    headerRow(out_, {"Event", "", "#Base", "#New", "#Change", "#Change %", "Verdict"});
    const double most = std::max(changes_.front().row->cost().real(), 1e-9);
    for (size_t i = 0; i < std::min(changes_.size(), kMaxStaticRows); ++i)
      writeEvent(changes_[i], most);
    endTable(out_);
    out_.raw("<div id=\"events-print\"></div>\n</section>\n");
  }

  void writeEvent(const ChangedEvent& event, double most) {
    const ComparedRow& row = *event.row;
    out_.raw("<tr id=\"").raw(linkOf(event)).raw("\"><td class=\"name mono\">");
    if (view_.graphs().size() > 1)
      out_.raw("<span class=\"above\">").name(row.graph.value_or("")).text(" › ").raw("</span>");
    out_.name(row.path.back()).raw("</td><td class=\"bar-column\">");
    const double half = std::clamp(row.cost().real() / most, 0.0, 1.0) / 2;
    const bool isMore = row.verdict == Verdict::Added || realOrNan(row.change) > 0;
    appendBar(out_, {half, isMore ? 0.5 : 0.5 - half, "bar change", isMore ? "more" : "less"});
    out_.raw("</td>");
    writeNumbers(row);
    out_.raw("</tr>\n");
  }

  void writeDrawn(std::string_view id, std::string_view title, std::string_view lead) {
    if (view_.graphs().empty()) return;
    beginSection(out_, id, title, lead, "drawn");
    out_.raw("<div class=\"panel\" id=\"").raw(id).raw("-host\"></div>\n</section>\n");
  }

  const ComparisonResult& result_;
  const ComparisonView& view_;
  std::vector<ChangedEvent> changes_;
  Markup out_;
};

}  // namespace

std::string comparisonPage(const ComparisonResult& result, const Sources& base, const Sources& next,
                           const std::vector<std::string>& damage) {
  const ComparisonView view(result.comparison, base, next);
  return ComparisonPageWriter(result, view).write(damage);
}

}  // namespace ryx::profiling
