// SPDX-License-Identifier: Apache-2.0
// Messages are copied table by table into new chunks, not by taking chunks over: a chunk usually
// has messages that are wanted and others that are not, and redaction changes texts. A copy has
// each table as often as it is named, so a chunk that shares its tables can grow beyond any size:
// an upper bound of each copy is worked out first, and one that is out of all proportion to its
// chunk is refused.
//
// A damaged log is refused as a whole, and nothing is written: a part that ends early for no reason
// that its reader can see would be taken for the whole of what was selected.

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "common/input.h"
#include "common/program.h"
#include "common/progress.h"
#include "log/commands.h"
#include "log/table_copier.h"
#include "stream/atomic_log.h"
#include "stream/log_damage.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

/// The log that is cut out, in chunks of a size that readers like.
class CutLog {
 public:
  CutLog(const std::string& path, Redaction redaction) : path_(path), copier_(redaction) {}

  Status open() { return log_.open(path_); }

  /// `sourceBytes` is the size of the chunk that the record is in.
  Status add(const LogHeader& header, uint64_t sourceBytes) {
    const auto offset = copy(headerType(), asTable(header), sourceBytes);
    if (offset) header_ = *offset;
    return offset.status();
  }

  Status add(const Message& message, uint64_t sourceBytes) {
    const auto offset = copy(messageType(), asTable(message), sourceBytes);
    if (offset) messages_.emplace_back(*offset);
    return offset.status();
  }

  Status commit() {
    if (Status status = writeChunk(); !status) return status;
    return log_.commit();
  }

 private:
  static constexpr size_t kChunkMessages = 256;
  static constexpr uint64_t kChunkBytes = uint64_t{256} << 10;
  // Copies take more than their original where that shares its parts; only a file made for it
  // shares so much.
  static constexpr uint64_t kMaxCopyFactor = 16;
  static constexpr uint64_t kAnyCopyBytes = 64 << 20;
  static constexpr uint64_t kMaxCopyBytes = kMaxChunkBytes - 1024;

  Result<flatbuffers::uoffset_t> copy(const TableType& type, const flatbuffers::Table& table,
                                      uint64_t sourceBytes) {
    if (Status status = makeRoom(TableCopier::sizeBound(type, table), sourceBytes); !status)
      return status;
    return copier_.copy(type, table, builder_);
  }

  Status makeRoom(uint64_t bytes, uint64_t sourceBytes) {
    const uint64_t limit =
        std::min(std::max(kAnyCopyBytes, kMaxCopyFactor * sourceBytes), kMaxCopyBytes);
    if (bytes > limit)
      return Status::failure("cannot write " + path_ +
                             ": a message or header is too large to copy");
    const bool isFull = messages_.size() >= kChunkMessages || builder_.GetSize() >= kChunkBytes ||
                        bytes > kChunkBytes;
    return isFull ? writeChunk() : Status();
  }

  Status writeChunk() {
    if (header_.IsNull() && messages_.empty()) return {};
    flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Message>>> messages;
    if (!messages_.empty()) messages = builder_.CreateVector(messages_);
    builder_.Finish(CreateLogChunk(builder_, header_, messages));
    Status status = log_.append(builder_.GetBufferPointer(), builder_.GetSize());
    builder_.Clear();
    header_ = 0;
    messages_.clear();
    return status;
  }

  const std::string& path_;
  const TableCopier copier_;
  AtomicLog log_;
  flatbuffers::FlatBufferBuilder builder_;
  flatbuffers::Offset<LogHeader> header_;
  std::vector<flatbuffers::Offset<Message>> messages_;
};

}  // namespace

Status cutLog(const std::string& operand, const std::string& partPath, const MessageFilter& filter,
              Redaction redaction) {
  MessageSelector selector(filter);
  const auto input = tools::InputPath::of(operand, selector.isLogNeeded());
  if (!input) return input.status();
  const std::string name = tools::inputName(operand);
  tools::silenceProgressBeside(partPath);
  const tools::Progress progress("cutting",
                                 tools::bytesOf({operand}, selector.isCountNeeded() ? 2 : 1));
  CheckedLog log;
  if (!log.open(input->path()))
    return Status::failure("cannot read " + name + ": " + log.damage()->text);
  if (const Status status = selector.resolveTimes(input->path()); !status) return status.of(name);
  CutLog part(partPath, redaction);
  if (Status status = part.open(); !status) return status;

  if (selector.isCountNeeded()) selector.countMessages(input->path());
  bool hasHeader = false;
  uint64_t written = 0;
  while (const LogChunk* chunk = log.next()) {
    if (!hasHeader && chunk->header() != nullptr) {
      if (Status status = part.add(*chunk->header(), log.chunkBytes()); !status) return status;
      hasHeader = true;
    }
    if (chunk->messages() == nullptr) continue;
    for (const Message* message : *chunk->messages()) {
      if (!selector.selects(*message)) continue;
      if (Status status = part.add(*message, log.chunkBytes()); !status) return status;
      ++written;
    }
  }
  if (log.damage()) {
    const bool isLog = log.damage()->kind != DamageKind::NotALog;
    return Status::failure(name + ": " + describe(*log.damage()) +
                           (isLog ? "; 'ryx-profile-log salvage' rescues what is good" : ""));
  }
  if (Status status = part.commit(); !status) return status;
  if (written == 0) {
    const std::string partName = partPath == tools::kStandardStream ? "the output" : partPath;
    tools::printError(name + ": no message is selected; " + partName + " holds " +
                      (hasHeader ? "the header alone" : "nothing"));
  }
  return {};
}

}  // namespace ryx::profiling
