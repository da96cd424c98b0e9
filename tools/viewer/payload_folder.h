// The folder that object payloads are saved in.

#ifndef RYX_VIEWER_PAYLOAD_FOLDER_H
#define RYX_VIEWER_PAYLOAD_FOLDER_H

#include <string>

#include "viewer/descriptors.h"
#include "viewer/options.h"

namespace ryx::viewer {

/// Readers save payloads in the working folder, so the working folder is what reports are made in.
class PayloadFolder {
 public:
  /// Does nothing yet: the folder is made when the first report is due.
  explicit PayloadFolder(const Options& options) : options_(options) {}

  /// While it lives, the payload folder is the working folder; afterwards, the folder that the
  /// command line's paths start from is it again. The first visit confines the process.
  class Visit {
   public:
    /// `reportFile` is what else may be written, an absolute path or empty. Does nothing when no
    /// payloads are saved. Throws std::system_error when the folder cannot be made or entered, or
    /// the process cannot be confined to it.
    Visit(PayloadFolder& folder, const std::string& reportFile);
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    ~Visit();

   private:
    Descriptor original_;
  };

 private:
  void confineOnce(const std::string& reportFile);

  const Options& options_;
  bool confined_ = false;
};

}  // namespace ryx::viewer

#endif
