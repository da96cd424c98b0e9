// SPDX-License-Identifier: Apache-2.0
// Fuzz target: the input is one chunk. What the verifier lets pass must be readable to its last
// byte, and must yield as many events as it has event tables.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <type_traits>
#include <vector>

#include "events/event_tree.h"
#include "events/method_handlers.h"
#include "fuzz/require.h"
#include "stream/chunk_verifier.h"
#include "stream/flat_buffer_reader_util.h"

namespace ryx::profiling {
namespace {

volatile size_t g_lastRead;

template <typename Bytes>
void readBytes(const Bytes* bytes, size_t terminators = 0) {
  if (bytes == nullptr) return;
  const auto* first = reinterpret_cast<const uint8_t*>(bytes->Data());
  for (size_t i = 0; i < bytes->size() + terminators; ++i) g_lastRead = first[i];
}

void readText(const flatbuffers::String* text) { readBytes(text, 1); }

template <typename... Scalars>
void readScalars(const Scalars&... scalars) {
  ((g_lastRead = scalars && *scalars != std::decay_t<decltype(*scalars)>{}), ...);
}

/// Reads every field; returns how many tables the list and the lists below it have.
size_t readEvents(const EventTables* events) {
  if (events == nullptr) return 0;
  size_t tables = events->size();
  for (const Event* event : *events) {
    readText(event->identifier());
    readText(event->file_name());
    readText(event->string_value());
    readBytes(event->bytes_value());
    readScalars(event->event_type(), event->unit(), event->timestamp(), event->uint_value(),
                event->int_value(), event->float_value(), event->double_value(),
                event->value_kind());
    tables += readEvents(event->nested_events());
  }
  return tables;
}

void readHeader(const LogHeader* header) {
  if (header == nullptr) return;
  readText(header->info_text());
  readText(header->backend_version());
  readText(header->info_label());
  readScalars(header->time_scale(), header->epoch_timestamp(), header->steady_clock_timestamp());
  if (const HeaderExtension* extension = header->extension())
    readScalars(extension->value_0(), extension->value_3());
}

size_t countEvents(const std::vector<ProfileEvent>& events) {
  size_t count = events.size();
  for (const ProfileEvent& event : events) count += countEvents(event.subEvents);
  return count;
}

}  // namespace
}  // namespace ryx::profiling

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace ryx::profiling;
  auto chunk = std::make_shared<ByteVector>(size);
  std::copy_n(data, size, chunk->data());
  const bool verified = verifyChunk(chunk->data(), size);
  FlatBufferReaderUtil stream;
  ryx::fuzz::require(stream.loadChunk(chunk) == verified, "loaded exactly if verified");
  if (!verified) return 0;

  readHeader(stream.getHeader());
  ProfileData profile;
  while (const Message* message = stream.nextMessage()) {
    const size_t tables = readEvents(message->events());
    readText(message->text());
    std::list<std::string> texts;
    std::vector<ProfileEvent> events;
    buildMessageEvents(texts, *message, events);
    ryx::fuzz::require(countEvents(events) == tables, "one event for each event table");
    if (const MethodHandler handler = handlerOf(*message))
      handler(profile, VisibilityLevel{127}, *message);
  }
  return 0;
}
