// SPDX-License-Identifier: Apache-2.0
// Reader plug-ins: finding one, loading it, and making readers with it.

#ifndef RYX_VIEWER_PLUGIN_H
#define RYX_VIEWER_PLUGIN_H

#include <cstdint>
#include <memory>
#include <string>

#include "base/status.h"
#include "ryx/logging.h"
#include "ryx/profile_log_reader.h"

namespace ryx::viewer {

using ReaderPointer =
    std::unique_ptr<profiling::ProfileLogReader, decltype(&profiling::deleteReader)>;

/// A loaded plug-in. It stays loaded until the process ends, so readers may outlive this object.
class Plugin {
 public:
  /// Loads the plug-in called `fileName`: the one beside the executable, else the one in ../lib
  /// from there, else what the loader finds. The first that exists is taken; one that exists and
  /// cannot be loaded is not passed over.
  [[nodiscard]] static Result<Plugin> find(const std::string& fileName);

  /// Loads the plug-in at `path`, without any search.
  [[nodiscard]] static Result<Plugin> load(const std::string& path);

  /// Passes the log lines up to `maxLevel` to `callback`; without effect in a plug-in that does not
  /// log.
  void startLogging(log::LogCallback callback, uint32_t maxLevel) const;
  void stopLogging() const;

  /// A reader for the log at `path`; null only from a faulty plug-in. Throws std::bad_alloc.
  [[nodiscard]] ReaderPointer makeReader(const std::string& path, int8_t level) const;

 private:
  Plugin() = default;
  static Result<Plugin> open(const std::string& path);

  decltype(&profiling::createReader) createReader_ = nullptr;
  decltype(&profiling::deleteReader) deleteReader_ = nullptr;
  decltype(&log::initializeLogging) initializeLogging_ = nullptr;  ///< may be missing
  decltype(&log::terminateLogging) terminateLogging_ = nullptr;    ///< may be missing
};

}  // namespace ryx::viewer

#endif
