// SPDX-License-Identifier: Apache-2.0
// The fields of an event's table, found once for each layout instead of once for each field.
//
// FlatBuffers keeps the places of a table's fields in a vtable, which equal tables of a chunk
// share: a million events have a handful of them. Looking a field up through the generated
// accessors reads the vtable every time. Here a vtable is read once, into an EventLayout, and a
// field is one load and one test. The chunk has been verified, and its bytes are little-endian,
// aligned or not.

#ifndef RYX_TABLES_EVENT_FIELDS_H
#define RYX_TABLES_EVENT_FIELDS_H

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ryx::profiling {

/// The fields in the order of the schema, whose slots in the vtable they number.
enum class EventField : uint8_t {
  Identifier,
  EventType,
  UintValue,
  Unit,
  NestedEvents,
  ValueKind,
  IntValue,
  FloatValue,
  BytesValue,
  FileName,
  Timestamp,
  DoubleValue,
  StringValue,
};
constexpr size_t kEventFieldCount = 13;

/// A set of fields, a bit each.
using EventFields = uint16_t;
constexpr EventFields kNoFields = 0;
constexpr EventFields kAllFields = (1U << kEventFieldCount) - 1;

[[nodiscard]] constexpr bool contains(EventFields fields, EventField field) {
  return (fields >> static_cast<unsigned>(field) & 1U) != 0;
}

/// Where the fields of a table are, from its start; 0 for one that is absent.
struct EventLayout {
  uint16_t offsets[kEventFieldCount];
  EventFields present;

  [[nodiscard]] uint16_t offset(EventField field) const {
    return offsets[static_cast<size_t>(field)];
  }
};

/// Bytes of the log within a verified chunk.
struct LogBytes {
  const uint8_t* data = nullptr;
  uint32_t size = 0;
};

template <typename Scalar>
[[nodiscard]] Scalar loadScalar(const uint8_t* bytes) {
  return flatbuffers::ReadScalar<Scalar>(bytes);
}

/// What the offset at `bytes` leads to.
[[nodiscard]] inline const uint8_t* followOffset(const uint8_t* bytes) {
  return bytes + loadScalar<uint32_t>(bytes);
}

[[nodiscard]] inline const uint8_t* vtableOf(const uint8_t* table) {
  return table - loadScalar<int32_t>(table);
}

/// A vector or text: its count, and after that its elements.
[[nodiscard]] inline LogBytes vectorAt(const uint8_t* vector) {
  return {vector + sizeof(uint32_t), loadScalar<uint32_t>(vector)};
}

inline void readLayout(const uint8_t* vtable, EventLayout& layout) {
  constexpr size_t kFirstSlot = 2;  // after the sizes of the vtable and of the table
  const size_t slots = loadScalar<uint16_t>(vtable) / sizeof(uint16_t);
  layout.present = kNoFields;
  for (size_t i = 0; i < kEventFieldCount; ++i) {
    const uint8_t* slot = vtable + (i + kFirstSlot) * sizeof(uint16_t);
    layout.offsets[i] = i + kFirstSlot < slots ? loadScalar<uint16_t>(slot) : uint16_t{0};
    if (layout.offsets[i] != 0) layout.present |= static_cast<EventFields>(1U << i);
  }
}

/// One event of a chunk. Borrowed: valid as long as the chunk and the block that it came in.
class EventRow {
 public:
  EventRow(const uint8_t* table, const EventLayout& layout) : table_(table), layout_(&layout) {}

  [[nodiscard]] bool has(EventField field) const { return layout_->offset(field) != 0; }

  /// Of a field that is there.
  template <typename Scalar>
  [[nodiscard]] Scalar scalar(EventField field) const {
    return loadScalar<Scalar>(table_ + layout_->offset(field));
  }

  /// The field, or `absent`.
  template <typename Scalar>
  [[nodiscard]] Scalar scalarOr(EventField field, Scalar absent) const {
    return has(field) ? scalar<Scalar>(field) : absent;
  }

  /// Of a text or vector that is there: its bytes as they stand in the log (a text may hold NULs
  /// and what is not UTF-8), or its elements.
  [[nodiscard]] LogBytes bytes(EventField field) const {
    return vectorAt(followOffset(table_ + layout_->offset(field)));
  }

 private:
  const uint8_t* table_;
  const EventLayout* layout_;
};

}  // namespace ryx::profiling

#endif
