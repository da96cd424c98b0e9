// SPDX-License-Identifier: Apache-2.0
// Reading a log from end to end: chunk by chunk, message by message, then the statistics.
//
// Memory is bounded by the largest chunk and by what the handlers keep, because a message is turned
// into `ProfileData` at once and its chunk is then overwritten. The log lines here, and what is
// accepted in spite of damage, are what hosts know readers by: bytes missing from the last chunk
// read as zeros, and up to three bytes after it are passed over. CheckedLog names damage far
// better, and is for the tools.

#include <new>
#include <stdexcept>
#include <string>

#include "base/logger.h"
#include "events/execution_statistics.h"
#include "events/method_handlers.h"
#include "events/queue_wait.h"
#include "reader/ryx_profile_log_reader.h"
#include "reader/standard_output.h"
#include "stream/chunk_file.h"
#include "stream/log_text.h"

namespace ryx::profiling {
namespace {

/// Reads the next chunk; what goes wrong is logged.
ChunkRead readChunk(ChunkFile& file, const std::string& path) {
  try {
    const ChunkRead result = file.readNext();
    if (result == ChunkRead::Failed) RYX_LOG_ERROR("Invalid or nonexistent file: %s", path.c_str());
    return result;
  } catch (const std::bad_alloc& error) {
    RYX_LOG_ERROR("Unable to allocate memory: %s", error.what());
  } catch (const std::length_error& error) {
    RYX_LOG_ERROR("Length error: %s", error.what());
  }
  return ChunkRead::Failed;
}

void copyIfPresent(std::string& member, const flatbuffers::String* text) {
  if (text != nullptr) member = logText(text);
}

/// How long the initialisation took as a whole. In a log with a Finalize message, its parts
/// together: the steps, the composition and each graph's finalisation. Without one, or where the
/// parts took no time, what the Init message reported.
void finishInitTotals(ProfileData& data) {
  if (data.finalizeSeen_) {
    data.initTotalTimestamp_ = data.initStepTimestamp_;
    data.initTotalDuration_ = data.initStepDuration_ + data.composeGraphsDuration_;
    for (const GraphEventSet& set : data.graphEventSets_) data.initTotalDuration_ += set.duration;
  }
  if (data.initTotalDuration_ == 0 && data.initSeen_) {
    data.initTotalTimestamp_ = data.initTimestamp_;
    data.initTotalDuration_ = data.initDuration_;
  }
}

}  // namespace

bool RyxProfileLogReader::readLogFile(bool saveObjectEvents) {
  if (!readChunks()) return false;
  saveObjectEvents_ = saveObjectEvents;
  finishStatistics();
  return true;
}

bool RyxProfileLogReader::readChunks() {
  ChunkFile file;
  if (!file.open(logFilePath_)) {
    RYX_LOG_ERROR("Invalid or nonexistent file: %s", logFilePath_.c_str());
    return false;
  }
  for (;;) {
    const ChunkRead read = readChunk(file, logFilePath_);
    if (read != ChunkRead::Chunk) return read == ChunkRead::EndOfFile;
    if (!messageStream_.loadChunk(file.bytes())) return false;
    // Before the next chunk, whose bytes replace those that the header is in.
    if (!headerSaved_ || messageStream_.root->header() != nullptr) saveHeader();
    endOfMessages_ = false;
    while (!endOfMessages_) processNextMessage();
  }
}

bool RyxProfileLogReader::processNextMessage() {
  if (const Message* message = messageStream_.nextMessage()) return dispatch(*message);
  endOfMessages_ = true;
  RYX_LOG_DEBUG("profiling::RyxProfileLogReader reached EOF!");
  return false;
}

bool RyxProfileLogReader::dispatch(const Message& message) {
  if (const MethodHandler handler = handlerOf(message))
    return handler(data_, visibilityLevel_, message);
  RYX_LOG_ERROR("Unknown method type.");
  return false;
}

void RyxProfileLogReader::saveHeader() {
  if (headerSaved_) {
    RYX_LOG_DEBUG("Header details have been saved already.");
    return;
  }
  const LogHeader* header = messageStream_.getHeader();
  if (header == nullptr) {
    RYX_LOG_DEBUG("hdr is nullptr");
    return;
  }
  timeScale_ = header->time_scale().value_or(0);
  epochTimestamp_ = header->epoch_timestamp().value_or(0);
  steadyClockTimestamp_ = header->steady_clock_timestamp().value_or(0);
  copyIfPresent(infoText_, header->info_text());
  copyIfPresent(backendVersion_, header->backend_version());
  copyIfPresent(infoLabel_, header->info_label());
  headerSaved_ = true;
}

void RyxProfileLogReader::finishStatistics() {
  std::string notes;
  appendExecutionStatistics(data_);
  if (data_.queueWaitSeen_) collectQueueWaits(data_, notes);
  finishInitTotals(data_);
  writeStandardOutput(notes);
}

}  // namespace ryx::profiling
