// SPDX-License-Identifier: Apache-2.0
// Tables as the capsules of Arrow's PyCapsule interface. What is in them is the C library's, so
// that whoever takes it out reads logs without touching Python or its lock.
//
// A capsule that nobody took its content from releases it; one that was emptied has only the
// structure left, which is freed.

#include "base/text_list.h"
#include "native/arguments.h"
#include "native/operations.h"
#include "native/streams.h"

namespace ryx::python {

namespace {

constexpr char kSchemaCapsule[] = "arrow_schema";
constexpr char kStreamCapsule[] = "arrow_array_stream";

template <typename Structure>
Reference makeCapsule(Content<Structure> content, const char* name) {
  const auto destroy = [](PyObject* capsule) {
    const char* held = PyCapsule_GetName(capsule);
    Content<Structure>(static_cast<Structure*>(PyCapsule_GetPointer(capsule, held)));
  };
  auto capsule = owned(PyCapsule_New(content.get(), name, destroy));
  static_cast<void>(content.release());
  return capsule;
}

std::vector<std::string> columnsOf(const ArrowSchema& schema) {
  std::vector<std::string> names;
  for (int64_t i = 0; i < schema.n_children; ++i)
    names.emplace_back(schema.children[i]->name != nullptr ? schema.children[i]->name : "");
  return names;
}

/// A consumer may wish for other types, and casts what it gets; it must mean the same columns.
void requireSameColumns(PyObject* requested, const ArrowSchema& served) {
  const auto* schema =
      static_cast<const ArrowSchema*>(PyCapsule_GetPointer(requested, kSchemaCapsule));
  if (schema == nullptr) throw PythonError();
  if (schema->release == nullptr) throw std::invalid_argument("the requested schema is released");
  const auto wanted = columnsOf(*schema);
  const auto there = columnsOf(served);
  if (wanted != there)
    throw std::invalid_argument("the requested schema has the columns " + joined(wanted) +
                                ", and the table has " + joined(there) +
                                ": choose columns with select(columns=...)");
}

}  // namespace

PyObject* checkLogs(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    PyObject* paths = nullptr;
    if (PyArg_ParseTuple(arguments, "O", &paths) == 0) throw PythonError();
    static_cast<void>(openLogs(readPaths(paths)));
    return none();
  });
}

PyObject* makeSchema(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    const char* table = nullptr;
    PyObject *columns = nullptr, *graphs = nullptr, *methods = nullptr, *level = nullptr;
    if (PyArg_ParseTuple(arguments, "sOOOO", &table, &columns, &graphs, &methods, &level) == 0)
      throw PythonError();
    const SelectionArguments selection(columns, graphs, methods, level, false);
    const auto stream = openStream(openLogs({}).get(), table, selection);
    return makeCapsule(schemaOf(*stream), kSchemaCapsule);
  });
}

PyObject* makeStream(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    const char* table = nullptr;
    PyObject *paths = nullptr, *columns = nullptr, *graphs = nullptr, *methods = nullptr;
    PyObject *level = nullptr, *requestedSchema = nullptr;
    int skipsDamaged = 0;
    if (PyArg_ParseTuple(arguments, "OsOOOOpO", &paths, &table, &columns, &graphs, &methods, &level,
                         &skipsDamaged, &requestedSchema) == 0)
      throw PythonError();
    const SelectionArguments selection(columns, graphs, methods, level, skipsDamaged != 0);
    auto stream = openStream(openLogs(readPaths(paths)).get(), table, selection);
    if (requestedSchema != Py_None) requireSameColumns(requestedSchema, *schemaOf(*stream));
    return makeCapsule(std::move(stream), kStreamCapsule);
  });
}

}  // namespace ryx::python
