// SPDX-License-Identifier: Apache-2.0
// The self time of a path is found message by message: the sum of its events' values less those of
// the paths one longer, and never below 0. It has to be message by message: over a whole log, a
// message whose children have more than their parent would take away what others have in full.
//
// What is kept is a tree of all paths with their sums, and of the message at hand the list of paths
// that it has times of, so that a message costs no more than its events.

#include "exports/folded_sink.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "analysis/number.h"
#include "analysis/path_tree.h"
#include "exports/output_file.h"

namespace ryx::profiling {

namespace {

/// What a path names an event by that has no identifier.
constexpr std::string_view kNoIdentifier = "null";

struct PathTime {
  Number total;          ///< in the present message
  Number children;       ///< of the paths one longer, likewise
  bool isTimed = false;  ///< it has a value in the present message
  bool isEverTimed = false;
  Number self;  ///< in all messages before
};

/// Appends a name as a frame of a line: what would end the frame or the line is written as \xNN,
/// and so that nothing looks like it, a backslash is doubled.
void appendFrame(std::string_view name, std::string& line) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : name) {
    const auto code = static_cast<uint8_t>(c);
    if (code < 0x20 || code == 0x7F || c == ';') {
      line += "\\x";
      line += kDigits[code >> 4];
      line += kDigits[code & 0xF];
    } else {
      line += c;
      if (c == '\\') line += c;
    }
  }
}

/// A number that is not negative, rounded down.
std::string wholeText(const Number& number) {
  constexpr double kLimit = 0x1p126;
  Int128 whole =
      number.isWhole() ? number.whole() : static_cast<Int128>(std::min(number.real(), kLimit));
  std::string digits;
  do {
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(whole % 10)));
    whole /= 10;
  } while (whole > 0);
  return digits;
}

class FoldedSink : public TableSink {
 public:
  explicit FoldedSink(std::string outputPath) : outputPath_(std::move(outputPath)) {}

  [[nodiscard]] Selection selection(size_t, const MessageFilter& filter) override {
    Selection selection;
    selection.add(TableId::Events, {"message_id", "depth", "identifier", "unit", "value_int",
                                    "value_uint", "value"});
    selection.filter = filter;
    selection.batchRows = kBatchRows;
    return selection;
  }

  [[nodiscard]] Status begin(const ExportedLog&) override {
    message_ = -1;
    if (isOpen_) return {};
    isOpen_ = true;
    path_.push_back(tree_.addRoot());
    return out_.open(outputPath_);
  }

  [[nodiscard]] Status write(const Batch& batch) override {
    for (size_t row = 0; row < batch.rows(); ++row) addEvent(batch, row);
    return {};
  }

  [[nodiscard]] Status end(const std::optional<TableDamage>&) override {
    finishMessage();
    return {};
  }

  [[nodiscard]] Status finish() override {
    for (uint32_t node = 0; node < times_.size(); ++node)
      if (times_[node].isEverTimed) appendLine(node);
    return out_.commit();
  }

 private:
  static constexpr size_t kBatchRows = 4096;

  void addEvent(const Batch& batch, size_t row) {
    enum : size_t { kMessage, kDepth, kIdentifier, kUnit, kInteger, kNatural, kReal };
    if (const int64_t message = batch.cell(row, kMessage).integer; message != message_) {
      finishMessage();
      message_ = message;
      previous_ = path_.front();
    }
    const Cell identifier = batch.cell(row, kIdentifier);
    const auto depth = static_cast<size_t>(batch.cell(row, kDepth).integer);
    // Up to the parent, which is the last one that was less deep.
    path_.resize(depth + 1);
    const uint32_t node =
        childOf(path_.back(), identifier.isNull ? kNoIdentifier : identifier.text);
    path_.push_back(node);
    previous_ = node;
    if (batch.cell(row, kUnit).text != "us") return;
    const Cell integer = batch.cell(row, kInteger);
    const Cell natural = batch.cell(row, kNatural);
    const Cell real = batch.cell(row, kReal);
    if (!integer.isNull)
      addTime(node, integer.integer);
    else if (!natural.isNull)
      addTime(node, natural.natural);
    else if (!real.isNull && std::isfinite(real.real))
      addTime(node, real.real);
  }

  uint32_t childOf(uint32_t parent, std::string_view name) {
    const uint32_t likely = tree_.likelyChild(parent, name, previous_);
    return likely != PathTree::kNone ? likely : tree_.child(parent, name, previous_);
  }

  void addTime(uint32_t node, const Number& time) {
    if (times_.size() < tree_.size()) times_.resize(tree_.size());
    PathTime& path = times_[node];
    if (!path.isTimed) timed_.push_back(node);
    path.isTimed = true;
    path.total += time;
  }

  /// Adds the self times of the message to those of all.
  void finishMessage() {
    // All children first: a path may have got its time before its parent.
    for (const uint32_t node : timed_) times_[tree_.parent(node)].children += times_[node].total;
    for (const uint32_t node : timed_) {
      PathTime& path = times_[node];
      const Number self = path.total - path.children;
      if (self > Number()) path.self += self;
      path.isEverTimed = true;
    }
    for (const uint32_t node : timed_) {
      times_[tree_.parent(node)].children = {};
      times_[node].total = times_[node].children = {};
      times_[node].isTimed = false;
    }
    timed_.clear();
  }

  void appendLine(uint32_t node) {
    line_.clear();
    const char* separator = "";
    for (const std::string_view name : tree_.path(node)) {
      line_ += std::exchange(separator, ";");
      appendFrame(name, line_);
    }
    line_ += ' ' + wholeText(times_[node].self) + '\n';
    out_.append(line_);
  }

  const std::string outputPath_;
  bool isOpen_ = false;
  OutputFile out_;
  PathTree tree_;
  std::vector<PathTime> times_;  ///< by node
  int64_t message_ = -1;         ///< at hand
  std::vector<uint32_t> path_;   ///< the nodes from the root to the last event
  uint32_t previous_ = 0;        ///< the last of them
  std::vector<uint32_t> timed_;  ///< the nodes that have a value in the present message
  std::string line_;
};

}  // namespace

std::unique_ptr<TableSink> makeFoldedSink(std::string outputPath) {
  return std::make_unique<FoldedSink>(std::move(outputPath));
}

}  // namespace ryx::profiling
