// SPDX-License-Identifier: Apache-2.0
// What salvage finds is written and reported in one pass, in the order of the file. A file that
// looks like something else than a log is the exception: a gzip file would be reported as a long
// list of damage, so its lines are held back until a chunk has been found in it, and if none is,
// one line says what the file looks like.
//
// Lines that cannot be printed make the command fail, but not stop: the log that is rescued matters
// more than the report about it.

#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "base/number_text.h"
#include "base/random_access_file.h"
#include "common/input.h"
#include "common/program.h"
#include "common/progress.h"
#include "log/commands.h"
#include "salvage/salvage.h"
#include "stream/atomic_log.h"
#include "stream/log_damage.h"

namespace ryx::profiling {

namespace {

std::string describe(const ByteRange& place) {
  return "bytes " + std::to_string(place.offset) + " to " +
         std::to_string(place.offset + place.bytes - 1) + " (" + counted(place.bytes, "byte") + ")";
}

bool isStandardOutput(const std::string& path) {
  struct stat named = {};
  struct stat standard = {};
  return path == tools::kStandardStream ||
         (::stat(path.c_str(), &named) == 0 && ::fstat(STDOUT_FILENO, &standard) == 0 &&
          named.st_dev == standard.st_dev && named.st_ino == standard.st_ino);
}

/// Writes what is kept, and prints what is not.
class SalvageReport : public SalvageSink {
 public:
  /// What is printed goes to standard error where the log goes to standard output. `name` and
  /// `good` must outlive this object.
  SalvageReport(const std::string& name, bool toStandardError, AtomicLog& good)
      : name_(name), toStandardError_(toStandardError), good_(good) {}

  /// For a file that may have no chunk at all: nothing is printed until one has been kept.
  void holdBack() { isHeldBack_ = true; }

  Status keep(const SalvagedChunk& chunk) override {
    ++keptChunks_;
    isHeldBack_ = false;
    keptBytes_ += chunk.place.bytes;
    tools::advanceProgress(chunk.place.bytes);
    if (!chunk.isFramed) {
      ++mendedChunks_;
      printLine("mended " + describe(chunk.place) + ": a chunk of " + counted(chunk.size, "byte") +
                " whose size was damaged");
    }
    return good_.append(chunk.data, chunk.size);
  }

  void lose(const LostRange& lost) override {
    ++lostRanges_;
    lostBytes_ += lost.place.bytes;
    tools::advanceProgress(lost.place.bytes);
    const std::string what = lost.isOneChunk ? "lost 1 chunk, " : "lost ";
    printLine(what + describe(lost.place) + ": " + lost.reason);
  }

  void printSummary(uint64_t fileBytes) {
    if (fileBytes == 0) return printLine(kEmptyLogText);
    std::string text = "kept " + counted(keptChunks_, "chunk") + " (" + counted(keptBytes_, "byte");
    if (mendedChunks_ > 0) text += ", " + std::to_string(mendedChunks_) + " mended";
    text += "), lost " + counted(lostBytes_, "byte");
    if (lostRanges_ > 0) text += " in " + counted(lostRanges_, "place");
    printLine(text);
  }

  [[nodiscard]] uint64_t keptChunks() const { return keptChunks_; }
  /// Whether everything could be printed.
  [[nodiscard]] const Status& printed() const { return printed_; }

 private:
  void printLine(const std::string& text) {
    lines_.push_back(name_ + ": " + text);
    if (isHeldBack_) return;
    for (const std::string& line : lines_) {
      if (toStandardError_)
        tools::printErrorLine(line);
      else if (printed_)
        printed_ = tools::printOutput(line + "\n");
    }
    lines_.clear();
  }

  const std::string& name_;
  const bool toStandardError_;
  AtomicLog& good_;
  uint64_t keptChunks_ = 0;
  uint64_t keptBytes_ = 0;
  uint64_t mendedChunks_ = 0;
  uint64_t lostRanges_ = 0;
  uint64_t lostBytes_ = 0;
  std::vector<std::string> lines_;
  bool isHeldBack_ = false;
  Status printed_;
};

}  // namespace

Status salvageLog(const std::string& operand, const std::string& goodPath) {
  const auto input = tools::InputPath::decompressed(operand);
  if (!input) return input.status();
  const std::string name = tools::inputName(operand);
  RandomAccessFile broken;
  if (const Status status = broken.open(input->path()); !status)
    return status.of("cannot read " + name);
  if (Status damage = input->damage().of(name); !damage) {
    if (broken.size() == 0) return damage;
    tools::printError(damage.text());
  }
  // Before the search, which may take minutes: an output that cannot be written is known at once.
  tools::silenceProgressBeside(goodPath);
  const tools::Progress progress("salvaging", broken.size());
  AtomicLog good;
  if (Status status = good.open(goodPath); !status) return status;

  const auto foreign = foreignDamage(input->path());
  SalvageReport report(name, isStandardOutput(goodPath), good);
  if (foreign) report.holdBack();
  Salvage salvage(broken, report);
  if (const Status status = salvage.run(); !status)
    return broken.status() ? status : status.of("cannot read " + name);
  report.printSummary(broken.size());
  if (salvage.gaveUp())
    tools::printError(
        name + ": gave up searching after too many false matches; chunks may have been missed");
  if (report.keptChunks() == 0 && broken.size() > 0) {
    const std::string why = foreign ? describe(*foreign) : kNothingKeptText;
    return Status::failure(name + ": " + why + "; " + goodPath + " is not written");
  }
  if (Status status = good.commit(); !status) return status;
  return report.printed();
}

}  // namespace ryx::profiling
