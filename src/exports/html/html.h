// SPDX-License-Identifier: Apache-2.0
// A run, or what changed between two, as one HTML file. docs/page.md says what is on the page and
// what it is made of.

#ifndef RYX_EXPORTS_HTML_HTML_H
#define RYX_EXPORTS_HTML_HTML_H

#include <string>
#include <vector>

#include "analysis/log_samples.h"
#include "base/status.h"
#include "exports/diff_report.h"

namespace ryx::profiling {

/// Fails where this build has no page to fill.
[[nodiscard]] Status requirePage();

/// The page of one log; of a damaged one up to its damage, with a warning. `requirePage` was good.
[[nodiscard]] std::string runPage(const LogSamples& samples);

/// The page of what was compared: `base` and `next`, and what to say of those that are damaged.
[[nodiscard]] std::string comparisonPage(const ComparisonResult& result, const Sources& base,
                                         const Sources& next,
                                         const std::vector<std::string>& damage);

}  // namespace ryx::profiling

#endif
