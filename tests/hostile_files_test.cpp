// SPDX-License-Identifier: Apache-2.0
// The viewer on things that are no files, and on logs that are made to exhaust it.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ryx/profile_log_writer.h"
#include "tests/process.h"

namespace ryx::tests {
namespace {

class HostileFilesTest : public testing::Test {
 protected:
  ProcessResult view(const std::string& log, const std::string& script = "exec \"$@\"") const {
    return runScript(script, {RYX_VIEWER_PATH, log}, folder_.path());
  }

  /// Views `content` through a pipe with a name.
  ProcessResult viewPiped(const std::string& content) const {
    const std::string path = folder_ / "pipe";
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    std::thread feeder([&] { writeFile(path, content); });
    ProcessResult result = view(path);
    feeder.join();
    unlink(path.c_str());
    return result;
  }

  /// Writes a log of `count` times the same message; answers its bytes.
  std::string logOf(const profiling::MessageRecord& message, int count) const {
    profiling::ProfileLogWriter writer;
    bool good = writer.open(log_);
    for (int i = 0; i < count; ++i) good = good && writer.addMessage(message);
    EXPECT_TRUE(good && writer.close()) << writer.error();
    return readFile(log_);
  }

  TemporaryFolder folder_;
  const std::string log_ = folder_ / "run.log";
};

/// Without its first line, which names the log.
std::string body(const std::string& report) { return report.substr(report.find('\n') + 1); }

TEST_F(HostileFilesTest, PipesAreReadToTheirEnd) {
  const std::string sample = RYX_SAMPLES_DIR "/text-detection.log";
  const std::string log = readFile(sample);
  const ProcessResult piped = viewPiped(log);
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(body(piped.out), body(view(sample).out));
  EXPECT_EQ(viewPiped(log.substr(0, log.size() / 2)).status, 1);
  EXPECT_EQ(viewPiped("\xfe\xff\xff\x7f" + log.substr(5)).status, 1);
  EXPECT_EQ(viewPiped("").status, 0);
}

TEST_F(HostileFilesTest, DevicesAndFolders) {
  EXPECT_EQ(view("/dev/null").status, 0);
  EXPECT_EQ(view("/dev/zero").status, 1);
  EXPECT_EQ(view(folder_.path()).status, 1);
  const ProcessResult unreadable = view("/proc/self/mem");
  EXPECT_EQ(unreadable.status, 1);
  EXPECT_NE(unreadable.err.find("could not be read to its end: Input/output error\n"),
            std::string::npos)
      << unreadable.err;
}

#ifndef RYX_SANITIZED  // sanitizers have memory needs of their own

/// The most memory that the viewer, given 1 GiB to address, holds at once for a log, in MiB.
long residentMegabytes(const std::string& log) {
  const pid_t child = fork();
  if (child == 0) {
    (void)!freopen("/dev/null", "w", stdout);
    (void)!freopen("/dev/null", "w", stderr);
    execl("/bin/sh", "sh", "-c", "ulimit -v 1048576; exec \"$@\"", "sh", RYX_VIEWER_PATH,
          log.c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  EXPECT_EQ(wait4(child, &status, 0, &usage), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << log << ' ' << status;
  return usage.ru_maxrss / 1024;
}

TEST_F(HostileFilesTest, AnnouncedBytesCostNothing) {
  const std::string sixteen = "abcdefghijklmnop";
  writeFile(folder_ / "4 GiB", "\xff\xff\xff\xff" + sixteen);
  writeFile(folder_ / "1.5 GiB", "\xff\xff\xff\x5f" + sixteen);
  writeFile(folder_ / "900 MiB", "\xff\xff\xff\x37" + sixteen);
  // Sound to its last byte: a list of events, which has 20 million of them in the zeros that stand
  // for what the file does not hold.
  profiling::MessageRecord message;
  message.method = profiling::ProfiledMethod::Init;
  message.emptyEvents = true;
  std::string log = logOf(message, 1);
  log.replace(0, 4, std::string("\0\0\0\x06", 4));
  log.replace(log.size() - 4, 4, std::string("\x00\x2d\x31\x01", 4));
  writeFile(folder_ / "events", log);
  for (const char* name : {"4 GiB", "1.5 GiB", "900 MiB", "events"})
    EXPECT_LT(residentMegabytes(folder_ / name), 64) << name;
}

TEST_F(HostileFilesTest, ExhaustedMemoryIsOneLine) {
  const std::vector<profiling::EventRecord> events(1000);
  profiling::MessageRecord message;
  message.method = profiling::ProfiledMethod::Execute;
  message.text = "net";
  message.events = events;
  logOf(message, 2000);
  const ProcessResult result = view(log_, "ulimit -v 200000; exec \"$@\"");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "ryx-profile-viewer: " + log_ + ": out of memory\n");
}

#endif

}  // namespace
}  // namespace ryx::tests
