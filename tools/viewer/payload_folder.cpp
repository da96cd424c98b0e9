// SPDX-License-Identifier: Apache-2.0
// Readers save a payload under the name that the log gives it, relative to the working folder. So
// the working folder is changed while a report is made, and only then: paths of later logs are
// relative to the folder that the user is in.
//
// The order matters. The folder has to exist before the process is confined to it, and everything
// that is read later (the logs, the time zone) has to be permitted or read before, because there is
// no way back.

#include "viewer/payload_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <system_error>
#include <utility>

#include "common/input.h"
#include "viewer/confinement.h"

namespace ryx::viewer {

ScopedWorkingDirectory::~ScopedWorkingDirectory() {
  // Should this fail, later logs are not found by their relative paths, and are reported as
  // missing.
  if (original_.isOpen()) (void)!fchdir(original_.get());
}

Status ScopedWorkingDirectory::enter(const std::string& path) {
  Result<Descriptor> original = openFile(".", O_PATH | O_DIRECTORY);
  if (!original) return original.status().of("the current folder");
  if (chdir(path.c_str()) != 0) return Status::system().of(path);
  original_ = std::move(*original);
  return {};
}

Status PayloadFolder::enter(ScopedWorkingDirectory& scope, const std::string& reportFile) {
  if (!options_.saveObjects) return {};
  std::error_code error;
  std::filesystem::create_directories(options_.payloadFolder, error);
  if (error) return Status::system(error.value()).of(options_.payloadFolder);
  if (Status status = confineOnce(reportFile); !status) return status;
  return scope.enter(options_.payloadFolder);
}

Status PayloadFolder::confineOnce(const std::string& reportFile) {
  if (isConfined_ || options_.unconfined) return {};
  tzset();  // its file cannot be read once the process is confined, and reports have dates
  Permissions permissions{options_.payloadFolder, reportFile, {}};
  if (!readable_.empty()) permissions.readable.push_back(readable_);
  for (const std::string& log : options_.logs)
    permissions.readable.push_back(log == tools::kStandardStream ? "/dev/stdin" : log);
  Status status = confine(permissions);
  isConfined_ = status.isGood();
  return status;
}

}  // namespace ryx::viewer
