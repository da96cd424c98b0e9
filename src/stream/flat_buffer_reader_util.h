// SPDX-License-Identifier: Apache-2.0
// The messages of one verified chunk, handed out one at a time.

#ifndef RYX_STREAM_FLAT_BUFFER_READER_UTIL_H
#define RYX_STREAM_FLAT_BUFFER_READER_UTIL_H

#include <cstdint>
#include <memory>

#include "profile_log_generated.h"
#include "stream/chunk_file.h"

namespace ryx::profiling {

/// Everything it hands out points into the chunk that was loaded last. It shares that chunk until
/// its last message has been taken; who needs a message for longer has to keep the chunk alive.
class FlatBufferReaderUtil {
 public:
  virtual ~FlatBufferReaderUtil() = default;

  /// Verifies a chunk and takes its messages. On failure logs "Corrupted flatbuffer binary stream",
  /// returns false and changes nothing.
  [[nodiscard]] bool loadChunk(std::shared_ptr<ByteVector> chunk);

  /// The first header that any chunk carried, or null. It points into the chunk that carried it:
  /// copy what is needed before that chunk is released.
  [[nodiscard]] const LogHeader* getHeader() const { return header; }

  /// The next message of the chunk, or null when none is left, which also releases the chunk.
  [[nodiscard]] const Message* nextMessage();

  // For reading only. All but the counter point into chunks, and are valid until these are
  // released.
  const LogChunk* root = nullptr;     ///< of the chunk loaded last
  const LogHeader* header = nullptr;  ///< the first of any chunk
  const flatbuffers::Vector<flatbuffers::Offset<Message>>* messages = nullptr;  ///< until drained
  uint32_t messageCounter = 0;  ///< the messages handed out of this chunk

 private:
  std::shared_ptr<ByteVector> bytes;
};

}  // namespace ryx::profiling

#endif
