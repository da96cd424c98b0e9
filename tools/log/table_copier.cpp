// SPDX-License-Identifier: Apache-2.0
// Copying follows the schema's types, like printing and parsing, and knows no field by its name: so
// a redaction leaves no text out that somebody adds to the schema later. That the hash is of the
// text alone, without a key, is on purpose: whoever has the original can find a name again in the
// redacted log. It also means that names which can be guessed can be confirmed.

#include "log/table_copier.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/sha256.h"
#include "stream/log_text.h"
#include "stream/size_bound.h"

namespace ryx::profiling {

namespace {

constexpr size_t kHashDigits = 12;

/// The first digits of the SHA-256 of the text up to its first NUL, as sha256sum prints them.
std::string hashOf(const flatbuffers::String& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  const auto digest = sha256(logText(&text));
  std::string hash;
  for (size_t i = 0; i < kHashDigits; ++i)
    hash += kDigits[digest[i / 2] >> (i % 2 == 0 ? 4 : 0) & 15];
  return hash;
}

/// Adds up the bound of a table and all that it leads to; goes no further once it is too many.
class TableBound {
 public:
  void add(const TableType& type, const flatbuffers::Table& table) {
    bound_.add(kMaxTableOverhead);
    for (const FieldType& field : type.fields) {
      bound_.add(kMaxFieldBytes);
      if (table.CheckField(field.offset)) addTarget(field, table);
    }
  }

  [[nodiscard]] uint64_t bytes() const { return bound_.bytes(); }

 private:
  static constexpr uint64_t kMaxTableOverhead = 16;
  static constexpr uint64_t kMaxFieldBytes = 10;  // a scalar and its place in the vtable

  void addTarget(const FieldType& field, const flatbuffers::Table& table) {
    if (field.isScalar()) return;  // has been counted
    if (field.kind == FieldKind::Table)
      return add(*field.table, *table.GetPointer<const flatbuffers::Table*>(field.offset));
    // All that is left are vectors.
    const auto& vector = *table.GetPointer<const flatbuffers::VectorOfAny*>(field.offset);
    if (field.kind != FieldKind::Tables)
      return bound_.addArray(std::max<uint64_t>(vector.size(), kHashDigits));
    bound_.addArray(uint64_t{vector.size()} * sizeof(flatbuffers::uoffset_t));
    const auto& tables = *table.GetPointer<const TableVector*>(field.offset);
    for (uint32_t i = 0; i < tables.size() && !bound_.isTooMany(); ++i)
      add(*field.table, *tables.Get(i));
  }

  SizeBound bound_;
};

}  // namespace

uint64_t TableCopier::sizeBound(const TableType& type, const flatbuffers::Table& table) {
  TableBound bound;
  bound.add(type, table);
  return bound.bytes();
}

flatbuffers::uoffset_t TableCopier::copy(const TableType& type, const flatbuffers::Table& table,
                                         flatbuffers::FlatBufferBuilder& builder) const {
  TableFields fields;
  for (const FieldType& field : type.fields)
    if (table.CheckField(field.offset)) copyField(field, table, fields, builder);
  return fields.write(builder);
}

void TableCopier::copyField(const FieldType& field, const flatbuffers::Table& table,
                            TableFields& fields, flatbuffers::FlatBufferBuilder& builder) const {
  switch (field.kind) {
    case FieldKind::Text: {
      const auto& text = *table.GetPointer<const flatbuffers::String*>(field.offset);
      const bool isHashed = redaction_.hashesNames && text.size() > 0;
      return fields.addOffset(
          field, isHashed ? builder.CreateString(hashOf(text)).o : builder.CreateString(&text).o);
    }
    case FieldKind::Bytes: {
      if (redaction_.dropsPayloads) return;
      const auto& bytes = *table.GetPointer<const flatbuffers::Vector<uint8_t>*>(field.offset);
      return fields.addOffset(field, builder.CreateVector(bytes.Data(), bytes.size()).o);
    }
    case FieldKind::Table:
      return fields.addOffset(
          field,
          copy(*field.table, *table.GetPointer<const flatbuffers::Table*>(field.offset), builder));
    case FieldKind::Tables: {
      const auto& tables = *table.GetPointer<const TableVector*>(field.offset);
      std::vector<flatbuffers::Offset<flatbuffers::Table>> copies;
      copies.reserve(tables.size());
      for (uint32_t i = 0; i < tables.size(); ++i)
        copies.emplace_back(copy(*field.table, *tables.Get(i), builder));
      return fields.addOffset(field, builder.CreateVector(copies).o);
    }
    case FieldKind::Int8:
    case FieldKind::UInt8:
    case FieldKind::UInt32:
    case FieldKind::Int64:
    case FieldKind::UInt64:
    case FieldKind::Float32:
    case FieldKind::Float64: return fields.addScalar(field, scalarBits(field, table));
  }
}

}  // namespace ryx::profiling
