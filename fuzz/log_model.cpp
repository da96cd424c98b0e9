// SPDX-License-Identifier: Apache-2.0
// Bytes that are changed at random hardly ever verify, and then only the verifier is tested. A
// model is changed instead, and written by the library's own chunk builder: whatever comes out
// verifies. Texts and bytes stay in the log that was read, since a fuzzer makes millions of models.
//
// Copying field by field has to keep what is absent apart from what is 0, or the reports of the log
// and of its copy would rightly differ.

#include "fuzz/log_model.h"

#include <deque>

#include "profile_log_generated.h"
#include "stream/chunk_verifier.h"
#include "stream/log_format.h"
#include "writer/chunk_builder.h"

namespace ryx::fuzz {
namespace {

using namespace ryx::profiling;

template <typename T>
std::optional<T> copied(flatbuffers::Optional<T> value) {
  return value ? std::optional<T>(*value) : std::nullopt;
}

std::optional<std::string_view> viewed(const flatbuffers::String* text) {
  if (text == nullptr) return std::nullopt;
  return std::string_view(text->c_str(), text->size());
}

template <typename Tables>
std::vector<EventModel> readEvents(const Tables* tables) {
  std::vector<EventModel> events;
  if (tables == nullptr) return events;
  for (const Event* table : *tables) {
    EventRecord& record = events.emplace_back().record;
    record.identifier = viewed(table->identifier());
    record.eventType = copied(table->event_type());
    record.unit = copied(table->unit());
    record.timestamp = copied(table->timestamp());
    record.fileName = viewed(table->file_name());
    if (const auto kind = table->value_kind()) record.valueKind = static_cast<uint32_t>(*kind);
    record.intValue = copied(table->int_value());
    record.uintValue = copied(table->uint_value());
    record.floatValue = copied(table->float_value());
    record.doubleValue = copied(table->double_value());
    record.stringValue = viewed(table->string_value());
    if (const auto* bytes = table->bytes_value())
      record.bytesValue = {bytes->data(), bytes->size()};
    events.back().events = readEvents(table->nested_events());
  }
  return events;
}

MessageModel readMessage(const Message& table) {
  MessageModel message;
  MessageRecord& record = message.record;
  if (const auto method = table.method_type()) record.method = static_cast<ProfiledMethod>(*method);
  record.level = copied(table.level());
  record.text = viewed(table.text());
  record.timestamp = copied(table.timestamp()->time());
  record.timestamp2 = copied(table.timestamp()->time_2());
  record.start = copied(table.timing()->start());
  record.end = copied(table.timing()->end());
  record.start2 = copied(table.timing()->start_2());
  record.end2 = copied(table.timing()->end_2());
  record.flag = copied(table.timing()->flag());
  record.emptyEvents = table.events() != nullptr;
  message.events = readEvents(table.events());
  return message;
}

HeaderRecord readHeader(const LogHeader& table) {
  HeaderRecord record;
  record.timeScale = copied(table.time_scale());
  record.epochTimestamp = copied(table.epoch_timestamp());
  record.steadyClockTimestamp = copied(table.steady_clock_timestamp());
  record.infoText = viewed(table.info_text());
  record.backendVersion = viewed(table.backend_version());
  record.infoLabel = viewed(table.info_label());
  if (const HeaderExtension* extension = table.extension()) {
    record.hasExtension = true;
    record.extension0 = copied(extension->value_0());
    record.extension1 = copied(extension->value_1());
    record.extension2 = copied(extension->value_2());
    record.extension3 = copied(extension->value_3());
  }
  return record;
}

ChunkModel readChunk(const LogChunk& table) {
  ChunkModel chunk;
  if (table.header() != nullptr) chunk.header = readHeader(*table.header());
  if (table.messages() != nullptr)
    for (const Message* message : *table.messages())
      chunk.messages.push_back(readMessage(*message));
  return chunk;
}

/// The lists of records that one message's records point at.
using EventLists = std::deque<std::vector<EventRecord>>;

ArrayView<EventRecord> listEvents(const std::vector<EventModel>& events, EventLists& lists) {
  std::vector<EventRecord>& list = lists.emplace_back();
  for (const EventModel& event : events) {
    list.push_back(event.record);
    if (!event.events.empty()) list.back().nestedEvents = listEvents(event.events, lists);
  }
  return list;
}

}  // namespace

std::optional<LogModel> readModel(std::string_view log) {
  LogModel model;
  const auto* bytes = reinterpret_cast<const uint8_t*>(log.data());
  for (size_t left = log.size(); left >= kSizePrefixBytes;) {
    const size_t size = decodeSizePrefix(bytes);
    bytes += kSizePrefixBytes;
    left -= kSizePrefixBytes;
    if (size > left || !verifyChunk(bytes, size)) return std::nullopt;
    model.push_back(readChunk(*flatbuffers::GetRoot<LogChunk>(bytes)));
    bytes += size;
    left -= size;
  }
  return model;
}

std::string writeModel(const LogModel& model) {
  std::string log;
  ChunkBuilder builder;
  for (const ChunkModel& chunk : model) {
    builder.clear();
    if (chunk.header) static_cast<void>(builder.setHeader(*chunk.header));
    for (const MessageModel& message : chunk.messages) {
      EventLists lists;
      MessageRecord record = message.record;
      record.events = listEvents(message.events, lists);
      static_cast<void>(builder.addMessage(record));
    }
    const ArrayView<uint8_t> written = builder.finish();
    log.append(reinterpret_cast<const char*>(written.data), written.size);
  }
  return log;
}

}  // namespace ryx::fuzz
