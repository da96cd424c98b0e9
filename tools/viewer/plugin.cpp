#include "viewer/plugin.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <vector>

namespace ryx::viewer {
namespace {

/// Anything but a plain "not there" is left to the loader, which says what is wrong.
bool isAbsent(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

std::vector<std::string> placesOf(const std::string& fileName) {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return {};
  const std::filesystem::path folder = executable.parent_path();
  return {folder / fileName, folder.parent_path() / "lib" / fileName};
}

template <typename Function>
bool lookUp(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

}  // namespace

std::optional<Plugin> Plugin::find(const std::string& fileName, std::string& error) {
  std::string tried;
  for (const std::string& place : placesOf(fileName)) {
    if (!isAbsent(place)) return open(place, error);
    tried += place + ", ";
  }
  std::optional<Plugin> plugin = open(fileName, error);
  if (!plugin) error += " (tried " + tried + "the loader's search)";
  return plugin;
}

std::optional<Plugin> Plugin::load(const std::string& path, std::string& error) {
  // A bare name would start the loader's search.
  return open(path.find('/') == std::string::npos ? "./" + path : path, error);
}

std::optional<Plugin> Plugin::open(const std::string& path, std::string& error) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    error = path + ": plug-in not loaded: " + dlerror();
    return std::nullopt;
  }
  Plugin plugin;
  const char* required = "createReader";
  if (!lookUp(library, required, plugin.createReader_) ||
      !lookUp(library, required = "deleteReader", plugin.deleteReader_)) {
    error = path + ": not a reader plug-in: it lacks " + required;
    return std::nullopt;
  }
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
