// SPDX-License-Identifier: Apache-2.0
// JSON documents read as chunks: what `dump` prints, and what people write by hand. Besides JSON
// proper they may use comments, quotes of both kinds or none around names, commas at the end of
// lists, hexadecimal numbers, and \xNN for a byte of a text.
//
// The file is read once from front to back, and only the chunk that is being built is in memory.

#ifndef RYX_LOG_CHUNK_PARSER_H
#define RYX_LOG_CHUNK_PARSER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "log/table_type.h"

namespace ryx::profiling {

/// Characters of an open file, with the place of the next one.
class CharacterSource {
 public:
  /// `descriptor` must stay open, and be used by nobody else.
  explicit CharacterSource(int descriptor) : descriptor_(descriptor) {}

  static constexpr int kEnd = -1;

  /// The next character, or kEnd, also where reading fails.
  [[nodiscard]] int peek() { return position_ < size_ || refill() ? buffer_[position_] : kEnd; }
  int take();

  [[nodiscard]] size_t line() const { return line_; }
  [[nodiscard]] size_t column() const { return column_; }
  [[nodiscard]] const Status& status() const { return status_; }

 private:
  bool refill();

  int descriptor_;
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(size_t{1} << 16);
  size_t position_ = 0;
  size_t size_ = 0;
  size_t line_ = 1;
  size_t column_ = 1;
  Status status_;
};

class ChunkParser {
 public:
  /// Reads the documents of an open file.
  explicit ChunkParser(int descriptor) : source_(descriptor) {}

  /// The chunk of the next document, within this object until its next use; empty at the end of the
  /// file. After a failure nothing more can be read.
  [[nodiscard]] Result<std::string_view> next();

  /// Where the failure is, "3:14: document 2"; empty where reading the file failed.
  [[nodiscard]] std::string place() const;

 private:
  // All of these return false after a failure, which `status_` has.
  bool parseTable(const TableType& type, size_t depth, flatbuffers::uoffset_t& offset);
  bool parseField(const TableType& type, size_t depth, TableFields& fields);
  bool parseValue(const FieldType& field, size_t depth, TableFields& fields);
  bool parseTables(const TableType& type, size_t depth, flatbuffers::uoffset_t& offset);
  bool parseBytes(flatbuffers::uoffset_t& offset);
  bool parseString(flatbuffers::uoffset_t& offset);
  bool parseScalar(const FieldType& field, TableFields& fields);
  bool parseWord(std::string& word);
  bool parseQuoted(std::string& text);
  bool parseEscape(std::string& text);
  bool parseHex(int digits, uint32_t& number);
  bool parseUnicode(std::string& text);

  /// Whether the list that ends with `closing` goes on after an element; takes what ends it.
  bool isListGoingOn(char closing, bool isFirst, bool& goesOn);
  void skipByteOrderMark();
  /// To the next character that means something, where failures are from now on.
  bool skipBlanks();
  bool skipComment();
  bool take(char wanted);
  bool hasRoom(uint64_t bytes);
  bool fail(std::string text);
  bool failAt(const char* expected);

  CharacterSource source_;
  flatbuffers::FlatBufferBuilder builder_;
  Status status_;
  size_t document_ = 0;  ///< from 1
  size_t line_ = 1;      ///< of the character that was skipped to
  size_t column_ = 1;
};

}  // namespace ryx::profiling

#endif
