// SPDX-License-Identifier: Apache-2.0
// Files and pipes part ways here. A file can be probed as often as it takes: before reading, for
// what it looks like, and after a refusal, for the chunk that is damaged. What a pipe has given is
// gone, so its first bytes are copied with tee(2), which leaves them in it. A pipe with a name is
// not touched at all: opening it and closing it again would end its writer.
//
// The probe has to be sure before it refuses: a log may begin with the bytes of a gzip file. Only
// where the first chunk does not verify either is the file no log.

#include "viewer/log_input.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "common/progress.h"
#include "compression/decompression.h"
#include "stream/foreign_content.h"
#include "stream/log_damage.h"
#include "stream/salvage_hint.h"

namespace ryx::viewer {
namespace {

using profiling::CheckedLog;
using profiling::DamageKind;
using profiling::kTellingBytes;

constexpr char kRefusal[] = ": could not be read to its end";

bool isUnnamedPipe(const std::string& path) {
  struct statfs fileSystem = {};
  return statfs(path.c_str(), &fileSystem) == 0 && fileSystem.f_type == PIPEFS_MAGIC;
}

/// The first bytes in the pipe, once there are some; none at its end.
std::optional<std::string> peekPipe(const Descriptor& pipe) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  const ssize_t count = tee(pipe.get(), writing.get(), kTellingBytes, 0);
  if (count < 0) return std::nullopt;
  std::string bytes(static_cast<size_t>(count), '\0');
  const Result<size_t> read = readUpTo(reading.get(), bytes.data(), bytes.size());
  return read ? std::optional(bytes) : std::nullopt;
}

std::optional<std::string> peekFile(const Descriptor& file) {
  std::string bytes(kTellingBytes, '\0');
  const ssize_t count = pread(file.get(), bytes.data(), bytes.size(), 0);
  if (count < 0) return std::nullopt;
  bytes.resize(static_cast<size_t>(count));
  return bytes;
}

/// Why the file at `path` is no log; success for one that may be.
Status checkIsLog(const std::string& path) {
  CheckedLog log;
  if (log.open(path)) (void)log.next();
  if (!log.damage() || log.damage()->kind != DamageKind::NotALog) return {};
  return Status::failure(describe(*log.damage()));
}

}  // namespace

Result<LogInput> LogInput::open(const std::string& operand, DecompressedLog& decompressed) {
  Result<tools::InputPath> path = tools::InputPath::of(operand);
  if (!path) return path.status();
  LogInput input(std::move(*path), tools::inputName(operand));
  if (Status status = input.look(); !status) return status;
  if (input.firstBytes_ && profiling::isCompressed(*input.firstBytes_))
    if (Status status = input.decompress(decompressed); !status) return status;
  return input;
}

Status LogInput::look() {
  const std::string cannotRead = "cannot read " + name_;
  // Before it is opened: a confined process may not open folders, and a pipe with a name can be
  // opened but once, by the reader: its writer may be gone by the second time.
  struct stat status = {};
  if (stat(path().c_str(), &status) != 0) return Status::system().of(cannotRead);
  if (S_ISDIR(status.st_mode)) return Status::system(EISDIR).of(cannotRead);
  if (S_ISFIFO(status.st_mode) && !isUnnamedPipe(path())) return {};
  Result<Descriptor> file = openFile(path(), O_RDONLY);
  if (!file) return file.status().of(cannotRead);
  isFile_ = S_ISREG(status.st_mode);
  if (isFile_) {
    firstBytes_ = peekFile(*file);
  } else if (S_ISFIFO(status.st_mode)) {
    firstBytes_ = peekPipe(*file);
    file_ = std::move(*file);
  }
  const bool isSuspect = isFile_ && firstBytes_ && !profiling::foreignContent(*firstBytes_).empty();
  return isSuspect ? checkIsLog(path()).of(name_) : Status();
}

Status LogInput::decompress(DecompressedLog& decompressed) {
  std::unique_ptr<profiling::ByteSource> source;
  if (isFile_) {
    Result<std::unique_ptr<profiling::ByteSource>> opened = profiling::openFileSource(path());
    if (!opened) return opened.status().of("cannot read " + name_);
    source = std::move(*opened);
  } else {
    source = std::make_unique<profiling::FileSource>(std::move(file_));
  }
  const tools::Progress progress("unpacking", bytes());
  if (Status status = decompressed.fill(std::move(source)); !status)
    // The system's reasons are about the machine.
    return status.errorNumber() != 0 ? status.of("cannot read " + name_)
                                     : Status::failure(refusalFor(status.text()));
  readPath_ = decompressed.path();
  isFile_ = true;
  return {};
}

uint64_t LogInput::bytes() const {
  struct stat status = {};
  const bool isKnown = isFile_ && stat(path().c_str(), &status) == 0;
  return isKnown ? static_cast<uint64_t>(status.st_size) : 0;
}

uint64_t LogInput::readPosition() const {
  struct stat log = {};
  if (!isFile_ || stat(path().c_str(), &log) != 0) return 0;
  constexpr int kMaxDescriptors = 64;  // readers open their log early, so it gets a low number
  for (int file = STDERR_FILENO + 1; file < kMaxDescriptors; ++file) {
    struct stat status = {};
    if (fstat(file, &status) != 0 || status.st_dev != log.st_dev || status.st_ino != log.st_ino)
      continue;
    const off_t position = lseek(file, 0, SEEK_CUR);
    if (position > 0) return static_cast<uint64_t>(position);
  }
  return 0;
}

std::string LogInput::refusalFor(const std::string& damage) const {
  std::string reason = name_ + kRefusal + ": " + damage;
  if (path_.path() != name_) return reason;  // standard input cannot be salvaged again
  return reason + "; to rescue the rest: " + profiling::salvageCommand(name_);
}

std::string LogInput::explainRefusal() const {
  std::string refusal = name_ + kRefusal;
  if (!isFile_) {
    // What came through a pipe is gone.
    const std::string content = firstBytes_ ? profiling::foreignContent(*firstBytes_) : "";
    return content.empty() ? refusal : name_ + ": not a profiling log; it looks like " + content;
  }
  const auto damage = profiling::findDamage(path(), profiling::DamageScope::StopsReaders);
  if (!damage || damage->kind == DamageKind::NoMemory) return refusal;
  if (damage->kind == DamageKind::CannotOpen) return refusal + ": " + damage->text;
  return refusalFor(describe(*damage));
}

}  // namespace ryx::viewer
