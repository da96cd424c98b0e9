// SPDX-License-Identifier: Apache-2.0
// The data of a comparison's page: its head, and for each graph a block with the durations of both
// sides and the changes of its events.

#ifndef RYX_EXPORTS_HTML_COMPARISON_DATA_H
#define RYX_EXPORTS_HTML_COMPARISON_DATA_H

#include <string>
#include <string_view>

#include "exports/html/comparison_view.h"

namespace ryx::profiling {

/// The elements that carry the data of the first `graphs` graphs; `metric` names what is compared.
[[nodiscard]] std::string comparisonScripts(const ComparisonView& view, size_t graphs,
                                            std::string_view metric);

}  // namespace ryx::profiling

#endif
