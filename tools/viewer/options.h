// SPDX-License-Identifier: Apache-2.0
// The viewer's command line.

#ifndef RYX_VIEWER_OPTIONS_H
#define RYX_VIEWER_OPTIONS_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "common/command_line.h"

namespace ryx::viewer {

using tools::Answer;
using tools::UsageError;

constexpr char kProgramName[] = "ryx-profile-viewer";

enum class Format { Text, Csv, Json };

/// What becomes of a CSV file that is there already. Other files are always begun anew.
enum class Existing { AppendAloud, Append, Replace };

struct Options {
  Format format = Format::Text;
  std::string outputPath;  ///< "-" is standard output; empty, for text only: no report file
  Existing existing = Existing::AppendAloud;
  int8_t level = 127;
  bool saveObjects = false;
  std::string payloadFolder;   ///< where object payloads are saved
  bool unconfined = false;     ///< payloads go wherever the log says
  std::string pluginPath;      ///< empty: the format's own plug-in
  uint32_t shownLogLevel = 1;  ///< a ryx::log::LogLevel, or 0 for none
  std::vector<std::string> logs;
};

/// Reads the command line. Probes the files that it names only to refuse a report that would
/// replace one of the logs, and a folder that was meant for --save-objects.
[[nodiscard]] std::variant<Options, Answer, UsageError> parseOptions(int argc,
                                                                     const char* const* argv);

}  // namespace ryx::viewer

#endif
