// SPDX-License-Identifier: Apache-2.0
// A temporary has a name that follows from its target's, not a random one, so that the next writer
// can find what a killed one has left. Whether it is left or in use is told by its lock, which the
// system drops with the process; a process id in the name could have been given to another process
// since.
//
// Each step has a race, and the order of the calls is what settles it. A file that was created may
// be taken for abandoned before it is locked: `isOurs` asks, under the lock, whether the name still
// leads to it. It is renamed while it is locked, and closed after that. A signal may come between a
// file and what undoes it: both appear and disappear with signals held back.

#include "base/atomic_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <utility>

#include "base/file.h"

namespace ryx {
namespace {

/// ".NAME.ryx-tmp" beside the target, for a `number` above 0 ".NAME.ryx-tmp-NUMBER". A name that
/// would be too long for the file system is cut, and told apart by a hash.
std::string temporaryName(const std::filesystem::path& target, unsigned number) {
  constexpr size_t kMaxNameBytes = 200;
  std::string name = target.filename().string();
  if (name.size() > kMaxNameBytes)
    name = name.substr(0, kMaxNameBytes) + "-" + std::to_string(std::hash<std::string>()(name));
  std::string temporary = "." + name + ".ryx-tmp";
  if (number > 0) temporary += "-" + std::to_string(number);
  return (target.parent_path() / temporary).string();
}

/// Whether `file`, which has been locked, is still what `path` leads to (another process may have
/// renamed it between opening and locking), and this user's own.
bool isOurs(const Descriptor& file, const std::string& path) {
  struct stat opened = {};
  struct stat present = {};
  return ::fstat(file.get(), &opened) == 0 && ::lstat(path.c_str(), &present) == 0 &&
         opened.st_dev == present.st_dev && opened.st_ino == present.st_ino &&
         S_ISREG(opened.st_mode) && opened.st_nlink == 1 && opened.st_uid == ::geteuid();
}

bool lock(const Descriptor& file) { return ::flock(file.get(), LOCK_EX | LOCK_NB) == 0; }

/// Removes the file at `path` if it is a temporary of this user's that nobody holds any more.
bool removeAbandoned(const std::string& path) {
  const Result<Descriptor> file = openFile(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK);
  return file && lock(*file) && isOurs(*file, path) && ::unlink(path.c_str()) == 0;
}

/// Creates and locks the temporary at `path`; an invalid descriptor where somebody else has it.
Result<Descriptor> takeTemporary(const std::string& path) {
  constexpr int kTries = 2;
  for (int i = 0; i < kTries; ++i) {
    Result<Descriptor> file = openFile(path, O_RDWR | O_CREAT | O_EXCL);
    if (!file && file.status().errorNumber() != EEXIST) return file;
    // Between creating and locking it, another process may have taken it for abandoned.
    if (file) return lock(*file) && isOurs(*file, path) ? std::move(file) : Descriptor();
    if (!removeAbandoned(path)) break;
  }
  return Descriptor();
}

}  // namespace

AtomicFile::~AtomicFile() {
  const SignalsHeldBack heldBack;
  if (isTemporary_) ::unlink(temporaryPath_.c_str());
  forgetTemporary();
}

Status AtomicFile::open(const std::string& path) {
  path_ = path;
  if (path == "-") {
    path_ = "standard output";
    file_ = Descriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return file_.isOpen() ? Status() : Status::system().of("cannot write " + path_);
  }
  if (isWrittenInPlace(path)) {
    temporaryPath_ = path;
    Result<Descriptor> file = openFile(path, O_WRONLY | O_APPEND);
    if (file) file_ = std::move(*file);
    return file.status().of("cannot write " + path_);
  }
  // A link keeps pointing at its file.
  std::error_code missing;
  const std::filesystem::path target = std::filesystem::canonical(path, missing);
  target_ = missing ? path : target.string();
  return openTemporary().of("cannot write " + path_);
}

Status AtomicFile::openTemporary() {
  constexpr unsigned kMaxWriters = 1000;  // of one target, at once
  for (unsigned number = 0; number < kMaxWriters; ++number) {
    std::string path = temporaryName(target_, number);
    const SignalsHeldBack heldBack;
    Result<Descriptor> file = takeTemporary(path);
    if (!file) return file.status();
    if (!file->isOpen()) continue;
    file_ = std::move(*file);
    temporaryPath_ = std::move(path);
    isTemporary_ = true;
    undo_.removeFile(temporaryPath_);
    // Of several writers that were killed at once, this one has found but one.
    constexpr unsigned kOthers = 16;
    for (unsigned other = number + 1; other <= number + kOthers; ++other)
      removeAbandoned(temporaryName(target_, other));
    return takePermissions();
  }
  return Status::system(EBUSY);
}

Status AtomicFile::append(const void* data, size_t size) {
  return writeAll(file_.get(), data, size).of("cannot write " + path_);
}

Status AtomicFile::commit() {
  return (isTemporary_ ? replaceTarget() : file_.close()).of("cannot write " + path_);
}

Status AtomicFile::replaceTarget() {
  if (Status status = takePermissions(); !status) return status;
  if (::fsync(file_.get()) != 0) return Status::system();
  const SignalsHeldBack heldBack;
  // Renamed before it is closed: the lock keeps others from taking it for abandoned.
  if (::rename(temporaryPath_.c_str(), target_.c_str()) != 0) return Status::system();
  forgetTemporary();
  return file_.close();
}

Status AtomicFile::takePermissions() {
  struct stat replaced = {};
  if (::stat(target_.c_str(), &replaced) != 0) return {};
  return ::fchmod(file_.get(), replaced.st_mode & 07777) == 0 ? Status() : Status::system();
}

void AtomicFile::forgetTemporary() {
  isTemporary_ = false;
  undo_.forget();
}

Status writeWholeFile(const std::string& path, std::string_view bytes) {
  AtomicFile file;
  if (Status status = file.open(path); !status) return status;
  if (Status status = file.append(bytes); !status) return status;
  return file.commit();
}

}  // namespace ryx
