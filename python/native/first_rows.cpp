// SPDX-License-Identifier: Apache-2.0
// The first rows of a table as Python's own values, for showing them where no data frame is at
// hand.

#include <cstring>

#include "native/arguments.h"
#include "native/operations.h"
#include "native/streams.h"

namespace ryx::python {

namespace {

template <typename Value>
Value valueIn(const void* buffer, int64_t row) {
  return static_cast<const Value*>(buffer)[row];
}

bool isNull(const ArrowArray& column, int64_t row) {
  const auto* validity = static_cast<const uint8_t*>(column.buffers[0]);
  return validity != nullptr && (validity[row / 8] >> (row % 8) & 1) == 0;
}

Reference textIn(const ArrowArray& column, int64_t row) {
  const auto start = valueIn<int32_t>(column.buffers[1], row);
  const auto end = valueIn<int32_t>(column.buffers[1], row + 1);
  const auto* bytes = static_cast<const char*>(column.buffers[2]);
  return asPython(std::string_view(bytes + start, static_cast<size_t>(end - start)));
}

/// Of the types that the tables' columns have.
Reference cell(const ArrowSchema& type, const ArrowArray& column, int64_t row) {
  if (isNull(column, row)) return none();
  const void* values = column.buffers[1];
  switch (type.format[0]) {
    case 'l': return owned(PyLong_FromLongLong(valueIn<int64_t>(values, row)));
    case 'L': return owned(PyLong_FromUnsignedLongLong(valueIn<uint64_t>(values, row)));
    case 'g': return owned(PyFloat_FromDouble(valueIn<double>(values, row)));
    case 'i': return textIn(*column.dictionary, valueIn<int32_t>(values, row));
    default: return textIn(column, row);
  }
}

Reference rowOf(const ArrowSchema& schema, const ArrowArray& batch, int64_t row) {
  auto tuple = owned(PyTuple_New(batch.n_children));
  for (int64_t i = 0; i < batch.n_children; ++i)
    if (PyTuple_SetItem(tuple.get(), i,
                        cell(*schema.children[i], *batch.children[i], row).release()) != 0)
      throw PythonError();
  return tuple;
}

/// The next batch, or nothing at the end.
Content<ArrowArray> nextBatch(ArrowArrayStream& stream) {
  auto batch = Content<ArrowArray>(new ArrowArray());
  int error = 0;
  {
    const WithoutInterpreter released;
    error = stream.get_next(&stream, batch.get());
  }
  if (error != 0) throw std::runtime_error(stream.get_last_error(&stream));
  if (batch->release == nullptr) batch.reset();
  return batch;
}

Reference namesOf(const ArrowSchema& schema) {
  auto names = owned(PyTuple_New(schema.n_children));
  for (int64_t i = 0; i < schema.n_children; ++i)
    if (PyTuple_SetItem(names.get(), i, asPython(schema.children[i]->name).release()) != 0)
      throw PythonError();
  return names;
}

}  // namespace

PyObject* readFirstRows(PyObject* /*module*/, PyObject* arguments) {
  return called([&] {
    const char* table = nullptr;
    PyObject *paths = nullptr, *columns = nullptr, *graphs = nullptr, *methods = nullptr;
    PyObject* level = nullptr;
    Py_ssize_t count = 0;
    if (PyArg_ParseTuple(arguments, "OsOOOOn", &paths, &table, &columns, &graphs, &methods, &level,
                         &count) == 0)
      throw PythonError();
    SelectionArguments selection(columns, graphs, methods, level, /*skipsDamaged=*/true);
    selection.limitBatches(static_cast<size_t>(count));
    const auto stream = openStream(openLogs(readPaths(paths)).get(), table, selection);
    const auto schema = schemaOf(*stream);
    const auto rows = owned(PyList_New(0));
    while (PyList_Size(rows.get()) < count) {
      const auto batch = nextBatch(*stream);
      if (batch == nullptr) break;
      for (int64_t i = 0; i < batch->length && PyList_Size(rows.get()) < count; ++i)
        if (PyList_Append(rows.get(), rowOf(*schema, *batch, i).get()) != 0) throw PythonError();
    }
    return owned(PyTuple_Pack(2, namesOf(*schema).get(), rows.get()));
  });
}

}  // namespace ryx::python
