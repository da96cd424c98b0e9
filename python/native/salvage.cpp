// SPDX-License-Identifier: Apache-2.0
// What is good in a damaged log, written to another. Python gets the account of it as numbers.

#include "salvage/salvage.h"

#include <optional>
#include <utility>

#include "base/file.h"
#include "native/arguments.h"
#include "native/operations.h"
#include "stream/atomic_log.h"
#include "stream/log_damage.h"

namespace ryx::python {

namespace {

using namespace ryx::profiling;

/// Writes what is kept, and counts.
class Account : public SalvageSink {
 public:
  explicit Account(AtomicLog& good) : good_(good) {}

  Status keep(const SalvagedChunk& chunk) override {
    ++keptChunks_;
    keptBytes_ += chunk.place.bytes;
    if (!chunk.isFramed) ++mendedChunks_;
    return good_.append(chunk.data, chunk.size);
  }

  void lose(const LostRange& lost) override { lost_.push_back(lost); }

  [[nodiscard]] bool hasKept() const { return keptChunks_ > 0; }

  /// The chunks and bytes that are kept, the chunks that were mended, tuples of offset, bytes and
  /// reason for what is lost, and whether searching was given up.
  [[nodiscard]] Reference asTuple(bool gaveUp) const {
    const auto lost = owned(PyList_New(0));
    for (const LostRange& range : lost_) {
      const auto reason = asPython(range.reason);
      const auto tuple =
          owned(Py_BuildValue("(KKO)", static_cast<unsigned long long>(range.place.offset),
                              static_cast<unsigned long long>(range.place.bytes), reason.get()));
      if (PyList_Append(lost.get(), tuple.get()) != 0) throw PythonError();
    }
    return owned(Py_BuildValue("(KKKOO)", keptChunks_, keptBytes_, mendedChunks_, lost.get(),
                               gaveUp ? Py_True : Py_False));
  }

 private:
  AtomicLog& good_;
  unsigned long long keptChunks_ = 0;
  unsigned long long keptBytes_ = 0;
  unsigned long long mendedChunks_ = 0;
  std::vector<LostRange> lost_;
};

/// A failure, and the path that it is about.
struct PathFailure {
  std::string path;
  Status why;
};

/// Why there is nothing to write, where that is so; nothing where the log was written.
struct SalvageResult {
  std::optional<PathFailure> failure;
  std::string whyNothing;
  bool gaveUp = false;
};

SalvageResult salvage(const std::string& path, const std::string& target, AtomicLog& good,
                      Account& account) {
  const WithoutInterpreter released;
  SalvageResult result;
  const auto fail = [&result](const std::string& of, Status why) {
    result.failure = {of, std::move(why)};
    return result;
  };
  RandomAccessFile broken;
  if (const Status status = broken.open(path); !status) return fail(path, status);
  if (const Status status = good.open(target); !status) return fail(target, status);
  Salvage salvage(broken, account);
  if (const Status status = salvage.run(); !status)
    return broken.status() ? fail(target, status) : fail(path, status);
  result.gaveUp = salvage.gaveUp();
  if (!account.hasKept() && broken.size() > 0) {
    const auto foreign = foreignDamage(path);
    result.whyNothing = path + ": " + (foreign ? describe(*foreign) : kNothingKeptText);
    return result;
  }
  if (const Status status = good.commit(); !status) return fail(target, status);
  return result;
}

}  // namespace

PyObject* salvageLog(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    PyObject *pathArgument = nullptr, *targetArgument = nullptr;
    if (PyArg_ParseTuple(arguments, "OO", &pathArgument, &targetArgument) == 0) throw PythonError();
    const std::string path = readPath(pathArgument);
    const std::string target = readPath(targetArgument);
    if (isSameFile(path, target))
      throw std::invalid_argument(target + ": is the same file as " + path);
    AtomicLog good;
    Account account(good);
    const SalvageResult result = salvage(path, target, good, account);
    if (result.failure) raiseFailure(result.failure->why, result.failure->path);
    if (result.whyNothing.empty()) return account.asTuple(result.gaveUp);
    return asPython(result.whyNothing);
  });
}

}  // namespace ryx::python
