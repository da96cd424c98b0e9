// SPDX-License-Identifier: Apache-2.0
// Libraries are never unloaded: readers, their destructors and the callbacks of their threads are
// code of the library, and none of them can be known to be done. A library that is found and cannot
// be loaded ends the search with its reason; going on would load another build than the one that
// was installed, and say nothing.

#include "viewer/plugin.h"

#include <dlfcn.h>

#include "common/version_text.h"

namespace ryx::viewer {
namespace {

template <typename Function>
bool lookUp(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

}  // namespace

Result<Plugin> Plugin::find(const std::string& fileName) {
  std::string tried;
  for (const std::string& place : tools::pluginPlaces(fileName)) {
    if (!tools::isAbsent(place)) return open(place);
    tried += place + ", ";
  }
  Result<Plugin> plugin = open(fileName);
  if (plugin) return plugin;
  return Status::failure(plugin.status().text() + " (tried " + tried + "the loader's search)");
}

Result<Plugin> Plugin::load(const std::string& path) {
  // A bare name would start the loader's search.
  return open(path.find('/') == std::string::npos ? "./" + path : path);
}

Result<Plugin> Plugin::open(const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const std::string reason = dlerror();
    const bool isNamed = reason.rfind(path + ": ", 0) == 0;
    return Status::failure("plug-in not loaded: " + (isNamed ? reason : path + ": " + reason));
  }
  Plugin plugin;
  const char* missing = nullptr;
  if (!lookUp(library, "createReader", plugin.createReader_)) missing = "createReader";
  if (!lookUp(library, "deleteReader", plugin.deleteReader_)) missing = "deleteReader";
  if (missing != nullptr)
    return Status::failure(path + ": not a reader plug-in: it lacks " + missing);
  lookUp(library, "initializeLogging", plugin.initializeLogging_);
  lookUp(library, "terminateLogging", plugin.terminateLogging_);
  return plugin;
}

void Plugin::startLogging(log::LogCallback callback, uint32_t maxLevel) const {
  if (initializeLogging_ != nullptr) initializeLogging_(callback, maxLevel);
}

void Plugin::stopLogging() const {
  if (terminateLogging_ != nullptr) terminateLogging_();
}

ReaderPointer Plugin::makeReader(const std::string& path, int8_t level) const {
  return {createReader_(path, profiling::VisibilityLevel{level}), deleteReader_};
}

}  // namespace ryx::viewer
