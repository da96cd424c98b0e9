// SPDX-License-Identifier: Apache-2.0
#include "native/arguments.h"

namespace ryx::python {

namespace {

std::string requireNoNul(std::string text) {
  if (text.find('\0') != std::string::npos)
    throw std::invalid_argument("a text has a null character inside");
  return text;
}

template <typename Read>
auto readAll(PyObject* sequence, Read read) {
  std::vector<decltype(read(sequence))> all;
  const Py_ssize_t size = PySequence_Size(sequence);
  if (size < 0) throw PythonError();
  for (Py_ssize_t i = 0; i < size; ++i)
    all.push_back(read(owned(PySequence_GetItem(sequence, i)).get()));
  return all;
}

}  // namespace

std::string readText(PyObject* text) {
  Py_ssize_t size = 0;
  const char* bytes = PyUnicode_AsUTF8AndSize(text, &size);
  if (bytes == nullptr) throw PythonError();
  return requireNoNul(std::string(bytes, static_cast<size_t>(size)));
}

std::vector<std::string> readTexts(PyObject* texts) { return readAll(texts, readText); }

std::string readPath(PyObject* path) {
  Py_ssize_t size = 0;
  char* bytes = nullptr;
  if (PyBytes_AsStringAndSize(path, &bytes, &size) != 0) throw PythonError();
  return requireNoNul(std::string(bytes, static_cast<size_t>(size)));
}

Reference asPython(std::string_view text) {
  return owned(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
}

int8_t readLevel(PyObject* level) {
  const long number = PyLong_AsLong(level);
  if (number == -1 && PyErr_Occurred() != nullptr) throw PythonError();
  if (number < INT8_MIN || number > INT8_MAX)
    throw std::invalid_argument("the level is not a number between -128 and 127");
  return static_cast<int8_t>(number);
}

std::vector<std::string> readPaths(PyObject* paths) { return readAll(paths, readPath); }

}  // namespace ryx::python
