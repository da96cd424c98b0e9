// SPDX-License-Identifier: Apache-2.0
// Statistics as the JSON document "ryx-profile-stats/1".

#ifndef RYX_EXPORTS_STATS_JSON_H
#define RYX_EXPORTS_STATS_JSON_H

#include "analysis/statistics.h"
#include "exports/json_writer.h"

namespace ryx::profiling {

void writeStatsJson(const Statistics& statistics, const TextSink& sink);

}  // namespace ryx::profiling

#endif
