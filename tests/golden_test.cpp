// SPDX-License-Identifier: Apache-2.0
// Every folder in tests/golden is a case: a log as JSON, and every output that it must give.
//
//     log.json          the log, as ryx-profile-log make takes it
//     text.txt          standard output of -f text, and of -f csv
//     report.csv        the CSV report
//     summary.txt       standard output of -f json
//     report.json       the JSON report (left out where values are addresses, as of strings)
//     text-saved/       the payload files that -f text --save-objects writes (left out: none)
//     json-saved/       the same for -f json
//     export.FORMAT     what ryx-profile-log export makes of it (left out: not compared)
//     stats.FORMAT      likewise ryx-profile-log stats
//
// @VERSION@ in them stands for the tool's version. A new case's outputs are made by running the
// tests with RYX_UPDATE_GOLDEN=1 and then reading what they hold, line by line.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>

#include "tests/process.h"

namespace ryx::tests {
namespace {

namespace fs = std::filesystem;

const fs::path kGoldenFolder = RYX_GOLDEN_DIR;

std::vector<std::string> caseNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(kGoldenFolder))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

/// Names and contents of a folder's files.
std::map<std::string, std::string> filesIn(const fs::path& folder) {
  std::map<std::string, std::string> files;
  if (fs::exists(folder))
    for (const auto& entry : fs::directory_iterator(folder))
      files[entry.path().filename()] = readFile(entry.path());
  return files;
}

class GoldenTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    const auto made =
        runProcess({RYX_TOOLBOX_PATH, "make", golden("log.json"), "case.log"}, work_.path());
    ASSERT_EQ(0, made.status) << made.err;
  }

  [[nodiscard]] std::string golden(const std::string& name) const {
    return kGoldenFolder / GetParam() / name;
  }

  /// Runs the viewer on the case's log, in its folder, and answers its standard output.
  std::string view(std::vector<std::string> arguments, const std::string& folder) {
    arguments.insert(arguments.begin(), {"env", "TZ=UTC", RYX_VIEWER_PATH});
    arguments.push_back("case.log");
    const auto result = runProcess(arguments, folder);
    EXPECT_EQ(0, result.status) << result.err;
    return result.out;
  }

  void expectGolden(const std::string& name, const std::string& content) {
    if (std::getenv("RYX_UPDATE_GOLDEN") != nullptr)
      writeFile(golden(name), replaced(content, RYX_PROFILE_VERSION, "@VERSION@"));
    EXPECT_EQ(replaced(readFile(golden(name)), "@VERSION@", RYX_PROFILE_VERSION), content) << name;
  }

  /// Runs the viewer with payloads saved, in a folder that holds nothing else.
  void expectSaved(const std::string& name, const std::vector<std::string>& arguments) {
    const fs::path folder = work_ / name;
    fs::create_directory(folder);
    fs::create_symlink("../case.log", folder / "case.log");
    view(arguments, folder);
    fs::remove(folder / "case.log");
    const auto saved = filesIn(folder);
    if (std::getenv("RYX_UPDATE_GOLDEN") != nullptr && !saved.empty()) {
      fs::remove_all(golden(name));
      fs::copy(folder, golden(name));
    }
    EXPECT_EQ(filesIn(golden(name)), saved) << name;
  }

  TemporaryFolder work_;
};

INSTANTIATE_TEST_SUITE_P(Cases, GoldenTest, testing::ValuesIn(caseNames()),
                         [](const auto& each) { return replaced(each.param, "-", "_"); });

TEST_P(GoldenTest, TextAndCsv) {
  expectGolden("text.txt", view({}, work_.path()));
  expectGolden("text.txt", view({"-o", "report.csv"}, work_.path()));
  const std::string csv = readFile(work_ / "report.csv");
  expectGolden("report.csv", csv);
  view({"-o", "report.csv"}, work_.path());
  EXPECT_EQ(csv + csv, readFile(work_ / "report.csv")) << "a second report is appended";
  expectSaved("text-saved", {"--save-objects"});
}

TEST_P(GoldenTest, JsonAndSummary) {
  expectGolden("summary.txt", view({"-o", "report.json"}, work_.path()));
  if (std::getenv("RYX_UPDATE_GOLDEN") != nullptr || fs::exists(golden("report.json")))
    expectGolden("report.json", readFile(work_ / "report.json"));
  expectSaved("json-saved", {"--save-objects", "-o", "/dev/null", "-f", "json"});
}

TEST_P(GoldenTest, ExportsAndStatistics) {
  for (const auto& [name, content] : filesIn(kGoldenFolder / GetParam())) {
    const std::string command = name.substr(0, name.find('.'));
    if (command != "export" && command != "stats") continue;
    const auto result =
        runProcess({RYX_TOOLBOX_PATH, command, "case.log", "-o", name}, work_.path());
    EXPECT_EQ(0, result.status) << result.err;
    expectGolden(name, readFile(work_ / name));
  }
}

TEST(GoldenTimeTest, IsLocal) {
  const TemporaryFolder work;
  const auto made = runProcess(
      {RYX_TOOLBOX_PATH, "make", kGoldenFolder / "full-run/log.json", "case.log"}, work.path());
  ASSERT_EQ(0, made.status) << made.err;
  const auto result = runProcess({"env", "TZ=EST5", RYX_VIEWER_PATH, "case.log"}, work.path());
  EXPECT_NE(std::string::npos, result.out.find("Log File Created: Tue Mar  4 05:15:02 2025\n"));
}

}  // namespace
}  // namespace ryx::tests
