// SPDX-License-Identifier: Apache-2.0
#include "analysis/choices.h"

#include <charconv>
#include <string>

namespace ryx::profiling {

namespace {

bool isWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// Identifiers that end in ":Convolution" are of that type.
std::optional<std::string> typeOf(std::string_view identifier) {
  size_t start = identifier.size();
  while (start > 0 && isWordCharacter(identifier[start - 1])) --start;
  if (start == identifier.size() || start == 0 || identifier[start - 1] != ':') return std::nullopt;
  return std::string(identifier.substr(start));
}

}  // namespace

std::optional<WarmUpRule> parseWarmUp(std::string_view text) {
  if (text == "none") return WarmUpRule();
  if (text == "auto") return WarmUpRule{WarmUpRule::Mode::Auto, 0};
  WarmUpRule rule{WarmUpRule::Mode::Count, 0};
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, rule.count);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return rule;
}

std::optional<GroupOf> groupingNamed(std::string_view by) {
  if (by == "path") return GroupOf();
  if (by == "identifier")
    return GroupOf([](const EventPath& path) { return std::optional<std::string>(path.back()); });
  if (by == "type") return GroupOf([](const EventPath& path) { return typeOf(path.back()); });
  return std::nullopt;
}

}  // namespace ryx::profiling
