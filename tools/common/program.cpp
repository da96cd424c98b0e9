// SPDX-License-Identifier: Apache-2.0
// What a process begins with is its parent's choice: closed streams, ignored signals, a limit to
// the size of files. A tool that takes them as they come writes its report into a log that was
// opened as descriptor 1, or goes on for minutes into a pipe that nobody reads. They are put in
// order once, here, and every tool behaves alike.
//
// Errors are written to the descriptor and not through a stream, in one piece, so that lines of
// several processes do not mix and none is left in a buffer when the process ends at once.

#include "common/program.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "base/descriptor.h"
#include "base/memory_limit.h"
#include "base/printable_text.h"
#include "base/signal_undo.h"
#include "common/progress.h"
#include "compression/decompression.h"

namespace ryx::tools {
namespace {

const char* g_name = nullptr;

/// Before `runProgram` the system knows the name.
const char* programName() { return g_name != nullptr ? g_name : program_invocation_short_name; }

void chooseSignals() {
  std::signal(SIGPIPE, SIG_DFL);
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigprocmask(SIG_UNBLOCK, &pipe, nullptr);
  std::signal(SIGXFSZ, SIG_IGN);
  undoOnSignals();
}

/// Says what the exception in flight is. Allocates nothing for exhausted memory.
void printException() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    printOutOfMemory();
  } catch (const std::exception& error) {
    printError(error.what());
  } catch (...) {
    printError("failed for an unknown reason");
  }
}

/// For what is thrown where nothing may be, as by a destructor, or before `main`. Where there is no
/// exception, there was no memory for one.
[[noreturn]] void endAfterException() {
  if (std::current_exception())
    printException();
  else
    printOutOfMemory();
  _exit(kExitFailed);
}

/// Before the objects that are made before `main`, which need memory, too.
[[gnu::constructor(101)]] void handleTermination() { std::set_terminate(endAfterException); }

/// The bytes of a file, counted as they are read.
class CountedSource : public profiling::ByteSource {
 public:
  explicit CountedSource(std::unique_ptr<profiling::ByteSource> source)
      : source_(std::move(source)) {}

  [[nodiscard]] Result<size_t> read(uint8_t* destination, size_t size) override {
    Result<size_t> count = source_->read(destination, size);
    if (count) advanceProgress(*count);
    return count;
  }

 private:
  std::unique_ptr<profiling::ByteSource> source_;
};

/// Logs may be compressed, whatever reads them.
Result<std::unique_ptr<profiling::ByteSource>> openLog(const std::string& path) {
  Result<std::unique_ptr<profiling::ByteSource>> source = profiling::openFileSource(path);
  if (!source) return source.status();
  return profiling::decompressed(std::make_unique<CountedSource>(std::move(*source)));
}

}  // namespace

int runProgram(const char* name, int argc, char** argv, ExitStatus (*run)(int argc, char** argv)) {
  g_name = name;
  if (!fillStandardDescriptors()) return kExitFailed;
  chooseSignals();
  profiling::chooseLogOpener(openLog);
  try {
    limitMemory();
    return run(argc, argv);
  } catch (...) {
    printException();
  }
  return kExitFailed;
}

void printErrorLine(std::string line) {
  if (isatty(STDERR_FILENO) != 0) line = printable(line);
  line += '\n';
  hideProgress();
  (void)writeAll(STDERR_FILENO, line.data(), line.size());
}

void printError(const std::string& text) { printErrorLine(programName() + (": " + text)); }

void printOutOfMemory(const char* subject) {
  const auto print = [](const char* text) {
    (void)writeAll(STDERR_FILENO, text, std::strlen(text));
  };
  print(programName());
  if (subject != nullptr) {
    print(": ");
    print(subject);
  }
  print(": out of memory\n");
}

bool reportIfFailed(const Status& status) {
  if (!status) printError(status.text());
  return status.isGood();
}

Status printOutput(std::string_view text) {
  hideProgress();
  const bool isPrinted = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
                         std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  return isPrinted ? Status() : Status::system().of("cannot write standard output");
}

ExitStatus finish(const Answer& answer) {
  return reportIfFailed(printOutput(answer.text)) ? kExitGood : kExitFailed;
}

ExitStatus finish(const UsageError& error) {
  printError(error.text);
  printErrorLine("Try '" + error.helpCommand + "' for more information.");
  return kExitUsage;
}

}  // namespace ryx::tools
