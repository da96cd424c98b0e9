// SPDX-License-Identifier: Apache-2.0
// The command line of every tool: one layout of help, one way to refuse.
//
// The parser is CLI11, with what would surprise a user taken out: an operand "[a,b]" is one name,
// "--name=" is an empty value and not the next argument, numbers are decimal, and what is unknown
// is named together with what is known. "help" and "help COMMAND" are "--help" and
// "COMMAND --help".

#ifndef RYX_COMMON_COMMAND_LINE_H
#define RYX_COMMON_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <string>
#include <string_view>
#include <variant>

#include "common/command_description.h"

namespace ryx::tools {

/// The command line is in the variables that the options were declared with.
struct Parsed {};

/// What --help or --version asks for, to be printed on standard output.
struct Answer {
  std::string text;
};

/// What is wrong with the command line, in one sentence, and the command that shows the help to it.
struct UsageError {
  std::string text;
  std::string helpCommand;
};

/// Parses, and runs the callback of the command that was given, which may throw
/// CLI::ValidationError. `app` has its operands, options and commands declared; --help, --version
/// and the layout of the help are added here, and to a tool without commands --completion. Hidden
/// is
/// --manual, which prints the manual page.
[[nodiscard]] std::variant<Parsed, Answer, UsageError> parseCommandLine(CLI::App& app, int argc,
                                                                        const char* const* argv);

/// Whether `text` is a whole decimal number of the type's range.
template <typename Number>
[[nodiscard]] bool readNumber(std::string_view text, Number& number) {
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

/// Adds the option `names`, say "-l,--level", with a number, which `set` takes.
template <typename Number, typename Set>
CLI::Option* addNumber(CLI::App& app, const std::string& names, const char* hint,
                       const char* description, Set set) {
  const auto parse = [names, set](const std::string& text) {
    using Limits = std::numeric_limits<Number>;
    Number number = 0;
    if (!readNumber(text, number))
      throw CLI::ValidationError(names.substr(names.find("--")) + ": '" + text +
                                 "' is not a number between " + std::to_string(Limits::min()) +
                                 " and " + std::to_string(Limits::max()));
    set(number);
  };
  return app.add_option_function<std::string>(names, parse, description)->option_text(hint);
}

}  // namespace ryx::tools

#endif
