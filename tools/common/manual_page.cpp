// SPDX-License-Identifier: Apache-2.0
// A page has what --help has, in the order and the words of manual pages. The formatter fills
// paragraphs by itself; what the help indents, examples above all, has to stay as it is.

#include "common/manual_page.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace ryx::tools {
namespace {

/// Text as it is: without what the language would read as an escape, a request or a hyphen.
std::string plain(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\')
      result += "\\e";
    else if (c == '-')
      result += "\\-";
    else
      result += c;
  }
  if (!result.empty() && (result.front() == '.' || result.front() == '\'')) result.insert(0, "\\&");
  return result;
}

std::string section(const std::string& name) { return ".SH " + name + "\n"; }

std::string item(const std::string& head, const std::string& text) {
  return ".TP\n" + head + "\n" + plain(text) + "\n";
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

std::string headOf(const OptionDescription& option) {
  if (option.names.empty()) return italic(option.operand) + (option.isRepeatable ? " ..." : "");
  std::string head;
  for (const std::string& name : option.names) head += (head.empty() ? "" : ", ") + bold(name);
  if (!option.value.empty()) head += (option.isValueOptional ? "" : " ") + italic(option.value);
  return head;
}

/// The help's text: paragraphs are filled; indented lines stand as they are, and what belongs to
/// them.
std::string details(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  bool isLiteral = false;
  const auto setLiteral = [&result, &isLiteral](bool value) {
    if (value != isLiteral) result += value ? ".EX\n" : ".EE\n";
    isLiteral = value;
  };
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) {
      setLiteral(false);
      result += ".PP\n";
      continue;
    }
    setLiteral(line.front() == ' ');
    result += plain(line) + "\n";
  }
  setLiteral(false);
  return result;
}

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

}  // namespace

std::string manualPage(const CommandDescription& command, const std::string& tool,
                       const std::string& version) {
  const std::string& own = command.names.front();
  const std::string name = own == tool ? tool : tool + "-" + own;
  std::string page = ".TH " + upperCase(name) + " 1 \"\" \"" + tool + " " + version +
                     "\" \"User Commands\"\n" + section("NAME") + plain(name) + " \\- " +
                     plain(command.description) + "\n" + section("SYNOPSIS") +
                     plain(command.usage) + "\n";
  const auto list = [&page](const char* title, const std::vector<OptionDescription>& options) {
    if (options.empty()) return;
    page += section(title);
    for (const OptionDescription& option : options)
      page += item(headOf(option), option.description);
  };
  list("OPERANDS", command.operands);
  if (!command.commands.empty()) page += section("COMMANDS");
  for (const CommandDescription& sub : command.commands)
    page += item(bold(sub.names.front()),
                 sub.description + "; see " + tool + "-" + sub.names.front() + "(1)");
  list("OPTIONS", command.options);
  page += section("DESCRIPTION") + details(command.details);
  if (own != tool) page += section("SEE ALSO") + bold(tool) + "(1)\n";
  return page;
}

}  // namespace ryx::tools
