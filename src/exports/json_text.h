// SPDX-License-Identifier: Apache-2.0
// Texts and numbers as JSON has them.

#ifndef RYX_EXPORTS_JSON_TEXT_H
#define RYX_EXPORTS_JSON_TEXT_H

#include <string>
#include <string_view>

#include "exports/output_file.h"

namespace ryx::profiling {

/// UTF-8 text as a JSON string, in its quotes.
void appendJsonString(std::string_view text, OutputFile& out);
[[nodiscard]] std::string jsonString(std::string_view text);

}  // namespace ryx::profiling

#endif
