#include "ryx/profile_log_writer.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "writer/chunk_builder.h"
#include "writer/log_file.h"

namespace ryx::profiling {

/// The log that is open, and the chunk that is being gathered for it.
class ProfileLogWriter::OpenLog {
 public:
  explicit OpenLog(ChunkLimits limits) : limits_(limits) {}

  bool open(const std::string& path) {
    builder_.clear();
    failed_ = false;
    error_.clear();
    path_ = path;
    error_.reserve(path_.size() + kMaxErrorText);  // to tell that memory is exhausted takes none
    const std::error_code error = file_.open(path);
    return !error || fail("open", error.message());
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
    if (!failed_) static_cast<void>(writeChunk());
    const std::error_code error = file_.close();
    if (error) return fail("close", error.message());
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
    try {
      const ArrayView<uint8_t> bytes = builder_.finish();
      const std::error_code error = file_.append(bytes.data, bytes.size);
      builder_.clear();
      return !error || fail("write", error.message());
    } catch (const std::bad_alloc&) {
      return loseChunk();
    }
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
  std::string path_;
  std::string error_;
  bool failed_ = false;  ///< nothing can be written any more
};

ProfileLogWriter::ProfileLogWriter(ChunkLimits limits) : log_(std::make_unique<OpenLog>(limits)) {}

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
