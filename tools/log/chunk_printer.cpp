// SPDX-License-Identifier: Apache-2.0
// The schema's types lead through the tables, as in the parser, so that every field is printed,
// with nothing here that names one. The text goes out in pieces of 64 KiB: a chunk of a few
// kilobytes can stand for billions of events, and its document must not be held in memory. After a
// failure of the sink all loops end, or such a chunk would be walked to its end for nothing.

#include "log/chunk_printer.h"

#include <algorithm>

#include "base/number_text.h"
#include "log/json_text.h"

namespace ryx::profiling {

namespace {

constexpr size_t kPieceBytes = size_t{1} << 16;

/// The name that the enumeration, if it is one, has for the number; empty where it has none.
std::string_view nameOf(const EnumType* type, int64_t number) {
  if (type == nullptr) return {};
  const auto named = std::find_if(type->values.begin(), type->values.end(),
                                  [number](const auto& value) { return value.second == number; });
  return named == type->values.end() ? std::string_view() : named->first;
}

}  // namespace

Status ChunkPrinter::print(const LogChunk& chunk) {
  printTable(chunkType(), asTable(chunk));
  text_ += '\n';
  flush(0);
  return status_;
}

void ChunkPrinter::printTable(const TableType& type, const flatbuffers::Table& table) {
  text_ += '{';
  ++indent_;
  bool isEmpty = true;
  for (const FieldType& field : type.fields) {
    if (!status_ || !table.CheckField(field.offset)) continue;
    if (!isEmpty) text_ += ',';
    isEmpty = false;
    startLine();
    text_ += '"';
    text_ += field.name;
    text_ += "\": ";
    printField(field, table);
    flush(kPieceBytes);
  }
  --indent_;
  if (!isEmpty) startLine();
  text_ += '}';
}

void ChunkPrinter::printField(const FieldType& field, const flatbuffers::Table& table) {
  const uint16_t place = field.offset;
  switch (field.kind) {
    case FieldKind::Text:
      return printText(table.GetPointer<const flatbuffers::String*>(place)->string_view());
    case FieldKind::Bytes:
      return printBytes(*table.GetPointer<const flatbuffers::Vector<uint8_t>*>(place));
    case FieldKind::Table:
      return printTable(*field.table, *table.GetPointer<const flatbuffers::Table*>(place));
    case FieldKind::Tables:
      return printTables(*field.table, *table.GetPointer<const TableVector*>(place));
    case FieldKind::Int8:
    case FieldKind::UInt8:
    case FieldKind::UInt32:
    case FieldKind::Int64:
    case FieldKind::UInt64:
    case FieldKind::Float32:
    case FieldKind::Float64: return printScalar(field, scalarBits(field, table));
  }
}

void ChunkPrinter::printScalar(const FieldType& field, uint64_t bits) {
  if (field.kind == FieldKind::Float32) return appendFloat32(text_, bits);
  if (field.kind == FieldKind::Float64) return appendFloat64(text_, bits);
  if (field.kind == FieldKind::UInt64) return appendDecimal(text_, bits);
  const int64_t number =
      field.kind == FieldKind::Int8 ? static_cast<int8_t>(bits) : static_cast<int64_t>(bits);
  const std::string_view name = nameOf(field.names, number);
  if (name.empty()) return appendDecimal(text_, number);
  printText(name);
}

void ChunkPrinter::printText(std::string_view text) { appendJsonString(text_, text); }

void ChunkPrinter::printBytes(const flatbuffers::Vector<uint8_t>& bytes) {
  text_ += '[';
  for (uint32_t i = 0; i < bytes.size() && status_; ++i) {
    if (i > 0) text_ += ", ";
    appendDecimal(text_, bytes[i]);
    flush(kPieceBytes);
  }
  text_ += ']';
}

void ChunkPrinter::printTables(const TableType& type, const TableVector& tables) {
  text_ += '[';
  ++indent_;
  for (uint32_t i = 0; i < tables.size() && status_; ++i) {
    if (i > 0) text_ += ',';
    startLine();
    printTable(type, *tables.Get(i));
  }
  --indent_;
  if (tables.size() > 0) startLine();
  text_ += ']';
}

void ChunkPrinter::startLine() {
  constexpr size_t kIndentBlanks = 2;
  text_ += '\n';
  text_.append(indent_ * kIndentBlanks, ' ');
}

void ChunkPrinter::flush(size_t most) {
  if (text_.size() <= most) return;
  if (status_) status_ = sink_(text_);
  text_.clear();
}

}  // namespace ryx::profiling
