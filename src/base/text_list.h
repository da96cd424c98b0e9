// SPDX-License-Identifier: Apache-2.0
// Several texts as one.

#ifndef RYX_BASE_TEXT_LIST_H
#define RYX_BASE_TEXT_LIST_H

#include <string>
#include <string_view>
#include <vector>

namespace ryx {

/// "a, b, c".
[[nodiscard]] std::string joined(const std::vector<std::string>& texts,
                                 std::string_view separator = ", ");

}  // namespace ryx

#endif
