// SPDX-License-Identifier: Apache-2.0
// The C interface over the streams. Arguments are checked here, once; every function catches what
// is thrown, since its caller may be no C++.
//
// The text of the last error is kept for each thread, as errno is, because a failed `open` leaves
// no handle to keep it in.

#include "ryx/profile_arrow.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

#include "base/descriptor.h"
#include "base/printable_text.h"
#include "base/text_list.h"
#include "exports/arrow/arrow_stream.h"
#include "stream/log_text.h"

struct ryx_profile {
  std::vector<std::string> paths;
};

namespace {

using namespace ryx;
using namespace ryx::profiling;

thread_local std::string t_error;
thread_local const char* t_errorText = "";

int fail(int error, const std::string& text) {
  t_error = validUtf8(text);
  t_errorText = t_error.c_str();
  return error;
}

/// What `work` returns; what it throws becomes an errno value and the text of the last error.
template <typename Work>
int guarded(Work&& work) {
  t_errorText = "";
  try {
    try {
      return work();
    } catch (const std::invalid_argument& error) {
      return fail(EINVAL, error.what());
    }
  } catch (const std::bad_alloc&) {
    t_errorText = "out of memory";
    return ENOMEM;
  } catch (...) {
    t_errorText = "failed for an unknown reason";
    return EIO;
  }
}

std::vector<std::string> texts(const char* const* first, size_t count, const char* what) {
  std::vector<std::string> texts;
  if (first == nullptr) return texts;
  for (size_t i = 0; i < count; ++i) {
    if (first[i] == nullptr) throw std::invalid_argument(std::string(what) + " is NULL");
    texts.emplace_back(first[i]);
  }
  return texts;
}

/// What the caller set of the selection; it may be of an older version of the structure.
ryx_profile_selection currentVersion(const ryx_profile_selection* given) {
  ryx_profile_selection selection = {};
  if (given == nullptr) return selection;
  if (given->size < sizeof given->size || given->size > sizeof selection)
    throw std::invalid_argument("the selection's size is not that of this version or an older one");
  std::memcpy(&selection, given, given->size);
  return selection;
}

Selection readSelection(const char* tableName, const ryx_profile_selection& given) {
  Selection selection;
  selection.logColumn = LogColumn::Path;
  const auto id = tableNamed(tableName);
  if (!id) throw std::invalid_argument("unknown table '" + std::string(tableName) + "'");
  selection.add(*id, texts(given.columns, given.column_count, "a column"));
  if (given.columns != nullptr && given.column_count == 0)
    throw std::invalid_argument("no column is selected");
  selection.filter.graphs = texts(given.graphs, given.graph_count, "a graph");
  for (const std::string& name : texts(given.methods, given.method_count, "a method")) {
    const auto code = methodCode(name);
    if (!code)
      throw std::invalid_argument("unknown method '" + name + "'; known are " +
                                  joined(methodNames()));
    selection.filter.methods.push_back(*code);
  }
  if ((given.flags & ~(RYX_PROFILE_LEVEL | RYX_PROFILE_SKIP_DAMAGED)) != 0)
    throw std::invalid_argument("the selection has an unknown flag");
  if ((given.flags & RYX_PROFILE_LEVEL) != 0) {
    if (given.level < INT8_MIN || given.level > INT8_MAX)
      throw std::invalid_argument("the level is not a number between -128 and 127");
    selection.filter.level = static_cast<int8_t>(given.level);
  }
  if (given.batch_rows > 0) selection.batchRows = given.batch_rows;
  return selection;
}

}  // namespace

int ryx_profile_open(const char* const* paths, size_t count, ryx_profile** profile) {
  return guarded([&] {
    if (profile == nullptr) return fail(EINVAL, "there is no place for the handle");
    *profile = nullptr;
    if (paths == nullptr && count > 0) return fail(EINVAL, "there are no paths");
    auto opened = std::make_unique<ryx_profile>();
    opened->paths = texts(paths, count, "a path");
    for (const std::string& path : opened->paths) {
      const auto file = openFile(path, O_RDONLY | O_NONBLOCK);
      struct stat status = {};
      int error = 0;
      if (!file)
        error = file.status().errorNumber();
      else if (fstat(file->get(), &status) != 0)
        error = errno;
      else if (S_ISDIR(status.st_mode))
        error = EISDIR;
      if (error != 0) return fail(error, Status::system(error).of("cannot read " + path).text());
    }
    *profile = opened.release();
    return 0;
  });
}

int ryx_profile_stream(const ryx_profile* profile, const char* table,
                       const ryx_profile_selection* selection, struct ArrowArrayStream* stream) {
  return guarded([&] {
    if (profile == nullptr || table == nullptr || stream == nullptr)
      return fail(EINVAL, "an argument is NULL");
    const ryx_profile_selection given = currentVersion(selection);
    const bool skips = (given.flags & RYX_PROFILE_SKIP_DAMAGED) != 0;
    exportStream(profile->paths, readSelection(table, given),
                 skips ? DamagedLogs::Skip : DamagedLogs::Fail, *stream);
    return 0;
  });
}

const char* ryx_profile_last_error(void) { return t_errorText; }

void ryx_profile_close(ryx_profile* profile) { delete profile; }

int ryx_profile_schema_version(void) { return kSchemaVersion; }
