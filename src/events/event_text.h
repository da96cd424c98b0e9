// SPDX-License-Identifier: Apache-2.0
// The texts that reports show for an event's value and unit.

#ifndef RYX_EVENTS_EVENT_TEXT_H
#define RYX_EVENTS_EVENT_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "ryx/profile_event.h"

namespace ryx::profiling {

/// The value as text: integers in decimal, floats with six decimals, strings as they are, empty
/// when no value was set. Throws std::logic_error for a string value without a text.
std::string toText(const EventValue& value);

/// Appends what `toText` returns.
void appendText(std::string& text, const EventValue& value);

/// The unit's name in upper case ("US"), as the CSV report shows it. Unknown codes read as "US".
std::string_view unitUpperCaseText(uint32_t unit);

/// The unit as a suffix of a number (" us"), as the text report shows it. Unknown codes read as
/// microseconds; the suffix of "none" is one blank.
std::string_view unitSuffixText(uint32_t unit);

/// The unit's name in the JSON report. Counts and unknown codes read as "unknown".
std::string_view unitJsonText(uint32_t unit);

}  // namespace ryx::profiling

#endif
