// SPDX-License-Identifier: Apache-2.0
// A tool's command line as plain data, read from what its parser was told: what completions and
// manual pages are made of, so that neither can differ from what the tool takes.

#ifndef RYX_COMMON_COMMAND_DESCRIPTION_H
#define RYX_COMMON_COMMAND_DESCRIPTION_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "common/names.h"

namespace ryx::tools {

/// An option, or an operand, which has no names.
struct OptionDescription {
  Names names;              ///< with their dashes, the short one first
  std::string operand;      ///< an operand's name
  std::string value;        ///< what stands for its value in the help; empty for a flag
  std::string description;  ///< in one line
  Names choices;            ///< the values that it may have, or most likely has
  bool isPath = false;      ///< its value is a path
  bool isRepeatable = false;
  bool isValueOptional = false;
};

/// A tool, or one of its commands.
struct CommandDescription {
  Names names;
  std::string description;
  std::string usage;    ///< one line, without "Usage: "
  std::string details;  ///< what the help says after the options
  std::vector<OptionDescription> options;
  std::vector<OptionDescription> operands;
  std::vector<CommandDescription> commands;
};

/// `app` after its --help and --version were added; what the help hides is left out.
[[nodiscard]] CommandDescription describe(const CLI::App& app);

/// The value, a `kind` of thing, is one of `names`; completions offer them.
[[nodiscard]] CLI::Validator oneOf(const std::string& kind, const Names& names);

/// Completions offer `names` for the value, which may be another.
[[nodiscard]] CLI::Validator suggested(const Names& names);

}  // namespace ryx::tools

#endif
