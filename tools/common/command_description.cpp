// SPDX-License-Identifier: Apache-2.0
// The parser keeps names, texts and validators; the names that a value may have are kept as the
// description of a validator, which nothing else shows. That a value is a path is told by the word
// that stands for it in the help, each of which means one thing in all commands.

#include "common/command_description.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "base/text_list.h"

namespace ryx::tools {
namespace {

const Names kPaths = {"PATH", "OUT", "GOOD", "PART", "FILE", "LOG...", "[=DIR]"};

bool contains(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

Names wordsOf(const std::string& text) {
  std::istringstream stream(text);
  Names words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

Names choicesOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const size_t colon = type.find(':');
  return colon == std::string::npos ? Names() : wordsOf(type.substr(colon + 1));
}

OptionDescription describe(const CLI::Option& option) {
  OptionDescription result;
  for (const std::string& name : option.get_snames()) result.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) result.names.push_back("--" + name);
  result.description = joined(wordsOf(option.get_description()), " ");
  result.choices = choicesOf(option);
  result.isRepeatable = option.get_expected_max() > 1;
  if (option.get_positional()) {
    result.operand = option.get_name(true, false);
    result.isPath = result.choices.empty();
  } else {
    result.value = option.get_option_text();
    result.isPath = contains(kPaths, result.value);
    result.isValueOptional = !result.value.empty() && result.value.front() == '[';
  }
  return result;
}

std::string usageOf(const CLI::App& app) {
  constexpr std::string_view kUsage = "Usage: ";
  const std::string help = app.help();
  const size_t begin = help.find(kUsage) + kUsage.size();
  const std::string usage = help.substr(begin, help.find('\n', begin) - begin);
  return app.get_parent() == nullptr ? usage : app.get_parent()->get_name() + " " + usage;
}

}  // namespace

CommandDescription describe(const CLI::App& app) {
  CommandDescription result;
  result.names = {app.get_name()};
  const std::vector<std::string>& aliases = app.get_aliases();
  result.names.insert(result.names.end(), aliases.begin(), aliases.end());
  result.description = app.get_description();
  result.usage = usageOf(app);
  result.details = app.get_footer();
  for (const CLI::Option* option : app.get_options({})) {
    if (option->get_group().empty()) continue;
    (option->get_positional() ? result.operands : result.options).push_back(describe(*option));
  }
  for (const CLI::App* command : app.get_subcommands({}))
    result.commands.push_back(describe(*command));
  return result;
}

CLI::Validator oneOf(const std::string& kind, const Names& names) {
  const auto check = [kind, names](std::string& value) {
    return contains(names, value) ? std::string() : unknownValue(kind, value, names);
  };
  return {check, joined(names, " ")};
}

CLI::Validator suggested(const Names& names) {
  return {[](std::string&) { return std::string(); }, joined(names, " ")};
}

}  // namespace ryx::tools
