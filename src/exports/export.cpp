// SPDX-License-Identifier: Apache-2.0
// A log that cannot be opened, or is damaged, does not keep the others from being exported; an
// output that cannot be written ends it all, because it is the same for all. A sink may ask for a
// log more than once. Each pass is a new reader with a selection that is asked for only then: what
// a second pass is to deliver may depend on what the first has delivered.

#include "exports/export.h"

#include <utility>

#include "base/temporary_file.h"

namespace ryx::profiling {

namespace {

/// Feeds the sink; remembers what went wrong.
class Export {
 public:
  Export(const MessageFilter& filter, TableSink& sink,
         const std::function<void(const std::string&)>& say)
      : filter_(filter), sink_(sink), say_(say) {}

  /// False when the output is lost.
  [[nodiscard]] bool add(const ExportedLog& log) {
    RereadableFile rereadable;
    if (sink_.passes() > 1)
      if (const Status status = rereadable.open(log.readPath); !status)
        return refuse(log, status.text());
    std::optional<TableDamage> damage;
    for (size_t pass = 0; pass < sink_.passes(); ++pass) {
      TableReader reader(sink_.selection(pass, filter_));
      if (!reader.open(sink_.passes() > 1 ? rereadable.path() : log.readPath, log.id, log.path))
        return refuse(log, reader.damage()->line) && pass == 0;
      if (pass == 0 && !succeeds(sink_.begin(log))) return false;
      hasBegun_ = true;
      while (const Batch* batch = reader.next())
        if (!succeeds(sink_.write(*batch))) return false;
      damage = reader.damage();
    }
    if (damage) {
      isWhole_ = false;
      say_(log.name + ": " + damage->line + "; exported up to there");
    }
    return succeeds(sink_.end(damage));
  }

  [[nodiscard]] ExportResult finish() {
    if (!hasBegun_ || !succeeds(sink_.finish())) return ExportResult::Failed;
    for (const std::string& omission : sink_.omissions()) say_(omission);
    return isWhole_ ? ExportResult::Whole : ExportResult::Partly;
  }

 private:
  /// The other logs go on.
  bool refuse(const ExportedLog& log, const std::string& reason) {
    isWhole_ = false;
    say_("cannot read " + log.name + ": " + reason);
    return true;
  }

  bool succeeds(const Status& status) {
    if (!status) say_(status.text());
    return status.isGood();
  }

  const MessageFilter& filter_;
  TableSink& sink_;
  const std::function<void(const std::string&)>& say_;
  bool hasBegun_ = false;
  bool isWhole_ = true;
};

}  // namespace

ExportResult exportLogs(const std::vector<ExportedLog>& logs, const MessageFilter& filter,
                        TableSink& sink, const std::function<void(const std::string&)>& say) {
  Export output(filter, sink, say);
  for (const ExportedLog& log : logs)
    if (!output.add(log)) return ExportResult::Failed;
  return output.finish();
}

}  // namespace ryx::profiling
