// SPDX-License-Identifier: Apache-2.0
// Values from Python as C++ has them. What is of another type is a TypeError, and a text that C
// could not hold, because it has a NUL inside, a ValueError.

#ifndef RYX_PYTHON_ARGUMENTS_H
#define RYX_PYTHON_ARGUMENTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "native/call.h"

namespace ryx::python {

/// A str, in UTF-8.
[[nodiscard]] std::string readText(PyObject* text);

/// A sequence of str.
[[nodiscard]] std::vector<std::string> readTexts(PyObject* texts);

/// A path: bytes, as the file system has them.
[[nodiscard]] std::string readPath(PyObject* path);

/// A level of messages. ValueError for a number that is none.
[[nodiscard]] int8_t readLevel(PyObject* level);

/// A text of C++, in UTF-8, as str.
[[nodiscard]] Reference asPython(std::string_view text);

/// A sequence of paths.
[[nodiscard]] std::vector<std::string> readPaths(PyObject* paths);

}  // namespace ryx::python

#endif
