// SPDX-License-Identifier: Apache-2.0
// The places are found from the running program and not from where it was built, so that an
// installation can be moved as a whole, and a build's own folder works without being installed.

#include "common/version_text.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "base/version.h"

namespace ryx::tools {
namespace {

std::string pluginLine(const std::string& fileName) {
  const std::vector<std::string> places = pluginPlaces(fileName);
  const auto found = std::find_if_not(places.begin(), places.end(), isAbsent);
  return "\n  " + (found == places.end() ? fileName + " (left to the loader's search)" : *found);
}

}  // namespace

std::vector<std::string> pluginPlaces(const std::string& fileName) {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return {};
  const std::filesystem::path folder = executable.parent_path();
  return {folder / fileName, folder.parent_path() / "lib" / fileName};
}

bool isAbsent(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

std::string versionText(const std::string& program) {
  return program + " " + kToolVersion + "\ncommit " + kCommit + ", compiled by " + kCompiler +
         "\nlog format " + std::to_string(kLogFormatVersion) + ", reader plug-in interface " +
         std::to_string(kReaderInterfaceVersion) + "\nreader plug-ins:" + pluginLine(kBasePlugin) +
         pluginLine(kGpuPlugin);
}

}  // namespace ryx::tools
