// SPDX-License-Identifier: Apache-2.0
// Streams out of the C library, for what Python asks for.

#ifndef RYX_PYTHON_STREAMS_H
#define RYX_PYTHON_STREAMS_H

#include <memory>
#include <string>
#include <vector>

#include "native/call.h"
#include "ryx/profile_arrow.h"

namespace ryx::python {

struct CloseProfile {
  void operator()(ryx_profile* profile) const { ryx_profile_close(profile); }
};
using Profile = std::unique_ptr<ryx_profile, CloseProfile>;

/// Releases the content, where it is still there, with the structure.
struct ReleaseContent {
  template <typename Structure>
  void operator()(Structure* structure) const {
    if (structure->release != nullptr) structure->release(structure);
    delete structure;
  }
};
template <typename Structure>
using Content = std::unique_ptr<Structure, ReleaseContent>;

/// Raises OSError for the first log that cannot be opened.
[[nodiscard]] Profile openLogs(const std::vector<std::string>& paths);

/// A selection as the C library takes it, and the texts in it. `columns` and `level` may be None.
class SelectionArguments {
 public:
  SelectionArguments(PyObject* columns, PyObject* graphs, PyObject* methods, PyObject* level,
                     bool skipsDamaged);
  SelectionArguments(const SelectionArguments&) = delete;
  SelectionArguments& operator=(const SelectionArguments&) = delete;

  /// A batch has no more rows.
  void limitBatches(size_t rows) { selection_.batch_rows = rows; }

  /// Lives as long as this object.
  [[nodiscard]] const ryx_profile_selection* get() const { return &selection_; }

 private:
  std::vector<std::string> columns_;
  std::vector<std::string> graphs_;
  std::vector<std::string> methods_;
  std::vector<const char*> columnTexts_;
  std::vector<const char*> graphTexts_;
  std::vector<const char*> methodTexts_;
  ryx_profile_selection selection_ = {};
};

/// Raises ValueError for what the table cannot serve.
[[nodiscard]] Content<ArrowArrayStream> openStream(const ryx_profile* profile, const char* table,
                                                   const SelectionArguments& selection);

[[nodiscard]] Content<ArrowSchema> schemaOf(ArrowArrayStream& stream);

}  // namespace ryx::python

#endif
