// SPDX-License-Identifier: Apache-2.0
// ryx-bench-run-timed: runs a command, its standard output in a file, and prints the wall seconds
// and the peak memory in bytes of the whole process.
//
// Peak memory is what the process itself had resident: what it wrote to files is not in it, even
// where those are in memory.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "bench/stopwatch.h"

namespace {

constexpr int kNotStarted = 127;

[[noreturn]] void execute(const char* output, char** command) {
  const int file = open(output, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file >= 0 && dup2(file, STDOUT_FILENO) >= 0) execvp(command[0], command);
  std::perror(command[0]);
  _exit(kNotStarted);
}

int runTimed(const char* output, char** command) {
  const ryx::bench::Stopwatch stopwatch;
  const pid_t child = fork();
  if (child < 0) {
    std::perror("fork");
    return 1;
  }
  if (child == 0) execute(output, command);
  int status = 0;
  rusage usage = {};
  if (wait4(child, &status, 0, &usage) != child) {
    std::perror("wait4");
    return 1;
  }
  const double seconds = stopwatch.seconds();
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "ryx-bench-run-timed: %s failed\n", command[0]);
    return 1;
  }
  constexpr intmax_t kBytesPerKibibyte = 1024;
  std::printf("%.6f s, %jd bytes\n", seconds, intmax_t{usage.ru_maxrss} * kBytesPerKibibyte);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: ryx-bench-run-timed OUTPUT COMMAND...\n", stderr);
    return 2;
  }
  return runTimed(argv[1], argv + 2);
}
