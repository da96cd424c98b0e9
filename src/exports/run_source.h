// SPDX-License-Identifier: Apache-2.0
// The runs of a comparison, from the files that they are in.

#ifndef RYX_EXPORTS_RUN_SOURCE_H
#define RYX_EXPORTS_RUN_SOURCE_H

#include <optional>
#include <string>

#include "analysis/comparison.h"
#include "ryx/profile_tables.h"

namespace ryx::profiling {

/// Why a run is missing from a comparison, or the rest of it.
struct RunFailure {
  std::string text;                   ///< names the file
  std::optional<TableDamage> damage;  ///< of a log that is compared up to there
};

/// Reads the file at `path`, which its user calls `name`: a log, or JSON that statistics were
/// written as. What is good in it is added to `sources`. `view` must outlive them.
[[nodiscard]] std::optional<RunFailure> readRun(const std::string& path, const std::string& name,
                                                const WarmUpRule& warmUp, const EventView& view,
                                                Sources& sources);

}  // namespace ryx::profiling

#endif
