// SPDX-License-Identifier: Apache-2.0
// A class for each of the four cases. All but the direct one have the same question to settle: how
// much of the file is whole reports, now that a reader has written to it by its path and may have
// failed half-way. It is settled by sizes, taken while nobody else writes: in a temporary, in
// memory, or under a lock.
//
// A file that cannot be opened as it should be (a folder without permission, say) is left to the
// reader, which may well be able to write it, and otherwise gives the reason that users know.

#include "viewer/report_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <utility>

#include "base/descriptor.h"
#include "base/file.h"
#include "base/signal_undo.h"
#include "common/input.h"
#include "common/program.h"
#include "viewer/committable_file.h"
#include "viewer/standard_output.h"

namespace ryx::viewer {
namespace {

/// Whether the reader shall be told to write a file that cannot be opened as it should be: it will
/// say why it cannot, or can.
bool isForTheReader(const Status& status) {
  const int reason = status.errorNumber();
  return reason == EACCES || reason == EPERM || reason == EROFS || reason == ENOENT ||
         reason == ENOTDIR || reason == EISDIR || reason == ENAMETOOLONG || reason == ELOOP;
}

off_t sizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_size : -1;
}

/// How much of a file is whole reports. Where each is written after the one before, a failed one is
/// cut off; a reader that rewrites what is there (JSON) is trusted to have put it back if the file
/// is as large as it was.
class WholeReports {
 public:
  explicit WholeReports(Format format) : isAppendOnly_(format != Format::Json) {}

  Status endReport(const std::string& path, bool isWhole) {
    if (isWhole)
      bytes_ = sizeOf(path);
    else if (isAppendOnly_ && truncate(path.c_str(), bytes_.value_or(0)) != 0)
      return Status::system();
    return {};
  }

  [[nodiscard]] bool isAllOf(const std::string& path) const {
    return bytes_ && *bytes_ == sizeOf(path);
  }

 private:
  bool isAppendOnly_;
  std::optional<off_t> bytes_;  // none before the first whole report
};

class DirectFile : public ReportFile {
 public:
  explicit DirectFile(const std::string& path) { readerPath_ = path; }
};

class MemoryFile : public ReportFile {
 public:
  explicit MemoryFile(Format format) : whole_(format) {}

  Status open() override {
    Result<Descriptor> file = openMemoryFile("report");
    if (!file) return file.status();
    file_ = std::move(*file);
    readerPath_ = pathOf(file_);
    return {};
  }

  Status endReport(bool isWhole) override {
    return whole_.endReport(readerPath_, isWhole).of(kStandardOutputName);
  }

  Status finish() override {
    if (!whole_.isAllOf(readerPath_)) return {};
    return copyFile(file_, STDOUT_FILENO).of(kStandardOutputName);
  }

 private:
  WholeReports whole_;
  Descriptor file_;
};

class ReplacedFile : public ReportFile {
 public:
  ReplacedFile(const std::string& path, const Options& options)
      : path_(path),
        name_(options.outputPath),
        format_(options.format),
        isToBeConfined_(options.saveObjects && !options.unconfined),
        whole_(options.format) {}

  Status open() override {
    Status status = file_.open(path_, isToBeConfined_);
    hasTemporary_ = status.isGood();
    readerPath_ = hasTemporary_ ? file_.temporaryPath() : path_;
    return isForTheReader(status) ? Status() : status;
  }

  Status beginReport() override {
    // What is written in place begins anew, too; a JSON document always does.
    if (std::exchange(isBegun_, true) || hasTemporary_ || format_ == Format::Json) return {};
    const bool isDone = truncate(path_.c_str(), 0) == 0;
    const Status status = isDone ? Status() : Status::system().of(name_);
    return isForTheReader(status) ? Status() : status;
  }

  Status endReport(bool isWhole) override {
    return hasTemporary_ ? whole_.endReport(readerPath_, isWhole).of(name_) : Status();
  }

  Status finish() override {
    return hasTemporary_ && whole_.isAllOf(readerPath_) ? file_.commit() : Status();
  }

 private:
  const std::string path_;
  const std::string name_;
  const Format format_;
  const bool isToBeConfined_;
  WholeReports whole_;
  CommittableFile file_;
  bool hasTemporary_ = false;
  bool isBegun_ = false;
};

class AppendedFile : public ReportFile {
 public:
  AppendedFile(const std::string& path, const Options& options)
      : name_(options.outputPath), isAloud_(options.existing == Existing::AppendAloud) {
    readerPath_ = path;
  }

  Status beginReport() override {
    Status status = lock();
    if (isForTheReader(status)) return {};
    if (!status) return status.of("cannot write " + name_);
    bytes_ = sizeOf(readerPath_);
    cutting_.cutBack(file_.get(), bytes_);
    // Another viewer may have locked what this one has made, and written to it.
    isCreated_ = isCreated_ && bytes_ == 0;
    if (isCreated_) removal_.removeFile(readerPath_);
    if (std::exchange(isAloud_, false) && bytes_ > 0)
      tools::printError(name_ +
                        ": appended to what is there; --append says that this is meant, --force "
                        "starts the file anew");
    return {};
  }

  Status endReport(bool isWhole) override {
    const SignalsHeldBack heldBack;
    cutting_.forget();
    removal_.forget();
    const Descriptor file = std::move(file_);  // which unlocks it in the end
    if (isWhole || !file.isOpen()) return {};
    if (isCreated_ && unlink(readerPath_.c_str()) == 0) return {};
    return ftruncate(file.get(), bytes_) == 0 ? Status() : Status::system().of(name_);
  }

 private:
  /// Locks the file that the path leads to: not one that the viewer that held it has removed. File
  /// systems that know no locks do without.
  Status lock() {
    do {
      Result<Descriptor> file = openFile(readerPath_, O_WRONLY | O_APPEND);
      isCreated_ = !file && file.status().errorNumber() == ENOENT;
      if (isCreated_) file = openFile(readerPath_, O_WRONLY | O_APPEND | O_CREAT | O_EXCL);
      if (!file && file.status().errorNumber() == EEXIST) continue;
      if (!file) return file.status();
      while (flock(file->get(), LOCK_EX) != 0 && errno == EINTR) {
      }
      file_ = std::move(*file);
    } while (!isAtPath());
    return {};
  }

  bool isAtPath() const {
    struct stat opened = {};
    struct stat present = {};
    return file_.isOpen() && fstat(file_.get(), &opened) == 0 &&
           stat(readerPath_.c_str(), &present) == 0 && opened.st_dev == present.st_dev &&
           opened.st_ino == present.st_ino;
  }

  const std::string name_;
  bool isAloud_;
  Descriptor file_;
  bool isCreated_ = false;  // for the report that has begun
  off_t bytes_ = 0;         // before it
  SignalUndo cutting_;
  SignalUndo removal_;  // of a file that was created
};

}  // namespace

Status ReportFile::endReport(bool) { return {}; }

std::unique_ptr<ReportFile> makeReportFile(const Options& options) {
  const std::string& path = options.outputPath;
  const bool isText = options.format == Format::Text;
  if (path == tools::kStandardStream && !isText)
    return std::make_unique<MemoryFile>(options.format);
  if (path.empty() || path == tools::kStandardStream) return std::make_unique<DirectFile>("");
  if (isWrittenInPlace(path)) return std::make_unique<DirectFile>(path);
  // Good from any working folder; messages name what the user named.
  const std::string absolute =
      options.saveObjects ? std::filesystem::absolute(path).string() : path;
  if (options.format == Format::Csv && options.existing != Existing::Replace)
    return std::make_unique<AppendedFile>(absolute, options);
  return std::make_unique<ReplacedFile>(absolute, options);
}

}  // namespace ryx::viewer
