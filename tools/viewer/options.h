// The viewer's command line.

#ifndef RYX_VIEWER_OPTIONS_H
#define RYX_VIEWER_OPTIONS_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace ryx::viewer {

enum class Format { Text, Csv, Json };

/// The output path that stands for standard output.
constexpr char kStandardOutputPath[] = "-";

struct Options {
  Format format = Format::Text;
  std::string outputPath;  ///< empty: no report file
  int8_t level = 127;
  bool saveObjects = false;
  std::string payloadFolder = ".";  ///< where object payloads are saved
  bool unconfined = false;          ///< payloads go wherever the log says
  std::string pluginPath;           ///< empty: the format's own plug-in
  uint32_t shownLogLevel = 1;       ///< a ryx::log::LogLevel, or 0 for none
  std::vector<std::string> logs;
};

/// What --help or --version asks for, to be printed on standard output.
struct Answer {
  std::string text;
};

/// What is wrong with the command line, in one sentence.
struct UsageError {
  std::string text;
};

/// Reads the command line. Looks at the files it names only to refuse a report that would replace
/// one of the logs.
[[nodiscard]] std::variant<Options, Answer, UsageError> parseOptions(int argc,
                                                                     const char* const* argv);

}  // namespace ryx::viewer

#endif
