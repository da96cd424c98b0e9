#include "viewer/log_lines.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <new>
#include <string_view>

#include "base/printable_text.h"
#include "ryx/logging.h"

namespace ryx::viewer {
namespace {

std::atomic<uint32_t> g_shownLevel{log::RYX_LOG_LEVEL_ERROR};
std::atomic<uint64_t> g_errorLines{0};

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

/// Formats into `line` after its first `used` characters; answers the length that would be needed.
size_t formatAfter(char* line, size_t size, size_t used, const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  const int length = vsnprintf(line + used, size - used, format, copy);
  va_end(copy);
  return used + static_cast<size_t>(std::max(length, 0));
}

/// One write per line, so that lines of several threads or processes do not mix. Lines name files
/// that a log named, so a terminal gets them escaped.
void printLine(std::string_view line) {
  std::string shown = isatty(STDERR_FILENO) ? log::printable(line) : std::string(line);
  shown += '\n';
  fwrite(shown.data(), 1, shown.size(), stderr);
}

}  // namespace

void complain(const std::string& text) { printLine("ryx-profile-viewer: " + text); }

void complain(const std::string& file, const std::string& text) { complain(file + ": " + text); }

void showLogLines(uint32_t level) { g_shownLevel = level; }

void handleLogLine(const char* format, uint32_t level, uint64_t timestamp, va_list arguments) {
  if (level == log::RYX_LOG_LEVEL_ERROR) ++g_errorLines;
  if (level > g_shownLevel) return;

  char line[1024];
  const auto used =
      static_cast<size_t>(snprintf(line, sizeof line, "%8.1fms [%-7s] ",
                                   static_cast<double>(timestamp) / 1e6, levelLabel(level)));
  const size_t needed = formatAfter(line, sizeof line, used, format, arguments);
  try {
    if (needed < sizeof line) return printLine({line, needed});
    std::string longLine(line, used);
    longLine.resize(needed + 1);
    formatAfter(longLine.data(), longLine.size(), used, format, arguments);
    printLine({longLine.data(), needed});
  } catch (const std::bad_alloc&) {
    fputs("ryx-profile-viewer: out of memory\n", stderr);
  }
}

uint64_t errorLineCount() { return g_errorLines; }

}  // namespace ryx::viewer
