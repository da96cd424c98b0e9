// SPDX-License-Identifier: Apache-2.0
#include "native/streams.h"

#include <cerrno>

#include "native/arguments.h"

namespace ryx::python {

namespace {

/// Raises what the C library says of a call that returned `error`.
void requireGood(int error) {
  if (error == 0) return;
  if (error == ENOMEM) throw std::bad_alloc();
  throw std::invalid_argument(ryx_profile_last_error());
}

/// Never empty, since a place to no text is not the same as no place.
std::vector<const char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<const char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(text.c_str());
  pointers.push_back(nullptr);
  return pointers;
}

int tryToOpen(const std::vector<std::string>& paths, Profile& profile) {
  const std::vector<const char*> names = pointersTo(paths);
  const WithoutInterpreter released;
  ryx_profile* opened = nullptr;
  const int error = ryx_profile_open(names.data(), paths.size(), &opened);
  profile.reset(opened);
  return error;
}

}  // namespace

Profile openLogs(const std::vector<std::string>& paths) {
  Profile profile;
  const int error = tryToOpen(paths, profile);
  if (error == 0) return profile;
  for (const std::string& path : paths)
    if (const int itsError = tryToOpen({path}, profile); itsError != 0)
      raiseSystemError(itsError, path);
  raiseSystemError(error, paths.front());
}

SelectionArguments::SelectionArguments(PyObject* columns, PyObject* graphs, PyObject* methods,
                                       PyObject* level, bool skipsDamaged)
    : graphs_(readTexts(graphs)),
      methods_(readTexts(methods)),
      graphTexts_(pointersTo(graphs_)),
      methodTexts_(pointersTo(methods_)) {
  selection_.size = sizeof selection_;
  if (columns != Py_None) {
    columns_ = readTexts(columns);
    columnTexts_ = pointersTo(columns_);
    selection_.columns = columnTexts_.data();
    selection_.column_count = columns_.size();
  }
  selection_.graphs = graphTexts_.data();
  selection_.graph_count = graphs_.size();
  selection_.methods = methodTexts_.data();
  selection_.method_count = methods_.size();
  if (level != Py_None) {
    selection_.level = int{readLevel(level)};
    selection_.flags |= RYX_PROFILE_LEVEL;
  }
  if (skipsDamaged) selection_.flags |= RYX_PROFILE_SKIP_DAMAGED;
}

Content<ArrowArrayStream> openStream(const ryx_profile* profile, const char* table,
                                     const SelectionArguments& selection) {
  auto stream = Content<ArrowArrayStream>(new ArrowArrayStream());
  requireGood(ryx_profile_stream(profile, table, selection.get(), stream.get()));
  return stream;
}

Content<ArrowSchema> schemaOf(ArrowArrayStream& stream) {
  auto schema = Content<ArrowSchema>(new ArrowSchema());
  if (stream.get_schema(&stream, schema.get()) != 0) throw std::bad_alloc();
  return schema;
}

}  // namespace ryx::python
