// SPDX-License-Identifier: Apache-2.0
// One column of a batch while it is filled, in Arrow's layout.

#ifndef RYX_TABLES_COLUMN_BUILDER_H
#define RYX_TABLES_COLUMN_BUILDER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include "ryx/profile_tables.h"
#include "tables/event_fields.h"

namespace ryx::profiling {

/// Storage aligned to 64 bytes, in multiples of them.
class AlignedBuffer {
 public:
  [[nodiscard]] uint8_t* data() const { return bytes_.get(); }
  [[nodiscard]] size_t capacity() const { return capacity_; }

  /// Makes room for `size` bytes in all, and keeps the first `used`.
  void reserve(size_t size, size_t used) {
    if (size > capacity_) grow(size, used);
  }

 private:
  struct Free {
    void operator()(uint8_t* bytes) const;
  };

  void grow(size_t size, size_t used);

  std::unique_ptr<uint8_t[], Free> bytes_;
  size_t capacity_ = 0;
};

/// Where the texts of a run of rows go: a plain value, so that a loop over rows keeps it in
/// registers. `ColumnBuilder::startTexts` makes it, `finishTexts` ends its use.
struct TextRun {
  int32_t* offset = nullptr;       ///< of the next row
  uint8_t* place = nullptr;        ///< for its text
  const uint8_t* begin = nullptr;  ///< of all texts of the column
  size_t bytes = 0;                ///< what room was asked for

  /// The next row's text has so many bytes, which are in place.
  void end(size_t size) {
    place += size;
    *++offset = static_cast<int32_t>(place - begin);
  }
};

/// Rows are appended, by the operations of the column's type, and cleared all at once.
class ColumnBuilder {
 public:
  explicit ColumnBuilder(const Column& column);

  // --- Numbers, and positions in a dictionary ---

  /// Room for `count` more rows, to be filled by the caller, of a column that stores `Value`s.
  template <typename Value>
  [[nodiscard]] Value* extend(size_t count) {
    makeRoom(count);
    Value* place = reinterpret_cast<Value*>(values_.data()) + rows_;
    rows_ += count;
    return place;
  }

  template <typename Value>
  void append(Value value) {
    *extend<Value>(1) = value;
  }

  template <typename Value>
  void appendOptional(const std::optional<Value>& value) {
    append<Value>(value.value_or(Value{}));
    if (!value) setNull(rows_ - 1);
  }

  template <typename Value>
  void appendRepeated(const std::optional<Value>& value, size_t count) {
    if (!value) return appendNulls(count);
    std::fill_n(extend<Value>(count), count, *value);
  }

  /// Makes those of the last `count` rows null whose byte in `isNull` is not 0, whatever is stored
  /// for them. After the bytes of these rows come 7 more that are 0, because eight are read at a
  /// time.
  void setNulls(const uint8_t* isNull, size_t count);

  // --- Texts ---

  void appendText(std::string_view text) { appendRepeatedText(text, 1); }
  void appendOptionalText(const std::optional<std::string_view>& text) {
    appendRepeatedText(text, 1);
  }
  void appendRepeatedText(const std::optional<std::string_view>& text, size_t count);

  /// Room for `rows` more texts of `bytes` in all. Nothing else may be appended until the run is
  /// finished. A row that is to be null gets an empty text, and is made null by `setNulls` after
  /// that.
  [[nodiscard]] TextRun startTexts(size_t rows, size_t bytes);

  /// Gives the next row a text of the log that is not plain, with U+FFFD in place of what is not
  /// UTF-8, which may take more room than was asked for. Returns the run to go on with: the storage
  /// may have moved.
  [[nodiscard]] TextRun addReplaced(TextRun run, LogBytes text);

  void finishTexts(const TextRun& run);

  // --- Both ---

  void appendNulls(size_t count);

  [[nodiscard]] size_t rows() const { return rows_; }
  [[nodiscard]] size_t textBytes() const { return textBytes_; }

  [[nodiscard]] ColumnData data() const;
  void clear();

 private:
  [[nodiscard]] int32_t* offsets() const { return reinterpret_cast<int32_t*>(offsets_.data()); }

  void makeRoom(size_t count) {
    if (count > capacity_ - rows_) grow(rows_ + count);
  }
  void grow(size_t rows);
  void setNull(size_t row) {
    validity_.data()[row / 8] &= static_cast<uint8_t>(~(1U << row % 8));
    ++nullCount_;
  }

  size_t valueBytes_;  ///< 0 of texts
  bool isNullable_;
  size_t rows_ = 0;
  size_t capacity_ = 0;
  size_t nullCount_ = 0;
  size_t textBytes_ = 0;
  AlignedBuffer values_;
  AlignedBuffer offsets_;
  AlignedBuffer texts_;
  AlignedBuffer validity_;
};

}  // namespace ryx::profiling

#endif
