// SPDX-License-Identifier: Apache-2.0
// Writes profiling logs: what an inference back end links to record a run.
//
//     ryx::profiling::ProfileLogWriter log;
//     bool good = log.open("run.log");
//     ...
//     good = good && log.addMessage(message);   // once per profiled call
//     good = good && log.close();
//     if (!good) std::cerr << log.error() << '\n';
//
// The records below mirror the log's tables field by field. A field left unset is absent from the
// log; readers treat absent and zero differently in places (a duration needs both ends of its
// timing). Records only borrow: the texts, bytes and arrays they point at need to live until the
// call that takes the record returns.

#ifndef RYX_PROFILE_LOG_WRITER_H
#define RYX_PROFILE_LOG_WRITER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ryx::profiling {

/// What a message reports. Logs may carry other codes; readers refuse them one message at a time.
enum class ProfiledMethod : int8_t {
  Execute = 1,
  Finalize = 2,
  ExecuteHostRoundTrip = 3,
  Init = 4,
  DeInit = 5,
  InitStep = 6,
  ComposeGraphs = 7,
  NetRun = 8,
  GraphRun = 9,
  LibLoad = 10,
  ApplyBinarySection = 11,
  ApplyBinarySectionAlt = 12,
};

/// A borrowed array; the array must outlive the call that the record is passed to.
template <typename T>
struct ArrayView {
  const T* data = nullptr;
  size_t size = 0;

  ArrayView() = default;
  ArrayView(const T* first, size_t count) : data(first), size(count) {}
  /// Any contiguous container: std::vector, std::array.
  template <typename Container>
  ArrayView(const Container& container) : data(container.data()), size(container.size()) {}
  template <size_t N>
  ArrayView(const T (&array)[N]) : data(array), size(N) {}
};

struct HeaderRecord {
  std::optional<float> timeScale;
  std::optional<uint64_t> epochTimestamp;        ///< microseconds since the Unix epoch
  std::optional<uint64_t> steadyClockTimestamp;  ///< microseconds of the back end's steady clock
  std::optional<std::string_view> infoText;
  std::optional<std::string_view> backendVersion;
  std::optional<std::string_view> infoLabel;

  /// The header's extension table, written when `hasExtension` is set. Readers ignore it.
  bool hasExtension = false;
  std::optional<uint32_t> extension0;
  std::optional<uint32_t> extension1;
  std::optional<uint32_t> extension2;
  std::optional<uint8_t> extension3;
};

struct EventRecord {
  std::optional<std::string_view> identifier;
  std::optional<uint32_t> eventType;
  std::optional<uint32_t> unit;              ///< 1 us, 2 bytes, 3 cycles, 4 count, 5 object, 6 none
  std::optional<uint64_t> timestamp;         ///< microseconds
  std::optional<std::string_view> fileName;  ///< where readers save the bytes of an object event
  ArrayView<EventRecord> nestedEvents;       ///< at most 61 levels below an event of a message

  /// Selects which of the value fields readers take; the setters below fill both.
  std::optional<uint32_t> valueKind;
  std::optional<int64_t> intValue;
  std::optional<uint64_t> uintValue;
  std::optional<float> floatValue;
  std::optional<double> doubleValue;
  std::optional<std::string_view> stringValue;
  std::optional<ArrayView<uint8_t>> bytesValue;

  void setInt(int64_t value) {
    valueKind = 1;
    intValue = value;
  }
  void setUint(uint64_t value) {
    valueKind = 2;
    uintValue = value;
  }
  void setFloat(float value) {
    valueKind = 3;
    floatValue = value;
  }
  void setBytes(ArrayView<uint8_t> value) {
    valueKind = 4;
    bytesValue = value;
  }
  void setDouble(double value) {
    valueKind = 5;
    doubleValue = value;
  }
  void setString(std::string_view value) {
    valueKind = 6;
    stringValue = value;
  }
};

struct MessageRecord {
  std::optional<ProfiledMethod> method;
  std::optional<int8_t> level;           ///< readers made with a level above this one show it
  std::optional<std::string_view> text;  ///< the graph's name, where the method is about a graph
  std::optional<uint64_t> timestamp;     ///< microseconds
  std::optional<uint64_t> timestamp2;
  std::optional<uint64_t> start;  ///< microseconds; the duration is end minus start
  std::optional<uint64_t> end;
  std::optional<uint64_t> start2;
  std::optional<uint64_t> end2;
  std::optional<uint8_t> flag;
  ArrayView<EventRecord> events;
  /// Write the events field even when `events` is empty.
  bool emptyEvents = false;
};

/// When a chunk is complete and goes to the file: at the first limit it reaches.
struct ChunkLimits {
  size_t messages = 256;           ///< at least 1
  size_t bytes = size_t{1} << 20;  ///< soft: a chunk ends with the message that reaches it
};

/// How often a text that repeats within a chunk is written. Readers see no difference.
enum class RepeatedTexts {
  Once,      ///< logs 35 to 45 % smaller; about 10 of 60 nanoseconds an event go into finding them
  EachTime,  ///< for texts that hardly repeat
};

/// Writes one log. Not thread-safe. Every chunk that has been written can be read, whatever happens
/// to the process afterwards; the messages of an unfinished chunk are lost with it.
///
/// All operations return false on failure and keep the first failure's text in `error()`. After a
/// failed write the log accepts nothing more until it is opened anew. A failed write raises no
/// signal in the process: neither SIGXFSZ nor SIGPIPE.
///
/// After fork() the log stays the parent's. In the child the operations that would write it fail,
/// its pending messages are dropped there, and destroying the writer does nothing to the file.
class ProfileLogWriter {
 public:
  explicit ProfileLogWriter(ChunkLimits limits = {}, RepeatedTexts repeated = RepeatedTexts::Once);
  /// Closes the log; call `close` to learn whether that worked.
  ~ProfileLogWriter();
  ProfileLogWriter(const ProfileLogWriter&) = delete;
  ProfileLogWriter& operator=(const ProfileLogWriter&) = delete;

  /// Starts a new log at `path`, emptying a file that is there. Fails, and leaves the file as it
  /// is, while another writer has it open, in this process or another; pipes and devices can be
  /// shared.
  [[nodiscard]] bool open(const std::string& path);

  /// The header of the next chunk to be written; normally set once, before the first message.
  [[nodiscard]] bool setHeader(const HeaderRecord& header);

  /// Adds one message, and writes the chunk that it completes. A message that cannot be read back
  /// (events nested too deeply, a chunk above 2147483646 bytes) is refused; the log stays usable.
  /// Allocates nothing once the buffers have grown to the size of a chunk.
  [[nodiscard]] bool addMessage(const MessageRecord& message);

  /// Writes the messages added since the last chunk, if any (or the header alone), as a chunk.
  [[nodiscard]] bool flush();

  /// Flushes and closes the log. False also when an earlier write failed.
  [[nodiscard]] bool close();

  /// What failed first since `open`, naming the file; empty when nothing did.
  [[nodiscard]] const std::string& error() const;

 private:
  class OpenLog;
  std::unique_ptr<OpenLog> log_;
};

}  // namespace ryx::profiling

#endif
