// ryx-profile-viewer: drives a reader plug-in over profiling logs.

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <variant>

#include "viewer/confinement.h"
#include "viewer/damage.h"
#include "viewer/descriptors.h"
#include "viewer/log_lines.h"
#include "viewer/memory_limit.h"
#include "viewer/options.h"
#include "viewer/payload_folder.h"
#include "viewer/plugin.h"
#include "viewer/report_output.h"

namespace ryx::viewer {
namespace {

enum ExitStatus { kExitGood = 0, kExitFailed = 1, kExitUsage = 2 };

constexpr char kBasePlugin[] = "libRyxProfilingReader.so";
constexpr char kGpuPlugin[] = "libRyxGpuProfilingReader.so";

bool readLog(profiling::ProfileLogReader& reader, const Options& options, const std::string& log,
             const ReportOutput& output) {
  const auto redirection = output.redirect();
  if (reader.readLogFile(options.saveObjects)) return true;
  complain(log, "could not be read to its end" + explainDamage(log));
  return false;
}

bool makeReport(profiling::ProfileLogReader& reader, const std::string& log, ReportOutput& output,
                PayloadFolder& payloads) {
  if (!output.beginReport()) return false;
  const PayloadFolder::Visit visit(payloads, output.reportFile());
  const auto redirection = output.redirect();
  const uint64_t errorsBefore = errorLineCount();
  if (!reader.generateOutput(output.readerPath())) {
    complain(log, "no report could be written to " + output.name());
    return false;
  }
  // A reader that does not flush learns nothing of a full or closed standard output.
  const bool flushed = flushStandardOutput();
  if (flushed && errorLineCount() == errorsBefore) return true;
  complain(log, "the report or a payload could not be written in full");
  return false;
}

bool processLog(const Plugin& plugin, const Options& options, const std::string& log,
                ReportOutput& output, PayloadFolder& payloads) {
  try {
    const ReaderPointer reader = plugin.makeReader(log, options.level);
    if (!reader) {
      complain(log, "the plug-in has no reader for it");
      return false;
    }
    return readLog(*reader, options, log, output) && makeReport(*reader, log, output, payloads);
  } catch (const std::bad_alloc&) {
    complain(log, "out of memory");
  } catch (const std::exception& error) {
    complain(log, error.what());
  }
  return false;
}

std::optional<Plugin> loadPlugin(const Options& options, std::string& error) {
  if (!options.pluginPath.empty()) return Plugin::load(options.pluginPath, error);
  return Plugin::find(options.format == Format::Json ? kGpuPlugin : kBasePlugin, error);
}

ExitStatus run(const Options& options) {
  if (options.saveObjects && !options.unconfined && !canConfine()) {
    complain(
        "--save-objects: this kernel cannot confine the process to the folder (no Landlock); "
        "--unconfined saves payloads wherever the log says");
    return kExitFailed;
  }
  std::string error;
  const std::optional<Plugin> plugin = loadPlugin(options, error);
  if (!plugin) {
    complain(error);
    return kExitFailed;
  }
  // Lines of level ERROR are counted even when none are shown.
  showLogLines(options.shownLogLevel);
  plugin->startLogging(handleLogLine, options.shownLogLevel == 0 ? 1 : options.shownLogLevel);

  limitMemory();
  ReportOutput output(options);
  PayloadFolder payloads(options);
  bool good = true;
  for (const std::string& log : options.logs) {
    good = processLog(*plugin, options, log, output, payloads) && good;
    good = output.endLog() && good;
  }
  good = output.finish() && good;
  plugin->stopLogging();
  return good ? kExitGood : kExitFailed;
}

ExitStatus act(const Options& options) { return run(options); }

ExitStatus act(const Answer& answer) {
  std::fwrite(answer.text.data(), 1, answer.text.size(), stdout);
  if (flushStandardOutput()) return kExitGood;
  complain("standard output: could not be written");
  return kExitFailed;
}

ExitStatus act(const UsageError& error) {
  complain(error.text);
  complain("see ryx-profile-viewer --help");
  return kExitUsage;
}

}  // namespace
}  // namespace ryx::viewer

int main(int argc, char** argv) {
  using namespace ryx::viewer;
  if (!fillStandardDescriptors()) return kExitFailed;
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is a failed write like any other
  try {
    const auto request = parseOptions(argc, argv);
    return std::visit([](const auto& chosen) { return act(chosen); }, request);
  } catch (const std::bad_alloc&) {
    std::fputs("ryx-profile-viewer: out of memory\n", stderr);
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return kExitFailed;
}
