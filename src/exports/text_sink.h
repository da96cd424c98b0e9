// SPDX-License-Identifier: Apache-2.0
// Where text goes, piece by piece: a file, a terminal, a string.

#ifndef RYX_EXPORTS_TEXT_SINK_H
#define RYX_EXPORTS_TEXT_SINK_H

#include <functional>
#include <string_view>

namespace ryx::profiling {

using TextSink = std::function<void(std::string_view)>;

}  // namespace ryx::profiling

#endif
