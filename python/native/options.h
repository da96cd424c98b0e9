// SPDX-License-Identifier: Apache-2.0
// What statistics and comparisons are asked for, out of a dict from Python. Its keys are the names
// of the toolbox's options; a key that is missing, or None, leaves the default.

#ifndef RYX_PYTHON_OPTIONS_H
#define RYX_PYTHON_OPTIONS_H

#include <string>

#include "analysis/comparison.h"
#include "analysis/statistics.h"
#include "native/call.h"

namespace ryx::python {

/// Functions of the caller, borrowed from the dict; null where there are none.
struct CallerFunctions {
  PyObject* matches = nullptr;  ///< the identifier of an event -> whether it is wanted
  PyObject* groupOf = nullptr;  ///< the identifiers from the root down to an event -> str or None
  PyObject* ignores = nullptr;  ///< the name of a row -> whether it is left out
};

struct StatsArguments {
  profiling::StatisticsOptions options;
  CallerFunctions functions;
};

struct DiffArguments {
  profiling::ComparisonOptions options;
  profiling::EventView view;
  profiling::WarmUpRule warmUp = {profiling::WarmUpRule::Mode::Auto, 0};
  // As the options say them:
  std::string warmUpText = "auto";
  std::string by = "path";
  CallerFunctions functions;
};

// Both raise ValueError for what makes no sense.
[[nodiscard]] StatsArguments readStatsArguments(PyObject* options);
[[nodiscard]] DiffArguments readDiffArguments(PyObject* options);

// The functions as C++ calls them, while the interpreter is given up. What they raise is thrown as
// PythonError. Both the function and `released` must outlive what is returned; it may be copied and
// destroyed without the interpreter.
[[nodiscard]] std::function<bool(std::string_view)> asPredicate(PyObject* function,
                                                                WithoutInterpreter& released);
[[nodiscard]] profiling::GroupOf asGrouping(PyObject* function, WithoutInterpreter& released);

}  // namespace ryx::python

#endif
