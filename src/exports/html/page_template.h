// SPDX-License-Identifier: Apache-2.0
// The page without a log: built from page/ and kept in the library. What a page adds goes in place
// of {{title}}, {{body}} and {{data}}.

#ifndef RYX_EXPORTS_HTML_PAGE_TEMPLATE_H
#define RYX_EXPORTS_HTML_PAGE_TEMPLATE_H

#include <string_view>

namespace ryx::profiling {

/// Empty where the build could not make it.
[[nodiscard]] std::string_view pageTemplate();

/// Why it is empty.
[[nodiscard]] std::string_view whyNoPageTemplate();

}  // namespace ryx::profiling

#endif
