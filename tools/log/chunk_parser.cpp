// SPDX-License-Identifier: Apache-2.0
// A parser by recursive descent, a function for each form, with the schema's types as its grammar:
// what may stand at a place is what the field's kind says, so a field that is added to the schema
// is read without a change here. JSON libraries refuse what people may write here: names without
// quotes, hexadecimal numbers, bytes as \xNN.
//
// FlatBuffers are built from the inside out: a table's texts, vectors and tables have to be
// finished before the table is begun. That is why fields are gathered in TableFields, and written
// at the closing brace. The depth is checked before each table, and room before each write, because
// the builder aborts where a chunk gets too large, and a tool must not.
//
// Positions in messages are those of the last character that was skipped to: where the value begins
// that is wrong, not where the parser noticed.

#include "log/chunk_parser.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

#include "base/descriptor.h"
#include "base/printable_text.h"
#include "log/json_text.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

constexpr uint64_t kMaxTableBytes = 256;  // with its vtable

bool isBlank(int c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool isQuote(int c) { return c == '"' || c == '\''; }

/// Of names and numbers without quotes.
bool isWordCharacter(int c) {
  return c != CharacterSource::kEnd &&
         (std::isalnum(c) != 0 || c == '_' || c == '.' || c == '+' || c == '-');
}

std::string quoted(const std::string& text) { return "'" + text + "'"; }

template <typename Integer>
std::optional<uint64_t> readInteger(std::string_view word) {
  const bool isHexadecimal = word.substr(0, 2) == "0x";
  if (isHexadecimal) word.remove_prefix(2);
  Integer number = 0;
  const char* end = word.data() + word.size();
  const auto result = std::from_chars(word.data(), end, number, isHexadecimal ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return static_cast<uint64_t>(number);
}

template <typename Integer>
std::string integerText() {
  using Limits = std::numeric_limits<Integer>;
  return "a number between " + std::to_string(Limits::min()) + " and " +
         std::to_string(Limits::max());
}

/// How the words for the scalars of a kind are read.
struct ScalarReader {
  std::optional<uint64_t> (*read)(std::string_view word);
  std::string expected;
};

ScalarReader readerOf(FieldKind kind) {
  switch (kind) {
    case FieldKind::Int8: return {readInteger<int8_t>, integerText<int8_t>()};
    case FieldKind::UInt8: return {readInteger<uint8_t>, integerText<uint8_t>()};
    case FieldKind::UInt32: return {readInteger<uint32_t>, integerText<uint32_t>()};
    case FieldKind::Int64: return {readInteger<int64_t>, integerText<int64_t>()};
    case FieldKind::UInt64: return {readInteger<uint64_t>, integerText<uint64_t>()};
    case FieldKind::Float32: return {readFloat32, "a number of 32 bits"};
    case FieldKind::Float64: return {readFloat64, "a number of 64 bits"};
    case FieldKind::Text:
    case FieldKind::Bytes:
    case FieldKind::Table:
    case FieldKind::Tables: break;
  }
  return {};
}

std::string fieldNames(const TableType& type) {
  std::string names;
  for (const FieldType& field : type.fields) {
    if (!names.empty()) names += ", ";
    names += field.name;
  }
  return names;
}

std::string valueNames(const EnumType& type) {
  std::string names;
  for (const auto& value : type.values) {
    names += value.first;
    names += ", ";
  }
  return names;
}

void appendUtf8(std::string& text, uint32_t code) {
  const auto add = [&text](uint32_t byte) { text += static_cast<char>(byte); };
  const auto addFollowing = [&](int shift) { add(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) {
    add(code);
  } else if (code < 0x800) {
    add(0xC0 | code >> 6);
    addFollowing(0);
  } else if (code < 0x10000) {
    add(0xE0 | code >> 12);
    addFollowing(6);
    addFollowing(0);
  } else {
    add(0xF0 | code >> 18);
    addFollowing(12);
    addFollowing(6);
    addFollowing(0);
  }
}

}  // namespace

int CharacterSource::take() {
  const int c = peek();
  if (c == kEnd) return c;
  ++position_;
  ++column_;
  if (c == '\n') {
    ++line_;
    column_ = 1;
  }
  return c;
}

bool CharacterSource::refill() {
  position_ = 0;
  size_ = 0;
  if (!status_) return false;
  const Result<size_t> count = readUpTo(descriptor_, buffer_.data(), buffer_.size());
  if (count)
    size_ = *count;
  else
    status_ = count.status();
  return size_ > 0;
}

Result<std::string_view> ChunkParser::next() {
  builder_.Clear();
  if (++document_ == 1) skipByteOrderMark();
  if (!skipBlanks()) return status_;
  if (source_.peek() == CharacterSource::kEnd && source_.status()) return std::string_view();
  flatbuffers::uoffset_t root = 0;
  if (!parseTable(chunkType(), 1, root)) return status_;
  builder_.Finish(flatbuffers::Offset<flatbuffers::Table>(root));
  return std::string_view(reinterpret_cast<const char*>(builder_.GetBufferPointer()),
                          builder_.GetSize());
}

bool ChunkParser::parseTable(const TableType& type, size_t depth, flatbuffers::uoffset_t& offset) {
  if (depth > kMaxTableDepth)
    return fail("tables are nested more than " + std::to_string(kMaxTableDepth) + " deep");
  if (!take('{')) return false;
  TableFields fields;
  bool goesOn = false;
  for (bool isFirst = true;; isFirst = false) {
    if (!isListGoingOn('}', isFirst, goesOn)) return false;
    if (!goesOn) break;
    if (!parseField(type, depth, fields)) return false;
  }
  for (const FieldType& field : type.fields)
    if (field.isRequired && !fields.has(field))
      return fail(std::string(type.name) + " needs a " + std::string(field.name));
  if (!hasRoom(kMaxTableBytes)) return false;
  offset = fields.write(builder_);
  return true;
}

bool ChunkParser::parseField(const TableType& type, size_t depth, TableFields& fields) {
  std::string name;
  if (!parseWord(name)) return false;
  const auto field =
      std::find_if(type.fields.begin(), type.fields.end(),
                   [&name](const FieldType& candidate) { return candidate.name == name; });
  if (field == type.fields.end())
    return fail("unknown field " + quoted(name) + "; " + std::string(type.name) + " has " +
                fieldNames(type));
  if (fields.has(*field)) return fail("the field " + quoted(name) + " is given twice");
  return skipBlanks() && take(':') && skipBlanks() && parseValue(*field, depth, fields);
}

/// A value, or null for a field that is absent.
bool ChunkParser::parseValue(const FieldType& field, size_t depth, TableFields& fields) {
  flatbuffers::uoffset_t offset = 0;
  // Of a scalar, null is a word like others, which parseScalar reads.
  if (!field.isScalar() && source_.peek() == 'n') {
    std::string word;
    return parseWord(word) && (word == "null" || fail(quoted(word) + " is not a value"));
  }
  switch (field.kind) {
    case FieldKind::Table:
      if (!parseTable(*field.table, depth + 1, offset)) return false;
      break;
    case FieldKind::Tables:
      if (!parseTables(*field.table, depth + 1, offset)) return false;
      break;
    case FieldKind::Text:
      if (!parseString(offset)) return false;
      break;
    case FieldKind::Bytes:
      if (!parseBytes(offset)) return false;
      break;
    case FieldKind::Int8:
    case FieldKind::UInt8:
    case FieldKind::UInt32:
    case FieldKind::Int64:
    case FieldKind::UInt64:
    case FieldKind::Float32:
    case FieldKind::Float64: return parseScalar(field, fields);
  }
  fields.addOffset(field, offset);
  return true;
}

bool ChunkParser::parseTables(const TableType& type, size_t depth, flatbuffers::uoffset_t& offset) {
  if (!take('[')) return false;
  std::vector<flatbuffers::Offset<flatbuffers::Table>> tables;
  bool goesOn = false;
  for (;;) {
    if (!isListGoingOn(']', tables.empty(), goesOn)) return false;
    if (!goesOn) break;
    flatbuffers::uoffset_t table = 0;
    if (!parseTable(type, depth, table)) return false;
    tables.emplace_back(table);
  }
  if (!hasRoom(tables.size() * sizeof(flatbuffers::uoffset_t))) return false;
  offset = builder_.CreateVector(tables).o;
  return true;
}

bool ChunkParser::parseBytes(flatbuffers::uoffset_t& offset) {
  if (!take('[')) return false;
  std::vector<uint8_t> bytes;
  std::string word;
  bool goesOn = false;
  for (;;) {
    if (!isListGoingOn(']', bytes.empty(), goesOn)) return false;
    if (!goesOn) break;
    if (!parseWord(word)) return false;
    const auto byte = readInteger<uint8_t>(word);
    if (!byte) return fail(quoted(word) + " is not " + integerText<uint8_t>());
    bytes.push_back(static_cast<uint8_t>(*byte));
  }
  if (!hasRoom(bytes.size())) return false;
  offset = builder_.CreateVector(bytes).o;
  return true;
}

bool ChunkParser::parseString(flatbuffers::uoffset_t& offset) {
  if (!isQuote(source_.peek())) return failAt("a text in quotes");
  std::string text;
  if (!parseQuoted(text)) return false;
  // JSON's escapes are replaced by now; those for bytes that are not UTF-8 are within the text.
  text = textFromDocument(text);
  if (!hasRoom(text.size())) return false;
  offset = builder_.CreateString(text).o;
  return true;
}

bool ChunkParser::parseScalar(const FieldType& field, TableFields& fields) {
  std::string word;
  if (!parseWord(word)) return false;
  if (word == "null") return true;
  if (field.names != nullptr) {
    for (const auto& [name, value] : field.names->values) {
      if (name != word) continue;
      fields.addScalar(field, static_cast<uint64_t>(value));
      return true;
    }
  }
  const ScalarReader reader = readerOf(field.kind);
  if (const auto bits = reader.read(word)) {
    fields.addScalar(field, *bits);
    return true;
  }
  if (field.names == nullptr) return fail(quoted(word) + " is not " + reader.expected);
  return fail("unknown " + std::string(field.names->name) + " " + quoted(word) +
              "; known: " + valueNames(*field.names) + "or " + reader.expected);
}

/// A name or number, with or without quotes.
bool ChunkParser::parseWord(std::string& word) {
  word.clear();
  if (isQuote(source_.peek())) return parseQuoted(word);
  while (isWordCharacter(source_.peek())) word += static_cast<char>(source_.take());
  return !word.empty() || failAt("a name or a number");
}

/// What is between quotes, escapes replaced.
bool ChunkParser::parseQuoted(std::string& text) {
  const int quote = source_.take();
  for (int c = source_.take(); c != quote; c = source_.take()) {
    if (c == CharacterSource::kEnd || c == '\n') return fail("the text has no closing quote");
    if (c < ' ') return fail("the text holds a control character");
    if (c != '\\')
      text += static_cast<char>(c);
    else if (!parseEscape(text))
      return false;
  }
  return true;
}

bool ChunkParser::parseEscape(std::string& text) {
  const int c = source_.take();
  uint32_t byte = 0;
  switch (c) {
    case '"':
    case '\'':
    case '\\':
    case '/': text += static_cast<char>(c); return true;
    case 'b': text += '\b'; return true;
    case 'f': text += '\f'; return true;
    case 'n': text += '\n'; return true;
    case 'r': text += '\r'; return true;
    case 't': text += '\t'; return true;
    case 'u': return parseUnicode(text);
    case 'x':
      if (!parseHex(2, byte)) return false;
      text += static_cast<char>(byte);
      return true;
    default: return fail("unknown escape sequence in a text");
  }
}

bool ChunkParser::parseHex(int digits, uint32_t& number) {
  std::string text;
  while (digits-- > 0 && std::isxdigit(std::max(source_.peek(), 0)) != 0)
    text += static_cast<char>(source_.take());
  const char* end = text.data() + text.size();
  // The loop leaves `digits` below 0 only where all of them were there.
  if (digits >= 0 || std::from_chars(text.data(), end, number, 16).ptr != end)
    return fail("an escape sequence has too few hexadecimal digits");
  return true;
}

/// What follows "\u": one unit of UTF-16, or the first of two.
bool ChunkParser::parseUnicode(std::string& text) {
  constexpr uint32_t kHighStart = 0xD800;
  constexpr uint32_t kLowStart = 0xDC00;
  constexpr uint32_t kLowEnd = 0xE000;
  uint32_t code = 0;
  if (!parseHex(4, code)) return false;
  if (code >= kHighStart && code < kLowEnd) {
    uint32_t low = 0;
    // From left to right: what is no second unit is not taken.
    const bool isPair = code < kLowStart && source_.peek() == '\\' && source_.take() != 0 &&
                        source_.peek() == 'u' && source_.take() != 0;
    if (isPair && !parseHex(4, low)) return false;
    if (low < kLowStart || low >= kLowEnd) return fail("half a surrogate pair in a text");
    code = 0x10000 + ((code - kHighStart) << 10) + (low - kLowStart);
  }
  appendUtf8(text, code);
  return true;
}

bool ChunkParser::isListGoingOn(char closing, bool isFirst, bool& goesOn) {
  if (!skipBlanks()) return false;
  // After a comma the list may end as well.
  if (!isFirst && source_.peek() != closing && !(take(',') && skipBlanks())) return false;
  goesOn = source_.peek() != closing;
  if (!goesOn) source_.take();
  return true;
}

void ChunkParser::skipByteOrderMark() {
  if (source_.peek() != 0xEF) return;
  for (const int byte : {0xEF, 0xBB, 0xBF})
    if (source_.peek() == byte) source_.take();
}

bool ChunkParser::skipBlanks() {
  for (;;) {
    while (isBlank(source_.peek())) source_.take();
    line_ = source_.line();
    column_ = source_.column();
    if (source_.peek() != '/') return true;
    if (!skipComment()) return false;
  }
}

bool ChunkParser::skipComment() {
  source_.take();
  const int kind = source_.take();
  if (kind == '/') {
    while (source_.peek() != CharacterSource::kEnd && source_.peek() != '\n') source_.take();
    return true;
  }
  if (kind != '*') return fail("expected a comment after '/'");
  for (int last = 0;;) {
    const int c = source_.take();
    if (c == CharacterSource::kEnd) return fail("the comment does not end");
    if (last == '*' && c == '/') return true;
    last = c;
  }
}

bool ChunkParser::take(char wanted) {
  if (source_.peek() != wanted) return failAt(quoted(std::string(1, wanted)).c_str());
  source_.take();
  return true;
}

bool ChunkParser::hasRoom(uint64_t bytes) {
  constexpr uint64_t kMostBytes = kMaxChunkBytes - kMaxTableBytes;
  if (bytes <= kMostBytes - std::min<uint64_t>(builder_.GetSize(), kMostBytes)) return true;
  return fail("the chunk would take more than the " + std::to_string(kMaxChunkBytes) +
              " bytes that one may have");
}

bool ChunkParser::fail(std::string text) {
  status_ = source_.status() ? Status::failure(std::move(text)) : source_.status();
  return false;
}

bool ChunkParser::failAt(const char* expected) {
  const int c = source_.peek();
  const std::string found =
      c == CharacterSource::kEnd
          ? "the file ends"
          : "found " + quoted(printable(std::string(1, static_cast<char>(c))));
  return fail(std::string("expected ") + expected + ", but " + found);
}

std::string ChunkParser::place() const {
  if (!source_.status()) return {};
  return std::to_string(line_) + ":" + std::to_string(column_) + ": document " +
         std::to_string(document_);
}

}  // namespace ryx::profiling
