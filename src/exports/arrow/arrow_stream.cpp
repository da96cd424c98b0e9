// SPDX-License-Identifier: Apache-2.0
// A consumer releases what it was given when it likes, in any order: the stream before its batches,
// a column before its batch or long after it, a structure from another place than where it was
// filled, since structures may be moved. So whatever a structure needs hangs on its own
// `private_data`, and the buffers of a batch, which its columns share, are counted.
//
// A batch is copied out of the reader, all of its buffers into one allocation. The reader fills its
// own again and again, which stay in the caches; to hand those out instead would make it fill fresh
// memory, and that costs about what the copy does.
//
// Nothing may be thrown through a callback: each catches, and says what it caught as an errno value
// and a text. The text of exhausted memory takes none.

#include "exports/arrow/arrow_stream.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "base/printable_text.h"

namespace ryx::profiling {

namespace {

constexpr size_t kAlignment = 64;
constexpr size_t kLargePage = size_t{2} << 20;

size_t padded(size_t bytes, size_t alignment = kAlignment) {
  return (bytes + alignment - 1) / alignment * alignment;
}

const char* formatOf(ColumnType type) {
  switch (type) {
    case ColumnType::Int64: return "l";
    case ColumnType::UInt64: return "L";
    case ColumnType::Double: return "g";
    case ColumnType::Dictionary: return "i";
    case ColumnType::Text: break;
  }
  return "u";
}

// --- Schemas ---

/// What the schema of a table needs, that of its columns included.
struct TableSchema {
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema*> places;
};

/// Of a column: its texts live as long as the program, but for the name, which has no end mark
/// there.
struct ColumnSchema {
  std::string name;
  ArrowSchema dictionary = {};
};

template <typename Private>
void releaseSchema(ArrowSchema* schema) {
  const std::unique_ptr<Private> owned(static_cast<Private*>(schema->private_data));
  for (int64_t i = 0; i < schema->n_children; ++i)
    if (schema->children[i]->release != nullptr) schema->children[i]->release(schema->children[i]);
  if (schema->dictionary != nullptr && schema->dictionary->release != nullptr)
    schema->dictionary->release(schema->dictionary);
  schema->release = nullptr;
}

void releaseNothing(ArrowSchema* schema) { schema->release = nullptr; }

ArrowSchema columnSchema(const Column& column) {
  auto owned = std::make_unique<ColumnSchema>();
  owned->name = column.name;
  ArrowSchema schema = {};
  schema.format = formatOf(column.type);
  schema.name = owned->name.c_str();
  schema.flags = column.isNullable ? ARROW_FLAG_NULLABLE : 0;
  if (column.type == ColumnType::Dictionary) {
    owned->dictionary.format = formatOf(ColumnType::Text);
    owned->dictionary.name = "";
    owned->dictionary.release = releaseNothing;
    schema.dictionary = &owned->dictionary;
  }
  schema.release = releaseSchema<ColumnSchema>;
  schema.private_data = owned.release();
  return schema;
}

ArrowSchema tableSchema(const std::vector<const Column*>& columns) {
  auto owned = std::make_unique<TableSchema>();
  owned->children.reserve(columns.size());
  owned->places.reserve(columns.size());
  ArrowSchema schema = {};
  schema.format = "+s";
  schema.name = "";
  schema.release = releaseSchema<TableSchema>;
  try {
    for (const Column* column : columns) {
      owned->children.push_back(columnSchema(*column));
      owned->places.push_back(&owned->children.back());
    }
  } catch (...) {
    for (ArrowSchema& child : owned->children) child.release(&child);
    throw;
  }
  schema.n_children = static_cast<int64_t>(columns.size());
  schema.children = owned->places.data();
  schema.private_data = owned.release();
  return schema;
}

// --- Batches ---

/// Memory aligned as Arrow recommends. Its pieces are handed out in turn.
class Block {
 public:
  explicit Block(size_t bytes) {
    // Large ones on large pages, if the kernel has some: whoever keeps a table waits for its memory
    // longer than for what is written there.
    const bool isLarge = bytes >= kLargePage;
    const size_t alignment = isLarge ? kLargePage : kAlignment;
    const size_t size = padded(bytes + 1, alignment);
    bytes_.reset(static_cast<uint8_t*>(std::aligned_alloc(alignment, size)));
    if (bytes_ == nullptr) throw std::bad_alloc();
    if (isLarge) madvise(bytes_.get(), size, MADV_HUGEPAGE);
  }

  /// A copy of so many bytes, padded with zeros.
  const void* add(const void* data, size_t size) {
    uint8_t* place = bytes_.get() + used_;
    if (size > 0) std::memcpy(place, data, size);
    std::memset(place + size, 0, padded(size) - size);
    used_ += padded(size);
    return place;
  }

 private:
  struct Free {
    void operator()(uint8_t* bytes) const { std::free(bytes); }
  };

  std::unique_ptr<uint8_t[], Free> bytes_;
  size_t used_ = 0;
};

/// The texts of a dictionary as an array. Lives as long as the program, as the catalogue does.
class DictionaryArray {
 public:
  explicit DictionaryArray(const Column& column) : size_(column.dictionarySize) {
    offsets_.push_back(0);
    for (size_t i = 0; i < size_; ++i) {
      texts_ += column.dictionary[i];
      offsets_.push_back(static_cast<int32_t>(texts_.size()));
    }
    buffers_ = {nullptr, offsets_.data(), texts_.data()};
  }

  [[nodiscard]] ArrowArray array() {
    ArrowArray array = {};
    array.length = static_cast<int64_t>(size_);
    array.n_buffers = static_cast<int64_t>(buffers_.size());
    array.buffers = buffers_.data();
    array.release = [](ArrowArray* released) { released->release = nullptr; };
    return array;
  }

 private:
  const size_t size_;
  std::string texts_;
  std::vector<int32_t> offsets_;
  std::array<const void*, 3> buffers_ = {};
};

/// There is one dictionary, that of methods.
DictionaryArray& dictionaryOf(const Column& column) {
  static DictionaryArray methods(column);
  return methods;
}

struct ColumnArray {
  std::shared_ptr<Block> block;
  std::array<const void*, 3> buffers = {};
  ArrowArray dictionary = {};
};

struct BatchArray {
  std::vector<ArrowArray> children;
  std::vector<ArrowArray*> places;
  const void* buffer = nullptr;  ///< rows of a table are never null
};

template <typename Private>
void releaseArray(ArrowArray* array) {
  const std::unique_ptr<Private> owned(static_cast<Private*>(array->private_data));
  for (int64_t i = 0; i < array->n_children; ++i)
    if (array->children[i]->release != nullptr) array->children[i]->release(array->children[i]);
  if (array->dictionary != nullptr && array->dictionary->release != nullptr)
    array->dictionary->release(array->dictionary);
  array->release = nullptr;
}

/// The sizes of a column's buffers, in bytes.
struct BufferSizes {
  BufferSizes(const Batch& batch, size_t column) {
    const size_t rows = batch.rows();
    const ColumnData& data = batch.data(column);
    if (data.validity != nullptr) validity = (rows + 7) / 8;
    switch (batch.column(column).type) {
      case ColumnType::Text:
        offsets = (rows + 1) * sizeof(int32_t);
        values = static_cast<size_t>(data.offsets[rows]);
        break;
      case ColumnType::Dictionary: values = rows * sizeof(int32_t); break;
      case ColumnType::Int64:
      case ColumnType::UInt64:
      case ColumnType::Double: values = rows * sizeof(uint64_t); break;
    }
  }

  [[nodiscard]] size_t all() const { return padded(validity) + padded(offsets) + padded(values); }

  size_t validity = 0;
  size_t offsets = 0;
  size_t values = 0;
};

ArrowArray columnArray(const Batch& batch, size_t column, const std::shared_ptr<Block>& block) {
  auto owned = std::make_unique<ColumnArray>();
  owned->block = block;
  const ColumnData& data = batch.data(column);
  const ColumnType type = batch.column(column).type;
  const BufferSizes sizes(batch, column);
  auto buffer = owned->buffers.begin();
  *buffer++ = data.validity != nullptr ? block->add(data.validity, sizes.validity) : nullptr;
  if (type == ColumnType::Text) *buffer++ = block->add(data.offsets, sizes.offsets);
  *buffer++ = block->add(data.values, sizes.values);
  ArrowArray array = {};
  array.length = static_cast<int64_t>(batch.rows());
  array.null_count = static_cast<int64_t>(data.nullCount);
  array.n_buffers = buffer - owned->buffers.begin();
  array.buffers = owned->buffers.data();
  if (type == ColumnType::Dictionary) {
    owned->dictionary = dictionaryOf(batch.column(column)).array();
    array.dictionary = &owned->dictionary;
  }
  array.release = releaseArray<ColumnArray>;
  array.private_data = owned.release();
  return array;
}

ArrowArray batchArray(const Batch& batch) {
  size_t bytes = 0;
  for (size_t i = 0; i < batch.columns(); ++i) bytes += BufferSizes(batch, i).all();
  const auto block = std::make_shared<Block>(bytes);
  auto owned = std::make_unique<BatchArray>();
  owned->children.reserve(batch.columns());
  owned->places.reserve(batch.columns());
  try {
    for (size_t i = 0; i < batch.columns(); ++i) {
      owned->children.push_back(columnArray(batch, i, block));
      owned->places.push_back(&owned->children.back());
    }
  } catch (...) {
    for (ArrowArray& child : owned->children) child.release(&child);
    throw;
  }
  ArrowArray array = {};
  array.length = static_cast<int64_t>(batch.rows());
  array.n_buffers = 1;
  array.buffers = &owned->buffer;
  array.n_children = static_cast<int64_t>(batch.columns());
  array.children = owned->places.data();
  array.release = releaseArray<BatchArray>;
  array.private_data = owned.release();
  return array;
}

// --- The stream ---

class LogStream {
 public:
  LogStream(std::vector<std::string> paths, const Selection& selection, DamagedLogs damaged)
      : paths_(std::move(paths)),
        skipsDamaged_(damaged == DamagedLogs::Skip),
        reader_(selection),
        columns_(selectedColumns(selection)) {}

  int schema(ArrowSchema& out) {
    return guarded([&] {
      out = tableSchema(columns_);
      return 0;
    });
  }

  /// An array without a release function is the end.
  int next(ArrowArray& out) {
    return guarded([&] { return nextBatch(out); });
  }

  [[nodiscard]] const char* error() const { return errorText_; }

 private:
  static std::vector<const Column*> selectedColumns(const Selection& selection) {
    const Selection::Columns& selected = selection.tables.front();
    const Table& table = profiling::table(selected.table, selection.logColumn);
    std::vector<const Column*> columns;
    if (selected.names.empty())
      for (const Column& column : table) columns.push_back(&column);
    // The reader has refused names that are not there.
    for (const std::string& name : selected.names)
      columns.push_back(&table.columns[table.find(name).value()]);
    return columns;
  }

  template <typename Work>
  int guarded(Work&& work) {
    try {
      return work();
    } catch (const std::bad_alloc&) {
      errorText_ = "out of memory";
      return ENOMEM;
    } catch (...) {
      errorText_ = "failed for an unknown reason";
      return EIO;
    }
  }

  int nextBatch(ArrowArray& out) {
    if (hasFailed_) return EIO;
    for (;;) {
      if (isLogOpen_) {
        if (const Batch* batch = reader_.next()) {
          out = batchArray(*batch);
          return 0;
        }
        isLogOpen_ = false;
        if (reader_.damage() && !skipsDamaged_) return fail(paths_[nextLog_ - 1]);
      }
      if (nextLog_ == paths_.size()) {
        out = {};
        return 0;
      }
      const size_t log = nextLog_++;
      isLogOpen_ = reader_.open(paths_[log], static_cast<int64_t>(log));
      if (!isLogOpen_ && !skipsDamaged_) return fail(paths_[log]);
    }
  }

  /// What was wrong with the log stays the stream's answer.
  int fail(const std::string& path) {
    hasFailed_ = true;
    const TableDamage& damage = *reader_.damage();
    error_ = validUtf8((damage.isUnreadable ? "cannot read " + path : path) + ": " + damage.line);
    errorText_ = error_.c_str();
    return EIO;
  }

  const std::vector<std::string> paths_;
  const bool skipsDamaged_;
  TableReader reader_;
  const std::vector<const Column*> columns_;
  size_t nextLog_ = 0;
  bool isLogOpen_ = false;
  bool hasFailed_ = false;
  std::string error_;
  const char* errorText_ = nullptr;
};

LogStream& streamOf(ArrowArrayStream* stream) {
  return *static_cast<LogStream*>(stream->private_data);
}

}  // namespace

void exportStream(std::vector<std::string> paths, const Selection& selection, DamagedLogs damaged,
                  ArrowArrayStream& stream) {
  auto owned = std::make_unique<LogStream>(std::move(paths), selection, damaged);
  stream.get_schema = [](ArrowArrayStream* from, ArrowSchema* out) {
    return streamOf(from).schema(*out);
  };
  stream.get_next = [](ArrowArrayStream* from, ArrowArray* out) {
    return streamOf(from).next(*out);
  };
  stream.get_last_error = [](ArrowArrayStream* from) { return streamOf(from).error(); };
  stream.release = [](ArrowArrayStream* released) {
    delete &streamOf(released);
    released->release = nullptr;
  };
  stream.private_data = owned.release();
}

}  // namespace ryx::profiling
