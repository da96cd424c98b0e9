// SPDX-License-Identifier: Apache-2.0
// The batches of one table while a log passes by.
//
// A builder is offered every message. It takes of it what fits into its batch, and says when that
// is full: the batch is delivered, cleared, and the same message offered again.

#ifndef RYX_TABLES_BATCH_BUILDER_H
#define RYX_TABLES_BATCH_BUILDER_H

#include <cstddef>
#include <memory>
#include <vector>

#include "ryx/profile_tables.h"
#include "tables/column_builder.h"
#include "tables/log_walk.h"
#include "tables/table_definition.h"

namespace ryx::profiling {

class BatchBuilder {
 public:
  BatchBuilder(const Selection& selection, const Selection::Columns& columns);
  virtual ~BatchBuilder() = default;

  /// Takes the rows of the message that the walk has just returned. False when the batch is full
  /// before all of them are in it: to be called again after `clear`.
  [[nodiscard]] virtual bool add(const LogIdentity& log, const MessageRow& message,
                                 LogWalk& walk) = 0;

  /// The log has ended.
  virtual void end(const LogRow&) {}

  [[nodiscard]] bool isEmpty() const { return rows() == 0; }

  /// What is in it, until it is cleared.
  [[nodiscard]] const Batch& batch();
  void clear();

 protected:
  [[nodiscard]] size_t rows() const { return builders_.front().rows(); }
  [[nodiscard]] const Batch& columns() const { return batch_; }
  [[nodiscard]] ColumnBuilder& builder(size_t column) { return builders_[column]; }
  [[nodiscard]] size_t rowsLeft() const { return maxRows_ - rows(); }

  /// How many bytes of texts may be added; any number where there are no rows yet.
  [[nodiscard]] size_t textBytesLeft() const;

 private:
  const size_t maxRows_;
  const size_t maxTextBytes_;
  Batch batch_;
  std::vector<ColumnBuilder> builders_;
};

/// Of the table that is selected by `columns`.
[[nodiscard]] std::unique_ptr<BatchBuilder> makeBatchBuilder(const Selection& selection,
                                                             const Selection::Columns& columns);

}  // namespace ryx::profiling

#endif
