// SPDX-License-Identifier: Apache-2.0
// What both tools promise of their command lines: help, versions, and how wrong usage is refused.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/process.h"

namespace ryx::tests {
namespace {

class CommandLineTest : public testing::Test {
 protected:
  /// Runs a tool's command line as a shell would, in the test's folder.
  ProcessResult run(const std::string& commandLine) const {
    return runScript("viewer() { " RYX_VIEWER_PATH " \"$@\"; }; toolbox() { " RYX_TOOLBOX_PATH
                     " \"$@\"; }; " +
                         commandLine,
                     {}, folder_.path());
  }

  TemporaryFolder folder_;
};

TEST_F(CommandLineTest, WrongUsageNamesWhatIsWrong) {
  writeFile(folder_ / "run.log", "precious");
  std::filesystem::create_hard_link(folder_ / "run.log", folder_ / "link.csv");
  const struct {
    const char* commandLine;
    const char* error;
  } cases[] = {
      {"viewer", "LOG is required"},
      {"viewer --lvl 3 run.log", "unknown option '--lvl'; did you mean '--level'?"},
      {"viewer --bogus=1 run.log", "unknown option '--bogus'"},
      {"viewer -f xml run.log", "--format: unknown format 'xml'; known are text, csv, json"},
      {"viewer -f 0 run.log", "--format: unknown format '0'; known are text, csv, json"},
      {"viewer --log-level loud run.log",
       "--log-level: unknown level 'loud'; known are off, error, warn, info, verbose, debug"},
      {"viewer -l 128 run.log", "--level: '128' is not a number between -128 and 127"},
      {"viewer -l -129 run.log", "--level: '-129' is not a number between -128 and 127"},
      {"viewer -l 1.5 run.log", "--level: '1.5' is not a number between -128 and 127"},
      {"viewer -l '' run.log", "--level: '' is not a number between -128 and 127"},
      {"viewer -o a -o b run.log", "--output: given twice"},
      {"viewer run.log -o", "--output: needs a value"},
      {"viewer -o '' run.log", "--output: empty path"},
      {"viewer --plugin '' run.log", "--plugin: empty path"},
      {"viewer --output= run.log other.log", "--output: empty value"},  // must not write to run.log
      {"viewer -o link.csv x run.log", "run.log is also the output and would be overwritten"},
      {"viewer -o link.csv - <run.log", "standard input is also the output and would be"},
      {"viewer -o out.html run.log",
       "out.html: unknown extension '.html'; the formats are text "
       "(.txt), csv (.csv), json (.json)"},
      {"viewer -f csv -o x.json run.log", "x.json: the extension contradicts --format csv; the "},
      {"viewer --append -o x.json run.log", "--append: only a csv report can be appended"},
      {"viewer --append --force -o x.csv run.log", "--append excludes --force"},
      {"viewer - run.log -", "standard input (-) can be read only once"},
      {"viewer --save-objects . run.log", "'.' is not a log; did you mean --save-objects=.?"},
      {"viewer --save-objects new", "'new' is not a log; did you mean --save-objects=new?"},
      {"viewer --save-objects= run.log", "--save-objects: empty value"},
      {"viewer --unconfined run.log", "--unconfined requires --save-objects"},
      {"toolbox", "a command is required"},
      {"toolbox inof", "unknown command 'inof'; did you mean 'info'?"},
      {"toolbox ver run.log", "unknown command 'ver'; did you mean 'verify'?"},
      {"toolbox help bogus", "unknown command 'bogus'; known are "},
      {"toolbox bogus --help", "unknown command 'bogus'; known are "},
      {"toolbox --verison", "unknown option '--verison'; did you mean '--version'?"},
      {"toolbox dump", "LOG is required"},
      {"toolbox dump -x run.log", "unknown option '-x'"},
      {"toolbox make a b c", "unexpected argument 'c'"},
      {"toolbox cut run.log", "--output is required"},
      {"toolbox cut run.log -o new.log --grap x",
       "unknown option '--grap'; did you mean '--graph'?"},
      {"toolbox cut run.log -o new.log --first 0x10",
       "--first: '0x10' is not a number between 0 and 18446744073709551615"},
  };
  for (const auto& [commandLine, error] : cases) {
    SCOPED_TRACE(commandLine);
    const ProcessResult result = run(commandLine);
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("", result.out);
    const std::string tool = *commandLine == 'v' ? "ryx-profile-viewer" : "ryx-profile-log";
    EXPECT_EQ(0U, result.err.rfind(tool + ": " + error, 0)) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("\nTry '" + tool)) << result.err;
    EXPECT_EQ("precious", readFile(folder_ / "run.log"));
  }
}

TEST_F(CommandLineTest, HelpAndVersionAreAlikeInBothTools) {
  const struct {
    const char* commandLine;
    std::vector<const char*> parts;  ///< in this order
  } cases[] = {
      {"viewer --help",
       {"Usage: ryx-profile-viewer [OPTIONS] LOG...\n\nOperands:\n", "  -f, --format FORMAT   ",
        "      --save-objects[=DIR]   ", "  -h, --help   ", "\nExamples:\n"}},
      {"viewer help", {"Usage: ryx-profile-viewer [OPTIONS] LOG...\n", "\nExamples:\n"}},
      {"toolbox help",
       {"Usage: ryx-profile-log [OPTIONS] COMMAND\n\nCommands:\n", "\n  make, build   ",
        "  -h, --help   ", "\nExamples:\n"}},
      {"toolbox --help", {"Usage: ryx-profile-log [OPTIONS] COMMAND\n\nCommands:\n"}},
      {"toolbox cut -h",
       {"Usage: ryx-profile-log cut [OPTIONS] LOG -o PART\n\nOperands:\n", "  -o, --output PART   ",
        "  -h, --help   ", "\nExamples:\n"}},
      {"for command in make dump verify info salvage cut; do toolbox help $command || exit; done",
       {"\nExample", "\nExample", "\nExample", "\nExample", "\nExample", "\nExample"}},
      {"viewer -V",
       {"ryx-profile-viewer " RYX_PROFILE_VERSION "\ncommit ", ", compiled by ",
        "\nlog format 1, reader plug-in interface 1\nreader plug-ins:\n  " RYX_PLUGIN_DIR
        "/libRyxProfilingReader.so\n  " RYX_PLUGIN_DIR "/libRyxGpuProfilingReader.so\n"}},
      {"toolbox --version",
       {"ryx-profile-log " RYX_PROFILE_VERSION "\ncommit ",
        "  " RYX_PLUGIN_DIR "/libRyxGpuProfilingReader.so\n"}},
  };
  for (const auto& [commandLine, parts] : cases) {
    SCOPED_TRACE(commandLine);
    const ProcessResult result = run(commandLine);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.err);
    size_t at = 0;
    for (const char* part : parts) {
      at = result.out.find(part, at);
      ASSERT_NE(std::string::npos, at) << part << result.out;
      ++at;
    }
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);)
      EXPECT_TRUE(line.size() <= 80 || line[2] == '/') << line;
  }
}

// "help", a command's name and "[a,b]" may also be what files are called.
TEST_F(CommandLineTest, OperandsAreTakenAsTheyStand) {
  for (const char* name : {"help", "dump", "[a,b]", "--level="}) writeFile(folder_ / name, "{}");
  const ProcessResult made =
      run("toolbox make dump make && toolbox make '[a,b]' '[c]' && cmp make '[c]'");
  EXPECT_EQ(0, made.status) << made.err;
  for (const char* commandLine :
       {"viewer help", "viewer '[a,b]'", "viewer -- --level=", "toolbox verify -- --level="}) {
    const ProcessResult result = run(commandLine);
    EXPECT_EQ(std::string::npos, result.out.find("Usage:")) << commandLine;
    EXPECT_NE(2, result.status) << result.err;
  }
}

TEST_F(CommandLineTest, OutputThatIsLostIsAFailure) {
  for (const char* tool : {"viewer", "toolbox"}) {
    for (const char* option : {" --help", " --version"}) {
      SCOPED_TRACE(tool + std::string(option));
      const ProcessResult full = run(tool + std::string(option) + " >/dev/full");
      EXPECT_EQ(1, full.status);
      EXPECT_NE(std::string::npos, full.err.find("standard output: No space left on device\n"));
      EXPECT_EQ(1, run(tool + std::string(option) + " >&-").status);
      // Killed without a word, even where the parent ignores the signal.
      const ProcessResult broken =
          run("trap '' PIPE; " + std::string(kToNobody) + (tool + std::string(option)) + " >&4");
      EXPECT_EQ(128 + SIGPIPE, broken.status);
      EXPECT_EQ("", broken.err);
    }
  }
}

}  // namespace
}  // namespace ryx::tests
