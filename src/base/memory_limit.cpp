// SPDX-License-Identifier: Apache-2.0
// What is free is the least of what the machine has (MemAvailable) and of what each control group
// from the process's own up to the root still grants: its limit, less what is used, of which the
// file pages that nobody has read lately can be taken back at once.
//
// A container sees its groups through a mount that may begin below the hierarchy's root
// (/proc/self/mountinfo names both places); the process's group is found from there.

#include "base/memory_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace ryx {
namespace {

/// How the two versions of control groups call things.
struct GroupVersion {
  const char* fileSystem;
  const char* limit;
  const char* usage;
  const char* reclaimable;  ///< in memory.stat
};

constexpr GroupVersion kVersion1 = {"cgroup", "memory.limit_in_bytes", "memory.usage_in_bytes",
                                    "total_inactive_file"};
constexpr GroupVersion kVersion2 = {"cgroup2", "memory.max", "memory.current", "inactive_file"};

/// The number that `text` begins with, after blanks.
std::optional<uint64_t> leadingNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  uint64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

/// The number after `name` at the beginning of a line.
std::optional<uint64_t> numberAfter(const std::string& path, const std::string& name) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);)
    if (line.compare(0, name.size(), name) == 0)
      return leadingNumber(std::string_view(line).substr(name.size()));
  return std::nullopt;
}

void takeLess(std::optional<uint64_t>& least, std::optional<uint64_t> other) {
  if (other && (!least || *other < *least)) least = other;
}

/// What the group in `folder` still grants.
std::optional<uint64_t> freeInGroup(const std::string& folder, const GroupVersion& version) {
  const auto limit = numberAfter(folder + "/" + version.limit, "");
  const auto usage = numberAfter(folder + "/" + version.usage, "");
  if (!limit || !usage) return std::nullopt;
  const auto reclaimable =
      numberAfter(folder + "/memory.stat", version.reclaimable + std::string(" "));
  const uint64_t used = *usage - std::min(reclaimable.value_or(0), *usage);
  return *limit - std::min(used, *limit);
}

bool hasOption(std::string_view options, std::string_view option) {
  return ("," + std::string(options) + ",").find("," + std::string(option) + ",") !=
         std::string::npos;
}

/// The process's group in the hierarchy of `version` that limits memory, from the hierarchy's root.
std::optional<std::string> ownGroup(const std::string& root, const GroupVersion& version) {
  // Lines of "NUMBER:CONTROLLERS:GROUP"; version 2 names no controllers.
  std::ifstream file(root + "/proc/self/cgroup");
  for (std::string line; std::getline(file, line);) {
    const size_t first = line.find(':');
    const size_t second = line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const bool isOurs =
        &version == &kVersion2 ? controllers.empty() : hasOption(controllers, "memory");
    if (isOurs) return line.substr(second + 1);
  }
  return std::nullopt;
}

struct Mount {
  std::string top;     ///< the group that is mounted, from the hierarchy's root
  std::string folder;  ///< where
};

std::optional<Mount> findMount(const std::string& root, const GroupVersion& version) {
  // Lines of "ID PARENT DEVICE TOP FOLDER OPTIONS [FIELD]... - FILESYSTEM SOURCE SUPEROPTIONS".
  std::ifstream file(root + "/proc/self/mountinfo");
  for (std::string line; std::getline(file, line);) {
    std::string skipped, fileSystem, source, options;
    Mount mount;
    std::istringstream(line) >> skipped >> skipped >> skipped >> mount.top >> mount.folder;
    const size_t separator = line.find(" - ");
    if (separator == std::string::npos) continue;
    std::istringstream(line.substr(separator + 3)) >> fileSystem >> source >> options;
    const bool limitsMemory = &version == &kVersion2 || hasOption(options, "memory");
    if (fileSystem == version.fileSystem && limitsMemory) return mount;
  }
  return std::nullopt;
}

std::optional<uint64_t> freeInGroups(const std::string& root, const GroupVersion& version) {
  const auto group = ownGroup(root, version);
  const auto mount = findMount(root, version);
  if (!group || !mount) return std::nullopt;
  std::string below = *group == "/" ? "" : *group;
  const std::string_view top = mount->top;
  const bool isBelow = below.compare(0, top.size(), top) == 0 &&
                       (below.size() == top.size() || below[top.size()] == '/');
  if (top != "/" && isBelow) below.erase(0, top.size());
  const std::string folder = root + mount->folder;
  std::optional<uint64_t> least;
  for (;; below.erase(below.rfind('/'))) {
    takeLess(least, freeInGroup(folder + below, version));
    if (below.find('/') == std::string::npos) return least;
  }
}

}  // namespace

std::optional<uint64_t> freeMemory(const std::string& root) {
  std::optional<uint64_t> least;
  if (const auto kilobytes = numberAfter(root + "/proc/meminfo", "MemAvailable:"))
    least = *kilobytes * 1024;
  for (const GroupVersion* version : {&kVersion1, &kVersion2})
    takeLess(least, freeInGroups(root, *version));
  return least;
}

void limitMemory() {
#ifndef RYX_SANITIZED
  const std::optional<uint64_t> available = freeMemory();
  rlimit limit = {};
  if (!available || getrlimit(RLIMIT_DATA, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, *available);
  setrlimit(RLIMIT_DATA, &limit);
#endif
}

}  // namespace ryx
