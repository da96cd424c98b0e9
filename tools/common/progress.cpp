// SPDX-License-Identifier: Apache-2.0
#include "common/progress.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "base/descriptor.h"
#include "base/signal_undo.h"
#include "common/input.h"
#include "common/terminal.h"

namespace ryx::tools {

namespace {

constexpr std::chrono::milliseconds kFirstLineAfter(500);
constexpr std::chrono::milliseconds kLineEvery(100);
constexpr char kErase[] = "\r\x1b[K";

std::atomic<uint64_t> g_done{0};
std::atomic<bool> g_isSilent{false};

/// Guards the terminal, and whether the line is on it.
std::mutex g_terminal;
bool g_isShown = false;
bool g_isTaken = false;  ///< by the work that is shown

void write(std::string_view text) { (void)writeAll(STDERR_FILENO, text.data(), text.size()); }

void erase() {
  if (std::exchange(g_isShown, false)) write(kErase);
}

bool canShow() { return !g_isSilent && ::isatty(STDERR_FILENO) != 0 && !isTerminalDumb(); }

std::string fixed(const char* format, double number) {
  char text[32];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

struct Scale {
  double bytes;
  const char* unit;
};

Scale scaleOf(double bytes) {
  constexpr Scale kScales[] = {{1e9, " GB"}, {1e6, " MB"}, {1e3, " kB"}};
  for (const Scale& scale : kScales)
    if (bytes >= scale.bytes) return scale;
  return {1, " bytes"};
}

std::string amount(double bytes, const Scale& scale) {
  const double scaled = bytes / scale.bytes;
  return fixed(scale.bytes > 1 && scaled < 100 ? "%.1f" : "%.0f", scaled);
}

std::string amount(double bytes) {
  const Scale scale = scaleOf(bytes);
  return amount(bytes, scale) + scale.unit;
}

std::string duration(double seconds) {
  const auto whole = static_cast<uint64_t>(std::llround(seconds));
  char text[48];
  std::snprintf(text, sizeof text, "%llu:%02llu", static_cast<unsigned long long>(whole / 60),
                static_cast<unsigned long long>(whole % 60));
  return text;
}

std::string bar(double share) {
  constexpr size_t kCells = 20;
  const auto full = static_cast<size_t>(share * kCells);
  return " [" + std::string(full, '#') + std::string(kCells - full, '.') + "]";
}

}  // namespace

std::string progressLine(const WorkDone& work, size_t columns) {
  const auto done = static_cast<double>(work.done);
  const auto total = static_cast<double>(work.total);
  const double rate = work.seconds > 0 ? done / work.seconds : 0;
  std::string head = work.activity;
  std::string picture;
  std::vector<std::string> parts;
  if (work.total > 0 && work.done >= work.total) {
    parts = {" all " + amount(total) + " read, finishing",
             ", " + duration(work.seconds) + " so far"};
  } else if (work.total > 0) {
    head += fixed("%4.0f %%", std::floor(100 * done / total));
    picture = bar(done / total);
    const Scale scale = scaleOf(total);
    parts = {" " + amount(done, scale) + " of " + amount(total, scale) + scale.unit,
             ", " + amount(rate) + "/s"};
    if (rate > 0) parts.push_back(", " + duration((total - done) / rate) + " left");
  } else {
    if (work.done > 0) parts = {" " + amount(done), ", " + amount(rate) + "/s,"};
    parts.push_back(" " + duration(work.seconds) + " so far");
  }
  size_t size = head.size() + picture.size();
  for (const std::string& part : parts) size += part.size();
  if (size < columns) head += picture;
  for (const std::string& part : parts) {
    if (head.size() + part.size() >= columns) break;
    head += part;
  }
  return head.size() < columns ? head : std::string();
}

void silenceProgressBeside(const std::string& output) {
  if (output == kStandardStream && ::isatty(STDOUT_FILENO) != 0) silenceProgress();
}

uint64_t bytesOf(const std::vector<std::string>& operands, uint64_t passes) {
  uint64_t bytes = 0;
  for (const std::string& operand : operands) {
    struct stat status = {};
    const bool isInput = operand == kStandardStream;
    const int code = isInput ? ::fstat(STDIN_FILENO, &status) : ::stat(operand.c_str(), &status);
    if (code != 0) continue;  // nothing of it will be read
    if (!S_ISREG(status.st_mode)) return 0;
    bytes += static_cast<uint64_t>(status.st_size) * passes;
  }
  return bytes;
}

/// The thread that draws.
class Progress::Display {
 public:
  Display(const char* activity, uint64_t total, std::function<uint64_t()> position)
      : activity_(activity), total_(total), position_(std::move(position)) {
    g_done = 0;
    erasure_.write(STDERR_FILENO, kErase);
    // The thread is born with all signals blocked: they are the main thread's.
    const SignalsHeldBack heldBack;
    thread_ = std::thread([this] { run(); });
  }

  ~Display() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      isOver_ = true;
    }
    wakes_.notify_one();
    thread_.join();
    hideProgress();
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

 private:
  using Clock = std::chrono::steady_clock;

  void run() {
    std::unique_lock<std::mutex> lock(mutex_);
    auto wait = kFirstLineAfter;
    while (!wakes_.wait_for(lock, wait, [this] { return isOver_; })) {
      draw();
      wait = kLineEvery;
    }
  }

  void draw() const {
    const auto columns = terminalColumns(STDERR_FILENO);
    if (!columns) return;
    const std::chrono::duration<double> seconds = Clock::now() - begin_;
    const uint64_t done = position_ ? position_() : g_done.load();
    const std::string line = progressLine({activity_, done, total_, seconds.count()}, *columns);
    const std::lock_guard<std::mutex> lock(g_terminal);
    write(kErase + line);
    g_isShown = true;
  }

  const char* const activity_;
  const uint64_t total_;
  const std::function<uint64_t()> position_;
  const Clock::time_point begin_ = Clock::now();
  SignalUndo erasure_;
  std::mutex mutex_;
  std::condition_variable wakes_;
  bool isOver_ = false;
  std::thread thread_;
};

Progress::Progress(const char* activity, uint64_t totalBytes, std::function<uint64_t()> position) {
  if (g_isTaken || !canShow()) return;
  try {
    display_ = std::make_unique<Display>(activity, totalBytes, std::move(position));
    g_isTaken = true;
  } catch (const std::system_error&) {
    // Where there are no threads to be had, the work matters more.
  }
}

Progress::~Progress() {
  if (display_ != nullptr) g_isTaken = false;
}

void silenceProgress() { g_isSilent = true; }

void advanceProgress(uint64_t bytes) { g_done.fetch_add(bytes, std::memory_order_relaxed); }

void hideProgress() {
  const std::lock_guard<std::mutex> lock(g_terminal);
  erase();
}

}  // namespace ryx::tools
