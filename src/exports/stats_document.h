// SPDX-License-Identifier: Apache-2.0
// The JSON document that `stats` wrote, taken as what it was made of: a comparison needs no log.

#ifndef RYX_EXPORTS_STATS_DOCUMENT_H
#define RYX_EXPORTS_STATS_DOCUMENT_H

#include <string>

#include "analysis/comparison.h"
#include "base/status.h"

namespace ryx::profiling {

/// Whether the file at `path` begins as such a document does.
[[nodiscard]] bool isStatsDocument(const std::string& path);

struct StatsDocument {
  Sources sources;         ///< one for each log, or for all that were merged
  bool isDamaged = false;  ///< one of the logs was
};

/// Reads the document at `path`, which its user calls `name`. Of its events those that `view`
/// wants; they cannot be grouped any more. Failures name the document.
[[nodiscard]] Result<StatsDocument> readStatsDocument(const std::string& path,
                                                      const std::string& name,
                                                      const EventView& view);

}  // namespace ryx::profiling

#endif
