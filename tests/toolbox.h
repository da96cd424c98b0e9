// SPDX-License-Identifier: Apache-2.0
// Tests that run ryx-profile-log in a folder of their own, and look at its exit status, both
// streams and files.

#ifndef RYX_TESTS_TOOLBOX_H
#define RYX_TESTS_TOOLBOX_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/process.h"

namespace ryx::tests {

class ToolboxTest : public testing::Test {
 protected:
  /// Runs the tool in the test's folder through a shell: `arguments` may quote and redirect.
  int run(const std::string& arguments) {
    const ProcessResult result =
        runScript("\"$@\" " + arguments, {RYX_TOOLBOX_PATH}, folder_.path());
    out_ = result.out;
    err_ = result.err;
    return result.status;
  }

  [[nodiscard]] std::string read(const std::string& name) const { return readFile(folder_ / name); }
  void write(const std::string& name, const std::string& content) const {
    writeFile(folder_ / name, content);
  }

  /// Expects the tool to fail with this line alone on standard error.
  void expectFailure(const std::string& arguments, const std::string& error) {
    EXPECT_EQ(run(arguments), 1) << arguments;
    EXPECT_EQ(err_, "ryx-profile-log: " + error + "\n");
  }

  [[nodiscard]] bool exists(const std::string& name) const {
    return std::filesystem::exists(folder_ / name);
  }

  void makeLog(const std::string& json, const std::string& log) {
    write("case.json", json);
    ASSERT_EQ(run("make case.json " + log), 0) << err_;
  }

  const TemporaryFolder folder_;
  std::string out_;
  std::string err_;
};

}  // namespace ryx::tests

#endif
