// SPDX-License-Identifier: Apache-2.0
// ryx_profile._native: the libraries as Python functions, few and plain. Everything that a user
// sees, defaults and checks of arguments included, is Python's side of the package.
//
// The stable ABI of 3.10 is used alone, and the module keeps no state. Docstrings begin with the
// signature, in the form that Python's inspect understands.

#include "native/operations.h"
#include "ryx/profile_arrow.h"

namespace {

using namespace ryx::python;

PyMethodDef g_methods[] = {
    {"check_logs", checkLogs, METH_VARARGS,
     "check_logs(paths, /)\n--\n\n"
     "Raise OSError for the first log that cannot be opened."},
    {"schema", makeSchema, METH_VARARGS,
     "schema(table, columns, graphs, methods, level, /)\n--\n\n"
     "Return the schema of a table, or of a part of it, as a capsule."},
    {"stream", makeStream, METH_VARARGS,
     "stream(paths, table, columns, graphs, methods, level, skips_damaged, requested_schema, /)\n"
     "--\n\n"
     "Return a stream of a table's rows as a capsule."},
    {"first_rows", readFirstRows, METH_VARARGS,
     "first_rows(paths, table, columns, graphs, methods, level, count, /)\n--\n\n"
     "Return the names of a table's columns, and its first rows; damaged logs are skipped."},
    {"stats", makeStats, METH_VARARGS,
     "stats(paths, options, skips_damaged, /)\n--\n\n"
     "Return statistics as JSON, or None where a failure ended it, and the failures."},
    {"diff", makeDiff, METH_VARARGS,
     "diff(base, new, options, skips_damaged, /)\n--\n\n"
     "Return a comparison as JSON, or None where a failure ended it, and the failures."},
    {"page", makePage, METH_VARARGS,
     "page(base, new, target, skips_damaged, /)\n--\n\n"
     "Write the page of a run, or of a comparison; return whether it was, and the failures."},
    {"salvage", salvageLog, METH_VARARGS,
     "salvage(path, target, /)\n--\n\n"
     "Write what is good in a log, and return the account; or why there is nothing to write."},
    {nullptr, nullptr, 0, nullptr},
};

int addConstants(PyObject* module) {
  return PyModule_AddIntConstant(module, "SCHEMA_VERSION", ryx_profile_schema_version());
}

PyModuleDef_Slot g_slots[] = {{Py_mod_exec, reinterpret_cast<void*>(addConstants)}, {0, nullptr}};

PyModuleDef g_module = {
    PyModuleDef_HEAD_INIT,
    "ryx_profile._native",
    "The libraries behind the package.",
    0,
    g_methods,
    g_slots,
    nullptr,
    nullptr,
    nullptr,
};

}  // namespace

PyMODINIT_FUNC PyInit__native() { return PyModuleDef_Init(&g_module); }
