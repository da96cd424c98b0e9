// SPDX-License-Identifier: Apache-2.0
// The verdict comes first, then the rules that it was reached by, then the rows, the most costly
// first in each table. Tables hold rows of one unit, so that their numbers can be compared by eye.
//
// A comment on a pull request ends at a length that one long name can exceed. So Markdown is
// written with ever lower limits until it fits; guessing the length before would be no simpler, and
// wrong for some name.

#include "exports/diff_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <set>

#include "base/number_text.h"
#include "exports/shown_name.h"
#include "exports/time_scale.h"

namespace ryx::profiling {

namespace {

using Kind = ReportTable::Kind;
using Tone = ReportTable::Tone;

constexpr size_t kMarkdownLimit = 60000;
constexpr size_t kMostKinds = 6;

std::string withSign(const std::string& text, bool isPositive) {
  return isPositive ? "+" + text : text;
}

std::string signedPercent(double percent) { return withSign(decimalText(percent, 1), percent > 0); }

struct Sign {
  const char* text;
  Tone tone;
};

/// How a verdict shows without its word.
Sign signOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::Worse: return {"+", Tone::Bad};
    case Verdict::Better: return {"-", Tone::Good};
    case Verdict::Same: return {"", Tone::Plain};
    case Verdict::Changed:
    case Verdict::Inconclusive: return {"~", Tone::Doubtful};
    case Verdict::Added:
    case Verdict::Removed:
    case Verdict::NotComparable: return {"!", Tone::Doubtful};
  }
  return {"", Tone::Plain};
}

using Rows = std::vector<const ComparedRow*>;

/// How much of a comparison is shown.
struct Limits {
  size_t gatedRows = 50;
  size_t events = 20;
  size_t nameWidth = 200;  ///< in headings and lines, and where nothing else shortens names
};

class DiffReport {
 public:
  DiffReport(const ComparisonResult& result, const Limits& limits, ReportWriter& writer)
      : result_(result), rows_(result.comparison.rows), limits_(limits), writer_(writer) {
    for (const ComparedRow& row : rows_)
      if (row.isExecution) graphs_.insert(ownerOf(row));
  }

  void write() {
    writer_.heading(verdictText());
    writer_.fields(settings());
    for (const bool isExecution : {true, false})
      writeTable(isExecution ? "graphs" : "phases", where([=](const ComparedRow& row) {
                   return row.path.empty() && row.isExecution == isExecution;
                 }),
                 limits_.gatedRows);
    writeTable("memory", where([](const ComparedRow& row) {
                 return isBytesUnit(row.unit) && row.verdict != Verdict::Same;
               }),
               limits_.gatedRows);
    std::vector<EventKind> kinds = eventKinds();
    kinds.resize(std::min(kinds.size(), kMostKinds));
    for (const auto& [isExecution, unit] : kinds)
      writeTable(isExecution ? "events that differ" : "events of phases that differ",
                 where([&, isExecution = isExecution, &unit = unit](const ComparedRow& row) {
                   return !row.path.empty() && row.isExecution == isExecution && row.unit == unit &&
                          row.verdict != Verdict::Same;
                 }),
                 limits_.events);
    writeRest();
  }

 private:
  template <typename Condition>
  [[nodiscard]] Rows where(const Condition& condition) const {
    Rows rows;
    for (const ComparedRow& row : rows_)
      if (condition(row)) rows.push_back(&row);
    return rows;
  }

  [[nodiscard]] size_t countGated(Verdict verdict) const {
    return static_cast<size_t>(std::count_if(rows_.begin(), rows_.end(), [&](const auto& row) {
      return row.gates && row.verdict == verdict;
    }));
  }

  /// Whether they are of executions, and their unit.
  using EventKind = std::pair<bool, std::optional<std::string>>;

  /// The kinds of events other than memory, those of executions first, in the order of the rows.
  [[nodiscard]] std::vector<EventKind> eventKinds() const {
    std::vector<EventKind> kinds;
    for (const bool isExecution : {true, false})
      for (const ComparedRow& row : rows_) {
        const EventKind kind(isExecution, row.unit);
        if (row.path.empty() || row.isExecution != isExecution || isBytesUnit(row.unit)) continue;
        if (std::find(kinds.begin(), kinds.end(), kind) == kinds.end()) kinds.push_back(kind);
      }
    return kinds;
  }

  [[nodiscard]] std::string verdictText() const {
    const size_t gated = static_cast<size_t>(
        std::count_if(rows_.begin(), rows_.end(), [](const auto& row) { return row.gates; }));
    const std::string of =
        " of " + counted(gated, "row") + " that " + (gated == 1 ? "gates" : "gate");
    switch (result_.comparison.verdict) {
      case Verdict::Worse: {
        const size_t worse = countGated(Verdict::Worse);
        return "worse: " + std::to_string(worse) + of +
               (worse > 0 ? "" : ", but some are on one side only");
      }
      case Verdict::Better: return "better: " + std::to_string(countGated(Verdict::Better)) + of;
      case Verdict::Same: return "not worse: none" + of + inconclusiveText();
      default: return "not comparable: " + reasonText();
    }
  }

  [[nodiscard]] std::string inconclusiveText() const {
    const size_t count = countGated(Verdict::Inconclusive);
    return count > 0 ? "; " + std::to_string(count) + " inconclusive" : "";
  }

  [[nodiscard]] std::string reasonText() const {
    const bool hasGraph = std::any_of(rows_.begin(), rows_.end(), [](const ComparedRow& row) {
      return row.isExecution && row.path.empty() && row.base && row.next;
    });
    const bool isInCommon = std::any_of(rows_.begin(), rows_.end(), [](const ComparedRow& row) {
      return row.isExecution && row.path.empty() && row.verdict != Verdict::Added &&
             row.verdict != Verdict::Removed;
    });
    if (!isInCommon) return "no graph in common";
    if (!hasGraph) return "no graph with enough executions on both sides";
    const size_t missing = countGated(Verdict::Removed) + countGated(Verdict::NotComparable);
    if (missing > 0)
      return counted(missing, "row") + " that " + (missing == 1 ? "gates" : "gate") +
             " without a counterpart";
    const size_t inconclusive = countGated(Verdict::Inconclusive);
    return counted(inconclusive, "row") + " that " + (inconclusive == 1 ? "gates" : "gate") +
           " inconclusive";
  }

  [[nodiscard]] std::vector<ReportField> settings() const {
    const ComparisonOptions& options = result_.options;
    std::vector<ReportField> fields = {{"base", namesText(result_.baseNames)},
                                       {"new", namesText(result_.nextNames)}};
    std::string rule = std::string(textOf(options.metric)) + "; " + thresholdText() + ", " +
                       plainPercent(options.minMicroseconds) + " us, noise " +
                       plainPercent(options.noise) + " %, warm-up " + result_.warmUp;
    fields.push_back({"rule", rule});
    fields.push_back(
        {"runs", result_.comparison.isByRun
                     ? "compared by the variation between runs"
                     : "run-to-run variation unknown: three or more logs a side tell"});
    return fields;
  }

  static std::string plainPercent(double number) {
    return number == std::floor(number) ? decimalText(number, 0) : decimalText(number, 1);
  }

  [[nodiscard]] std::string thresholdText() const {
    const auto& threshold = result_.options.threshold;
    if (threshold) return "threshold " + plainPercent(*threshold) + " %";
    return result_.comparison.isByRun ? "threshold 5 % or the spread of the base runs"
                                      : "threshold 5 %, of events 10 %";
  }

  [[nodiscard]] std::string namesText(const std::vector<std::string>& names) const {
    constexpr size_t kMostNames = 6;
    std::string text;
    for (size_t i = 0; i < std::min(names.size(), kMostNames); ++i)
      text += (i > 0 ? ", " : "") + shortName(names[i]);
    if (names.size() > kMostNames)
      text += " and " + std::to_string(names.size() - kMostNames) + " more";
    return text;
  }

  [[nodiscard]] std::string shortName(const std::string& name) const {
    return writer_.name(shortenedMiddle(terminalName(name), limits_.nameWidth));
  }

  /// A table of rows in one unit, or several where rows of the same kind have several.
  void writeTable(const std::string& title, const Rows& rows, size_t most) {
    if (rows.empty()) return;
    double largest = 0;
    for (const ComparedRow* row : rows)
      for (const auto& value : {row->base, row->next})
        if (value) largest = std::max(largest, std::abs(value->real()));
    const bool isTime = rows.front()->unit == "us";
    const TimeScale scale(isTime ? largest : 0);
    const bool hasUnit = rows.front()->unit && rows.front()->unit != "none";
    const std::string unit = isTime ? scale.unit() : hasUnit ? *rows.front()->unit : "";
    const bool gates =
        std::any_of(rows.begin(), rows.end(), [](const ComparedRow* row) { return row->gates; });
    ReportTable table;
    table.columns = {{"", Kind::Label},           {"base", Kind::Number, unit},
                     {"new", Kind::Number, unit}, {"change", Kind::Number, unit},
                     {"", Kind::Number, "%"},     {"95 % interval", Kind::Number, "%"},
                     {"verdict", Kind::Label},    {title + (gates ? "" : ", no gate"), Kind::Name}};
    for (const ComparedRow* row : rows) {
      if (table.rows.size() == most) break;
      table.rows.push_back(cellsOf(*row, isTime ? &scale : nullptr));
      table.tones.push_back(signOf(row->verdict).tone);
    }
    const size_t left = rows.size() - table.rows.size();
    if (!table.rows.empty()) writer_.table(table);
    if (left > 0)
      writer_.paragraph(counted(left, table.rows.empty() ? "row" : "more row") + " of " + title +
                        " left out, the largest of them " + costText(*rows[rows.size() - left]));
  }

  static std::string costText(const ComparedRow& row) {
    return plainText(row.cost()) + " " + row.unit.value_or("");
  }

  std::vector<std::string> cellsOf(const ComparedRow& row, const TimeScale* scale) const {
    const auto number = [scale](const std::optional<Number>& value) {
      if (!value) return std::string("-");
      return scale != nullptr ? scale->text(*value) : plainText(*value);
    };
    std::string interval = "-";
    if (row.intervalPercent)
      interval = signedPercent(row.intervalPercent->low) + " to " +
                 signedPercent(row.intervalPercent->high);
    return {signOf(row.verdict).text,
            number(row.base),
            number(row.next),
            row.change ? withSign(number(row.change), *row.change > Number()) : "-",
            row.changePercent ? signedPercent(*row.changePercent) : "-",
            interval,
            textOf(row.verdict),
            nameOf(row)};
  }

  [[nodiscard]] std::string nameOf(const ComparedRow& row) const {
    std::string name = row.path.empty() ? ownerOf(row) : joinedPath(row.path);
    // Where there is but one graph its events need no further name.
    if (!row.path.empty() && (!row.isExecution || graphs_.size() > 1))
      name = ownerOf(row) + ": " + name;
    if (row.happensOnce && row.path.empty()) name += ", once";
    if (row.maybeRenamedFrom) name += ", renamed? from " + joinedPath(*row.maybeRenamedFrom);
    return shortenedMiddle(terminalName(name), limits_.nameWidth);
  }

  void writeRest() {
    const size_t same = where([](const ComparedRow& row) {
                          return !row.path.empty() && row.verdict == Verdict::Same;
                        }).size();
    if (same > 0)
      writer_.paragraph(counted(same, "row") + " of events and memory " +
                        (same == 1 ? "is" : "are") + " the same");
    const size_t kinds = eventKinds().size();
    if (kinds > kMostKinds)
      writer_.paragraph("events in " + counted(kinds - kMostKinds, "more unit") + " left out");
  }

  const ComparisonResult& result_;
  const std::vector<ComparedRow>& rows_;
  const Limits limits_;
  ReportWriter& writer_;
  std::set<std::string> graphs_;
};

}  // namespace

void writeDiffReport(const ComparisonResult& result, ReportWriter& writer) {
  DiffReport(result, {}, writer).write();
}

void writeDiffMarkdown(const ComparisonResult& result, const TextSink& sink) {
  // The last one is small whatever names and numbers there are.
  constexpr std::array<Limits, 4> kLimits = {
      {{100, 100, 200}, {50, 50, 100}, {20, 20, 80}, {5, 5, 40}}};
  std::string text;
  for (const Limits& limits : kLimits) {
    text.clear();
    const auto writer = makeMarkdownWriter([&text](std::string_view piece) { text += piece; });
    DiffReport(result, limits, *writer).write();
    if (text.size() < kMarkdownLimit) break;
  }
  sink(text);
}

const char* textOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::Worse: return "worse";
    case Verdict::Better: return "better";
    case Verdict::Same: return "same";
    case Verdict::Changed: return "changed";
    case Verdict::Inconclusive: return "inconclusive";
    case Verdict::Added: return "added";
    case Verdict::Removed: return "removed";
    case Verdict::NotComparable: return "not comparable";
  }
  return "";
}

const char* textOf(Metric metric) {
  switch (metric) {
    case Metric::P50: return "p50";
    case Metric::Mean: return "mean";
    case Metric::P90: return "p90";
    case Metric::P99: return "p99";
  }
  return "";
}

std::string ownerOf(const ComparedRow& row) {
  const std::string method = row.method.value_or("no method");
  if (row.isExecution) return row.graph.value_or("") + " (" + method + ")";
  return row.graph ? method + " of " + *row.graph : method;
}

}  // namespace ryx::profiling
