// SPDX-License-Identifier: Apache-2.0
// A profiling log as four tables: its messages, the executions among them, their events, and a row
// about the log itself. Link ryx::profile_tables; nothing else is needed.
//
//     Selection selection;
//     selection.add(TableId::Events, {"identifier", "value", "unit"});
//     TableReader reader(selection);
//     if (reader.open("run.log"))
//       while (const Batch* batch = reader.next())
//         for (size_t row = 0; row < batch->rows(); ++row)
//           std::cout << batch->cell(row, 0).text << ' ' << batch->cell(row, 1).real << '\n';
//     if (reader.damage()) std::cerr << reader.damage()->line << '\n';
//
// Which columns there are, in which order, of which type and what they mean is the catalogue below
// (`table`, printed in docs/tables.md). It is a contract: a change of meaning raises
// kSchemaVersion. What the log does not have is null, never 0 or "". Nothing is rounded. Texts end
// at their first NUL, and what is not UTF-8 in them reads U+FFFD. Numbers of rows count from 0 in
// the order of the log.
//
// A reader reads the log once, from front to back, and holds one chunk of it at a time beside the
// batches that it fills; a pipe is as good as a file. Several tables come out of the same pass.
// Exhausted memory is std::bad_alloc, and a selection that cannot be served (a column that the
// catalogue does not have, a table named twice) std::invalid_argument; nothing else is thrown.
// Readers share nothing: each may be used on a thread of its own, one thread at a time.

#ifndef RYX_PROFILE_TABLES_H
#define RYX_PROFILE_TABLES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ryx/message_filter.h"

namespace ryx::profiling {

// --- The catalogue -------------------------------------------------------------------------------

constexpr int kSchemaVersion = 1;

enum class TableId : uint8_t { Logs, Messages, Executions, Events };
constexpr size_t kTableCount = 4;

enum class ColumnType : uint8_t {
  Int64,
  UInt64,
  Double,
  Text,        ///< UTF-8
  Dictionary,  ///< a text out of `Column::dictionary`, stored as its position there
};

struct Column {
  std::string_view name;  ///< snake_case; ends in its unit where it has one: _us, _bytes
  ColumnType type;
  bool isNullable;
  std::string_view meaning;  ///< a sentence or two of English

  /// Of a Dictionary: all texts that it may ever hold, in the order of their positions.
  const std::string_view* dictionary = nullptr;
  size_t dictionarySize = 0;
};

/// One table of the catalogue. Lives as long as the program.
struct Table {
  TableId id;
  std::string_view name;
  std::string_view meaning;  ///< what a row is
  const Column* columns;
  size_t size;  ///< the number of columns

  [[nodiscard]] const Column* begin() const { return columns; }
  [[nodiscard]] const Column* end() const { return columns + size; }

  /// The position of the column of that name, or nothing.
  [[nodiscard]] std::optional<size_t> find(std::string_view column) const;
};

/// How the first column tells the rows of several logs apart.
enum class LogColumn : uint8_t {
  Id,    ///< `log_id`: the number given to `TableReader::open`
  Path,  ///< `log`: the path given to it; the table of logs then has no second column for it
};

[[nodiscard]] const Table& table(TableId id, LogColumn first = LogColumn::Id);
[[nodiscard]] std::optional<TableId> tableNamed(std::string_view name);

// --- What is read --------------------------------------------------------------------------------

/// What a reader delivers.
struct Selection {
  struct Columns {
    TableId table;
    std::vector<std::string> names;  ///< in this order; empty: all, in the order of the catalogue
  };
  /// Several tables are delivered in one pass. What is not selected is not decoded, and costs
  /// nothing.
  std::vector<Columns> tables;

  /// The messages whose rows, with those of their executions and events, are delivered. They keep
  /// the numbers that they have in the whole log.
  MessageFilter filter;

  LogColumn logColumn = LogColumn::Id;

  /// A batch is delivered when it has this many rows, or before its texts would take more than so
  /// many bytes; a single row may take more.
  size_t batchRows = size_t{64} * 1024;
  size_t batchTextBytes = size_t{16} << 20;

  void add(TableId table, std::vector<std::string> columns = {}) {
    tables.push_back({table, std::move(columns)});
  }
};

// --- Rows ----------------------------------------------------------------------------------------

/// One column of a batch in the layout of Apache Arrow's arrays. All buffers are aligned to 64
/// bytes and padded to a multiple of that.
struct ColumnData {
  /// int64_t, uint64_t or double by the column's type; of a Dictionary int32_t; of Text its bytes.
  /// Of a null row 0, or no bytes.
  const void* values = nullptr;
  const int32_t* offsets = nullptr;   ///< of Text: where each row's bytes start, and where all end
  const uint8_t* validity = nullptr;  ///< a bit a row, lowest first, 0 for null; null without nulls
  size_t nullCount = 0;

  [[nodiscard]] bool isNull(size_t row) const {
    return validity != nullptr && (validity[row / 8] >> row % 8 & 1) == 0;
  }
};

/// One value of a row; `text` is borrowed from the batch.
struct Cell {
  bool isNull = false;
  ColumnType type = ColumnType::Int64;
  // Whichever the type says; of a Dictionary `text`.
  int64_t integer = 0;
  uint64_t natural = 0;
  double real = 0;
  std::string_view text;
};

/// Some rows of one table, in the order of the log, column by column. Its columns are those that
/// were selected, in the order of the selection. Borrowed: everything in it is valid until the next
/// operation on the reader that returned it.
class Batch {
 public:
  [[nodiscard]] const Table& table() const { return *table_; }
  [[nodiscard]] size_t rows() const { return rows_; }

  [[nodiscard]] size_t columns() const { return columns_.size(); }
  [[nodiscard]] const Column& column(size_t index) const { return *columns_[index]; }
  [[nodiscard]] const ColumnData& data(size_t index) const { return data_[index]; }

  [[nodiscard]] Cell cell(size_t row, size_t column) const;

 private:
  friend class BatchBuilder;

  const Table* table_ = nullptr;
  size_t rows_ = 0;
  std::vector<const Column*> columns_;
  std::vector<ColumnData> data_;
};

// --- Reading -------------------------------------------------------------------------------------

/// Where a log could not be read any further, and why.
struct TableDamage {
  std::string
      line;  ///< as `ryx-profile-log verify` says it: "chunk 2 at byte 32: its 28 bytes ..."
  bool isUnreadable = false;  ///< the log could not be opened: `line` is why, and there are no rows
  uint64_t chunk = 0;         ///< from 1
  uint64_t offset = 0;        ///< in the file, of the chunk's size
};

/// Reads the tables of one log after another.
class TableReader {
 public:
  explicit TableReader(Selection selection);
  ~TableReader();
  TableReader(TableReader&&) noexcept;
  TableReader& operator=(TableReader&&) noexcept;

  /// Starts reading the log at `path`. False when it cannot be opened: `damage` then says why, and
  /// `next` returns nothing. What was borrowed ends, and what was read of another log is forgotten.
  /// `shownPath` is what the tables have for its path, where that is another.
  [[nodiscard]] bool open(const std::string& path, int64_t logId = 0,
                          const std::optional<std::string>& shownPath = std::nullopt);

  /// The next rows of any of the selected tables, or null at the end of the log. Damage is an end
  /// like any other: all rows before it are delivered, and `damage` names it. The rows of `logs`
  /// come last, when there is nothing left to count.
  [[nodiscard]] const Batch* next();

  /// What ended the log before its time; nothing as long as it is intact.
  [[nodiscard]] const std::optional<TableDamage>& damage() const;

  /// The bytes of the log that have been read so far, for showing progress.
  [[nodiscard]] uint64_t bytesRead() const;

 private:
  class Pass;
  std::unique_ptr<Pass> pass_;
};

}  // namespace ryx::profiling

#endif
