// SPDX-License-Identifier: Apache-2.0
#include "viewer/decompressed_log.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "base/temporary_file.h"
#include "compression/decompression.h"

namespace ryx::viewer {
namespace {

/// What memory is limited to; any number where it is not.
uint64_t memoryLimit() {
  rlimit limit = {};
  const bool isLimited = getrlimit(RLIMIT_DATA, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  return isLimited ? uint64_t{limit.rlim_cur} : UINT64_MAX;
}

}  // namespace

Status DecompressedLog::make() {
  if (file_.isOpen()) return {};
  Result<Descriptor> file = openUnnamedFile();
  if (file) file_ = std::move(*file);
  return file.status().of("cannot make a temporary file to decompress it to");
}

Status DecompressedLog::fill(std::unique_ptr<profiling::ByteSource> compressed) {
  if (Status status = make(); !status) return status;
  if (ftruncate(file_.get(), 0) != 0 || lseek(file_.get(), 0, SEEK_SET) != 0)
    return Status::system();
  auto source = profiling::decompressed(std::move(compressed));
  if (!source) return source.status();
  Status status = profiling::copySource(**source, file_.get(), memoryLimit());
  // Not a position that a reader could have.
  if (lseek(file_.get(), 0, SEEK_SET) != 0) return Status::system();
  return status;
}

std::string DecompressedLog::path() const { return file_.isOpen() ? pathOf(file_) : std::string(); }

}  // namespace ryx::viewer
