// SPDX-License-Identifier: Apache-2.0
// Three kinds of builders, one for each kind of rows that columns are filled from: a log, a
// message, a run of events. All of them fill column by column, each with the function that the
// catalogue has for it; so a column that is not selected costs nothing, and the loop over rows is
// within the function, not around it.
//
// Whether rows fit is decided before they are filled, on an upper bound of their texts, because a
// fill cannot be taken back. A row that is too large for an empty batch is taken nevertheless, or
// the pass would never get past it.

#include "tables/batch_builder.h"

#include <algorithm>
#include <stdexcept>

namespace ryx::profiling {

namespace {

/// A byte that is not UTF-8 becomes a character of three.
constexpr size_t kMaxShownBytes = 3;

/// The texts of codes and numbers, the longest of which are signed 32-bit ones.
constexpr size_t kMaxCodeBytes = 11;

template <typename Rows>
using Fill = void (*)(const Rows&, ColumnBuilder&);

template <typename Rows>
class FillingBuilder : public BatchBuilder {
 public:
  FillingBuilder(const Selection& selection, const Selection::Columns& selected)
      : BatchBuilder(selection, selected) {
    for (size_t i = 0; i < columns().columns(); ++i)
      fills_.push_back(definitionOf<Rows>(selected.table, columns().column(i)).fill);
  }

 protected:
  void fill(const Rows& rows) {
    for (size_t i = 0; i < fills_.size(); ++i) fills_[i](rows, builder(i));
  }

  [[nodiscard]] bool has(std::string_view name) const {
    for (size_t i = 0; i < columns().columns(); ++i)
      if (columns().column(i).name == name) return true;
    return false;
  }

 private:
  std::vector<Fill<Rows>> fills_;
};

class LogsBuilder : public FillingBuilder<LogRow> {
 public:
  using FillingBuilder::FillingBuilder;

  bool add(const LogIdentity&, const MessageRow&, LogWalk&) override { return true; }
  void end(const LogRow& row) override { fill(row); }
};

class MessagesBuilder : public FillingBuilder<MessageRows> {
 public:
  MessagesBuilder(const Selection& selection, const Selection::Columns& selected)
      : FillingBuilder(selection, selected),
        executionsOnly_(selected.table == TableId::Executions),
        hasGraph_(has("graph")),
        hasPath_(has("log")) {}

  bool add(const LogIdentity& log, const MessageRow& message, LogWalk& walk) override {
    if (executionsOnly_ && !message.execution) return true;
    size_t textBytes = hasPath_ ? kMaxShownBytes * log.path.size() : 0;
    if (hasGraph_ && message.graph) textBytes += message.graph->size();
    if (rowsLeft() == 0 || textBytes > textBytesLeft()) return false;
    fill({log, message, walk});
    return true;
  }

 private:
  const bool executionsOnly_;
  const bool hasGraph_;
  const bool hasPath_;
};

class EventsBuilder : public FillingBuilder<EventRows> {
 public:
  EventsBuilder(const Selection& selection, const Selection::Columns& selected)
      : FillingBuilder(selection, selected), hasGraph_(has("graph")), hasPath_(has("log")) {
    constexpr std::pair<std::string_view, EventField> kTexts[] = {
        {"identifier", EventField::Identifier},
        {"value_text", EventField::StringValue},
        {"file_name", EventField::FileName}};
    for (const auto& [name, field] : kTexts)
      if (has(name)) texts_.push_back(field);
  }

  bool add(const LogIdentity& log, const MessageRow& message, LogWalk& walk) override {
    for (;;) {
      if (block_ == nullptr || next_ == block_->size) {
        block_ = walk.nextEvents();
        next_ = 0;
        if (block_ == nullptr) return true;
      }
      const EventRows rows = fittingRows(log, message);
      if (rows.count == 0) return false;
      fill(rows);
      next_ += rows.count;
    }
  }

 private:
  /// Those of the next rows of the block that the batch has room for.
  EventRows fittingRows(const LogIdentity& log, const MessageRow& message) const {
    EventRows rows = {log, message, *block_, next_, 0, {}};
    const size_t count = std::min(block_->size - next_, rowsLeft());
    // For the names of its unit and kind, which may be numbers.
    size_t common = 2 * kMaxCodeBytes;
    if (hasPath_) common += kMaxShownBytes * log.path.size();
    if (hasGraph_ && message.graph) common += message.graph->size();
    size_t left = textBytesLeft();
    for (; rows.count < count; ++rows.count) {
      const EventRow event = rows.row(rows.count);
      size_t needed = common;
      for (const EventField field : texts_)
        if (event.has(field)) needed += kMaxShownBytes * event.bytes(field).size;
      // A row that is too large for any batch has one of its own.
      if (needed > left && !(rows.count == 0 && isEmpty())) break;
      for (const EventField field : texts_)
        if (event.has(field)) rows.textBytes[static_cast<size_t>(field)] += event.bytes(field).size;
      left -= std::min(left, needed);
    }
    return rows;
  }

  const bool hasGraph_;
  const bool hasPath_;
  std::vector<EventField> texts_;
  const EventBlock* block_ = nullptr;
  size_t next_ = 0;
};

}  // namespace

BatchBuilder::BatchBuilder(const Selection& selection, const Selection::Columns& selected)
    : maxRows_(std::max<size_t>(selection.batchRows, 1)), maxTextBytes_(selection.batchTextBytes) {
  const Table& table = profiling::table(selected.table, selection.logColumn);
  batch_.table_ = &table;
  for (const std::string& name : selected.names) {
    const auto place = table.find(name);
    if (!place) throw std::invalid_argument(std::string(table.name) + " has no column " + name);
    batch_.columns_.push_back(&table.columns[*place]);
  }
  if (selected.names.empty())
    for (const Column& column : table) batch_.columns_.push_back(&column);
  for (const Column* column : batch_.columns_) builders_.emplace_back(*column);
  batch_.data_.resize(builders_.size());
}

const Batch& BatchBuilder::batch() {
  batch_.rows_ = rows();
  for (size_t i = 0; i < builders_.size(); ++i) batch_.data_[i] = builders_[i].data();
  return batch_;
}

void BatchBuilder::clear() {
  for (ColumnBuilder& builder : builders_) builder.clear();
}

size_t BatchBuilder::textBytesLeft() const {
  if (isEmpty()) return SIZE_MAX;
  size_t used = 0;
  for (const ColumnBuilder& builder : builders_) used += builder.textBytes();
  return maxTextBytes_ - std::min(used, maxTextBytes_);
}

std::unique_ptr<BatchBuilder> makeBatchBuilder(const Selection& selection,
                                               const Selection::Columns& columns) {
  switch (columns.table) {
    case TableId::Logs: return std::make_unique<LogsBuilder>(selection, columns);
    case TableId::Messages:
    case TableId::Executions: return std::make_unique<MessagesBuilder>(selection, columns);
    case TableId::Events: break;
  }
  return std::make_unique<EventsBuilder>(selection, columns);
}

Cell Batch::cell(size_t row, size_t column) const {
  const ColumnData& data = data_[column];
  const Column& kind = *columns_[column];
  Cell cell;
  cell.type = kind.type;
  cell.isNull = data.isNull(row);
  if (cell.isNull) return cell;
  switch (kind.type) {
    case ColumnType::Int64: cell.integer = static_cast<const int64_t*>(data.values)[row]; break;
    case ColumnType::UInt64: cell.natural = static_cast<const uint64_t*>(data.values)[row]; break;
    case ColumnType::Double: cell.real = static_cast<const double*>(data.values)[row]; break;
    case ColumnType::Dictionary:
      cell.text = kind.dictionary[static_cast<const int32_t*>(data.values)[row]];
      break;
    case ColumnType::Text: {
      const auto start = static_cast<size_t>(data.offsets[row]);
      cell.text = {static_cast<const char*>(data.values) + start,
                   static_cast<size_t>(data.offsets[row + 1]) - start};
      break;
    }
  }
  return cell;
}

}  // namespace ryx::profiling
