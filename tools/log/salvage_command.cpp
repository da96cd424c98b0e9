#include <string>

#include "log/commands.h"
#include "log/salvage.h"
#include "log/whole_file.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

std::string describe(const Stretch& place) {
  return "bytes " + std::to_string(place.offset) + " to " +
         std::to_string(place.offset + place.bytes - 1) + " (" + counted(place.bytes, "byte") + ")";
}

/// Writes what is kept, and prints what is not.
class SalvageReport : public SalvageSink {
 public:
  /// All of them must outlive this object.
  SalvageReport(const std::string& brokenPath, const std::string& goodPath, WholeFile& good)
      : brokenPath_(brokenPath), goodPath_(goodPath), good_(good) {}

  bool keep(const SalvagedChunk& chunk) override {
    ++keptChunks_;
    keptBytes_ += chunk.place.bytes;
    if (!chunk.isFramed) {
      ++mendedChunks_;
      printLine("mended " + describe(chunk.place) + ": a chunk of " + counted(chunk.size, "byte") +
                " whose size was damaged");
    }
    uint8_t prefix[kSizePrefixBytes];
    encodeSizePrefix(static_cast<uint32_t>(chunk.size), prefix);
    std::error_code error = good_.append(prefix, sizeof prefix);
    if (!error) error = good_.append(chunk.data, chunk.size);
    return !error || reportError("cannot write " + goodPath_ + ": " + error.message());
  }

  void lose(const LostStretch& stretch) override {
    ++lostStretches_;
    lostBytes_ += stretch.place.bytes;
    const std::string what = stretch.isOneChunk ? "lost 1 chunk, " : "lost ";
    printLine(what + describe(stretch.place) + ": " + stretch.reason);
  }

  void printSummary() {
    std::string text = "kept " + counted(keptChunks_, "chunk") + " (" + counted(keptBytes_, "byte");
    if (mendedChunks_ > 0) text += ", " + std::to_string(mendedChunks_) + " mended";
    text += "), lost " + counted(lostBytes_, "byte");
    if (lostStretches_ > 0) text += " in " + counted(lostStretches_, "place");
    printLine(text);
  }

  [[nodiscard]] uint64_t keptChunks() const { return keptChunks_; }
  /// Whether everything could be printed.
  [[nodiscard]] bool isPrinted() const { return isPrinted_; }

 private:
  void printLine(const std::string& text) {
    isPrinted_ = isPrinted_ && printText(brokenPath_ + ": " + text + "\n");
  }

  const std::string& brokenPath_;
  const std::string& goodPath_;
  WholeFile& good_;
  uint64_t keptChunks_ = 0;
  uint64_t keptBytes_ = 0;
  uint64_t mendedChunks_ = 0;
  uint64_t lostStretches_ = 0;
  uint64_t lostBytes_ = 0;
  bool isPrinted_ = true;
};

}  // namespace

bool salvageLog(const std::string& brokenPath, const std::string& goodPath) {
  RandomAccessFile broken;
  if (const auto error = broken.open(brokenPath))
    return reportError("cannot read " + brokenPath + ": " + error.message());
  if (isWrittenInPlace(goodPath))
    return reportError("cannot write " + goodPath + ": is not a regular file");
  WholeFile good;
  if (const auto error = good.open(goodPath))
    return reportError("cannot write " + goodPath + ": " + error.message());

  SalvageReport report(brokenPath, goodPath, good);
  Salvage salvage(broken, report);
  if (!salvage.run())
    return broken.error() &&
           reportError("cannot read " + brokenPath + ": " + broken.error().message());
  report.printSummary();
  if (salvage.gaveUp())
    reportError(brokenPath + ": too much of it looks like chunks and is none; there may be more");
  if (report.keptChunks() == 0 && broken.size() > 0)
    return reportError(brokenPath + ": nothing in it can be kept; " + goodPath + " is not written");
  if (const auto error = good.commit())
    return reportError("cannot write " + goodPath + ": " + error.message());
  return report.isPrinted();
}

}  // namespace ryx::profiling
