// SPDX-License-Identifier: Apache-2.0
// Putting a file in its place from within the sandbox.
//
// A confined process may not rename files beside the report: with that right a log could do the
// same. So a child, made before the process is confined, stands by, does nothing but wait, and
// commits the file when it is told to. It ends with its parent, however that ends, and then removes
// what was not committed.

#ifndef RYX_VIEWER_COMMITTABLE_FILE_H
#define RYX_VIEWER_COMMITTABLE_FILE_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "base/atomic_file.h"
#include "base/descriptor.h"
#include "base/status.h"

namespace ryx::viewer {

/// An AtomicFile that can still be committed when the process has been confined.
class CommittableFile {
 public:
  CommittableFile() = default;
  CommittableFile(const CommittableFile&) = delete;
  CommittableFile& operator=(const CommittableFile&) = delete;
  /// Removes what was not committed.
  ~CommittableFile();

  /// `isToBeConfined`: before the file is committed.
  [[nodiscard]] Status open(const std::string& path, bool isToBeConfined);
  [[nodiscard]] const std::string& temporaryPath() const { return file_->temporaryPath(); }
  [[nodiscard]] Status commit();

 private:
  [[nodiscard]] Status startChild();
  [[noreturn]] void serve(const Descriptor& requests, const Descriptor& answers);
  [[nodiscard]] Status commitInChild();

  std::string path_;
  std::unique_ptr<AtomicFile> file_;
  pid_t child_ = -1;
  Descriptor requests_;
  Descriptor answers_;
};

}  // namespace ryx::viewer

#endif
