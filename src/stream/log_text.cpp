// SPDX-License-Identifier: Apache-2.0
// Methods are named by the schema's own enumeration, so that a name and its code cannot disagree.

#include "stream/log_text.h"

#include <strings.h>

#include <charconv>
#include <iterator>

namespace ryx::profiling {

std::string_view logText(const flatbuffers::String* text) {
  // A verified text is followed by a NUL, so this ends within the chunk.
  return text == nullptr ? std::string_view() : std::string_view(text->c_str());
}

std::string methodText(int8_t method) {
  const std::string name = EnumNameMethodType(static_cast<MethodType>(method));
  return name.empty() ? std::to_string(method) : name;
}

std::optional<int8_t> methodCode(std::string_view text) {
  for (const MethodType method : EnumValuesMethodType()) {
    const std::string_view name = EnumNameMethodType(method);
    if (name.size() == text.size() && strncasecmp(name.data(), text.data(), text.size()) == 0)
      return static_cast<int8_t>(method);
  }
  int8_t code = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, code);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return code;
}

std::vector<std::string> methodNames() {
  std::vector<std::string> names;
  for (const MethodType method : EnumValuesMethodType())
    names.emplace_back(EnumNameMethodType(method));
  return names;
}

std::string unitText(uint32_t unit) {
  if (unit < 1 || unit > std::size(kUnitNames)) return std::to_string(unit);
  return std::string(kUnitNames[unit - 1]);
}

}  // namespace ryx::profiling
