// SPDX-License-Identifier: Apache-2.0
// Compressed logs are read like the logs that they hold, by every command and by the viewer.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/toolbox.h"

namespace ryx::tests {
namespace {

constexpr const char* kRecordedLog = RYX_SAMPLES_DIR "/text-detection.log";

class CompressedLogsTest : public ToolboxTest {
 protected:
  void SetUp() override {
    write("run.log", readFile(kRecordedLog));
    shell(
        "gzip -k run.log; zstd -q run.log; head -c 100000 run.log >a; tail -c +100001 run.log >b\n"
        "(gzip <a; gzip <b; head -c 1000 /dev/zero) >two.gz\n"
        "(printf 'P*M\\030\\004\\0\\0\\0size'; zstd -q <a; zstd -q <b) >two.zst\n"
        "head -c 20000 run.log.gz >cut.gz; head -c 20000 run.log.zst >cut.zst\n"
        "(cat run.log.gz; echo more) >damaged.gz\n"
        "(cat run.log.zst; echo more) >damaged.zst; gzip <run.log.gz >twice.gz");
  }

  void shell(const std::string& script) const {
    ASSERT_EQ(0, runScript(script, {}, folder_.path()).status) << script;
  }

  ProcessResult view(const std::string& arguments, const std::string& before = "") const {
    return runScript(before + "\"$@\" " + arguments,
                     {"env", "LD_LIBRARY_PATH=" RYX_PLUGIN_DIR, RYX_VIEWER_PATH}, folder_.path());
  }

  /// The report without its line about where the log is: a temporary file for what is compressed.
  std::string report(const std::string& arguments) const {
    const ProcessResult viewed = view(arguments);
    EXPECT_EQ("", viewed.err);
    return viewed.out.substr(viewed.out.find('\n'));
  }
};

TEST_F(CompressedLogsTest, AreReadLikeTheirContent) {
  const char* commands[] = {"verify",
                            "info --json",
                            "dump",
                            "stats -f json",
                            "cut -o - --last 2",
                            "salvage -o -",
                            "export -o - --format csv --columns event_id,value --last 3",
                            "export -o - --format trace"};
  // By its name, and through a pipe, where the output cannot name it.
  const auto outputs = [this](const std::string& command, const std::string& log) {
    const ProcessResult named =
        runScript("cp " + log + " x; \"$@\" " + command + " x", {RYX_TOOLBOX_PATH}, folder_.path());
    const ProcessResult piped =
        runScript("cat " + log + " | \"$@\" " + command + " -", {RYX_TOOLBOX_PATH}, folder_.path());
    EXPECT_EQ(0, named.status + piped.status) << command << ' ' << log;
    return named.out + named.err + piped.out + piped.err;
  };
  const std::string reported = report("run.log");
  for (const char* log : {"run.log.gz", "run.log.zst", "two.gz", "two.zst"}) {
    for (const char* command : commands)
      EXPECT_EQ(outputs(command, "run.log"), outputs(command, log)) << command << ' ' << log;
    EXPECT_EQ(reported, report(log));
    EXPECT_EQ(reported, report(std::string("- <") + log));
  }
}

TEST_F(CompressedLogsTest, DamagedDataIsReadUpToItsDamage) {
  const struct {
    const char* log;
    const char* damage;
    const char* chunks;
  } cases[] = {
      {"cut.gz", "the file's gzip data ends too early", "2"},
      {"cut.zst", "the file's Zstandard data ends too early", "1"},
      {"damaged.gz", "the file's gzip data is damaged (", "4"},
      {"damaged.zst", "the file's Zstandard data is damaged (", "4"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.log);
    const std::string log = test.log;
    EXPECT_EQ(1, run("info --json " + log));
    EXPECT_NE(std::string::npos, out_.find("\"chunks\": " + std::string(test.chunks))) << out_;
    EXPECT_EQ(0u, err_.find("ryx-profile-log: " + log + ": chunk ")) << err_;
    EXPECT_NE(std::string::npos, err_.find(test.damage)) << err_;
    EXPECT_EQ(1, run("export -o - --format csv --table logs --columns chunks,log " + log));
    EXPECT_EQ("chunks,log\n" + std::string(test.chunks) + "," + log + "\n", out_);
    EXPECT_NE(std::string::npos, err_.find(test.damage)) << err_;
    EXPECT_EQ(0, run("salvage -o good.log " + log));
    EXPECT_NE(std::string::npos, out_.find("kept " + std::string(test.chunks) + " chunk")) << out_;
    EXPECT_NE(std::string::npos, err_.find(test.damage)) << err_;
    const ProcessResult viewed = view(log);
    EXPECT_EQ(1, viewed.status);
    EXPECT_EQ("", viewed.out);
    EXPECT_EQ(0u, viewed.err.find("ryx-profile-viewer: " + log +
                                  ": could not be read to its end: " + test.damage))
        << viewed.err;
    EXPECT_NE(std::string::npos, viewed.err.find("; to rescue the rest: ")) << viewed.err;
  }
  expectFailure("info twice.gz", "twice.gz: not a profiling log; it looks like gzip data");
  write("run.log.gz", read("run.log.gz").substr(0, 8));
  expectFailure("salvage -o none.log run.log.gz",
                "run.log.gz: the file's gzip data ends too early");
  EXPECT_FALSE(exists("none.log"));
}

TEST_F(CompressedLogsTest, TheViewerUnpacksWithinBounds) {
  const std::string name = "ryx-profile-viewer: cannot read run.log.gz: ";
  EXPECT_EQ(name + "cannot decompress the file to a temporary one: File too large\n",
            view("run.log.gz", "ulimit -f 100; ").err);
  EXPECT_EQ(name + "cannot make a temporary file to decompress it to: No such file or directory\n",
            view("run.log.gz", "export TMPDIR=/none; ").err);
#ifndef RYX_SANITIZED
  shell("head -c 100000000 /dev/zero | gzip -1 >zeros.gz");
  const ProcessResult viewed = view("zeros.gz", "ulimit -d 60000; ");
  EXPECT_NE(std::string::npos, viewed.err.find("zeros.gz: could not be read to its end: the file "
                                               "decompresses to more than "))
      << viewed.err;
#endif
  // Unpacked before the process is confined, and again after it.
  const ProcessResult saved = view("--save-objects=payloads run.log.gz run.log run.log.zst");
  EXPECT_EQ(0, saved.status) << saved.err;
  EXPECT_EQ("", saved.err);
}

}  // namespace
}  // namespace ryx::tests
