// SPDX-License-Identifier: Apache-2.0
// Kinds are told apart by the format, not by the text: a log can put a different name into each
// line, but it cannot choose formats, so the table of kinds stays small. Errors are counted whether
// they are shown or not, because they decide whether a report is kept and with what status the
// process ends.

#include "viewer/log_lines.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "common/program.h"
#include "ryx/logging.h"

namespace ryx::viewer {
namespace {

constexpr uint64_t kPrintedOfAKind = 5;

struct State {
  std::mutex mutex;  // plug-ins may log from threads of their own
  uint32_t shownLevel = log::RYX_LOG_LEVEL_ERROR;
  std::map<std::string, std::string> names;  // by path
  ErrorLines errors;
  std::map<std::string, uint64_t, std::less<>> kinds;  // shown lines, by format
};

State& state() {
  static State instance;
  return instance;
}

const char* levelLabel(uint32_t level) {
  switch (level) {
    case log::RYX_LOG_LEVEL_ERROR: return " ERROR ";
    case log::RYX_LOG_LEVEL_WARN: return "WARNING";
    case log::RYX_LOG_LEVEL_INFO: return "  INFO ";
    case log::RYX_LOG_LEVEL_VERBOSE: return "VERBOSE";
    case log::RYX_LOG_LEVEL_DEBUG: return " DEBUG ";
  }
  return "";
}

std::string formatted(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  const int length = vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
  if (length > 0) vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

/// Puts the user's names in. Whether the line is about one of the paths.
bool replacePaths(std::string& text, const std::map<std::string, std::string>& names) {
  bool isNamed = false;
  for (const auto& [path, name] : names) {
    isNamed = isNamed || text.find("[" + path + "]") != std::string::npos;
    if (path == name) continue;
    for (size_t at = 0; (at = text.find(path, at)) != std::string::npos; at += name.size())
      text.replace(at, path.size(), name);
  }
  return isNamed;
}

/// Whether one more line of this format is printed.
bool countKind(State& lines, const char* format) {
  if (lines.shownLevel >= log::RYX_LOG_LEVEL_VERBOSE) return true;
  const auto kind = lines.kinds.find(std::string_view(format));
  return ++(kind != lines.kinds.end() ? kind->second : lines.kinds[format]) <= kPrintedOfAKind;
}

void handle(const char* format, uint32_t level, uint64_t timestamp, va_list arguments) {
  State& lines = state();
  const std::lock_guard<std::mutex> lock(lines.mutex);
  const bool isError = level == log::RYX_LOG_LEVEL_ERROR;
  if (isError) ++lines.errors.all;
  const bool isPrinted = level <= lines.shownLevel && countKind(lines, format);
  if (!isPrinted && !isError) return;
  std::string text = formatted(format, arguments);
  if (replacePaths(text, lines.names) && isError) ++lines.errors.named;
  if (!isPrinted) return;
  char prefix[64];
  snprintf(prefix, sizeof prefix, "%8.1fms [%-7s] ", static_cast<double>(timestamp) / 1e6,
           levelLabel(level));
  tools::printErrorLine(prefix + text);
}

}  // namespace

void showLogLines(uint32_t level) { state().shownLevel = level; }

void nameInLogLines(const std::string& path, const std::string& name) {
  if (!path.empty()) state().names[path] = name;
}

void handleLogLine(const char* format, uint32_t level, uint64_t timestamp, va_list arguments) {
  try {
    handle(format, level, timestamp, arguments);
  } catch (const std::bad_alloc&) {
    tools::printOutOfMemory();
  }
}

ErrorLines errorLines() { return state().errors; }

void summarizeLogLines(const std::string& log) {
  const auto kinds = std::exchange(state().kinds, {});
  for (const auto& [format, count] : kinds)
    if (count > kPrintedOfAKind)
      tools::printError(log + ": " + std::to_string(count - kPrintedOfAKind) +
                        " more lines like: " + format);
}

}  // namespace ryx::viewer
