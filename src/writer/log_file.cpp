// SPDX-License-Identifier: Apache-2.0
// A log is worth most when a run goes wrong, so what is on disk has to stay readable when the disk
// is full, and when a writer is started twice. A chunk whose write failed is cut off again: what is
// left is a log without the last of it, not a damaged one. The file is emptied only under the lock,
// or a second writer would destroy what the first has written before it learned that it has to keep
// out.

#include "writer/log_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace ryx::profiling {
namespace {

/// Keeps what a failing write raises from ending the host, which never asked for a log's failures
/// to be its own: a file at the size limit raises SIGXFSZ, a pipe that nobody reads any more
/// SIGPIPE. Both go to the thread that writes, so it is enough to block them on this thread and to
/// take back the one that came. The host's own settings stay as they are.
class WriteSignalGuard {
 public:
  WriteSignalGuard() {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : {SIGXFSZ, SIGPIPE}) sigaddset(&blocked, signal);
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    sigpending(&pendingBefore_);
  }
  ~WriteSignalGuard() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  WriteSignalGuard(const WriteSignalGuard&) = delete;
  WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;

  /// Takes back what a write that failed with `errorNumber` has raised.
  void takeBack(int errorNumber) const {
    const int signal = errorNumber == EFBIG ? SIGXFSZ : SIGPIPE;
    if (errorNumber != EFBIG && errorNumber != EPIPE) return;
    if (sigismember(&pendingBefore_, signal) != 0) return;  // that one is the host's
    sigset_t raised;
    sigemptyset(&raised);
    sigaddset(&raised, signal);
    constexpr timespec kAtOnce = {0, 0};
    sigtimedwait(&raised, nullptr, &kAtOnce);
  }

 private:
  sigset_t before_;
  sigset_t pendingBefore_;
};

/// Locks a regular file, and empties it once it is this writer's alone.
Status takeOver(int file) {
  struct stat status = {};
  if (::fstat(file, &status) != 0) return Status::system();
  if (!S_ISREG(status.st_mode)) return {};
  // File systems without locks refuse with other errors; there, the host keeps writers apart.
  if (::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    return Status::failure("another writer has it open");
  return ::ftruncate(file, 0) == 0 ? Status() : Status::system();
}

}  // namespace

Status LogFile::open(const std::string& path) {
  Result<Descriptor> file = openFile(path, O_WRONLY | O_CREAT);
  if (!file) return file.status();
  if (Status status = takeOver(file->get()); !status) return status;
  file_ = std::move(*file);
  size_ = 0;
  return {};
}

Status LogFile::append(const uint8_t* data, size_t size) {
  const WriteSignalGuard guard;
  size_t written = 0;
  Status status = writeAll(file_.get(), data, size, &written);
  guard.takeBack(status.errorNumber());
  if (status)
    size_ += size;
  else if (written > 0)
    // What cannot be cut (a pipe, a device) refuses, and stays as it is.
    static_cast<void>(!::ftruncate(file_.get(), static_cast<off_t>(size_)));
  return status;
}

Status LogFile::close() {
  // A process forked meanwhile shares the lock, and would keep it.
  if (isOpen()) ::flock(file_.get(), LOCK_UN);
  return file_.close();
}

}  // namespace ryx::profiling
