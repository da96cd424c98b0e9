// SPDX-License-Identifier: Apache-2.0
// The loop that fills the batches of all selected tables in one walk. It is turned inside out:
// `next` returns in the middle of it, with a full batch, and goes on there when it is called again.
// `message_` and `next_` are where it stopped. A builder that was full is offered the same message
// again, and knows itself how much of it it has taken.
//
// One table may be selected once only: events can be walked only once for each message, so the
// second builder would find none left.

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "ryx/profile_tables.h"
#include "stream/message_filter.h"
#include "tables/batch_builder.h"
#include "tables/log_walk.h"

namespace ryx::profiling {

namespace {

/// Whether what is selected depends on how many events the messages before have.
bool needsEventCount(const Selection& selection) {
  constexpr std::string_view kCounts[] = {"events", "event_id", "parent_id", "last_event_id"};
  const auto isCount = [&](const std::string& name) {
    return std::find(std::begin(kCounts), std::end(kCounts), name) != std::end(kCounts);
  };
  const auto needs = [&](const Selection::Columns& columns) {
    if (columns.table != TableId::Events && columns.table != TableId::Logs) return false;
    return columns.names.empty() ||
           std::any_of(columns.names.begin(), columns.names.end(), isCount);
  };
  return std::any_of(selection.tables.begin(), selection.tables.end(), needs);
}

}  // namespace

class TableReader::Pass {
 public:
  explicit Pass(Selection selection) : selection_(std::move(selection)) {
    std::array<size_t, kTableCount> counts = {};
    for (const Selection::Columns& columns : selection_.tables)
      if (++counts[static_cast<size_t>(columns.table)] > 1)
        throw std::invalid_argument("a table is selected twice");
    if (const Status status = checkFilter(selection_.filter); !status)
      throw std::invalid_argument(status.text());
    makeBuilders();
  }

  bool open(const std::string& path, int64_t logId, const std::string& shownPath) {
    log_ = {shownPath, logId};
    damage_.reset();
    makeBuilders();
    lent_ = nullptr;
    message_ = nullptr;
    next_ = 0;
    hasEnded_ = false;
    walk_ = std::make_unique<LogWalk>(selection_.filter, needsEventCount(selection_));
    if (walk_->open(path)) return true;
    noteDamage();
    walk_.reset();
    return false;
  }

  const Batch* next() {
    if (lent_ != nullptr) std::exchange(lent_, nullptr)->clear();
    if (walk_ == nullptr) return nullptr;
    for (; !hasEnded_; next_ = 0) {
      if (message_ == nullptr) message_ = walk_->nextMessage();
      if (message_ == nullptr) {
        hasEnded_ = true;
        noteDamage();
        continue;
      }
      for (; next_ < builders_.size(); ++next_)
        if (!builders_[next_]->add(log_, *message_, *walk_)) return lend(*builders_[next_]);
      message_ = nullptr;
    }
    return nextOfEnd();
  }

  [[nodiscard]] const std::optional<TableDamage>& damage() const { return damage_; }
  [[nodiscard]] uint64_t bytesRead() const { return walk_ ? walk_->totals().bytes : 0; }

 private:
  void makeBuilders() {
    builders_.clear();
    // The row of `logs` comes last.
    for (const bool isLogs : {false, true})
      for (const Selection::Columns& columns : selection_.tables)
        if ((columns.table == TableId::Logs) == isLogs)
          builders_.push_back(makeBatchBuilder(selection_, columns));
  }

  const Batch* lend(BatchBuilder& builder) {
    lent_ = &builder;
    return &builder.batch();
  }

  /// The rows that are left when the log has ended, table by table.
  const Batch* nextOfEnd() {
    while (next_ < builders_.size()) {
      BatchBuilder& builder = *builders_[next_++];
      builder.end({log_, walk_->totals(), walk_->damage()});
      if (!builder.isEmpty()) return lend(builder);
    }
    return nullptr;
  }

  void noteDamage() {
    const auto& damage = walk_->damage();
    if (!damage) return;
    const bool isUnreadable = damage->kind == DamageKind::CannotOpen;
    damage_ = TableDamage{describe(*damage), isUnreadable, damage->chunkNumber, damage->offset};
  }

  const Selection selection_;
  LogIdentity log_;
  std::vector<std::unique_ptr<BatchBuilder>> builders_;
  std::unique_ptr<LogWalk> walk_;
  std::optional<TableDamage> damage_;
  const MessageRow* message_ = nullptr;  ///< being offered to the builders
  size_t next_ = 0;                      ///< the builder whose turn it is
  bool hasEnded_ = false;
  BatchBuilder* lent_ = nullptr;
};

TableReader::TableReader(Selection selection)
    : pass_(std::make_unique<Pass>(std::move(selection))) {}
TableReader::~TableReader() = default;
TableReader::TableReader(TableReader&&) noexcept = default;
TableReader& TableReader::operator=(TableReader&&) noexcept = default;

bool TableReader::open(const std::string& path, int64_t logId,
                       const std::optional<std::string>& shownPath) {
  return pass_->open(path, logId, shownPath.value_or(path));
}
const Batch* TableReader::next() { return pass_->next(); }
const std::optional<TableDamage>& TableReader::damage() const { return pass_->damage(); }
uint64_t TableReader::bytesRead() const { return pass_->bytesRead(); }

}  // namespace ryx::profiling
