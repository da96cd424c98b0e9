// SPDX-License-Identifier: Apache-2.0
// Rows are written cell by cell into one block of text. Most columns of numbers stay the same from
// row to row (a message has many events), so each remembers the text of its last number, with what
// stands in front of it: what has not changed is copied.

#include "exports/row_text_sink.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "exports/json_text.h"
#include "exports/output_file.h"

namespace ryx::profiling {

namespace {

// --- Formats -------------------------------------------------------------------------------------

void appendCsvText(std::string_view text, OutputFile& out) {
  const auto needsQuotes = [](char c) { return c == ',' || c == '"' || c == '\n' || c == '\r'; };
  if (!text.empty() && std::none_of(text.begin(), text.end(), needsQuotes)) {
    out.append(text);
    return;
  }
  char* at = out.room(2 + 2 * text.size());
  *at++ = '"';
  for (const char c : text) {
    if (c == '"') *at++ = '"';
    *at++ = c;
  }
  *at++ = '"';
  out.take(at);
}

struct RowFormat {
  bool hasHeader;
  bool namesCells;  ///< each, in every row
  std::string_view rowStart;
  std::string_view rowEnd;
  std::string_view null;
  std::string_view notANumber;
  std::string_view infinity;
  std::string_view minusInfinity;
  std::string_view minusZero;  ///< as a floating-point number
  void (*appendText)(std::string_view text, OutputFile& out);
};

constexpr RowFormat kCsv = {true, false, "", "\n", "", "nan", "inf", "-inf", "-0", appendCsvText};
// Without a point, JSON readers take it for the integer 0.
constexpr RowFormat kNdjson = {false,  true,   "{",    "}\n",  "null",
                               "null", "null", "null", "-0.0", appendJsonString};

// --- Cells ---------------------------------------------------------------------------------------

/// The text of one column's cells, with what stands in front of each.
class CellText {
 public:
  CellText(const Column& column, const RowFormat& format, bool isFirst)
      : type_(column.type), dictionary_(column.dictionary), format_(format) {
    prefix_ = isFirst ? format.rowStart : ",";
    if (format.namesCells) prefix_ += '"' + std::string(column.name) + "\":";
  }

  /// Of the rows to come. `data` is borrowed until the next call.
  void setRows(const ColumnData& data) { data_ = data; }

  void append(size_t row, OutputFile& out) {
    if (data_.isNull(row)) {
      out.append(prefix_);
      out.append(format_.null);
      return;
    }
    switch (type_) {
      case ColumnType::Int64: appendNumber(value<int64_t>(row), out); break;
      case ColumnType::UInt64: appendNumber(value<uint64_t>(row), out); break;
      case ColumnType::Double: appendNumber(value<double>(row), out); break;
      case ColumnType::Dictionary:
        appendText(dictionary_[static_cast<const int32_t*>(data_.values)[row]], out);
        break;
      case ColumnType::Text: {
        const auto start = static_cast<size_t>(data_.offsets[row]);
        const auto end = static_cast<size_t>(data_.offsets[row + 1]);
        appendText({static_cast<const char*>(data_.values) + start, end - start}, out);
        break;
      }
    }
  }

 private:
  static constexpr size_t kMaxNumberBytes = 32;

  template <typename Number>
  [[nodiscard]] Number value(size_t row) const {
    return static_cast<const Number*>(data_.values)[row];
  }

  template <typename Number>
  void appendNumber(Number number, OutputFile& out) {
    uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    if (bits != lastBits_ || last_.empty()) {
      lastBits_ = bits;
      last_ = prefix_;
      appendTextOf(number);
    }
    out.append(last_);
  }

  template <typename Integer>
  void appendTextOf(Integer number) {
    char digits[kMaxNumberBytes];
    last_.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
  }

  void appendTextOf(double number) {
    if (std::isnan(number)) {
      last_ += format_.notANumber;
    } else if (std::isinf(number)) {
      last_ += number > 0 ? format_.infinity : format_.minusInfinity;
    } else if (number == 0 && std::signbit(number)) {
      last_ += format_.minusZero;
    } else {
      char digits[kMaxNumberBytes];
      last_.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    }
  }

  void appendText(std::string_view text, OutputFile& out) {
    out.append(prefix_);
    format_.appendText(text, out);
  }

  ColumnType type_;
  const std::string_view* dictionary_;
  const RowFormat& format_;
  std::string prefix_;
  ColumnData data_;
  uint64_t lastBits_ = 0;
  std::string last_;
};

// --- The sink ------------------------------------------------------------------------------------

class RowTextSink : public TableSink {
 public:
  RowTextSink(RowTextOptions options, const RowFormat& format)
      : options_(std::move(options)), format_(format) {
    const Table& table = profiling::table(options_.table, LogColumn::Path);
    if (options_.columns.empty())
      for (const Column& column : table) options_.columns.emplace_back(column.name);
    for (const std::string& name : options_.columns)
      cells_.emplace_back(table.columns[*table.find(name)], format_, cells_.empty());
  }

  [[nodiscard]] Selection selection(size_t, const MessageFilter& filter) override {
    Selection selection;
    selection.add(options_.table, options_.columns);
    selection.filter = filter;
    selection.logColumn = LogColumn::Path;
    selection.batchRows = kBatchRows;
    return selection;
  }

  [[nodiscard]] Status begin(const ExportedLog&) override {
    if (isOpen_) return {};
    isOpen_ = true;
    if (Status status = out_.open(options_.outputPath); !status) return status;
    if (format_.hasHeader) appendHeader();
    return {};
  }

  [[nodiscard]] Status write(const Batch& batch) override {
    for (size_t i = 0; i < cells_.size(); ++i) cells_[i].setRows(batch.data(i));
    for (size_t row = 0; row < batch.rows(); ++row) {
      for (CellText& cell : cells_) cell.append(row, out_);
      out_.append(format_.rowEnd);
    }
    return out_.status();
  }

  [[nodiscard]] Status end(const std::optional<TableDamage>&) override { return {}; }
  [[nodiscard]] Status finish() override { return out_.commit(); }

 private:
  // A batch stays in the cache until it has been written.
  static constexpr size_t kBatchRows = 2048;

  void appendHeader() {
    for (const std::string& name : options_.columns) {
      if (&name != &options_.columns.front()) out_.append(",");
      out_.append(name);
    }
    out_.append(format_.rowEnd);
  }

  RowTextOptions options_;
  const RowFormat& format_;
  std::vector<CellText> cells_;
  bool isOpen_ = false;
  OutputFile out_;
};

}  // namespace

std::unique_ptr<TableSink> makeCsvSink(RowTextOptions options) {
  return std::make_unique<RowTextSink>(std::move(options), kCsv);
}

std::unique_ptr<TableSink> makeNdjsonSink(RowTextOptions options) {
  return std::make_unique<RowTextSink>(std::move(options), kNdjson);
}

}  // namespace ryx::profiling
