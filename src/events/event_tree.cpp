// SPDX-License-Identifier: Apache-2.0
// A log has millions of events, and reading one spends its time here and in verifying. So each
// record is made where it stays, at the end of a list that is reserved at its exact size, and
// nothing is copied but texts and bytes.
//
// The recursion follows the nesting of the tables, which the verifier bounds; how many events it
// makes is bounded by nothing but memory, because a chunk may name one table many times over.

#include "events/event_tree.h"

#include <cstring>

#include "stream/log_text.h"

namespace ryx::profiling {
namespace {

constexpr uint64_t kBackendTimingSource = 1;

template <typename Value>
uint64_t bitsOf(Value value) {
  uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof value);
  return bits;
}

}  // namespace

void decodeEventValue(std::list<std::string>& stringValues, const Event& table, EventValue& value,
                      std::vector<uint8_t>& bytes) {
  const auto kind = table.value_kind();
  if (!kind) return;
  switch (*kind) {
    case EventValueKind::INT64:
      value = {EventDataType::Int64, static_cast<uint64_t>(table.int_value().value_or(0))};
      return;
    case EventValueKind::UINT64:
      value = {EventDataType::Uint64, table.uint_value().value_or(0)};
      return;
    case EventValueKind::FLOAT32:
      value = {EventDataType::Float32, bitsOf(table.float_value().value_or(0))};
      return;
    case EventValueKind::BYTES:
      if (const auto* content = table.bytes_value())
        bytes.insert(bytes.end(), content->data(), content->data() + content->size());
      return;
    case EventValueKind::FLOAT64:
      value = {EventDataType::Float64, bitsOf(table.double_value().value_or(0))};
      return;
    case EventValueKind::STRING:
      value = {EventDataType::String,
               bitsOf(stringValues.emplace_back(logText(table.string_value())).c_str())};
      return;
  }
}

void buildEventList(std::list<std::string>& stringValues, const EventTables& tables,
                    std::vector<ProfileEvent>& out) {
  out.reserve(out.size() + tables.size());
  for (const Event* table : tables) {
    // All fields are read before anything is written, so that the compiler may look the table's
    // layout up once: for all it knows, a write could change it.
    const auto* nested = table->nested_events();
    const auto* identifier = table->identifier();
    const auto* fileName = table->file_name();
    const uint32_t eventType = table->event_type().value_or(0);
    const uint32_t unit = table->unit().value_or(0);
    const uint64_t timestamp = table->timestamp().value_or(0);

    ProfileEvent& event = out.emplace_back();
    event.eventType = eventType;
    event.unit = unit;
    event.timestamp = timestamp;
    event.timingSource = kBackendTimingSource;
    // Constructed, not assigned: assigning to an empty string reserves more than it holds.
    event.identifier = std::string(identifier != nullptr ? logText(identifier) : "null");
    if (fileName != nullptr) event.payloadFileName = std::string(logText(fileName));
    if (nested != nullptr) buildEventList(stringValues, *nested, event.subEvents);
    decodeEventValue(stringValues, *table, event.value, event.bytes);
  }
}

void buildMessageEvents(std::list<std::string>& stringValues, const Message& message,
                        std::vector<ProfileEvent>& out) {
  if (const auto* tables = message.events()) buildEventList(stringValues, *tables, out);
}

}  // namespace ryx::profiling
