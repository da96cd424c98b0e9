// SPDX-License-Identifier: Apache-2.0
// Tables copied from one log to another with every field that the schema knows: one that is added
// to it is copied, too.

#ifndef RYX_LOG_TABLE_COPIER_H
#define RYX_LOG_TABLE_COPIER_H

#include <cstdint>

#include "log/table_type.h"

namespace ryx::profiling {

/// What is left out of copies.
struct Redaction {
  bool dropsPayloads = false;  ///< all bytes fields
  bool hashesNames = false;    ///< each text, but for empty ones, becomes a short hash of it
};

class TableCopier {
 public:
  explicit TableCopier(Redaction redaction) : redaction_(redaction) {}

  /// An upper bound of the bytes that a copy takes, for tables that have been verified. Much more
  /// than the original took where that shares its parts; 2^32 stands for anything above.
  [[nodiscard]] static uint64_t sizeBound(const TableType& type, const flatbuffers::Table& table);

  /// The copy's size needs to have been found to fit.
  [[nodiscard]] flatbuffers::uoffset_t copy(const TableType& type, const flatbuffers::Table& table,
                                            flatbuffers::FlatBufferBuilder& builder) const;

 private:
  void copyField(const FieldType& field, const flatbuffers::Table& table, TableFields& fields,
                 flatbuffers::FlatBufferBuilder& builder) const;

  Redaction redaction_;
};

}  // namespace ryx::profiling

#endif
