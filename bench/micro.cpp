// SPDX-License-Identifier: Apache-2.0
// The reader's jobs one by one, over small logs of the standard shapes.
//
// Every benchmark measures the floor of its log as well, and shows its own time as a ratio to it
// (`to_floor`): the ratio tells something on any machine, a time only on one.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/floor_pass.h"
#include "bench/log_generator.h"
#include "bench/stopwatch.h"
#include "reader/ryx_profile_log_reader_gpu.h"

namespace {

using benchmark::Counter;
using ryx::bench::countVerifiedChunks;
using ryx::bench::LogShape;
using ryx::bench::Stopwatch;
using ryx::profiling::ProfileLogReader;
using ryx::profiling::RyxProfileLogReader;
using ryx::profiling::RyxProfileLogReaderGPU;
using ryx::profiling::VisibilityLevel;

constexpr VisibilityLevel kEverything{127};

/// The logs made so far, in a folder that goes with the process.
class LogFolder {
 public:
  LogFolder() {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder");
  }
  ~LogFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  LogFolder(const LogFolder&) = delete;
  LogFolder& operator=(const LogFolder&) = delete;

  const std::string& logOf(const std::vector<int64_t>& arguments, const LogShape& shape) {
    std::string& path = logs_[arguments];
    if (!path.empty()) return path;
    path = path_ + "/" + std::to_string(logs_.size()) + ".log";
    std::string error;
    if (!ryx::bench::writeLog(shape, path, error)) throw std::runtime_error(error);
    return path;
  }

 private:
  std::string path_ = (std::filesystem::temp_directory_path() / "ryx-bench-XXXXXX").string();
  std::map<std::vector<int64_t>, std::string> logs_;
};

/// The log that a benchmark's arguments describe, and what is reported about going through it.
class Subject {
 public:
  explicit Subject(benchmark::State& state) : state_(state) {
    static LogFolder folder;
    std::vector<int64_t> arguments;
    for (size_t i = 0; i < 4; ++i) arguments.push_back(state.range(i));
    const auto at = [&](size_t i) { return static_cast<size_t>(arguments[i]); };
    const LogShape shape{at(0), at(1), at(2), at(3)};
    events_ = static_cast<double>(ryx::bench::eventCount(shape));
    log_ = folder.logOf(arguments, shape);
    floor_ = floorSeconds();
  }

  [[nodiscard]] const std::string& log() const { return log_; }

  void add(double seconds) {
    state_.SetIterationTime(seconds);
    total_ += seconds;
  }

  void report() {
    const auto iterations = static_cast<double>(state_.iterations());
    state_.counters["events/s"] = Counter(events_ * iterations, Counter::kIsRate);
    state_.counters["to_floor"] = total_ / iterations / floor_;
  }

 private:
  [[nodiscard]] double floorSeconds() const {
    constexpr int kTries = 3;
    double least = 0;
    for (int i = 0; i < kTries; ++i) {
      const Stopwatch stopwatch;
      if (!countVerifiedChunks(log_)) throw std::runtime_error("the log does not verify");
      const double seconds = stopwatch.seconds();
      least = i == 0 ? seconds : std::min(least, seconds);
    }
    return least;
  }

  benchmark::State& state_;
  std::string log_;
  double events_ = 0;
  double floor_ = 0;
  double total_ = 0;
};

void floorPass(benchmark::State& state) {
  Subject subject(state);
  for ([[maybe_unused]] auto iteration : state) {
    const Stopwatch stopwatch;
    if (!countVerifiedChunks(subject.log())) state.SkipWithError("the log does not verify");
    subject.add(stopwatch.seconds());
  }
  subject.report();
}

void readLogFile(benchmark::State& state) {
  Subject subject(state);
  for ([[maybe_unused]] auto iteration : state) {
    const Stopwatch stopwatch;
    RyxProfileLogReader reader(subject.log(), kEverything);
    if (!reader.readLogFile(false)) state.SkipWithError("the log was not read");
    subject.add(stopwatch.seconds());
  }
  subject.report();
}

[[noreturn]] void reportInChild(ProfileLogReader& reader, const std::string& outputPath,
                                int answer) {
  const int nowhere = open("/dev/null", O_WRONLY);
  if (nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) _exit(1);
  const Stopwatch stopwatch;
  if (!reader.generateOutput(outputPath)) _exit(1);
  const double seconds = stopwatch.seconds();
  _exit(write(answer, &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
}

/// The seconds of one report, or a negative number when it failed. The report is made in a process
/// of its own: it prints, and a process's later JSON reports contain its earlier ones.
double reportSeconds(ProfileLogReader& reader, const std::string& outputPath) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) reportInChild(reader, outputPath, ends[1]);
  close(ends[1]);
  double seconds = 0;
  const bool answered = read(ends[0], &seconds, sizeof seconds) == sizeof seconds;
  close(ends[0]);
  int status = 0;
  const bool ended = child > 0 && waitpid(child, &status, 0) == child && status == 0;
  return answered && ended ? seconds : -1;
}

template <typename Reader>
void generateOutput(benchmark::State& state, const std::string& outputPath) {
  Subject subject(state);
  Reader reader(subject.log(), kEverything);
  if (!reader.readLogFile(false)) state.SkipWithError("the log was not read");
  for ([[maybe_unused]] auto iteration : state) {
    const double seconds = reportSeconds(reader, outputPath);
    if (seconds < 0) state.SkipWithError("no report was made");
    subject.add(std::max(seconds, 0.0));
  }
  subject.report();
}

void textReport(benchmark::State& state) { generateOutput<RyxProfileLogReader>(state, ""); }

void csvReport(benchmark::State& state) { generateOutput<RyxProfileLogReader>(state, "/dev/null"); }

void jsonReport(benchmark::State& state) {
  generateOutput<RyxProfileLogReaderGPU>(state, "/dev/null");
}

/// The standard shapes at a twentieth of their size.
void smallShapes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"graphs", "executions", "roots", "subs"})
      ->Args({4, 100, 60, 8})
      ->Args({1, 20, 5000, 1})
      ->Args({1000, 4, 25, 1})
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

BENCHMARK(floorPass)->Name("Floor")->Apply(smallShapes);
BENCHMARK(readLogFile)->Name("ReadLogFile")->Apply(smallShapes);
BENCHMARK(textReport)->Name("GenerateOutput/text")->Apply(smallShapes);
BENCHMARK(csvReport)->Name("GenerateOutput/csv")->Apply(smallShapes);
BENCHMARK(jsonReport)->Name("GenerateOutput/json")->Apply(smallShapes);

}  // namespace

BENCHMARK_MAIN();
