// SPDX-License-Identifier: Apache-2.0
// ryx-profile-viewer: drives a reader plug-in over profiling logs.
//
// A plug-in says little about how it went, and may be anybody's: it returns true for a report that
// a full disk cut short, and it may throw. So success is pieced together from what it returns, the
// ERROR lines that it logs meanwhile, and whether standard output could be flushed. A log that
// fails does not keep those after it from being reported; its report is taken back, and the exit
// status remembers it.

#include <exception>
#include <new>
#include <string>
#include <variant>

#include "base/status.h"
#include "common/program.h"
#include "common/progress.h"
#include "common/version_text.h"
#include "viewer/confinement.h"
#include "viewer/decompressed_log.h"
#include "viewer/log_input.h"
#include "viewer/log_lines.h"
#include "viewer/options.h"
#include "viewer/payload_folder.h"
#include "viewer/plugin.h"
#include "viewer/report_output.h"
#include "viewer/standard_output.h"

namespace ryx::viewer {
namespace {

using namespace tools;

Status readLog(profiling::ProfileLogReader& reader, const LogInput& log, bool saveObjects,
               const ReportOutput& output) {
  ScopedStandardOutput redirected;
  if (Status status = output.redirect(redirected); !status) return status;
  const Progress progress("reading", log.bytes(), [&log] { return log.readPosition(); });
  return reader.readLogFile(saveObjects) ? Status() : Status::failure(log.explainRefusal());
}

Status makeReport(profiling::ProfileLogReader& reader, const LogInput& log, ReportOutput& output,
                  PayloadFolder& payloads) {
  if (Status status = output.beginReport(); !status) return status;
  ScopedWorkingDirectory workingDirectory;
  if (Status status = payloads.enter(workingDirectory, output.reportFile()); !status)
    return status.of(log.name());
  ScopedStandardOutput redirected;
  if (Status status = output.redirect(redirected); !status) return status;

  const ErrorLines before = errorLines();
  if (!reader.generateOutput(output.readerPath()))
    return Status::failure(log.name() + ": no report could be written to " + output.name());
  // A reader that does not flush learns nothing of a full or closed standard output.
  const bool isFlushed = flushStandardOutput();
  const ErrorLines after = errorLines();
  if (after.named == before.named && (isFlushed || !output.readerPath().empty()))
    output.keepReport();
  if (isFlushed && after.all == before.all) return {};
  return Status::failure(log.name() + ": the report or a payload could not be written in full");
}

Status reportLog(const Plugin& plugin, const Options& options, const LogInput& log,
                 ReportOutput& output, PayloadFolder& payloads) {
  const ReaderPointer reader = plugin.makeReader(log.path(), options.level);
  if (!reader) return Status::failure(log.name() + ": the plug-in has no reader for it");
  const Status status = readLog(*reader, log, options.saveObjects, output);
  return status ? makeReport(*reader, log, output, payloads) : status;
}

/// Whether all went well; says what did not.
bool processLog(const Plugin& plugin, const Options& options, const std::string& operand,
                ReportOutput& output, PayloadFolder& payloads, DecompressedLog& decompressed) {
  const std::string name = inputName(operand);
  try {
    const Result<LogInput> log = LogInput::open(operand, decompressed);
    if (!log) return reportIfFailed(log.status());
    if (log->path() != name) nameInLogLines(log->path(), name);
    if (log->isEmpty()) printError(name + ": empty: no chunks");
    return reportIfFailed(reportLog(plugin, options, *log, output, payloads));
  } catch (const std::bad_alloc&) {
    printOutOfMemory(name.c_str());
  } catch (const std::exception& error) {
    printError(name + ": " + error.what());
  } catch (...) {
    printError(name + ": the plug-in failed without saying why");
  }
  return false;
}

Result<Plugin> loadPlugin(const Options& options) {
  if (!options.pluginPath.empty()) return Plugin::load(options.pluginPath);
  return Plugin::find(options.format == Format::Json ? kGpuPlugin : kBasePlugin);
}

bool processLogs(const Plugin& plugin, const Options& options) {
  ReportOutput output(options);
  if (!reportIfFailed(output.open())) return false;
  DecompressedLog decompressed;
  // Before the process is confined; whether there are compressed logs shows later.
  if (options.saveObjects && !options.unconfined) (void)decompressed.make();
  PayloadFolder payloads(options, decompressed.path());
  bool isGood = true;
  for (const std::string& log : options.logs) {
    isGood = processLog(plugin, options, log, output, payloads, decompressed) && isGood;
    isGood = reportIfFailed(output.endLog()) && isGood;
    summarizeLogLines(inputName(log));
  }
  return reportIfFailed(output.finish()) && isGood;
}

ExitStatus run(const Options& options) {
  if (options.saveObjects && !options.unconfined && !canConfine()) {
    printError(
        "--save-objects: this kernel cannot confine the process to the folder (no Landlock); "
        "--unconfined saves payloads wherever the log says");
    return kExitFailed;
  }
  const Result<Plugin> plugin = loadPlugin(options);
  if (!reportIfFailed(plugin.status())) return kExitFailed;
  // Lines of level ERROR are counted even when none are shown.
  showLogLines(options.shownLogLevel);
  plugin->startLogging(handleLogLine, options.shownLogLevel == 0 ? 1 : options.shownLogLevel);
  const bool isGood = processLogs(*plugin, options);
  plugin->stopLogging();
  return isGood ? kExitGood : kExitFailed;
}

ExitStatus runCommandLine(int argc, char** argv) {
  const auto request = parseOptions(argc, argv);
  if (const auto* answer = std::get_if<Answer>(&request)) return finish(*answer);
  if (const auto* error = std::get_if<UsageError>(&request)) return finish(*error);
  return run(std::get<Options>(request));
}

}  // namespace
}  // namespace ryx::viewer

int main(int argc, char** argv) {
  using namespace ryx;
  return tools::runProgram(viewer::kProgramName, argc, argv, viewer::runCommandLine);
}
