// SPDX-License-Identifier: Apache-2.0
// What the choices of statistics and comparisons are called, for whoever has them chosen by text:
// the command line, and Python.

#ifndef RYX_ANALYSIS_CHOICES_H
#define RYX_ANALYSIS_CHOICES_H

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include "analysis/event_statistics.h"
#include "analysis/steady_row.h"
#include "analysis/verdict.h"

namespace ryx::profiling {

template <typename Choice>
using NamedChoice = std::pair<const char*, Choice>;

inline constexpr NamedChoice<EventOrder> kEventOrders[] = {{"self", EventOrder::Self},
                                                           {"total", EventOrder::Total},
                                                           {"p99", EventOrder::P99},
                                                           {"cv", EventOrder::Cv},
                                                           {"order", EventOrder::FirstAppearance}};
inline constexpr NamedChoice<Metric> kMetrics[] = {
    {"p50", Metric::P50}, {"mean", Metric::Mean}, {"p90", Metric::P90}, {"p99", Metric::P99}};
inline constexpr NamedChoice<Gate> kGates[] = {
    {"graphs", Gate::Graphs}, {"events", Gate::Events}, {"all", Gate::All}};

/// The choice of that name, or nothing.
template <typename Choice, size_t N>
[[nodiscard]] std::optional<Choice> choiceNamed(std::string_view name,
                                                const NamedChoice<Choice> (&choices)[N]) {
  for (const auto& [known, choice] : choices)
    if (name == known) return choice;
  return std::nullopt;
}

/// "none", "auto", or a number of executions; nothing for anything else.
[[nodiscard]] std::optional<WarmUpRule> parseWarmUp(std::string_view text);

/// The groups that are called "path" (each path by itself: an empty function), "identifier" or
/// "type"; nothing for anything else, which is then an expression.
[[nodiscard]] std::optional<GroupOf> groupingNamed(std::string_view by);

}  // namespace ryx::profiling

#endif
