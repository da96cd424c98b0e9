// SPDX-License-Identifier: Apache-2.0
// Files are told apart by device and inode, never by their paths: of one file there are any number.
// What is written in place is the exception. /dev/stdout may well lead to a regular file, which the
// shell has open, and a rename would put the output where the shell does not look for it; so names
// in /dev and /proc count whatever they lead to.

#include "base/file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "base/descriptor.h"

namespace ryx {

bool isSameFile(const std::string& onePath, const std::string& otherPath) {
  struct stat one = {};
  struct stat other = {};
  return ::stat(onePath.c_str(), &one) == 0 && ::stat(otherPath.c_str(), &other) == 0 &&
         S_ISREG(one.st_mode) && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool isWrittenInPlace(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return true;
  const auto isIn = [&path](const char* folder) { return path.rfind(folder, 0) == 0; };
  return (isIn("/dev/") && !isIn("/dev/shm/")) || isIn("/proc/");
}

Result<std::string> readWholeFile(const std::string& path) {
  const Result<Descriptor> file = openFile(path, O_RDONLY);
  if (!file) return file.status();
  return readAll(file->get());
}

}  // namespace ryx
