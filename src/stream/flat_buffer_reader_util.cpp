// SPDX-License-Identifier: Apache-2.0
// Verified once, a chunk is read without further checks: messages are handed out as pointers into
// it.

#include "stream/flat_buffer_reader_util.h"

#include <utility>

#include "base/logger.h"
#include "stream/chunk_verifier.h"

namespace ryx::profiling {

bool FlatBufferReaderUtil::loadChunk(std::shared_ptr<ByteVector> chunk) {
  if (!verifyChunk(chunk->data(), chunk->size())) {
    RYX_LOG_ERROR("Corrupted flatbuffer binary stream");
    return false;
  }
  root = flatbuffers::GetRoot<LogChunk>(chunk->data());
  if (header == nullptr) header = root->header();
  messages = root->messages();
  messageCounter = 0;
  bytes = std::move(chunk);
  return true;
}

const Message* FlatBufferReaderUtil::nextMessage() {
  if (messages != nullptr && messageCounter < messages->size())
    return messages->Get(messageCounter++);
  RYX_LOG_DEBUG("profiling::FlatBufferReaderUtil no more messages! (Message Counter: %d)",
                messageCounter);
  messages = nullptr;
  bytes.reset();
  return nullptr;
}

}  // namespace ryx::profiling
