// SPDX-License-Identifier: Apache-2.0
#include "stream/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace ryx::profiling {

namespace {

LogOpener g_opener = openFileSource;

}  // namespace

Result<size_t> FileSource::read(uint8_t* destination, size_t size) {
  return readSome(file_.get(), destination, size);
}

Result<std::unique_ptr<ByteSource>> openFileSource(const std::string& path) {
  Result<Descriptor> file = openFile(path, O_RDONLY);
  if (!file) return file.status();
  // A folder opens like a file, and then fails at its first byte.
  struct stat status = {};
  if (::fstat(file->get(), &status) == 0 && S_ISDIR(status.st_mode)) return Status::system(EISDIR);
  return std::unique_ptr<ByteSource>(std::make_unique<FileSource>(std::move(*file)));
}

Result<std::unique_ptr<ByteSource>> openByteSource(const std::string& path) {
  return g_opener(path);
}

void chooseLogOpener(LogOpener opener) { g_opener = opener; }

}  // namespace ryx::profiling
