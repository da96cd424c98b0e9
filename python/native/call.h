// SPDX-License-Identifier: Apache-2.0
// Calls from Python into C++ and back: who owns a reference, who holds the interpreter, and how a
// failure passes from one language to the other.
//
// Every operation of the module runs inside `called`. What is thrown there becomes a Python
// exception; where Python has raised one already, PythonError is thrown through the C++ in between.

#ifndef RYX_PYTHON_CALL_H
#define RYX_PYTHON_CALL_H

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/status.h"

namespace ryx::python {

/// Thrown when Python's error indicator is set.
struct PythonError {};

struct ReleaseReference {
  void operator()(PyObject* object) const { Py_DECREF(object); }
};

/// An owned reference.
using Reference = std::unique_ptr<PyObject, ReleaseReference>;

/// Takes what an operation of Python returned; throws where that failed.
[[nodiscard]] inline Reference owned(PyObject* object) {
  if (object == nullptr) throw PythonError();
  return Reference(object);
}

[[nodiscard]] inline Reference none() {
  Py_INCREF(Py_None);
  return Reference(Py_None);
}

/// Lets other threads of Python run while this lives. Nothing of Python may be touched.
class WithoutInterpreter {
 public:
  WithoutInterpreter() : state_(PyEval_SaveThread()) {}
  ~WithoutInterpreter() { PyEval_RestoreThread(state_); }
  WithoutInterpreter(const WithoutInterpreter&) = delete;
  WithoutInterpreter& operator=(const WithoutInterpreter&) = delete;

 private:
  friend class WithInterpreter;

  PyThreadState* state_;
};

/// Takes the interpreter back for as long as this lives, on the thread that gave it up.
class WithInterpreter {
 public:
  explicit WithInterpreter(WithoutInterpreter& released) : released_(released) {
    PyEval_RestoreThread(released_.state_);
  }
  ~WithInterpreter() { released_.state_ = PyEval_SaveThread(); }
  WithInterpreter(const WithInterpreter&) = delete;
  WithInterpreter& operator=(const WithInterpreter&) = delete;

 private:
  WithoutInterpreter& released_;
};

/// Raises OSError, of the subclass that the error number calls for, about a path in the bytes of
/// the file system.
[[noreturn]] void raiseSystemError(int errorNumber, std::string_view path);

/// Raises a failure about a path: OSError where the system failed, else RuntimeError.
[[noreturn]] void raiseFailure(const Status& failure, std::string_view path);

/// What `work` returns, a new reference. What it throws becomes Python's error.
template <typename Work>
PyObject* called(Work&& work) {
  try {
    return work().release();
  } catch (const PythonError&) {
    // Python knows already.
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::invalid_argument& error) {
    PyErr_SetString(PyExc_ValueError, error.what());
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
  }
  return nullptr;
}

}  // namespace ryx::python

#endif
