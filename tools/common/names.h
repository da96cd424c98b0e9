// SPDX-License-Identifier: Apache-2.0
// Names that a user may misspell: of commands, options and values.

#ifndef RYX_COMMON_NAMES_H
#define RYX_COMMON_NAMES_H

#include <string>
#include <string_view>
#include <vector>

namespace ryx::tools {

using Names = std::vector<std::string>;

/// "unknown format 'xml'; known are text, csv, json".
[[nodiscard]] std::string unknownValue(std::string_view kind, std::string_view value,
                                       const Names& known);

/// "unknown command 'stat'; did you mean 'stats'?"; the same as of a value where no known name is
/// near.
[[nodiscard]] std::string unknownName(std::string_view kind, std::string_view name,
                                      const Names& known);

/// The known name that somebody who wrote `name` most likely meant; empty where none is near. Of
/// those that are equally near, the first.
[[nodiscard]] std::string nearestName(std::string_view name, const Names& known);

}  // namespace ryx::tools

#endif
