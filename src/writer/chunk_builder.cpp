// SPDX-License-Identifier: Apache-2.0
// FlatBuffers aborts on a buffer of 2 GiB and its verifier refuses deep trees, both after the fact.
// So a record is measured before anything of it is built: how deep its events go, and an upper
// bound of the bytes it can take. An exact size would have to repeat FlatBuffers' alignment and its
// sharing of vtables; the bound is wrong by a few dozen bytes a table, which no limit notices.

#include "writer/chunk_builder.h"

#include <algorithm>

#include "stream/size_bound.h"

namespace ryx::profiling {

namespace {

// Upper bounds: a table's scalars and offsets, its vtable, their padding, and the table's slot in
// the vector that holds it.
constexpr uint64_t kMaxEventBytes = 128;
constexpr uint64_t kMaxMessageBytes = 192;  // with its timestamp and timing
constexpr uint64_t kMaxHeaderBytes = 192;   // with its extension
constexpr uint64_t kMaxFrameBytes = 64;     // root table and offset, vector of messages, prefix

// The chunk and the message are tables too.
constexpr uint32_t kMaxEventDepth = kMaxTableDepth - 2;

template <typename Enum>
constexpr bool sameCode(ProfiledMethod method, Enum type) {
  return static_cast<int8_t>(method) == static_cast<int8_t>(type);
}
static_assert(sameCode(ProfiledMethod::Execute, MethodType::Execute));
static_assert(sameCode(ProfiledMethod::Finalize, MethodType::Finalize));
static_assert(sameCode(ProfiledMethod::ExecuteHostRoundTrip, MethodType::ExecuteHostRoundTrip));
static_assert(sameCode(ProfiledMethod::Init, MethodType::Init));
static_assert(sameCode(ProfiledMethod::DeInit, MethodType::DeInit));
static_assert(sameCode(ProfiledMethod::InitStep, MethodType::InitStep));
static_assert(sameCode(ProfiledMethod::ComposeGraphs, MethodType::ComposeGraphs));
static_assert(sameCode(ProfiledMethod::NetRun, MethodType::NetRun));
static_assert(sameCode(ProfiledMethod::GraphRun, MethodType::GraphRun));
static_assert(sameCode(ProfiledMethod::LibLoad, MethodType::LibLoad));
static_assert(sameCode(ProfiledMethod::ApplyBinarySection, MethodType::ApplyBinarySection));
static_assert(sameCode(ProfiledMethod::ApplyBinarySectionAlt, MethodType::ApplyBinarySectionAlt));
static_assert(MethodType::MAX == MethodType::ApplyBinarySectionAlt);

void addText(SizeBound& bound, const std::optional<std::string_view>& text) {
  if (text) bound.addArray(text->size());
}

/// False when the events go deeper than `levels`. Stops counting above `maxBytes`: arrays that
/// share their nested arrays can have more events than there is time to count.
bool measureEvents(const ArrayView<EventRecord>& events, uint32_t levels, uint64_t maxBytes,
                   SizeBound& bound) {
  if (events.size == 0) return true;
  if (levels == 0) return false;
  bound.addArray(0);
  for (size_t i = 0; i < events.size && bound.bytes() <= maxBytes; ++i) {
    const EventRecord& event = events.data[i];
    bound.add(kMaxEventBytes);
    addText(bound, event.identifier);
    addText(bound, event.fileName);
    addText(bound, event.stringValue);
    if (event.bytesValue) bound.addArray(event.bytesValue->size);
    if (!measureEvents(event.nestedEvents, levels - 1, maxBytes, bound)) return false;
  }
  return true;
}

}  // namespace

AddResult ChunkBuilder::judge(uint64_t recordBytes) const {
  if (maxBytes_ < kMaxFrameBytes || recordBytes > maxBytes_ - kMaxFrameBytes)
    return AddResult::TooLarge;
  const uint64_t used = kMaxFrameBytes + size() + messages_.size() * sizeof(messages_[0]);
  if (used > maxBytes_ || recordBytes > maxBytes_ - used) return AddResult::ChunkFull;
  return AddResult::Added;
}

AddResult ChunkBuilder::setHeader(const HeaderRecord& header) {
  SizeBound bound;
  bound.add(kMaxHeaderBytes);
  addText(bound, header.infoText);
  addText(bound, header.backendVersion);
  addText(bound, header.infoLabel);
  const AddResult result = judge(bound.bytes());
  if (result != AddResult::Added) return result;

  const auto extension = buildExtension(header);
  const auto infoText = buildText(header.infoText);
  const auto backendVersion = buildText(header.backendVersion);
  const auto infoLabel = buildText(header.infoLabel);
  LogHeaderBuilder table(builder_);
  if (header.epochTimestamp) table.add_epoch_timestamp(*header.epochTimestamp);
  if (header.steadyClockTimestamp) table.add_steady_clock_timestamp(*header.steadyClockTimestamp);
  if (header.timeScale) table.add_time_scale(*header.timeScale);
  table.add_extension(extension);
  table.add_info_text(infoText);
  table.add_backend_version(backendVersion);
  table.add_info_label(infoLabel);
  header_ = table.Finish();
  return AddResult::Added;
}

AddResult ChunkBuilder::addMessage(const MessageRecord& message) {
  SizeBound bound;
  bound.add(kMaxMessageBytes);
  addText(bound, message.text);
  if (!measureEvents(message.events, kMaxEventDepth, maxBytes_, bound)) return AddResult::TooDeep;
  const AddResult result = judge(bound.bytes());
  if (result == AddResult::Added) messages_.push_back(buildMessage(message));
  return result;
}

// What a table leads to has to be finished before the table is begun, here and below.
flatbuffers::Offset<Message> ChunkBuilder::buildMessage(const MessageRecord& message) {
  flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Event>>> events;
  if (message.events.size > 0 || message.emptyEvents) events = buildEvents(message.events);
  const auto text = buildText(message.text);

  MessageTimestampBuilder timestamp(builder_);
  if (message.timestamp) timestamp.add_time(*message.timestamp);
  if (message.timestamp2) timestamp.add_time_2(*message.timestamp2);
  const auto timestampOffset = timestamp.Finish();

  MessageTimingBuilder timing(builder_);
  if (message.start) timing.add_start(*message.start);
  if (message.end) timing.add_end(*message.end);
  if (message.start2) timing.add_start_2(*message.start2);
  if (message.end2) timing.add_end_2(*message.end2);
  if (message.flag) timing.add_flag(*message.flag);
  const auto timingOffset = timing.Finish();

  MessageBuilder table(builder_);
  table.add_timestamp(timestampOffset);
  table.add_timing(timingOffset);
  table.add_events(events);
  table.add_text(text);
  if (message.method) table.add_method_type(static_cast<MethodType>(*message.method));
  if (message.level) table.add_level(*message.level);
  return table.Finish();
}

flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Event>>> ChunkBuilder::buildEvents(
    const ArrayView<EventRecord>& events) {
  const size_t first = events_.size();
  events_.resize(first + events.size);
  for (size_t i = 0; i < events.size; ++i) {
    const auto event = buildEvent(events.data[i]);  // may move events_
    events_[first + i] = event;
  }
  const auto vector = builder_.CreateVector(events_.data() + first, events.size);
  events_.resize(first);
  return vector;
}

flatbuffers::Offset<Event> ChunkBuilder::buildEvent(const EventRecord& event) {
  flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Event>>> nestedEvents;
  if (event.nestedEvents.size > 0) nestedEvents = buildEvents(event.nestedEvents);
  flatbuffers::Offset<flatbuffers::Vector<uint8_t>> bytes;
  if (event.bytesValue)
    bytes = builder_.CreateVector(event.bytesValue->data, event.bytesValue->size);
  const auto identifier = buildText(event.identifier);
  const auto fileName = buildText(event.fileName);
  const auto stringValue = buildText(event.stringValue);

  // Widest first, so that nothing needs padding.
  EventBuilder table(builder_);
  if (event.uintValue) table.add_uint_value(*event.uintValue);
  if (event.intValue) table.add_int_value(*event.intValue);
  if (event.timestamp) table.add_timestamp(*event.timestamp);
  if (event.doubleValue) table.add_double_value(*event.doubleValue);
  if (event.floatValue) table.add_float_value(*event.floatValue);
  if (event.eventType) table.add_event_type(*event.eventType);
  if (event.unit) table.add_unit(*event.unit);
  if (event.valueKind) table.add_value_kind(static_cast<EventValueKind>(*event.valueKind));
  table.add_identifier(identifier);
  table.add_nested_events(nestedEvents);
  table.add_bytes_value(bytes);
  table.add_file_name(fileName);
  table.add_string_value(stringValue);
  return table.Finish();
}

flatbuffers::Offset<HeaderExtension> ChunkBuilder::buildExtension(const HeaderRecord& header) {
  if (!header.hasExtension) return 0;
  HeaderExtensionBuilder table(builder_);
  if (header.extension0) table.add_value_0(*header.extension0);
  if (header.extension1) table.add_value_1(*header.extension1);
  if (header.extension2) table.add_value_2(*header.extension2);
  if (header.extension3) table.add_value_3(*header.extension3);
  return table.Finish();
}

flatbuffers::Offset<flatbuffers::String> ChunkBuilder::buildText(
    const std::optional<std::string_view>& text) {
  if (!text) return 0;
  if (repeated_ == RepeatedTexts::EachTime)
    return builder_.CreateString(text->data(), text->size());
  const uint64_t hash = TextTable::hashOf(*text);
  const auto textAt = [this](TextTable::Place place) {
    const uint8_t* string = builder_.GetCurrentBufferPointer() + builder_.GetSize() - place;
    return reinterpret_cast<const flatbuffers::String*>(string)->string_view();
  };
  TextTable::Place place = texts_.find(*text, hash, textAt);
  if (place == 0) {
    place = builder_.CreateString(text->data(), text->size()).o;
    texts_.remember(hash, place);
  }
  return place;
}

ArrayView<uint8_t> ChunkBuilder::finish() {
  flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Message>>> messages;
  if (!messages_.empty()) messages = builder_.CreateVector(messages_);
  builder_.Finish(CreateLogChunk(builder_, header_, messages));

  // FinishSizePrefixed would align the chunk for a reader that keeps the prefix in front of it;
  // readers load the chunk alone.
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(builder_.GetSize(), prefix);
  builder_.PushBytes(prefix, sizeof prefix);
  return {builder_.GetBufferPointer(), builder_.GetSize()};
}

void ChunkBuilder::clear() {
  builder_.Clear();
  header_ = 0;
  messages_.clear();
  events_.clear();
  texts_.clear();
}

void ChunkBuilder::reset() {
  builder_.Reset();
  clear();
}

}  // namespace ryx::profiling
