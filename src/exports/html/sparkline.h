// SPDX-License-Identifier: Apache-2.0
// The durations of a graph's executions as a small picture.

#ifndef RYX_EXPORTS_HTML_SPARKLINE_H
#define RYX_EXPORTS_HTML_SPARKLINE_H

#include "analysis/log_samples.h"
#include "analysis/row_statistics.h"
#include "exports/html/markup.h"

namespace ryx::profiling {

/// From zero to the slowest; where executions share a place, the slowest of them is drawn. The
/// warm-up is shaded, and slow outliers have a dot.
void appendSparkline(Markup& out, const Row& row, const RowStatistics& statistics);

}  // namespace ryx::profiling

#endif
