// SPDX-License-Identifier: Apache-2.0
// Statistics as CSV: a row for each distribution, and for each value of a phase.

#ifndef RYX_EXPORTS_STATS_CSV_H
#define RYX_EXPORTS_STATS_CSV_H

#include "analysis/statistics.h"
#include "exports/text_sink.h"

namespace ryx::profiling {

/// By RFC 4180, but for lines that end in "\n". What there is not is empty.
void writeStatsCsv(const Statistics& statistics, const TextSink& sink);

}  // namespace ryx::profiling

#endif
