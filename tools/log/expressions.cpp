// SPDX-License-Identifier: Apache-2.0
// Expressions are compiled once, and shared by the copies of the functions that use them. A group
// that took no part in a match is no group: the event then goes into none, which is not the same as
// one whose name is empty.

#include "log/expressions.h"

#include <re2/re2.h>

#include <array>
#include <memory>
#include <optional>

#include "analysis/choices.h"

namespace ryx::profiling {

namespace {

using Expression = std::shared_ptr<const re2::RE2>;

Result<Expression> compile(const std::string& text) {
  re2::RE2::Options options;
  options.set_log_errors(false);
  auto expression = std::make_shared<const re2::RE2>(text, options);
  if (!expression->ok()) return Status::failure("'" + text + "': " + expression->error());
  return Expression(expression);
}

/// RE2 has a view type of its own.
re2::StringPiece viewed(std::string_view text) { return {text.data(), text.size()}; }

std::optional<std::string> firstCapture(const re2::RE2& expression, std::string_view text) {
  const bool captures = expression.NumberOfCapturingGroups() > 0;
  std::array<re2::StringPiece, 2> groups;
  if (!expression.Match(viewed(text), 0, text.size(), re2::RE2::UNANCHORED, groups.data(),
                        captures ? 2 : 1))
    return std::nullopt;
  const re2::StringPiece& group = groups[captures ? 1 : 0];
  if (group.data() == nullptr) return std::nullopt;
  return std::string(group.data(), group.size());
}

}  // namespace

Result<std::function<bool(std::string_view)>> makeMatcher(const std::string& expression) {
  const Result<Expression> compiled = compile(expression);
  if (!compiled) return compiled.status();
  return std::function<bool(std::string_view)>([matcher = *compiled](std::string_view text) {
    return re2::RE2::PartialMatch(viewed(text), *matcher);
  });
}

Result<GroupOf> makeGrouping(const std::string& by) {
  if (auto grouping = groupingNamed(by)) return *std::move(grouping);
  const Result<Expression> compiled = compile(by);
  if (!compiled) return compiled.status();
  return GroupOf([expression = *compiled](const EventPath& path) {
    return firstCapture(*expression, path.back());
  });
}

}  // namespace ryx::profiling
