// SPDX-License-Identifier: Apache-2.0
#include "base/memory_limit.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/process.h"

namespace ryx::tests {
namespace {

struct SystemFile {
  std::string path;
  std::string content;
};

const std::string kGroup2 = "0::/jobs/one\n";
const std::string kMount2 =
    "25 1 0:22 / /proc rw - proc proc rw\n30 1 0:26 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 "
    "cgroup2 rw\n";
const std::string kGroup1 = "9:name=systemd:/\n4:cpu,memory:/docker/abc\n0::/\n";

TEST(MemoryLimitTest, TheTightestLimitCounts) {
  const SystemFile meminfo = {"/proc/meminfo", "MemTotal: 9000 kB\nMemAvailable:    5000 kB\n"};
  const SystemFile group2 = {"/proc/self/cgroup", kGroup2};
  const SystemFile mount2 = {"/proc/self/mountinfo", kMount2};
  const std::string top2 = "/sys/fs/cgroup";
  const struct {
    const char* what;
    std::vector<SystemFile> files;
    std::optional<uint64_t> free;
  } cases[] = {
      {"a system that tells nothing", {}, std::nullopt},
      {"no control groups", {meminfo}, 5000 * 1024},
      {"a group without a limit",
       {meminfo,
        group2,
        mount2,
        {top2 + "/jobs/one/memory.max", "max\n"},
        {top2 + "/jobs/one/memory.current", "700\n"}},
       5000 * 1024},
      {"its limit, less what is used and cannot be taken back",
       {meminfo,
        group2,
        mount2,
        {top2 + "/jobs/one/memory.max", "100000\n"},
        {top2 + "/jobs/one/memory.current", "70000\n"},
        {top2 + "/jobs/one/memory.stat", "active_file 5\ninactive_file 20000\n"}},
       50000},
      {"a group above that has less, and nothing left",
       {meminfo,
        group2,
        mount2,
        {top2 + "/jobs/one/memory.max", "100000\n"},
        {top2 + "/jobs/one/memory.current", "70000\n"},
        {top2 + "/jobs/memory.max", "80000\n"},
        {top2 + "/jobs/memory.current", "90000\n"}},
       0},
      {"version 1, mounted from the container's group on",
       {meminfo,
        {"/proc/self/cgroup", kGroup1},
        {"/proc/self/mountinfo",
         "31 1 0:27 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu\n"
         "32 1 0:28 /docker/abc /sys/fs/cgroup/memory rw - cgroup cgroup rw,cpu,memory\n"},
        {"/sys/fs/cgroup/memory/memory.limit_in_bytes", "100000\n"},
        {"/sys/fs/cgroup/memory/memory.usage_in_bytes", "70000\n"},
        {"/sys/fs/cgroup/memory/memory.stat", "inactive_file 1\ntotal_inactive_file 5000\n"}},
       35000},
  };
  for (const auto& [what, files, free] : cases) {
    const TemporaryFolder root;
    for (const auto& [path, content] : files) {
      std::filesystem::create_directories(std::filesystem::path(root / path).parent_path());
      writeFile(root / path, content);
    }
    EXPECT_EQ(free, freeMemory(root.path())) << what;
  }
}

}  // namespace
}  // namespace ryx::tests
