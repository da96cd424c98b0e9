// Tables as the capsules of Arrow's PyCapsule interface. What is in them is the C library's, so
// that whoever takes it out reads logs without touching Python or its lock.
//
// A capsule that nobody took its content from releases it; one that was emptied has only the
// structure left, which is freed.

#include <cerrno>
#include <optional>

#include "native/arguments.h"
#include "native/operations.h"
#include "ryx/profile_arrow.h"

namespace ryx::python {

namespace {

constexpr char kSchemaCapsule[] = "arrow_schema";
constexpr char kStreamCapsule[] = "arrow_array_stream";

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

template <typename Structure>
Reference makeCapsule(Content<Structure> content, const char* name) {
  const auto destroy = [](PyObject* capsule) {
    const char* held = PyCapsule_GetName(capsule);
    Content<Structure>(static_cast<Structure*>(PyCapsule_GetPointer(capsule, held)));
  };
  auto capsule = owned(PyCapsule_New(content.get(), name, destroy));
  content.release();
  return capsule;
}

/// Raises what the C library says of a call that returned `error`.
void requireGood(int error) {
  if (error == 0) return;
  if (error == ENOMEM) throw std::bad_alloc();
  throw std::invalid_argument(ryx_profile_last_error());
}

int tryToOpen(const std::vector<std::string>& paths, Profile& profile) {
  std::vector<const char*> names;
  for (const std::string& path : paths) names.push_back(path.c_str());
  names.push_back(nullptr);
  const WithoutInterpreter released;
  ryx_profile* opened = nullptr;
  const int error = ryx_profile_open(names.data(), paths.size(), &opened);
  profile.reset(opened);
  return error;
}

/// Raises OSError for the first log that cannot be opened.
Profile openLogs(const std::vector<std::string>& paths) {
  Profile profile;
  const int error = tryToOpen(paths, profile);
  if (error == 0) return profile;
  for (const std::string& path : paths)
    if (const int itsError = tryToOpen({path}, profile); itsError != 0)
      raiseSystemError(itsError, path);
  raiseSystemError(error, paths.front());
}

/// A selection as the C library takes it, and the texts in it.
class SelectionArguments {
 public:
  SelectionArguments(PyObject* columns, PyObject* graphs, PyObject* methods, PyObject* level,
                     bool skipsDamaged)
      : graphs_(readTexts(graphs)), methods_(readTexts(methods)) {
    selection_.size = sizeof selection_;
    if (columns != Py_None) {
      columns_ = readTexts(columns);
      columnTexts_ = pointersTo(columns_);
      selection_.columns = columnTexts_.data();
      selection_.column_count = columns_.size();
    }
    graphTexts_ = pointersTo(graphs_);
    methodTexts_ = pointersTo(methods_);
    selection_.graphs = graphTexts_.data();
    selection_.graph_count = graphs_.size();
    selection_.methods = methodTexts_.data();
    selection_.method_count = methods_.size();
    if (level != Py_None) {
      selection_.level = readLevel(level);
      selection_.flags |= RYX_PROFILE_LEVEL;
    }
    if (skipsDamaged) selection_.flags |= RYX_PROFILE_SKIP_DAMAGED;
  }
  SelectionArguments(const SelectionArguments&) = delete;
  SelectionArguments& operator=(const SelectionArguments&) = delete;

  /// Lives as long as this object.
  [[nodiscard]] const ryx_profile_selection* get() const { return &selection_; }

 private:
  /// Never empty, since a place to no text is not the same as no place.
  static std::vector<const char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<const char*> pointers;
    for (const std::string& text : texts) pointers.push_back(text.c_str());
    pointers.push_back(nullptr);
    return pointers;
  }

  std::vector<std::string> columns_;
  std::vector<std::string> graphs_;
  std::vector<std::string> methods_;
  std::vector<const char*> columnTexts_;
  std::vector<const char*> graphTexts_;
  std::vector<const char*> methodTexts_;
  ryx_profile_selection selection_ = {};
};

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

std::vector<std::string> columnsOf(const ArrowSchema& schema) {
  std::vector<std::string> names;
  for (int64_t i = 0; i < schema.n_children; ++i)
    names.emplace_back(schema.children[i]->name != nullptr ? schema.children[i]->name : "");
  return names;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
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
    openLogs(readPaths(paths));
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
