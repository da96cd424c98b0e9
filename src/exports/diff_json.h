// SPDX-License-Identifier: Apache-2.0
// Comparisons for programs: the JSON document "ryx-profile-diff/1", and JUnit XML for CI.

#ifndef RYX_EXPORTS_DIFF_JSON_H
#define RYX_EXPORTS_DIFF_JSON_H

#include "exports/diff_report.h"
#include "exports/text_sink.h"

namespace ryx::profiling {

void writeDiffJson(const ComparisonResult& result, const TextSink& sink);

/// A test case for each row that gates: a failure if it is worse, an error if it cannot be
/// compared, skipped if it is inconclusive.
void writeDiffJunit(const ComparisonResult& result, const TextSink& sink);

}  // namespace ryx::profiling

#endif
