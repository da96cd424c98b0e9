// SPDX-License-Identifier: Apache-2.0
// The child is forked before the process is confined, so it keeps the rights of the user. It takes
// no path and no bytes over the pipe, only "commit": whatever a log makes of the confined process,
// all it can have committed is the one file that was chosen before.
//
// When the parent ends, its end of the pipe closes, and the child's read returns. For that the
// child has to close its own copy of that end. An answer that does not come counts as a failure.

#include "viewer/committable_file.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace ryx::viewer {
namespace {

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

Result<Pipe> makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return Status::system();
  return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Lets go of what others wait for the end of, and outlives what ends the parent.
void standAside() {
  const Descriptor nowhere(::open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    dup2(nowhere.get(), standard);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGPIPE}) std::signal(signal, SIG_IGN);
}

}  // namespace

CommittableFile::~CommittableFile() {
  requests_ = Descriptor();
  if (child_ > 0) waitpid(child_, nullptr, 0);
}

Status CommittableFile::open(const std::string& path, bool isToBeConfined) {
  path_ = path;
  file_ = std::make_unique<AtomicFile>();
  if (Status status = file_->open(path); !status) return status;
  return isToBeConfined ? startChild().of("cannot write " + path) : Status();
}

Status CommittableFile::startChild() {
  Result<Pipe> requests = makePipe();
  Result<Pipe> answers = makePipe();
  if (!requests || !answers) return Status::system();
  child_ = fork();
  if (child_ < 0) return Status::system();
  if (child_ == 0) {
    requests->writing = Descriptor();
    answers->reading = Descriptor();
    serve(requests->reading, answers->writing);
  }
  requests_ = std::move(requests->writing);
  answers_ = std::move(answers->reading);
  return {};
}

void CommittableFile::serve(const Descriptor& requests, const Descriptor& answers) {
  standAside();
  char request = 0;
  const Result<size_t> count = readUpTo(requests.get(), &request, 1);
  if (count && *count == 1) {
    const int error = file_->commit().errorNumber();
    (void)writeAll(answers.get(), &error, sizeof error);
  }
  file_.reset();
  _exit(0);
}

Status CommittableFile::commit() { return child_ > 0 ? commitInChild() : file_->commit(); }

Status CommittableFile::commitInChild() {
  const char request = 1;
  int error = 0;
  Status status = writeAll(requests_.get(), &request, 1);
  if (status) {
    const Result<size_t> count = readUpTo(answers_.get(), &error, sizeof error);
    if (!count || *count < sizeof error) error = EPIPE;
    if (error != 0) status = Status::system(error);
  }
  return status.of("cannot write " + path_);
}

}  // namespace ryx::viewer
