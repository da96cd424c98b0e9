// SPDX-License-Identifier: Apache-2.0
// What the data of both kinds of page has in common.

#ifndef RYX_EXPORTS_HTML_PAGE_DATA_H
#define RYX_EXPORTS_HTML_PAGE_DATA_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/log_samples.h"
#include "exports/json_writer.h"

namespace ryx::profiling {

/// The head: a document that says what it is, its kind, and what `writeRest` adds.
[[nodiscard]] std::string pageDataHead(std::string_view kind,
                                       const std::function<void(JsonWriter&)>& writeRest);

/// The durations of a row's executions, NaN where one has none.
[[nodiscard]] std::vector<double> durationColumn(const Row& row);

}  // namespace ryx::profiling

#endif
