// SPDX-License-Identifier: Apache-2.0
// The file is unlinked as soon as it is open, so that nothing is left whatever ends the process.
// Its path is that of the descriptor in /proc: each open of it begins at the front, with a position
// of its own, which is what those who take a path expect.

#include "base/temporary_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace ryx {

namespace {}  // namespace

Result<Descriptor> openUnnamedFile() {
  const char* folder = std::getenv("TMPDIR");
  std::string path = folder != nullptr && *folder != '\0' ? folder : "/tmp";
  Result<Descriptor> unnamed = openFile(path, O_RDWR | O_TMPFILE | O_EXCL);
  if (unnamed) return unnamed;
  // Not every file system has such files.
  path += "/ryx-XXXXXX";
  Descriptor file(::mkostemp(path.data(), O_CLOEXEC));
  if (!file.isOpen()) return Status::system();
  static_cast<void>(::unlink(path.c_str()));
  return file;
}

std::string pathOf(const Descriptor& file) { return "/proc/self/fd/" + std::to_string(file.get()); }

Status RereadableFile::open(const std::string& path) {
  path_ = path;
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return Status::system();
  if (S_ISREG(status.st_mode)) return {};
  if (S_ISDIR(status.st_mode)) return Status::system(EISDIR);
  const Result<Descriptor> source = openFile(path, O_RDONLY);
  if (!source) return source.status();
  Result<Descriptor> copy = openUnnamedFile();
  if (!copy) return copy.status();
  copy_ = std::move(*copy);
  path_ = pathOf(copy_);
  return copyAll(source->get(), copy_.get());
}

}  // namespace ryx
