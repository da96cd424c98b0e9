// SPDX-License-Identifier: Apache-2.0
// Compressed logs for readers, which know of files alone: an unnamed temporary file that one after
// the other is decompressed into.

#ifndef RYX_VIEWER_DECOMPRESSED_LOG_H
#define RYX_VIEWER_DECOMPRESSED_LOG_H

#include <memory>
#include <string>

#include "base/descriptor.h"
#include "base/status.h"
#include "stream/byte_source.h"

namespace ryx::viewer {

class DecompressedLog {
 public:
  /// Makes the file, if it is not there yet. A confined process can make none any more.
  [[nodiscard]] Status make();

  /// Has the file hold what `compressed` does. Fails for what cannot be decompressed to its end,
  /// and for more than the process may have in memory: what readers keep of a log takes more than
  /// that.
  [[nodiscard]] Status fill(std::unique_ptr<profiling::ByteSource> compressed);

  /// Leads to the file; empty where there is none.
  [[nodiscard]] std::string path() const;

 private:
  Descriptor file_;
};

}  // namespace ryx::viewer

#endif
