// SPDX-License-Identifier: Apache-2.0
// The types are read from the compiled schema that is built into the program, so that there is one
// schema and no second description of it to keep in step. They lead to each other in circles
// (events have events), which is why all tables are made first, at their final places, and filled
// after that; deques keep them there.

#include "log/table_type.h"

#include <flatbuffers/reflection.h>

#include <algorithm>
#include <cassert>
#include <deque>

#include "profile_log_bfbs_generated.h"

namespace ryx::profiling {

namespace {

FieldKind kindOf(const reflection::Type& type) {
  switch (type.base_type()) {
    case reflection::Byte: return FieldKind::Int8;
    case reflection::UByte: return FieldKind::UInt8;
    case reflection::UInt: return FieldKind::UInt32;
    case reflection::Long: return FieldKind::Int64;
    case reflection::ULong: return FieldKind::UInt64;
    case reflection::Float: return FieldKind::Float32;
    case reflection::Double: return FieldKind::Float64;
    case reflection::String: return FieldKind::Text;
    case reflection::Obj: return FieldKind::Table;
    case reflection::Vector:
      return type.element() == reflection::Obj ? FieldKind::Tables : FieldKind::Bytes;
    default: break;
  }
  assert(false && "the schema has a type that no code knows");
  return FieldKind::Bytes;
}

/// "ryx.profiling.Message" without the namespaces.
std::string_view shortName(const flatbuffers::String& name) {
  const std::string_view whole = name.string_view();
  return whole.substr(whole.rfind('.') + 1);
}

/// All types of the schema, at their positions there.
class Types {
 public:
  Types() : schema_(*reflection::GetSchema(LogChunkBinarySchema::data())) {
    for (const reflection::Enum* type : *schema_.enums()) addEnum(*type);
    tables_.resize(schema_.objects()->size());
    for (uint32_t i = 0; i < schema_.objects()->size(); ++i)
      fill(tables_[i], *schema_.objects()->Get(i));
  }

  [[nodiscard]] const TableType& table(std::string_view name) const {
    const auto place = std::find_if(tables_.begin(), tables_.end(),
                                    [name](const TableType& type) { return type.name == name; });
    assert(place != tables_.end());
    return *place;
  }

 private:
  void addEnum(const reflection::Enum& type) {
    EnumType& added = enums_.emplace_back();
    added.name = shortName(*type.name());
    for (const reflection::EnumVal* value : *type.values())
      added.values.emplace_back(value->name()->string_view(), value->value());
  }

  void fill(TableType& table, const reflection::Object& type) {
    table.name = shortName(*type.name());
    table.fields.resize(type.fields()->size());
    for (const reflection::Field* field : *type.fields()) {
      const reflection::Type& fieldType = *field->type();
      const FieldKind kind = kindOf(fieldType);
      const bool leadsToTables = kind == FieldKind::Table || kind == FieldKind::Tables;
      const auto index = static_cast<size_t>(fieldType.index());
      // The compiled schema has fields by name; their ids are the order in which they are declared.
      table.fields[field->id()] = {
          field->name()->string_view(),
          kind,
          field->offset(),
          field->required(),
          !leadsToTables && fieldType.index() >= 0 ? &enums_[index] : nullptr,
          leadsToTables ? &tables_[index] : nullptr};
    }
  }

  const reflection::Schema& schema_;
  std::deque<EnumType> enums_;
  std::deque<TableType> tables_;
};

const Types& types() {
  static const Types kTypes;
  return kTypes;
}

}  // namespace

size_t FieldType::bytes() const {
  switch (kind) {
    case FieldKind::Int8:
    case FieldKind::UInt8: return 1;
    case FieldKind::Int64:
    case FieldKind::UInt64:
    case FieldKind::Float64: return 8;
    case FieldKind::UInt32:
    case FieldKind::Float32:
    case FieldKind::Text:
    case FieldKind::Bytes:
    case FieldKind::Table:
    case FieldKind::Tables: return 4;
  }
  return 0;
}

const TableType& chunkType() {
  static const TableType& type = types().table("LogChunk");
  return type;
}

const TableType& headerType() {
  static const TableType& type = types().table("LogHeader");
  return type;
}

const TableType& messageType() {
  static const TableType& type = types().table("Message");
  return type;
}

uint64_t scalarBits(const FieldType& field, const flatbuffers::Table& table) {
  const uint8_t* place = table.GetAddressOf(field.offset);
  switch (field.bytes()) {
    case 1: return *place;
    case 4: return flatbuffers::ReadScalar<uint32_t>(place);
    default: return flatbuffers::ReadScalar<uint64_t>(place);
  }
}

bool TableFields::has(const FieldType& field) const {
  return std::any_of(values_.begin(), values_.end(),
                     [&field](const Value& value) { return value.field == &field; });
}

flatbuffers::uoffset_t TableFields::write(flatbuffers::FlatBufferBuilder& builder) const {
  const flatbuffers::uoffset_t start = builder.StartTable();
  // The largest first, so that none needs padding.
  for (const size_t bytes : {8U, 4U, 1U}) {
    for (auto value = values_.rbegin(); value != values_.rend(); ++value) {
      const FieldType& field = *value->field;
      if (field.bytes() != bytes) continue;
      if (!field.isScalar())
        builder.AddOffset(field.offset,
                          flatbuffers::Offset<void>(static_cast<uint32_t>(value->bits)));
      else if (bytes == 8)
        builder.AddElement(field.offset, value->bits);
      else if (bytes == 4)
        builder.AddElement(field.offset, static_cast<uint32_t>(value->bits));
      else
        builder.AddElement(field.offset, static_cast<uint8_t>(value->bits));
    }
  }
  return builder.EndTable(start);
}

}  // namespace ryx::profiling
