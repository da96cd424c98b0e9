// SPDX-License-Identifier: Apache-2.0
// Each script is of plain words and tables that its shell looks through itself; the tool is not run
// while somebody types. What a shell can complete depends on where the cursor is:
//
//   after an option that takes a value    its choices, or paths; or nothing that can be known
//   a word that begins with a dash        the options, of the tool or of the command before it
//   the first other word                  the commands, where there are any
//   any other word                        the operands' choices, or paths

#include "common/shell_completion.h"

#include <algorithm>

#include "base/text_list.h"

namespace ryx::tools {
namespace {

/// A name that a shell function may have.
std::string functionOf(const CommandDescription& tool) {
  std::string name = "_" + tool.names.front();
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
    text.replace(at, what.size(), with);
  return text;
}

/// In single quotes, as all three shells read it.
std::string shellWord(const std::string& text) { return "'" + replaced(text, "'", "'\\''") + "'"; }

/// A tool without commands has one that has no name.
struct NamedCommand {
  Names names;
  const CommandDescription* command;
};

std::vector<NamedCommand> commandsOf(const CommandDescription& tool) {
  std::vector<NamedCommand> commands = {{{""}, &tool}};
  for (const CommandDescription& command : tool.commands)
    commands.push_back({command.names, &command});
  return commands;
}

bool takesValue(const OptionDescription& option) {
  return !option.value.empty() && !option.isValueOptional;
}

const OptionDescription* operandWithChoices(const CommandDescription& command) {
  for (const OptionDescription& operand : command.operands)
    if (!operand.choices.empty()) return &operand;
  return nullptr;
}

// --- bash ---

std::string bashWords(const std::string& words) {
  return "mapfile -t COMPREPLY < <(compgen -W " + shellWord(words) + " -- \"$word\")";
}

/// One pattern for each pair of a command's name and one of the option's.
std::string bashPattern(const Names& commands, const Names& options) {
  Names pairs;
  for (const std::string& command : commands)
    for (const std::string& option : options) pairs.push_back(shellWord(command + " " + option));
  return joined(pairs, " | ");
}

std::string bashValues(const NamedCommand& command) {
  std::string text;
  for (const OptionDescription& option : command.command->options) {
    if (!takesValue(option)) continue;
    text += "    " + bashPattern(command.names, option.names) + ")\n";
    if (!option.choices.empty())
      text += "      " + bashWords(joined(option.choices, " ")) + "\n";
    else if (option.isPath)
      text += "      compopt -o default\n";
    text += "      return ;;\n";
  }
  return text;
}

std::string bashOptions(const NamedCommand& command) {
  Names names;
  for (const OptionDescription& option : command.command->options)
    names.insert(names.end(), option.names.begin(), option.names.end());
  std::string patterns;
  for (const std::string& name : command.names)
    patterns += (patterns.empty() ? "" : " | ") + shellWord(name);
  return "      " + patterns + ") " + bashWords(joined(names, " ")) + " ;;\n";
}

std::string bashScript(const CommandDescription& tool, const std::string& source) {
  Names commands;
  std::string values, options, operands;
  for (const NamedCommand& command : commandsOf(tool)) {
    values += bashValues(command);
    options += bashOptions(command);
    if (const OptionDescription* operand = operandWithChoices(*command.command))
      operands += "      " + shellWord(command.names.front()) + ") " +
                  bashWords(joined(operand->choices, " ")) + " ;;\n";
    if (command.command != &tool)
      commands.insert(commands.end(), command.names.begin(), command.names.end());
  }
  const std::string function = functionOf(tool);
  std::string text = "# Completion of " + tool.names.front() + " in bash, printed by '" + source +
                     "'.\n\n" + function +
                     "() {\n"
                     "  local word=${COMP_WORDS[COMP_CWORD]} before= command= i\n"
                     "  ((COMP_CWORD > 0)) && before=${COMP_WORDS[COMP_CWORD - 1]}\n"
                     "  # \"--option=value\" is three words.\n"
                     "  if [[ $word == = ]]; then\n"
                     "    word=\n"
                     "  elif [[ $before == = ]] && ((COMP_CWORD > 1)); then\n"
                     "    before=${COMP_WORDS[COMP_CWORD - 2]}\n"
                     "  fi\n"
                     "  COMPREPLY=()\n";
  if (!commands.empty())
    text += "  for ((i = 1; i < COMP_CWORD; i++)); do\n    case ${COMP_WORDS[i]} in\n      " +
            joined(commands, " | ") + ") command=${COMP_WORDS[i]}; break ;;\n    esac\n  done\n";
  text += "  case \"$command $before\" in\n" + values +
          "  esac\n"
          "  if [[ $word == -* ]]; then\n"
          "    case $command in\n" +
          options + "    esac\n";
  if (!commands.empty())
    text += "  elif [[ -z $command ]]; then\n    " + bashWords(joined(commands, " ")) + "\n";
  text += "  else\n    case $command in\n" + operands +
          "      *) compopt -o default ;;\n    esac\n  fi\n}\ncomplete -F " + function + " " +
          tool.names.front() + "\n";
  return text;
}

// --- zsh ---

/// A description as _arguments takes it, between brackets or before a colon.
std::string zshText(std::string text) {
  for (const char* special : {"\\", "[", "]", ":"})
    text = replaced(text, special, std::string("\\") + special);
  return text;
}

std::string zshAction(const OptionDescription& option) {
  if (!option.choices.empty()) return "(" + joined(option.choices, " ") + ")";
  return option.isPath ? "_files" : " ";
}

/// All of an option's names share what excludes them, the description and the value.
std::string zshOption(const OptionDescription& option) {
  const std::string rest =
      "[" + zshText(option.description) + "]" +
      (takesValue(option) ? ":" + zshText(option.value) + ":" + zshAction(option) : "");
  std::string text;
  for (const std::string& name : option.names) {
    const bool isLong = name.size() > 2;
    std::string spec = option.isRepeatable ? "*" : "(" + joined(option.names, " ") + ")";
    spec += name;
    if (takesValue(option)) spec += isLong ? "=" : "+";
    if (option.isValueOptional) spec += "=-";
    spec += rest;
    if (option.isValueOptional) spec += "::" + zshText(option.value) + ":_files";
    text += " \\\n        " + shellWord(spec);
  }
  return text;
}

std::string zshArguments(const CommandDescription& command) {
  std::string text = "_arguments -S";
  for (const OptionDescription& option : command.options) text += zshOption(option);
  for (const OptionDescription& operand : command.operands)
    text += " \\\n        " + shellWord((operand.isRepeatable ? "*:" : ":") +
                                        zshText(operand.operand) + ":" + zshAction(operand));
  return text;
}

std::string zshScript(const CommandDescription& tool, const std::string& source) {
  const std::string& name = tool.names.front();
  const std::string function = functionOf(tool);
  std::string text = "#compdef " + name + "\n# Completion in zsh, printed by '" + source +
                     "'.\n\n" + function + "() {\n";
  if (tool.commands.empty()) {
    text += "  " + zshArguments(tool) + "\n";
  } else {
    text +=
        "  local curcontext=$curcontext state line\n  typeset -A opt_args\n"
        "  local -a commands=(\n";
    for (const CommandDescription& command : tool.commands)
      for (const std::string& alias : command.names)
        text += "    " + shellWord(alias + ":" + command.description) + "\n";
    CommandDescription before = tool;
    before.operands.clear();
    text += "  )\n  " + zshArguments(before) +
            " \\\n        '1: :->command' '*:: :->arguments'\n"
            "  case $state in\n"
            "    command) _describe -t commands command commands ;;\n"
            "    arguments) case $words[1] in\n";
    for (const CommandDescription& command : tool.commands)
      text += "      " + joined(command.names, " | ") + ") " + zshArguments(command) + " ;;\n";
    text += "    esac ;;\n  esac\n";
  }
  // As a function that is loaded when it is first wanted, and as a file that is sourced.
  text += "}\n\nif [[ $funcstack[1] == " + function + " ]]; then\n  " + function +
          " \"$@\"\nelse\n  compdef " + function + " " + name + "\nfi\n";
  return text;
}

// --- fish ---

std::string fishOption(const std::string& start, const OptionDescription& option) {
  std::string text = start;
  for (const std::string& name : option.names)
    text += name.size() > 2 ? " -l " + name.substr(2) : " -s " + name.substr(1);
  if (takesValue(option)) text += option.isPath ? " -r -F" : " -x";
  if (!option.choices.empty()) text += " -a " + shellWord(joined(option.choices, " "));
  return text + " -d " + shellWord(option.description) + "\n";
}

std::string fishScript(const CommandDescription& tool, const std::string& source) {
  const std::string start = "complete -c " + tool.names.front();
  std::string text = "# Completion of " + tool.names.front() + " in fish, printed by '" + source +
                     "'.\n\n" + start + " -f\n";
  for (const NamedCommand& command : commandsOf(tool)) {
    const bool isTool = command.command == &tool;
    std::string condition;
    if (!isTool)
      condition = " -n " + shellWord("__fish_seen_subcommand_from " + joined(command.names, " "));
    else if (!tool.commands.empty())
      condition = " -n __fish_use_subcommand";
    if (!isTool)
      for (const std::string& name : command.names)
        text += start + " -n __fish_use_subcommand -a " + name + " -d " +
                shellWord(command.command->description) + "\n";
    for (const OptionDescription& option : command.command->options)
      text += fishOption(start + condition, option);
    if (const OptionDescription* operand = operandWithChoices(*command.command))
      text += start + condition + " -a " + shellWord(joined(operand->choices, " ")) + "\n";
    else if (!command.command->operands.empty())
      text += start + condition + " -F\n";
  }
  return text;
}

}  // namespace

const Names& completedShells() {
  static const Names kShells = {"bash", "zsh", "fish"};
  return kShells;
}

std::string completionScript(const CommandDescription& tool, const std::string& shell,
                             const std::string& source) {
  if (shell == "bash") return bashScript(tool, source);
  return shell == "zsh" ? zshScript(tool, source) : fishScript(tool, source);
}

}  // namespace ryx::tools
