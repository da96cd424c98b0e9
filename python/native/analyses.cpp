// SPDX-License-Identifier: Apache-2.0
// Statistics, comparisons and pages of logs, worked out by the libraries that the toolbox uses.
//
// Each operation reads with the interpreter given up, and takes it back between logs to see whether
// the user has interrupted it. A log that is damaged or cannot be read ends it where that is to be
// an error; the failures are handed over for Python to raise, or to warn of.

#include <optional>
#include <utility>

#include "analysis/comparison.h"
#include "analysis/statistics.h"
#include "base/atomic_file.h"
#include "exports/diff_json.h"
#include "exports/html/html.h"
#include "exports/run_source.h"
#include "exports/stats_json.h"
#include "native/arguments.h"
#include "native/operations.h"
#include "native/options.h"

namespace ryx::python {

namespace {

using namespace ryx::profiling;

/// What was wrong with the logs, and whether that ends the operation.
class Failures {
 public:
  explicit Failures(bool areSkipped) : areSkipped_(areSkipped) {}

  void add(const std::string& path, RunFailure failure) {
    all_.push_back({path, std::move(failure)});
  }

  [[nodiscard]] bool isOver() const { return !areSkipped_ && !all_.empty(); }

  [[nodiscard]] std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const auto& [path, failure] : all_) texts.push_back(failure.text);
    return texts;
  }

  /// Tuples of path, text, chunk and offset, the last two None where there is no damage.
  [[nodiscard]] Reference list() const {
    auto list = owned(PyList_New(0));
    for (const auto& [path, failure] : all_)
      if (PyList_Append(list.get(), tupleOf(path, failure).get()) != 0) throw PythonError();
    return list;
  }

 private:
  static Reference tupleOf(const std::string& path, const RunFailure& failure) {
    const auto pathSize = static_cast<Py_ssize_t>(path.size());
    const auto text = asPython(failure.text);
    if (!failure.damage)
      return owned(Py_BuildValue("(y#OOO)", path.data(), pathSize, text.get(), Py_None, Py_None));
    return owned(Py_BuildValue("(y#OKK)", path.data(), pathSize, text.get(),
                               static_cast<unsigned long long>(failure.damage->chunk),
                               static_cast<unsigned long long>(failure.damage->offset)));
  }

  const bool areSkipped_;
  std::vector<std::pair<std::string, RunFailure>> all_;
};

void stopIfInterrupted(WithoutInterpreter& released) {
  const WithInterpreter held(released);
  if (PyErr_CheckSignals() != 0) throw PythonError();
}

void readLogs(const std::vector<std::string>& paths, Statistics& statistics, Failures& failures,
              WithoutInterpreter& released) {
  for (const std::string& path : paths) {
    stopIfInterrupted(released);
    const Status status = statistics.read(path, path);
    if (!status) {
      failures.add(path, {status.text(), {}});
    } else if (const auto& damage = statistics.samples().back().logs().back().damage) {
      failures.add(path, {path + ": " + damage->line, damage});
    }
    if (failures.isOver()) return;
  }
}

Sources readRuns(const std::vector<std::string>& paths, const WarmUpRule& warmUp,
                 const EventView& view, Failures& failures, WithoutInterpreter& released) {
  Sources sources;
  for (const std::string& path : paths) {
    if (failures.isOver()) break;
    stopIfInterrupted(released);
    if (auto failure = readRun(path, path, warmUp, view, sources))
      failures.add(path, *std::move(failure));
  }
  return sources;
}

/// The text, or None, with the failures.
Reference answer(const std::optional<std::string>& text, const Failures& failures) {
  const auto result = text ? asPython(*text) : none();
  return owned(PyTuple_Pack(2, result.get(), failures.list().get()));
}

TextSink appendingTo(std::string& text) {
  return [&text](std::string_view piece) { text += piece; };
}

std::optional<std::string> statsText(const std::vector<std::string>& paths,
                                     StatsArguments arguments, Failures& failures) {
  WithoutInterpreter released;
  const CallerFunctions& functions = arguments.functions;
  EventView& view = arguments.options.events;
  if (functions.matches != nullptr) view.matches = asPredicate(functions.matches, released);
  if (functions.groupOf != nullptr) view.groupOf = asGrouping(functions.groupOf, released);
  Statistics statistics(std::move(arguments.options));
  readLogs(paths, statistics, failures, released);
  if (failures.isOver()) return std::nullopt;
  std::string text;
  writeStatsJson(statistics, appendingTo(text));
  return text;
}

/// What `print` makes of the comparison and the runs of both sides; nothing where one has none.
template <typename Print>
std::optional<std::string> compare(const std::vector<std::string>& base,
                                   const std::vector<std::string>& next,
                                   const DiffArguments& arguments, Failures& failures,
                                   WithoutInterpreter& released, Print print) {
  const EventView& view = arguments.view;
  const Sources baseRuns = readRuns(base, arguments.warmUp, view, failures, released);
  const Sources nextRuns = readRuns(next, arguments.warmUp, view, failures, released);
  if (failures.isOver() || baseRuns.empty() || nextRuns.empty()) return std::nullopt;
  const ComparisonResult result = {compareRuns(baseRuns, nextRuns, arguments.options),
                                   arguments.options,
                                   base,
                                   next,
                                   arguments.warmUpText,
                                   arguments.by};
  return print(result, baseRuns, nextRuns);
}

std::optional<std::string> diffText(const std::vector<std::string>& base,
                                    const std::vector<std::string>& next, DiffArguments arguments,
                                    Failures& failures) {
  WithoutInterpreter released;
  const CallerFunctions& functions = arguments.functions;
  ComparisonOptions& options = arguments.options;
  EventView& view = arguments.view;
  if (functions.groupOf != nullptr) view.groupOf = asGrouping(functions.groupOf, released);
  if (functions.ignores != nullptr) options.ignores = asPredicate(functions.ignores, released);
  return compare(base, next, arguments, failures, released,
                 [](const ComparisonResult& result, const Sources&, const Sources&) {
                   std::string text;
                   writeDiffJson(result, appendingTo(text));
                   return text;
                 });
}

std::optional<std::string> pageOfRun(const std::string& path, Failures& failures,
                                     WithoutInterpreter& released) {
  Statistics statistics{StatisticsOptions()};
  readLogs({path}, statistics, failures, released);
  if (failures.isOver() || statistics.samples().empty()) return std::nullopt;
  return runPage(statistics.samples().front());
}

/// Compares as the defaults of `diff` do.
std::optional<std::string> pageOfComparison(const std::vector<std::string>& base,
                                            const std::vector<std::string>& next,
                                            Failures& failures, WithoutInterpreter& released) {
  return compare(base, next, DiffArguments(), failures, released,
                 [&failures](const ComparisonResult& result, const Sources& baseRuns,
                             const Sources& nextRuns) {
                   return comparisonPage(result, baseRuns, nextRuns, failures.texts());
                 });
}

/// Writes the page, and returns whether there is one.
bool writePage(const std::vector<std::string>& base, const std::vector<std::string>& next,
               const std::string& target, Failures& failures) {
  Status written;
  bool isThere = false;
  {
    WithoutInterpreter released;
    const auto page = base.empty() ? pageOfRun(next.front(), failures, released)
                                   : pageOfComparison(base, next, failures, released);
    isThere = page.has_value();
    if (isThere) written = writeWholeFile(target, *page);
  }
  if (!written) raiseFailure(written, target);
  return isThere;
}

}  // namespace

PyObject* makeStats(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    PyObject *paths = nullptr, *options = nullptr;
    int skipsDamaged = 0;
    if (PyArg_ParseTuple(arguments, "OO!p", &paths, &PyDict_Type, &options, &skipsDamaged) == 0)
      throw PythonError();
    Failures failures(skipsDamaged != 0);
    const auto text = statsText(readPaths(paths), readStatsArguments(options), failures);
    return answer(text, failures);
  });
}

PyObject* makeDiff(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    PyObject *base = nullptr, *next = nullptr, *options = nullptr;
    int skipsDamaged = 0;
    if (PyArg_ParseTuple(arguments, "OOO!p", &base, &next, &PyDict_Type, &options, &skipsDamaged) ==
        0)
      throw PythonError();
    Failures failures(skipsDamaged != 0);
    const auto text =
        diffText(readPaths(base), readPaths(next), readDiffArguments(options), failures);
    return answer(text, failures);
  });
}

PyObject* makePage(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    PyObject *base = nullptr, *next = nullptr, *target = nullptr;
    int skipsDamaged = 0;
    if (PyArg_ParseTuple(arguments, "OOOp", &base, &next, &target, &skipsDamaged) == 0)
      throw PythonError();
    if (const Status status = requirePage(); !status) throw std::runtime_error(status.text());
    Failures failures(skipsDamaged != 0);
    const bool isThere = writePage(readPaths(base), readPaths(next), readPath(target), failures);
    const auto result = owned(PyBool_FromLong(isThere ? 1 : 0));
    return owned(PyTuple_Pack(2, result.get(), failures.list().get()));
  });
}

}  // namespace ryx::python
