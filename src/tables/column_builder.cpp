// SPDX-License-Identifier: Apache-2.0
// The buffers are Arrow's own, so that a batch is handed to Arrow by its addresses. They outlive
// `clear`: a pass over a log of any length allocates only until its largest batch has been seen.
//
// Validity is all ones beyond the rows, and cleared where a row is null, so that rows with values
// do not touch it. The price is that `clear` has to set again what was cleared, and `grow` has to
// set what is new.

#include "tables/column_builder.h"

#include <cstdlib>
#include <new>
#include <string>

#include "tables/shown_text.h"

namespace ryx::profiling {

namespace {

constexpr size_t kAlignment = 64;
constexpr size_t kMinRows = 1024;
constexpr size_t kMinTextBytes = 4096;

size_t valueBytes(ColumnType type) {
  switch (type) {
    case ColumnType::Int64:
    case ColumnType::UInt64:
    case ColumnType::Double: return sizeof(uint64_t);
    case ColumnType::Dictionary: return sizeof(int32_t);
    case ColumnType::Text: return 0;
  }
  return 0;
}

size_t bitBytes(size_t rows) { return (rows + 7) / 8; }

/// Clears so many bits from bit `first` on.
void clearBits(uint8_t* bits, size_t first, size_t count) {
  const size_t end = first + count;
  for (; first < end && first % 8 != 0; ++first)
    bits[first / 8] &= static_cast<uint8_t>(~(1U << first % 8));
  const size_t wholeBytes = (end - first) / 8;
  std::memset(bits + first / 8, 0, wholeBytes);
  for (first += 8 * wholeBytes; first < end; ++first)
    bits[first / 8] &= static_cast<uint8_t>(~(1U << first % 8));
}

}  // namespace

void AlignedBuffer::Free::operator()(uint8_t* bytes) const { std::free(bytes); }

void AlignedBuffer::grow(size_t size, size_t used) {
  // Half as much again, so that growing row by row takes linear time.
  const size_t wanted = std::max(size, capacity_ + capacity_ / 2);
  const size_t capacity = (wanted + kAlignment - 1) / kAlignment * kAlignment;
  auto* bytes = static_cast<uint8_t*>(std::aligned_alloc(kAlignment, capacity));
  if (bytes == nullptr) throw std::bad_alloc();
  if (used > 0) std::memcpy(bytes, bytes_.get(), used);
  bytes_.reset(bytes);
  capacity_ = capacity;
}

ColumnBuilder::ColumnBuilder(const Column& column)
    : valueBytes_(valueBytes(column.type)), isNullable_(column.isNullable) {
  if (valueBytes_ == 0) {
    texts_.reserve(kMinTextBytes, 0);
    offsets_.reserve(sizeof(int32_t), 0);
    offsets()[0] = 0;
  }
  grow(kMinRows);
}

void ColumnBuilder::grow(size_t rows) {
  rows = std::max(rows, 2 * capacity_);
  if (valueBytes_ > 0)
    values_.reserve(rows * valueBytes_, rows_ * valueBytes_);
  else
    offsets_.reserve((rows + 1) * sizeof(int32_t), (rows_ + 1) * sizeof(int32_t));
  if (isNullable_) {
    const size_t used = bitBytes(capacity_);
    validity_.reserve(bitBytes(rows), used);
    std::memset(validity_.data() + used, 0xFF, validity_.capacity() - used);
  }
  capacity_ = rows;
}

void ColumnBuilder::setNulls(const uint8_t* isNull, size_t count) {
  const size_t first = rows_ - count;
  for (size_t i = 0; i < count; i += sizeof(uint64_t)) {
    uint64_t anyOfEight;
    std::memcpy(&anyOfEight, isNull + i, sizeof anyOfEight);
    if (anyOfEight == 0) continue;
    for (size_t j = i; j < std::min(i + sizeof anyOfEight, count); ++j)
      if (isNull[j] != 0) setNull(first + j);
  }
}

void ColumnBuilder::appendRepeatedText(const std::optional<std::string_view>& text, size_t count) {
  if (!text) return appendNulls(count);
  makeRoom(count);
  const size_t size = text->size();
  texts_.reserve(textBytes_ + count * size, textBytes_);
  uint8_t* place = texts_.data() + textBytes_;
  if (size > 0)
    for (size_t i = 0; i < count; ++i) std::memcpy(place + i * size, text->data(), size);
  for (size_t i = 1; i <= count; ++i)
    offsets()[rows_ + i] = static_cast<int32_t>(textBytes_ + i * size);
  rows_ += count;
  textBytes_ += count * size;
}

TextRun ColumnBuilder::startTexts(size_t rows, size_t bytes) {
  makeRoom(rows);
  texts_.reserve(textBytes_ + bytes, textBytes_);
  return {offsets() + rows_, texts_.data() + textBytes_, texts_.data(), bytes};
}

TextRun ColumnBuilder::addReplaced(TextRun run, LogBytes text) {
  std::string storage;
  const std::string_view shown = shownText(text, storage);
  const auto used = static_cast<size_t>(run.place - run.begin);
  // Offsets have 32 bits in Arrow's layout.
  if (shown.size() > INT32_MAX - used) throw std::bad_alloc();
  texts_.reserve(used + shown.size() + run.bytes, used);
  run.begin = texts_.data();
  run.place = texts_.data() + used;
  std::memcpy(run.place, shown.data(), shown.size());
  run.end(shown.size());
  return run;
}

void ColumnBuilder::finishTexts(const TextRun& run) {
  rows_ = static_cast<size_t>(run.offset - offsets());
  textBytes_ = static_cast<size_t>(run.place - run.begin);
}

void ColumnBuilder::appendNulls(size_t count) {
  makeRoom(count);
  // Nulls have values, too: zeros, so that a batch is the same bytes for the same log.
  if (valueBytes_ > 0)
    std::memset(values_.data() + rows_ * valueBytes_, 0, count * valueBytes_);
  else
    std::fill_n(offsets() + rows_ + 1, count, static_cast<int32_t>(textBytes_));
  clearBits(validity_.data(), rows_, count);
  rows_ += count;
  nullCount_ += count;
}

ColumnData ColumnBuilder::data() const {
  ColumnData data;
  data.values = valueBytes_ > 0 ? values_.data() : texts_.data();
  data.offsets = valueBytes_ > 0 ? nullptr : offsets();
  data.validity = nullCount_ > 0 ? validity_.data() : nullptr;
  data.nullCount = nullCount_;
  return data;
}

void ColumnBuilder::clear() {
  if (nullCount_ > 0) std::memset(validity_.data(), 0xFF, bitBytes(rows_));
  rows_ = 0;
  nullCount_ = 0;
  textBytes_ = 0;
}

}  // namespace ryx::profiling
