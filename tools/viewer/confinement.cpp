#include "viewer/confinement.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "viewer/descriptors.h"

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

[[noreturn]] void throwSystemError(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void allow(const Descriptor& ruleset, const std::string& path, uint64_t access) {
  const Descriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!file.isOpen()) return;
  landlock_path_beneath_attr rule = {};
  rule.allowed_access = access & refusableAccess();
  rule.parent_fd = file.get();
  if (syscall(SYS_landlock_add_rule, ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0)
    throwSystemError(path);
}

}  // namespace

bool canConfine() { return sandboxVersion() >= 1; }

void confine(const Permissions& permissions) {
  landlock_ruleset_attr attributes = {};
  attributes.handled_access_fs = refusableAccess();
  const Descriptor ruleset(
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  if (!ruleset.isOpen()) throwSystemError("cannot confine the process");

  allow(ruleset, permissions.folder, kRead | kWrite | kCreate | LANDLOCK_ACCESS_FS_READ_DIR);
  if (!permissions.writableFile.empty()) allow(ruleset, permissions.writableFile, kRead | kWrite);
#ifdef RYX_SANITIZED
  allow(ruleset, "/proc", kRead | LANDLOCK_ACCESS_FS_READ_DIR);  // for the leak check at exit
#endif
  for (const std::string& path : permissions.readable) {
    struct stat status = {};
    const bool isFile = stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
    if (isFile) allow(ruleset, path, kRead);
  }

  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      syscall(SYS_landlock_restrict_self, ruleset.get(), 0) != 0)
    throwSystemError("cannot confine the process");
}

}  // namespace ryx::viewer
