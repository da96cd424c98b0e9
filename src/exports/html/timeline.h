// SPDX-License-Identifier: Apache-2.0
// What happened when: phases and executions against the time of the run.

#ifndef RYX_EXPORTS_HTML_TIMELINE_H
#define RYX_EXPORTS_HTML_TIMELINE_H

#include <cstdint>
#include <string>

#include "analysis/log_samples.h"
#include "exports/html/markup.h"

namespace ryx::profiling {

/// The section on phases.
void writeTimeline(const LogSamples& samples, Markup& out);

/// "2026-11-21 08:01:51 UTC"; the number itself for a year of more than four digits.
[[nodiscard]] std::string utcTime(uint64_t microseconds);

}  // namespace ryx::profiling

#endif
