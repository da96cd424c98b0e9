// SPDX-License-Identifier: Apache-2.0
// CI counts cases, so only rows that gate are cases: an event that got slower explains the failure
// of its graph and is no failure of its own. A comparison that has no verdict fails as a case of
// its own, or a report without rows would read as a success.
//
// XML 1.0 has characters that it cannot hold even as references. They are shown as escapes here,
// since a report that the CI's parser refuses says nothing at all.

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "exports/diff_json.h"
#include "exports/shown_name.h"
#include "exports/time_scale.h"

namespace ryx::profiling {

namespace {

/// Text of any bytes as XML has it: what XML cannot hold is written as \xNN.
std::string xmlText(std::string_view text) {
  std::string escaped;
  const std::string shown = terminalName(text);
  for (size_t i = 0; i < shown.size(); ++i) {
    // U+FFFE and U+FFFF are UTF-8, and no characters.
    const std::string_view three = std::string_view(shown).substr(i, 3);
    if (three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF") {
      escaped += three == "\xEF\xBF\xBE" ? "\\xef\\xbf\\xbe" : "\\xef\\xbf\\xbf";
      i += 2;
      continue;
    }
    switch (shown[i]) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      default: escaped += shown[i];
    }
  }
  return escaped;
}

enum class Outcome { Passed, Failed, Error, Skipped };

Outcome outcomeOf(const ComparedRow& row, const ComparisonOptions& options) {
  switch (row.verdict) {
    case Verdict::Worse: return Outcome::Failed;
    case Verdict::Better:
    case Verdict::Same:
    case Verdict::Changed: return Outcome::Passed;
    case Verdict::Inconclusive: return options.isStrict ? Outcome::Error : Outcome::Skipped;
    case Verdict::Added:
    case Verdict::Removed: return options.gate == Gate::All ? Outcome::Failed : Outcome::Error;
    case Verdict::NotComparable: return Outcome::Error;
  }
  return Outcome::Passed;
}

/// "p50: 26925 us, now 37095 us (+37.8 %)".
std::string changeText(const ComparedRow& row) {
  const std::string unit = row.unit ? " " + *row.unit : "";
  std::string text = std::string(textOf(row.metric)) + ": " + plainText(row.base) + unit +
                     ", now " + plainText(row.next) + unit;
  if (row.changePercent)
    text += std::string(" (") + (*row.changePercent > 0 ? "+" : "") +
            decimalText(*row.changePercent, 1) + " %)";
  return text + (row.happensOnce ? ", one sample a side" : "");
}

struct Suite {
  std::vector<const ComparedRow*> gated;
  std::vector<const ComparedRow*> slower;  ///< events that explain, the largest first
};

class JunitReport {
 public:
  JunitReport(const ComparisonResult& result, const TextSink& sink)
      : result_(result), sink_(sink) {}

  void write() {
    std::map<std::string, Suite> suites;
    for (const ComparedRow& row : result_.comparison.rows) {
      Suite& suite = suites[ownerOf(row)];
      if (row.gates) suite.gated.push_back(&row);
      if (!row.path.empty() && row.verdict == Verdict::Worse) suite.slower.push_back(&row);
    }
    sink_(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"ryx-profile-log diff\">\n");
    for (const auto& [name, suite] : suites)
      if (!suite.gated.empty()) writeSuite(name, suite);
    if (result_.comparison.verdict == Verdict::NotComparable) writeNotComparable();
    sink_("</testsuites>\n");
  }

 private:
  void writeSuite(const std::string& name, const Suite& suite) {
    const auto count = [&](Outcome outcome) {
      return std::to_string(std::count_if(
          suite.gated.begin(), suite.gated.end(),
          [&](const ComparedRow* row) { return outcomeOf(*row, result_.options) == outcome; }));
    };
    sink_("  <testsuite name=\"" + xmlText(name) + "\" tests=\"" +
          std::to_string(suite.gated.size()) + "\" failures=\"" + count(Outcome::Failed) +
          "\" errors=\"" + count(Outcome::Error) + "\" skipped=\"" + count(Outcome::Skipped) +
          "\">\n");
    for (const ComparedRow* row : suite.gated) writeCase(name, *row, suite);
    sink_("  </testsuite>\n");
  }

  void writeCase(const std::string& suiteName, const ComparedRow& row, const Suite& suite) {
    const std::string name = row.path.empty() ? "the whole" : joinedPath(row.path);
    const std::string unit = row.unit ? " (" + *row.unit + ")" : "";
    sink_("    <testcase classname=\"" + xmlText(suiteName) + "\" name=\"" + xmlText(name + unit) +
          "\"");
    const std::string message = xmlText(textOf(row.verdict) + std::string(": ") + changeText(row));
    switch (outcomeOf(row, result_.options)) {
      case Outcome::Passed: sink_("/>\n"); return;
      case Outcome::Skipped: sink_(">\n      <skipped message=\"" + message + "\"/>\n"); break;
      case Outcome::Error: sink_(">\n      <error message=\"" + message + "\"/>\n"); break;
      case Outcome::Failed:
        sink_(">\n      <failure message=\"" + message + "\">");
        if (row.path.empty()) writeExplanation(suite);
        sink_("</failure>\n");
        break;
    }
    sink_("    </testcase>\n");
  }

  /// The events that became slower.
  void writeExplanation(const Suite& suite) {
    constexpr size_t kMost = 5;
    for (size_t i = 0; i < std::min(kMost, suite.slower.size()); ++i)
      sink_("\n" + xmlText(joinedPath(suite.slower[i]->path)) + ": " +
            xmlText(changeText(*suite.slower[i])));
  }

  /// A case that fails whatever rows there are.
  void writeNotComparable() {
    sink_(
        "  <testsuite name=\"comparison\" tests=\"1\" failures=\"0\" errors=\"1\" skipped=\"0\">\n"
        "    <testcase classname=\"comparison\" name=\"the runs can be compared\">\n"
        "      <error message=\"not comparable\"/>\n"
        "    </testcase>\n"
        "  </testsuite>\n");
  }

  const ComparisonResult& result_;
  const TextSink& sink_;
};

}  // namespace

void writeDiffJunit(const ComparisonResult& result, const TextSink& sink) {
  JunitReport(result, sink).write();
}

}  // namespace ryx::profiling
