// SPDX-License-Identifier: Apache-2.0
#include "viewer/confinement.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "base/descriptor.h"

// Newer than the headers of Debian 12.
#ifndef LANDLOCK_ACCESS_FS_TRUNCATE
#define LANDLOCK_ACCESS_FS_TRUNCATE (1ULL << 14)
#endif

namespace ryx::viewer {
namespace {

constexpr uint64_t kRead = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr uint64_t kWrite = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_TRUNCATE;
constexpr uint64_t kCreate = LANDLOCK_ACCESS_FS_MAKE_REG;

/// The version of the kernel's sandbox; less than 1 when it has none.
long sandboxVersion() {
  return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
}

/// Everything that the sandbox of this kernel can refuse.
uint64_t refusableAccess() {
  uint64_t access = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1;  // all of the first version
  if (sandboxVersion() >= 2) access |= LANDLOCK_ACCESS_FS_REFER;
  if (sandboxVersion() >= 3) access |= LANDLOCK_ACCESS_FS_TRUNCATE;
  return access;
}

Status allow(const Descriptor& ruleset, const std::string& path, uint64_t access) {
  const Descriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!file.isOpen()) return {};
  landlock_path_beneath_attr rule = {};
  rule.allowed_access = access & refusableAccess();
  rule.parent_fd = file.get();
  const long result =
      syscall(SYS_landlock_add_rule, ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
  // Pipes and the like are in no folder: there is no rule for them, and need not be.
  return result == 0 || errno == EBADFD ? Status() : Status::system().of(path);
}

Status allowAll(const Descriptor& ruleset, const Permissions& permissions) {
  Status status =
      allow(ruleset, permissions.folder, kRead | kWrite | kCreate | LANDLOCK_ACCESS_FS_READ_DIR);
  if (status && !permissions.writableFile.empty())
    status = allow(ruleset, permissions.writableFile, kRead | kWrite);
#ifdef RYX_SANITIZED
  // For the leak check at exit.
  if (status) status = allow(ruleset, "/proc", kRead | LANDLOCK_ACCESS_FS_READ_DIR);
#endif
  for (const std::string& path : permissions.readable) {
    struct stat present = {};
    const bool isFile = stat(path.c_str(), &present) == 0 && !S_ISDIR(present.st_mode);
    if (status && isFile) status = allow(ruleset, path, kRead);
  }
  return status;
}

}  // namespace

bool canConfine() { return sandboxVersion() >= 1; }

Status confine(const Permissions& permissions) {
  landlock_ruleset_attr attributes = {};
  attributes.handled_access_fs = refusableAccess();
  const Descriptor ruleset(
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  Status status = ruleset.isOpen() ? allowAll(ruleset, permissions) : Status::system();
  if (status && (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
                 syscall(SYS_landlock_restrict_self, ruleset.get(), 0) != 0))
    status = Status::system();
  return status.of("cannot confine the process");
}

}  // namespace ryx::viewer
