// SPDX-License-Identifier: Apache-2.0
// The log's schema at run time, for code that treats all fields alike: it prints, reads and copies
// a field that is added to the schema without a change.

#ifndef RYX_LOG_TABLE_TYPE_H
#define RYX_LOG_TABLE_TYPE_H

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace ryx::profiling {

struct TableType;

/// The names that an enumeration has for some of its values.
struct EnumType {
  std::string_view name;
  std::vector<std::pair<std::string_view, int64_t>> values;
};

enum class FieldKind {
  Int8,
  UInt8,
  UInt32,
  Int64,
  UInt64,
  Float32,
  Float64,
  Text,
  Bytes,
  Table,
  Tables
};

struct FieldType {
  std::string_view name;
  FieldKind kind;
  uint16_t offset;  ///< in the vtable
  bool isRequired;
  const EnumType* names;   ///< of a whole number that is an enumeration's, else null
  const TableType* table;  ///< of Table and Tables

  [[nodiscard]] bool isScalar() const { return kind < FieldKind::Text; }
  /// Of a scalar; of the offset that stands for anything else.
  [[nodiscard]] size_t bytes() const;
};

struct TableType {
  std::string_view name;
  std::vector<FieldType> fields;  ///< in the schema's order
};

/// The chunk's root table. What hangs together with it lives as long as the program.
[[nodiscard]] const TableType& chunkType();
[[nodiscard]] const TableType& headerType();
[[nodiscard]] const TableType& messageType();

/// A table of the generated code as one whose fields are got by their types.
template <typename Table>
[[nodiscard]] const flatbuffers::Table& asTable(const Table& table) {
  return *static_cast<const flatbuffers::Table*>(static_cast<const void*>(&table));
}

using TableVector = flatbuffers::Vector<flatbuffers::Offset<flatbuffers::Table>>;

/// A scalar that is there, in the low bytes.
[[nodiscard]] uint64_t scalarBits(const FieldType& field, const flatbuffers::Table& table);

/// The fields that a table is made of, gathered before it is written.
class TableFields {
 public:
  void addScalar(const FieldType& field, uint64_t bits) { values_.push_back({&field, bits}); }
  void addOffset(const FieldType& field, flatbuffers::uoffset_t offset) {
    values_.push_back({&field, offset});
  }
  [[nodiscard]] bool has(const FieldType& field) const;

  /// Writes the table.
  flatbuffers::uoffset_t write(flatbuffers::FlatBufferBuilder& builder) const;

 private:
  struct Value {
    const FieldType* field;
    uint64_t bits;
  };
  std::vector<Value> values_;
};

}  // namespace ryx::profiling

#endif
