// Why a log could not be read to its end, and what can be done about it.

#ifndef RYX_VIEWER_DAMAGE_H
#define RYX_VIEWER_DAMAGE_H

#include <string>

namespace ryx::viewer {

/// For the log at `path`, which a reader has refused: which chunk stops readers, where and why, and
/// the command that rescues the others, to be put behind a message. Empty when it is not the bytes
/// of the log that stop readers.
[[nodiscard]] std::string explainDamage(const std::string& path);

}  // namespace ryx::viewer

#endif
