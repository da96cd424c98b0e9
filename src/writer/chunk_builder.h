// SPDX-License-Identifier: Apache-2.0
// One chunk, built in memory from the writer's records, in storage kept from chunk to chunk.

#ifndef RYX_WRITER_CHUNK_BUILDER_H
#define RYX_WRITER_CHUNK_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "profile_log_generated.h"
#include "ryx/profile_log_writer.h"
#include "stream/log_format.h"
#include "writer/text_table.h"

namespace ryx::profiling {

/// What became of a record. Only `Added` changes the chunk.
enum class AddResult {
  Added,
  ChunkFull,  ///< does not fit after what the chunk holds, but fits in an empty chunk
  TooLarge,   ///< fits in no chunk
  TooDeep,    ///< its events are nested too deeply to verify
};

class ChunkBuilder {
 public:
  /// No finished chunk takes more than `maxBytes`, its size prefix included. Records are judged by
  /// an upper bound, a few dozen bytes above what a table really takes.
  explicit ChunkBuilder(RepeatedTexts repeated = RepeatedTexts::Once,
                        uint64_t maxBytes = kMaxChunkBytes)
      : repeated_(repeated), maxBytes_(maxBytes) {}

  /// The records are copied. Both throw std::bad_alloc when memory is exhausted; only `reset` may
  /// be called then.
  [[nodiscard]] AddResult setHeader(const HeaderRecord& header);
  [[nodiscard]] AddResult addMessage(const MessageRecord& message);

  [[nodiscard]] bool empty() const { return header_.IsNull() && messages_.empty(); }
  [[nodiscard]] size_t messageCount() const { return messages_.size(); }
  /// The chunk's bytes so far, without what `finish` adds.
  [[nodiscard]] size_t size() const { return builder_.GetSize(); }

  /// The size prefix and the chunk; valid until the next operation, which can only be `clear` or
  /// `reset`.
  [[nodiscard]] ArrayView<uint8_t> finish();

  /// Empties the chunk, keeping its storage.
  void clear();
  /// Empties the chunk and frees the storage.
  void reset();

 private:
  [[nodiscard]] AddResult judge(uint64_t recordBytes) const;
  flatbuffers::Offset<Message> buildMessage(const MessageRecord& message);
  flatbuffers::Offset<Event> buildEvent(const EventRecord& event);
  flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Event>>> buildEvents(
      const ArrayView<EventRecord>& events);
  flatbuffers::Offset<HeaderExtension> buildExtension(const HeaderRecord& header);
  flatbuffers::Offset<flatbuffers::String> buildText(const std::optional<std::string_view>& text);

  const RepeatedTexts repeated_;
  const uint64_t maxBytes_;
  flatbuffers::FlatBufferBuilder builder_;
  flatbuffers::Offset<LogHeader> header_;
  std::vector<flatbuffers::Offset<Message>> messages_;
  TextTable texts_;
  /// A stack: the events of every list that is being built, outer lists below inner ones.
  std::vector<flatbuffers::Offset<Event>> events_;
};

}  // namespace ryx::profiling

#endif
