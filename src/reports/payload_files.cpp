// SPDX-License-Identifier: Apache-2.0
// Saving the payloads of object events to files of their own.
//
// A payload never takes the place of a file that can be read: names are numbered until one is free.
// Other processes may be saving into the same folder, so a name that was found free is created
// exclusively, and probed again if another process was faster. Two things are as users know them,
// and not as one would make them today: a file that exists and cannot be read is overwritten, and
// a link that leads nowhere is followed.

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "base/descriptor.h"
#include "base/logger.h"
#include "base/number_text.h"
#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {
namespace {

/// `requested` for number 0, else "stem_number.extension". The extension starts at the last dot,
/// wherever that stands: in a folder's name, too.
std::string numberedName(const std::string& requested, uint64_t number) {
  if (number == 0) return requested;
  const size_t dot = std::min(requested.rfind('.'), requested.size());
  return requested.substr(0, dot) + "_" + decimal(number) + requested.substr(dot);
}

bool isLink(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_symlink(path, ignored);
}

/// Opens the first free name from `number` on for writing, and leaves both saying which it was.
Result<Descriptor> openFreeName(const std::string& requested, uint64_t& number, std::string& path) {
  // Pipes are opened without waiting for their other end.
  for (;;) {
    path = numberedName(requested, number);
    const Result<Descriptor> probe = openFile(path, O_RDONLY | O_NONBLOCK);
    if (probe) {
      ++number;
      continue;
    }
    if (probe.status().errorNumber() != ENOENT || isLink(path))
      return openFile(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK);
    Result<Descriptor> file = openFile(path, O_WRONLY | O_CREAT | O_EXCL);
    if (file || file.status().errorNumber() != EEXIST) return file;
  }
}

Status saveBytes(Result<Descriptor> file, const std::vector<uint8_t>& bytes) {
  if (!file) return file.status();
  if (Status status = writeAll(file->get(), bytes.data(), bytes.size()); !status) return status;
  return file->close();
}

}  // namespace

void RyxProfileLogReader::saveObjectPayload(const ProfileEvent& event) {
  if (event.payloadFileName.empty()) return;
  uint64_t fromTheStart = 0;
  uint64_t& number = payloadNumbers_ ? (*payloadNumbers_)[event.payloadFileName] : fromTheStart;
  std::string path;
  if (!saveBytes(openFreeName(event.payloadFileName, number, path), event.bytes))
    RYX_LOG_ERROR("Invalid output fileName: [%s]", path.c_str());
}

}  // namespace ryx::profiling
