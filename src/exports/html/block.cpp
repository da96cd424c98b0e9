// SPDX-License-Identifier: Apache-2.0
// Columns are packed before they are deflated: whole numbers as their distance from the least of
// them, in as few bytes as the largest takes, and the first bytes of all rows before their second
// ones. Bytes of one place are alike, which is what deflating lives on. 0 stands for absent, so
// that numbers begin at 1; doubles that are no whole numbers go in as they are, with NaN for
// absent.
//
// Everything here has a counterpart in page/src/data.ts, which unpacks it. A change on one side
// without the other shows wrong figures, and no error.

#include "exports/html/block.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace ryx::profiling {
namespace {

constexpr int kMaxWholeWidth = 6;
constexpr int kDoubleWidth = 8;

/// What the values that are there have in common.
struct Range {
  double least = 0;
  double most = 0;
  bool isEmpty = true;
  bool isWhole = true;
};

Range rangeOf(const std::vector<double>& values) {
  Range range;
  for (const double value : values) {
    if (std::isnan(value)) continue;
    if (range.isEmpty) range.least = range.most = value;
    range.isEmpty = false;
    range.least = std::min(range.least, value);
    range.most = std::max(range.most, value);
    range.isWhole = range.isWhole && value == std::floor(value);
  }
  return range;
}

int widthOf(const Range& range) {
  if (range.isEmpty) return 0;
  const double numbers = range.most - range.least + 1;
  if (!range.isWhole || !(numbers < 0x1p48)) return kDoubleWidth;
  int width = 1;
  while (numbers >= std::ldexp(1.0, 8 * width)) ++width;
  return width;
}

uint64_t bitsOf(double value) {
  uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::string scriptElement(std::string_view id, std::string_view gzip) {
  std::string element("<script type=\"text/plain\" id=\"");
  element.append(id).append("\">");
  appendBase64(element, gzip);
  return element.append("</script>\n");
}

}  // namespace

PackedColumn packColumn(const std::vector<double>& values) {
  const Range range = rangeOf(values);
  PackedColumn column;
  column.width = widthOf(range);
  if (column.width > 0 && column.width <= kMaxWholeWidth) column.base = range.least;
  const size_t rows = values.size();
  column.planes.resize(rows * static_cast<size_t>(column.width));
  for (size_t row = 0; row < rows; ++row) {
    const double value = values[row];
    uint64_t bits = 0;
    if (column.width == kDoubleWidth)
      bits = bitsOf(std::isnan(value) ? std::nan("") : value);
    else if (!std::isnan(value))
      bits = static_cast<uint64_t>(value - column.base) + 1;
    for (size_t plane = 0; plane < static_cast<size_t>(column.width); ++plane)
      column.planes[plane * rows + row] = static_cast<char>(bits >> (8 * plane) & 0xFF);
  }
  return column;
}

double Block::textIndex(std::string_view text) {
  const auto [place, isNew] = textIndexes_.try_emplace(std::string(text), texts_.size());
  if (isNew) texts_.emplace_back(text);
  return static_cast<double>(place->second);
}

void Block::beginTable(std::string_view name, size_t rows) {
  tables_.push_back({std::string(name), rows, {}});
}

void Block::addColumn(std::string_view name, const std::vector<double>& values) {
  assert(deflated_.empty() && values.size() == tables_.back().rows);
  const PackedColumn column = packColumn(values);
  tables_.back().columns.push_back({std::string(name), column.width, column.base});
  plain_ += column.planes;
}

void Block::addColumn(std::string_view name, const PackedColumn& column, DeflatedPiece deflated) {
  tables_.back().columns.push_back({std::string(name), column.width, column.base});
  deflated_.push_back(std::move(deflated));
}

std::string Block::directory() const {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  const auto text = [&](const std::string& value) {
    writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  };
  writer.StartObject();
  writer.Key("texts");
  writer.StartArray();
  for (const std::string& each : texts_) text(each);
  writer.EndArray();
  writer.Key("tables");
  writer.StartObject();
  for (const TableEntry& table : tables_) {
    text(table.name);
    writer.StartObject();
    writer.Key("rows");
    writer.Uint64(table.rows);
    writer.Key("columns");
    writer.StartArray();
    for (const Entry& column : table.columns) {
      writer.StartArray();
      text(column.name);
      writer.Int(column.width);
      writer.Double(column.base);
      writer.EndArray();
    }
    writer.EndArray();
    writer.EndObject();
  }
  writer.EndObject();
  writer.EndObject();
  return {buffer.GetString(), buffer.GetSize()};
}

std::string Block::script(std::string_view id, Deflater& deflater) const {
  const std::string json = directory();
  std::string front;
  for (int shift = 0; shift < 32; shift += 8)
    front += static_cast<char>(json.size() >> shift & 0xFF);
  std::vector<DeflatedPiece> pieces;
  pieces.push_back(deflater.deflate(front + json + plain_));
  pieces.insert(pieces.end(), deflated_.begin(), deflated_.end());
  return scriptElement(id, gzipOf(pieces));
}

std::string dataScript(std::string_view id, std::string_view bytes, Deflater& deflater) {
  return scriptElement(id, gzipOf({deflater.deflate(bytes)}));
}

}  // namespace ryx::profiling
