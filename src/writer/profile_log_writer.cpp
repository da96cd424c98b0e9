// SPDX-License-Identifier: Apache-2.0
// Records are gathered in a chunk, and written when it is large enough, flushed or closed. What can
// go wrong is of two kinds. A record that is refused (`refuse`) leaves the log as it is, and the
// next one may go in. A failure to write (`fail`) is for good: a log with a gap in it would look
// whole. `error` keeps the first of either kind, because later ones tend to be its consequences.
//
// The host may fork with a log open. The child has the descriptor and a copy of the gathered chunk,
// which the parent is going to write; so the child writes nothing, and says so.

#include "ryx/profile_log_writer.h"

#include <unistd.h>

#include <new>

#include "writer/chunk_builder.h"
#include "writer/log_file.h"

namespace ryx::profiling {

/// The log that is open, and the chunk that is being gathered for it.
class ProfileLogWriter::OpenLog {
 public:
  OpenLog(ChunkLimits limits, RepeatedTexts repeated) : limits_(limits), builder_(repeated) {}

  bool open(const std::string& path) {
    builder_.clear();
    failed_ = false;
    owner_ = ::getpid();
    error_.clear();
    path_ = path;
    error_.reserve(path_.size() + kMaxErrorText);  // to tell that memory is exhausted takes none
    const Status status = file_.open(path);
    return status.isGood() || fail("open", status.text());
  }

  bool setHeader(const HeaderRecord& header) {
    return add([&] { return builder_.setHeader(header); });
  }

  bool addMessage(const MessageRecord& message) {
    if (!add([&] { return builder_.addMessage(message); })) return false;
    const bool complete =
        builder_.messageCount() >= limits_.messages || builder_.size() >= limits_.bytes;
    return !complete || writeChunk();
  }

  bool flush() { return isUsable() && writeChunk(); }

  bool close() {
    if (!file_.isOpen()) return !failed_;
    if (!isOwner()) {
      file_.abandon();
      return failAsForked();
    }
    if (!failed_) static_cast<void>(writeChunk());
    const Status status = file_.close();
    if (!status) return fail("close", status.text());
    return !failed_;
  }

  [[nodiscard]] const std::string& error() const { return error_; }

 private:
  /// Adds a record by `addRecord`, to a chunk of its own where it needs one.
  template <typename AddRecord>
  bool add(AddRecord addRecord) {
    if (!isUsable()) return false;
    try {
      AddResult result = addRecord();
      if (result == AddResult::ChunkFull) {
        if (!writeChunk()) return false;
        result = addRecord();
      }
      return result == AddResult::Added || refuse(result);
    } catch (const std::bad_alloc&) {
      return loseChunk();
    }
  }

  bool writeChunk() {
    if (builder_.empty()) return true;
    if (!isOwner()) return failAsForked();
    try {
      const ArrayView<uint8_t> bytes = builder_.finish();
      const Status status = file_.append(bytes.data, bytes.size);
      builder_.clear();
      return status.isGood() || fail("write", status.text());
    } catch (const std::bad_alloc&) {
      return loseChunk();
    }
  }

  /// Asked once a chunk, not once a message: it takes a system call.
  [[nodiscard]] bool isOwner() const { return ::getpid() == owner_; }

  /// A copy of the chunk came along with fork(); it is the parent's to write.
  bool failAsForked() {
    builder_.clear();
    return fail("write", "another process opened it");
  }

  bool loseChunk() {
    builder_.reset();
    return fail("write", "out of memory");
  }

  bool isUsable() {
    if (!failed_ && !file_.isOpen() && error_.empty()) error_ = "no log is open";
    return !failed_ && file_.isOpen();
  }

  bool refuse(AddResult result) {
    keepError("write", result == AddResult::TooDeep
                           ? "the events of a message are nested too deeply"
                           : "a record is too large for a chunk");
    return false;
  }

  bool fail(std::string_view action, std::string_view why) {
    failed_ = true;
    keepError(action, why);
    return false;
  }

  void keepError(std::string_view action, std::string_view why) {
    if (error_.empty())
      error_.append("cannot ").append(action).append(" ").append(path_).append(": ").append(why);
  }

  static constexpr size_t kMaxErrorText = 100;  // around the path

  const ChunkLimits limits_;
  ChunkBuilder builder_;
  LogFile file_;
  pid_t owner_ = 0;  ///< the process that opened the log
  std::string path_;
  std::string error_;
  bool failed_ = false;  ///< nothing can be written any more
};

ProfileLogWriter::ProfileLogWriter(ChunkLimits limits, RepeatedTexts repeated)
    : log_(std::make_unique<OpenLog>(limits, repeated)) {}

ProfileLogWriter::~ProfileLogWriter() { static_cast<void>(close()); }

bool ProfileLogWriter::open(const std::string& path) {
  static_cast<void>(close());
  return log_->open(path);
}

bool ProfileLogWriter::setHeader(const HeaderRecord& header) { return log_->setHeader(header); }

bool ProfileLogWriter::addMessage(const MessageRecord& message) {
  return log_->addMessage(message);
}

bool ProfileLogWriter::flush() { return log_->flush(); }

bool ProfileLogWriter::close() { return log_->close(); }

const std::string& ProfileLogWriter::error() const { return log_->error(); }

}  // namespace ryx::profiling
