// SPDX-License-Identifier: Apache-2.0
// Most blocks have their events alike: all have a field, or none has. Then a column is filled
// without a test for each row, or as nulls at once. Only blocks of both sorts note for each row
// whether it has the field, in bytes, which `setNulls` then turns into bits, eight rows at a time
// where none is null.
//
// Texts are copied into room that is asked for before, for all rows together; it is enough for all
// that are plain. `addReplaced` is the way out for the others, and may move the column's storage:
// the run that it returns has to be used from there on.

#include "tables/event_columns.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <numeric>

#include "base/printable_text.h"
#include "stream/log_format.h"
#include "tables/shown_text.h"

namespace ryx::profiling::columns {

namespace {

/// A text that is copied in one move.
struct ShortText {
  char bytes[8];
  size_t size;

  template <size_t N>
  constexpr ShortText(const char (&text)[N]) : bytes(), size(N - 1) {
    for (size_t i = 0; i < size; ++i) bytes[i] = text[i];
  }
};

// The texts of codes, from 1 on.
constexpr ShortText kUnits[] = {"us", "bytes", "cycles", "count", "object", "none"};
constexpr ShortText kValueKinds[] = {"int64", "uint64", "float32", "bytes", "float64", "string"};

constexpr size_t kMaxCodeBytes = 10;  // of 32 bits in decimal

/// Codes of `value_kind`.
enum Kind : uint32_t { kInt64 = 1, kUint64 = 2, kFloat32 = 3, kFloat64 = 5, kString = 6 };

uint32_t kindOf(const EventRow& event) {
  return event.scalarOr<uint32_t>(EventField::ValueKind, 0);
}

bool noneHas(const EventRows& rows, EventField field) {
  return !contains(rows.block.inSome, field);
}

bool allHave(const EventRows& rows, EventField field) { return contains(rows.block.inAll, field); }

/// Which rows of a block are null: `setNulls` wants it in whole words.
struct Nulls {
  uint8_t isNull[EventBlock::kMaxSize + sizeof(uint64_t)];

  /// The bytes after the last row.
  void finish(size_t count) { std::memset(isNull + count, 0, sizeof(uint64_t)); }
};

/// Appends a value for each row for which `has` says that it has one.
template <typename Value, typename Has, typename ValueOf>
void appendWhere(const EventRows& rows, ColumnBuilder& out, const Has& has,
                 const ValueOf& valueOf) {
  Value* values = out.extend<Value>(rows.count);
  Nulls nulls;
  for (size_t i = 0; i < rows.count; ++i) {
    const EventRow event = rows.row(i);
    const bool isThere = has(event);
    values[i] = isThere ? valueOf(event) : Value{};
    nulls.isNull[i] = isThere ? 0 : 1;
  }
  nulls.finish(rows.count);
  out.setNulls(nulls.isNull, rows.count);
}

/// Appends what `valueOf` makes of a field, of the rows that have it.
template <typename Value, typename ValueOf>
void appendField(const EventRows& rows, ColumnBuilder& out, EventField field,
                 const ValueOf& valueOf) {
  if (noneHas(rows, field)) return out.appendNulls(rows.count);
  if (!allHave(rows, field)) {
    const auto has = [field](const EventRow& event) { return event.has(field); };
    return appendWhere<Value>(rows, out, has, valueOf);
  }
  Value* values = out.extend<Value>(rows.count);
  for (size_t i = 0; i < rows.count; ++i) values[i] = valueOf(rows.row(i));
}

template <typename Value, typename Logged>
void appendScalars(const EventRows& rows, ColumnBuilder& out, EventField field) {
  appendField<Value>(rows, out, field, [field](const EventRow& event) {
    return static_cast<Value>(event.scalar<Logged>(field));
  });
}

/// Appends a field of the rows of one kind.
template <typename Value>
void appendKind(const EventRows& rows, ColumnBuilder& out, uint32_t kind, EventField field) {
  if (noneHas(rows, field) || noneHas(rows, EventField::ValueKind))
    return out.appendNulls(rows.count);
  appendWhere<Value>(
      rows, out, [=](const EventRow& event) { return kindOf(event) == kind && event.has(field); },
      [=](const EventRow& event) { return event.scalar<Value>(field); });
}

/// Appends the texts of a field, of the rows for which `has` says so.
template <typename Has>
void appendTexts(const EventRows& rows, ColumnBuilder& out, EventField field, const Has& has) {
  if (noneHas(rows, field)) return out.appendNulls(rows.count);
  TextRun texts = out.startTexts(rows.count, rows.textBytesOf(field));
  Nulls nulls;
  for (size_t i = 0; i < rows.count; ++i) {
    const EventRow event = rows.row(i);
    const bool isThere = has(event);
    nulls.isNull[i] = isThere ? 0 : 1;
    if (!isThere) {
      texts.end(0);
      continue;
    }
    const LogBytes text = event.bytes(field);
    const size_t plain = copyPlain(text, texts.place);
    if (plain == text.size || text.data[plain] == 0)
      texts.end(plain);
    else
      texts = out.addReplaced(texts, text);
  }
  out.finishTexts(texts);
  nulls.finish(rows.count);
  out.setNulls(nulls.isNull, rows.count);
}

void appendTexts(const EventRows& rows, ColumnBuilder& out, EventField field) {
  appendTexts(rows, out, field, [field](const EventRow& event) { return event.has(field); });
}

/// Appends the names of codes, and in decimal those that have none.
template <size_t N>
void appendCodes(const EventRows& rows, ColumnBuilder& out, EventField field,
                 const ShortText (&names)[N]) {
  if (noneHas(rows, field)) return out.appendNulls(rows.count);
  TextRun texts = out.startTexts(rows.count, rows.count * kMaxCodeBytes);
  Nulls nulls;
  for (size_t i = 0; i < rows.count; ++i) {
    const EventRow event = rows.row(i);
    const bool isThere = event.has(field);
    nulls.isNull[i] = isThere ? 0 : 1;
    const uint32_t code = isThere ? event.scalar<uint32_t>(field) : 0;
    if (code - 1 < N) {
      std::memcpy(texts.place, names[code - 1].bytes, sizeof names[code - 1].bytes);
      texts.end(names[code - 1].size);
    } else if (isThere) {
      char* digits = reinterpret_cast<char*>(texts.place);
      const char* end = std::to_chars(digits, digits + kMaxCodeBytes, code).ptr;
      texts.end(static_cast<size_t>(end - digits));
    } else {
      texts.end(0);
    }
  }
  out.finishTexts(texts);
  nulls.finish(rows.count);
  out.setNulls(nulls.isNull, rows.count);
}

/// The value as a double, and whether there is one.
struct Number {
  bool isThere = false;
  double value = 0;
};

template <typename Logged>
Number numberIn(const EventRow& event, EventField field) {
  if (!event.has(field)) return {};
  return {true, static_cast<double>(event.scalar<Logged>(field))};
}

Number numberOf(const EventRow& event) {
  switch (kindOf(event)) {
    case kInt64: return numberIn<int64_t>(event, EventField::IntValue);
    case kUint64: return numberIn<uint64_t>(event, EventField::UintValue);
    case kFloat32: return numberIn<float>(event, EventField::FloatValue);
    case kFloat64: return numberIn<double>(event, EventField::DoubleValue);
  }
  return {};
}

}  // namespace

void path(const EventRows& rows, ColumnBuilder& out) {
  out.appendRepeatedText(replacedUtf8(rows.log.path), rows.count);
}

void logId(const EventRows& rows, ColumnBuilder& out) {
  out.appendRepeated<int64_t>(rows.log.id, rows.count);
}

void eventId(const EventRows& rows, ColumnBuilder& out) {
  int64_t* ids = out.extend<int64_t>(rows.count);
  std::iota(ids, ids + rows.count, static_cast<int64_t>(rows.firstId()));
}

void messageId(const EventRows& rows, ColumnBuilder& out) {
  out.appendRepeated<int64_t>(static_cast<int64_t>(rows.message.id), rows.count);
}

void parentId(const EventRows& rows, ColumnBuilder& out) {
  int64_t* ids = out.extend<int64_t>(rows.count);
  Nulls nulls;
  for (size_t i = 0; i < rows.count; ++i) {
    const uint64_t parent = rows.block.parent[rows.begin + i];
    const bool isRoot = parent == EventBlock::kNoParent;
    ids[i] = isRoot ? 0 : static_cast<int64_t>(parent);
    nulls.isNull[i] = isRoot ? 1 : 0;
  }
  nulls.finish(rows.count);
  out.setNulls(nulls.isNull, rows.count);
}

// An event's last descendant comes before the next event that is no deeper. Where the rows end
// first, its descendants are counted: that meets at most one event at each depth.
void lastEventId(const EventRows& rows, ColumnBuilder& out) {
  int64_t* ids = out.extend<int64_t>(rows.count);
  const uint8_t* depths = rows.block.depth + rows.begin;
  const auto firstId = static_cast<int64_t>(rows.firstId());
  size_t openRows[kMaxTableDepth];  // by depth, from `lowest` to below `open`
  size_t lowest = depths[0];
  size_t open = lowest;
  for (size_t i = 0; i < rows.count; ++i) {
    for (; open > depths[i] && open > lowest; --open)
      ids[openRows[open - 1]] = firstId + static_cast<int64_t>(i) - 1;
    lowest = std::min<size_t>(lowest, depths[i]);
    openRows[depths[i]] = i;
    open = size_t{depths[i]} + 1;
  }
  for (; open > lowest; --open) {
    const size_t i = openRows[open - 1];
    ids[i] = firstId + static_cast<int64_t>(i + countDescendants(rows.row(i)));
  }
}

void depth(const EventRows& rows, ColumnBuilder& out) {
  std::copy_n(rows.block.depth + rows.begin, rows.count, out.extend<int64_t>(rows.count));
}

void method(const EventRows& rows, ColumnBuilder& out) {
  out.appendRepeated(methodPosition(rows.message), rows.count);
}

void graph(const EventRows& rows, ColumnBuilder& out) {
  out.appendRepeatedText(rows.message.graph, rows.count);
}

void execution(const EventRows& rows, ColumnBuilder& out) {
  std::optional<int64_t> number;
  if (rows.message.execution) number = static_cast<int64_t>(*rows.message.execution);
  out.appendRepeated(number, rows.count);
}

void identifier(const EventRows& rows, ColumnBuilder& out) {
  appendTexts(rows, out, EventField::Identifier);
}

void eventType(const EventRows& rows, ColumnBuilder& out) {
  appendScalars<int64_t, uint32_t>(rows, out, EventField::EventType);
}

void unit(const EventRows& rows, ColumnBuilder& out) {
  appendCodes(rows, out, EventField::Unit, kUnits);
}

void valueKind(const EventRows& rows, ColumnBuilder& out) {
  appendCodes(rows, out, EventField::ValueKind, kValueKinds);
}

void value(const EventRows& rows, ColumnBuilder& out) {
  if (noneHas(rows, EventField::ValueKind)) return out.appendNulls(rows.count);
  double* values = out.extend<double>(rows.count);
  Nulls nulls;
  for (size_t i = 0; i < rows.count; ++i) {
    const Number number = numberOf(rows.row(i));
    values[i] = number.value;
    nulls.isNull[i] = number.isThere ? 0 : 1;
  }
  nulls.finish(rows.count);
  out.setNulls(nulls.isNull, rows.count);
}

void valueInt(const EventRows& rows, ColumnBuilder& out) {
  appendKind<int64_t>(rows, out, kInt64, EventField::IntValue);
}

void valueUint(const EventRows& rows, ColumnBuilder& out) {
  appendKind<uint64_t>(rows, out, kUint64, EventField::UintValue);
}

void valueText(const EventRows& rows, ColumnBuilder& out) {
  appendTexts(rows, out, EventField::StringValue, [](const EventRow& event) {
    return kindOf(event) == kString && event.has(EventField::StringValue);
  });
}

void payloadBytes(const EventRows& rows, ColumnBuilder& out) {
  appendField<int64_t>(rows, out, EventField::BytesValue, [](const EventRow& event) {
    return int64_t{event.bytes(EventField::BytesValue).size};
  });
}

void fileName(const EventRows& rows, ColumnBuilder& out) {
  appendTexts(rows, out, EventField::FileName);
}

void timestamp(const EventRows& rows, ColumnBuilder& out) {
  appendScalars<uint64_t, uint64_t>(rows, out, EventField::Timestamp);
}

}  // namespace ryx::profiling::columns
