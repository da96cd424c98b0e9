// SPDX-License-Identifier: Apache-2.0
// What to tell the owner of a damaged log.

#ifndef RYX_STREAM_SALVAGE_HINT_H
#define RYX_STREAM_SALVAGE_HINT_H

#include <string>

namespace ryx::profiling {

/// The command that rescues what is good in the log at `path`, ready to be run by a shell:
/// "ryx-profile-log salvage run.log -o run.salvaged.log".
[[nodiscard]] std::string salvageCommand(const std::string& path);

}  // namespace ryx::profiling

#endif
