// SPDX-License-Identifier: Apache-2.0
// Comparisons for people: on a terminal, or as Markdown for a pull request.

#ifndef RYX_EXPORTS_DIFF_REPORT_H
#define RYX_EXPORTS_DIFF_REPORT_H

#include <cstddef>
#include <string>
#include <vector>

#include "analysis/comparison.h"
#include "exports/report_writer.h"
#include "exports/text_sink.h"

namespace ryx::profiling {

/// A comparison and what it was made of.
struct ComparisonResult {
  Comparison comparison;
  ComparisonOptions options;
  std::vector<std::string> baseNames;
  std::vector<std::string> nextNames;
  std::string warmUp;  ///< as the command line says it
  std::string by;      ///< likewise
};

void writeDiffReport(const ComparisonResult& result, ReportWriter& writer);

/// Below 60,000 characters, which leaves room where comments end at 65,536; what has to be left out
/// for that is said.
void writeDiffMarkdown(const ComparisonResult& result, const TextSink& sink);

/// "worse", "not comparable", ...
[[nodiscard]] const char* textOf(Verdict verdict);
/// "p50", "mean", ...
[[nodiscard]] const char* textOf(Metric metric);

/// "backbone (Execute)", "phase Finalize of backbone": the row that an entry is in.
[[nodiscard]] std::string ownerOf(const ComparedRow& row);

}  // namespace ryx::profiling

#endif
