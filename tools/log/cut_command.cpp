#include <algorithm>
#include <cctype>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "log/commands.h"
#include "log/log_summary.h"
#include "log/message_copier.h"
#include "log/whole_file.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

/// Whether the message meets all conditions but those on its number.
bool isSelected(const CutSelection& selection, const Message& message) {
  if (selection.graph &&
      (message.text() == nullptr || readersText(*message.text()) != *selection.graph))
    return false;
  const uint64_t time = message.timestamp()->time().value_or(0);
  if (time < selection.fromTime || time > selection.toTime) return false;
  if (selection.level && message.level().value_or(0) >= *selection.level) return false;
  const auto method = message.method_type().value_or(static_cast<MethodType>(0));
  return selection.methods.empty() || std::count(selection.methods.begin(), selection.methods.end(),
                                                 static_cast<int8_t>(method)) > 0;
}

/// The log that is cut out, in chunks of a size that readers like.
class CutLog {
 public:
  explicit CutLog(const std::string& path) : path_(path) {}

  [[nodiscard]] bool open() { return check(file_.open(path_)); }

  /// `sourceBytes` is the size of the chunk that the record is in.
  [[nodiscard]] bool add(const LogHeader& header, uint64_t sourceBytes) {
    if (!makeRoom(copier_.sizeBound(header), sourceBytes)) return false;
    header_ = copier_.copy(header, builder_);
    return true;
  }

  [[nodiscard]] bool add(const Message& message, uint64_t sourceBytes) {
    if (!makeRoom(copier_.sizeBound(message), sourceBytes)) return false;
    messages_.push_back(copier_.copy(message, builder_));
    return true;
  }

  [[nodiscard]] bool commit() { return writeChunk() && check(file_.commit()); }

 private:
  static constexpr size_t kChunkMessages = 256;
  static constexpr uint64_t kChunkBytes = 256 * 1024;
  // Copies take more than their original where that shares its parts; only a file made for it
  // shares so much.
  static constexpr uint64_t kMaxCopyFactor = 16;
  static constexpr uint64_t kAnyCopyBytes = 64 << 20;
  static constexpr uint64_t kMaxCopyBytes = kMaxChunkBytes - 1024;

  bool makeRoom(uint64_t bytes, uint64_t sourceBytes) {
    const uint64_t limit =
        std::min(std::max(kAnyCopyBytes, kMaxCopyFactor * sourceBytes), kMaxCopyBytes);
    if (bytes > limit)
      return reportError("cannot write " + path_ + ": a message or header is too large to copy");
    const bool isFull = messages_.size() >= kChunkMessages || builder_.GetSize() >= kChunkBytes ||
                        bytes > kChunkBytes;
    return !isFull || writeChunk();
  }

  bool writeChunk() {
    if (header_.IsNull() && messages_.empty()) return true;
    flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Message>>> messages;
    if (!messages_.empty()) messages = builder_.CreateVector(messages_);
    builder_.Finish(CreateLogChunk(builder_, header_, messages));
    uint8_t prefix[kSizePrefixBytes];
    encodeSizePrefix(builder_.GetSize(), prefix);
    const bool isWritten = check(file_.append(prefix, sizeof prefix)) &&
                           check(file_.append(builder_.GetBufferPointer(), builder_.GetSize()));
    builder_.Clear();
    header_ = 0;
    messages_.clear();
    return isWritten;
  }

  bool check(const std::error_code& error) {
    return !error || reportError("cannot write " + path_ + ": " + error.message());
  }

  const std::string& path_;
  const MessageCopier copier_;
  WholeFile file_;
  flatbuffers::FlatBufferBuilder builder_;
  flatbuffers::Offset<LogHeader> header_;
  std::vector<flatbuffers::Offset<Message>> messages_;
};

}  // namespace

std::optional<int8_t> methodCode(const std::string& text) {
  const auto isSameLetter = [](char one, char other) {
    return std::tolower(static_cast<unsigned char>(one)) ==
           std::tolower(static_cast<unsigned char>(other));
  };
  for (const MethodType method : EnumValuesMethodType()) {
    const std::string_view name = EnumNameMethodType(method);
    if (std::equal(name.begin(), name.end(), text.begin(), text.end(), isSameLetter))
      return static_cast<int8_t>(method);
  }
  int8_t code = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return code;
}

bool cutLog(const std::string& logPath, const std::string& partPath,
            const CutSelection& selection) {
  CheckedLog log;
  if (!log.open(logPath)) return reportError("cannot read " + logPath + ": " + log.damage()->text);
  CutLog part(partPath);
  if (!part.open()) return false;

  bool hasHeader = false;
  uint64_t number = 0;
  uint64_t written = 0;
  while (const LogChunk* chunk = log.next()) {
    if (!hasHeader && chunk->header() != nullptr) {
      if (!part.add(*chunk->header(), log.chunkBytes())) return false;
      hasHeader = true;
    }
    if (chunk->messages() == nullptr) continue;
    for (const Message* message : *chunk->messages()) {
      if (!isSelected(selection, *message)) continue;
      ++number;
      if (number < selection.first || number > selection.last) continue;
      if (!part.add(*message, log.chunkBytes())) return false;
      ++written;
    }
  }
  if (log.damage())
    return reportError(logPath + ": " + describe(*log.damage()) + "; 'ryx-profile-log salvage' " +
                       "rescues what is good");
  if (!part.commit()) return false;
  if (written == 0)
    reportError(logPath + ": no message is selected; " + partPath + " holds " +
                (hasHeader ? "the header alone" : "nothing"));
  return true;
}

}  // namespace ryx::profiling
