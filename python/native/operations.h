// SPDX-License-Identifier: Apache-2.0
// The operations of the module, as Python calls them. _native.pyi says what each takes and returns.

#ifndef RYX_PYTHON_OPERATIONS_H
#define RYX_PYTHON_OPERATIONS_H

#include "native/call.h"

namespace ryx::python {

PyObject* checkLogs(PyObject* module, PyObject* arguments);
PyObject* makeSchema(PyObject* module, PyObject* arguments);
PyObject* makeStream(PyObject* module, PyObject* arguments);
PyObject* readFirstRows(PyObject* module, PyObject* arguments);
PyObject* makeStats(PyObject* module, PyObject* arguments);
PyObject* makeDiff(PyObject* module, PyObject* arguments);
PyObject* makePage(PyObject* module, PyObject* arguments);
PyObject* salvageLog(PyObject* module, PyObject* arguments);

}  // namespace ryx::python

#endif
