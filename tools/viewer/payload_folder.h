// SPDX-License-Identifier: Apache-2.0
// The folder that object payloads are saved in.

#ifndef RYX_VIEWER_PAYLOAD_FOLDER_H
#define RYX_VIEWER_PAYLOAD_FOLDER_H

#include <string>
#include <utility>

#include "base/descriptor.h"
#include "base/status.h"
#include "viewer/options.h"

namespace ryx::viewer {

/// Has another folder as the working folder for as long as it lives.
class ScopedWorkingDirectory {
 public:
  ScopedWorkingDirectory() = default;
  ScopedWorkingDirectory(const ScopedWorkingDirectory&) = delete;
  ScopedWorkingDirectory& operator=(const ScopedWorkingDirectory&) = delete;
  ~ScopedWorkingDirectory();

  /// To be called once. On failure the working folder stays what it is.
  [[nodiscard]] Status enter(const std::string& path);

 private:
  Descriptor original_;
};

/// Readers save payloads to names relative to the working folder: it has to be the payload folder
/// while a report is made.
class PayloadFolder {
 public:
  /// Does nothing yet: the folder is made when the first report is due. `readable` is one more file
  /// that may be read then, or empty.
  PayloadFolder(const Options& options, std::string readable)
      : options_(options), readable_(std::move(readable)) {}

  /// Makes the payload folder the working folder for as long as `scope` lives; does nothing when no
  /// payloads are saved. The first call confines the process to the folder and to `reportFile`, an
  /// absolute path or empty. Fails when the folder cannot be made or entered, or the process cannot
  /// be confined.
  [[nodiscard]] Status enter(ScopedWorkingDirectory& scope, const std::string& reportFile);

 private:
  [[nodiscard]] Status confineOnce(const std::string& reportFile);

  const Options& options_;
  const std::string readable_;
  bool isConfined_ = false;
};

}  // namespace ryx::viewer

#endif
