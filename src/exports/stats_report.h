// SPDX-License-Identifier: Apache-2.0
// Statistics for people: a block for each graph, then phases and what is not time.

#ifndef RYX_EXPORTS_STATS_REPORT_H
#define RYX_EXPORTS_STATS_REPORT_H

#include <cstddef>

#include "analysis/statistics.h"
#include "exports/report_writer.h"

namespace ryx::profiling {

/// `top` events of each graph and unit. The statistics need to have all of them, in the order that
/// they are to be shown in.
void writeStatsReport(const Statistics& statistics, size_t top, ReportWriter& writer);

}  // namespace ryx::profiling

#endif
