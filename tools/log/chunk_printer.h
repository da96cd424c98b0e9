// SPDX-License-Identifier: Apache-2.0
// Chunks as JSON documents, for people and scripts, and for `make` to read back.

#ifndef RYX_LOG_CHUNK_PRINTER_H
#define RYX_LOG_CHUNK_PRINTER_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "base/status.h"
#include "log/table_type.h"
#include "profile_log_generated.h"

namespace ryx::profiling {

/// Prints in pieces, so that what a chunk shares among its events costs no memory.
class ChunkPrinter {
 public:
  /// Takes some text; a failure ends printing.
  using Sink = std::function<Status(std::string_view text)>;

  explicit ChunkPrinter(Sink sink) : sink_(std::move(sink)) {}

  /// Prints the document of a chunk, which needs to have been verified. A field that is absent from
  /// the chunk is absent from the document.
  [[nodiscard]] Status print(const LogChunk& chunk);

 private:
  void printTable(const TableType& type, const flatbuffers::Table& table);
  void printField(const FieldType& field, const flatbuffers::Table& table);
  void printScalar(const FieldType& field, uint64_t bits);
  void printText(std::string_view text);
  void printBytes(const flatbuffers::Vector<uint8_t>& bytes);
  void printTables(const TableType& type, const TableVector& tables);
  void startLine();
  /// Gives the text to the sink where it is more than `most` bytes.
  void flush(size_t most);

  Sink sink_;
  Status status_;
  std::string text_;  ///< not yet taken by the sink
  size_t indent_ = 0;
};

}  // namespace ryx::profiling

#endif
