// SPDX-License-Identifier: Apache-2.0
#include "native/call.h"

#include <system_error>

namespace ryx::python {

void raiseSystemError(int errorNumber, std::string_view path) {
  const std::string reason = std::generic_category().message(errorNumber);
  const auto name =
      owned(PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<Py_ssize_t>(path.size())));
  const auto arguments = owned(Py_BuildValue("(isO)", errorNumber, reason.c_str(), name.get()));
  PyErr_SetObject(PyExc_OSError, arguments.get());
  throw PythonError();
}

void raiseFailure(const Status& failure, std::string_view path) {
  if (failure.errorNumber() != 0) raiseSystemError(failure.errorNumber(), path);
  PyErr_SetString(PyExc_RuntimeError, failure.text().c_str());
  throw PythonError();
}

}  // namespace ryx::python
