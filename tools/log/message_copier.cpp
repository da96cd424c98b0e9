#include "log/message_copier.h"

#include <flatbuffers/reflection.h>

#include <algorithm>
#include <cassert>

#include "profile_log_schema.h"

namespace ryx::profiling {

namespace {

constexpr uint64_t kTooMany = uint64_t{1} << 32;
constexpr uint64_t kMaxArrayOverhead = 16;  // count, terminator, padding, the offset to it

const flatbuffers::Table& asTable(const void* table) {
  return *static_cast<const flatbuffers::Table*>(table);
}

/// Adds up the bound of a table and all that it leads to; goes no further once it is too many.
class SizeBound {
 public:
  explicit SizeBound(const reflection::Schema& schema) : schema_(schema) {}

  void addTable(const reflection::Object& type, const flatbuffers::Table& table) {
    add(kMaxTableOverhead);
    for (const reflection::Field* field : *type.fields()) {
      add(kMaxFieldBytes);
      if (table.CheckField(field->offset())) addTarget(*field, table);
    }
  }

  [[nodiscard]] uint64_t bytes() const { return bytes_; }

 private:
  static constexpr uint64_t kMaxTableOverhead = 16;
  static constexpr uint64_t kMaxFieldBytes = 10;  // a scalar and its place in the vtable

  void add(uint64_t bytes) { bytes_ = std::min(bytes_ + std::min(bytes, kTooMany), kTooMany); }

  void addTarget(const reflection::Field& field, const flatbuffers::Table& table) {
    switch (field.type()->base_type()) {
      case reflection::String:
        add(flatbuffers::GetFieldS(table, field)->size() + kMaxArrayOverhead);
        break;
      case reflection::Obj: addTable(objectOf(field), *flatbuffers::GetFieldT(table, field)); break;
      case reflection::Vector: addVector(field, table); break;
      default: break;  // scalars have been counted
    }
  }

  void addVector(const reflection::Field& field, const flatbuffers::Table& table) {
    const flatbuffers::VectorOfAny& vector =
        *table.GetPointer<const flatbuffers::VectorOfAny*>(field.offset());
    const reflection::BaseType element = field.type()->element();
    add(uint64_t{vector.size()} * flatbuffers::GetTypeSize(element) + kMaxArrayOverhead);
    if (element != reflection::Obj) return;
    const reflection::Object& type = objectOf(field);
    for (uint32_t i = 0; i < vector.size() && bytes_ < kTooMany; ++i)
      addTable(type, *flatbuffers::GetAnyVectorElemPointer<const flatbuffers::Table>(&vector, i));
  }

  const reflection::Object& objectOf(const reflection::Field& field) const {
    return *schema_.objects()->Get(static_cast<uint32_t>(field.type()->index()));
  }

  const reflection::Schema& schema_;
  uint64_t bytes_ = 0;
};

uint64_t boundOf(const reflection::Schema& schema, const reflection::Object& type,
                 const void* table) {
  SizeBound bound(schema);
  bound.addTable(type, asTable(table));
  return bound.bytes();
}

template <typename Table>
flatbuffers::Offset<Table> copyTable(const reflection::Schema& schema,
                                     const reflection::Object& type, const Table& table,
                                     flatbuffers::FlatBufferBuilder& builder) {
  return flatbuffers::CopyTable(builder, schema, type, asTable(&table)).o;
}

}  // namespace

MessageCopier::MessageCopier() {
  [[maybe_unused]] const bool schemaIsGood = parser_.Parse(kProfileLogSchema);
  assert(schemaIsGood);
  parser_.Serialize();
  schema_ = reflection::GetSchema(parser_.builder_.GetBufferPointer());
  message_ = schema_->objects()->LookupByKey("ryx.profiling.Message");
  header_ = schema_->objects()->LookupByKey("ryx.profiling.LogHeader");
  assert(message_ != nullptr && header_ != nullptr);
}

uint64_t MessageCopier::sizeBound(const Message& message) const {
  return boundOf(*schema_, *message_, &message);
}

uint64_t MessageCopier::sizeBound(const LogHeader& header) const {
  return boundOf(*schema_, *header_, &header);
}

flatbuffers::Offset<Message> MessageCopier::copy(const Message& message,
                                                 flatbuffers::FlatBufferBuilder& builder) const {
  return copyTable(*schema_, *message_, message, builder);
}

flatbuffers::Offset<LogHeader> MessageCopier::copy(const LogHeader& header,
                                                   flatbuffers::FlatBufferBuilder& builder) const {
  return copyTable(*schema_, *header_, header, builder);
}

}  // namespace ryx::profiling
