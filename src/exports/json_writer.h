// SPDX-License-Identifier: Apache-2.0
// JSON on its way out: RapidJSON's writer with the values that this project's documents have, over
// blocks of text that are handed on as they fill.

#ifndef RYX_EXPORTS_JSON_WRITER_H
#define RYX_EXPORTS_JSON_WRITER_H

#include <rapidjson/writer.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/number.h"
#include "exports/text_sink.h"

namespace ryx::profiling {

/// RapidJSON's idea of an output stream.
class BlockStream {
 public:
  using Ch = char;

  explicit BlockStream(TextSink sink) : sink_(std::move(sink)) {}

  void Put(char c) {
    if (breaks_) {
      breaks_ = false;
      if (c != ',') block_ += '\n';
      block_ += c;
      if (c == ',') block_ += '\n';
      return;
    }
    block_ += c;
    if (block_.size() >= kBlockBytes) Flush();
  }
  void Flush() {
    sink_(block_);
    block_.clear();
  }

  /// Breaks the line before the next character, or after it if that is a comma.
  void breakLine() { breaks_ = true; }

 private:
  static constexpr size_t kBlockBytes = size_t{64} << 10;

  TextSink sink_;
  std::string block_;
  bool breaks_ = false;
};

class JsonWriter {
 public:
  explicit JsonWriter(TextSink sink) : stream_(std::move(sink)), writer_(stream_) {}

  void startObject() { writer_.StartObject(); }
  void endObject() { writer_.EndObject(); }
  void startArray() { writer_.StartArray(); }
  void endArray() { writer_.EndArray(); }
  void key(std::string_view name) { writer_.Key(name.data(), sizeOf(name)); }
  void null() { writer_.Null(); }

  /// UTF-8.
  void value(std::string_view text) { writer_.String(text.data(), sizeOf(text)); }
  void value(const char* text) { value(std::string_view(text)); }
  void value(bool flag) { writer_.Bool(flag); }
  void value(uint64_t number) { writer_.Uint64(number); }
  /// The shortest text that reads back the same; null where it is not finite.
  void value(double number);
  /// A whole number that 64 bits hold as it is, any other as a double.
  void value(const Number& number);
  void value(const std::vector<std::string_view>& texts);

  /// null where there is none.
  template <typename T>
  void value(const std::optional<T>& optional) {
    optional ? value(*optional) : null();
  }

  template <typename T>
  void member(std::string_view name, const T& content) {
    key(name);
    value(content);
  }

  /// A line break, for people, where JSON takes blanks.
  void breakLine() { stream_.breakLine(); }

  /// Hands on what has not been yet. To be called once, at the end.
  void finish() {
    stream_.Put('\n');
    stream_.Flush();
  }

 private:
  static rapidjson::SizeType sizeOf(std::string_view text) {
    return static_cast<rapidjson::SizeType>(text.size());
  }

  BlockStream stream_;
  rapidjson::Writer<BlockStream> writer_;
};

}  // namespace ryx::profiling

#endif
