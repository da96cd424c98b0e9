// SPDX-License-Identifier: Apache-2.0
// Options whose value is one of a few words.

#ifndef RYX_LOG_CHOICES_H
#define RYX_LOG_CHOICES_H

#include <cstddef>
#include <string>

#include "analysis/choices.h"
#include "common/names.h"

namespace ryx::profiling {

template <typename Choice, size_t N>
[[nodiscard]] tools::Names namesOf(const NamedChoice<Choice> (&choices)[N]) {
  tools::Names names;
  for (const auto& choice : choices) names.emplace_back(choice.first);
  return names;
}

/// The choice of that name, which needs to be one of them.
template <typename Choice, size_t N>
[[nodiscard]] Choice chosen(const std::string& name, const NamedChoice<Choice> (&choices)[N]) {
  return choiceNamed(name, choices).value();
}

}  // namespace ryx::profiling

#endif
