// SPDX-License-Identifier: Apache-2.0
// Everything downstream takes a path, because readers do. Standard input has one, /dev/stdin, which
// is opened anew: a file begins at its front again, while the descriptor may be anywhere. So the
// path is used only where both mean the same bytes. Sockets cannot be opened by a path at all.
// Whatever is left is copied to a file without a name, which is gone with the process.

#include "common/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "base/temporary_file.h"
#include "common/progress.h"
#include "compression/decompression.h"
#include "stream/byte_source.h"

namespace ryx::tools {
namespace {

constexpr char kStandardInputName[] = "standard input";
constexpr char kStandardInputPath[] = "/dev/stdin";

Status failure(const Status& status) {
  return status.of(std::string("cannot read ") + kStandardInputName);
}

/// Fails for a stream that is closed, or was when the process began: its stand-in is only written.
Status checkStandardInput() {
  struct stat status = {};
  const int flags = fcntl(STDIN_FILENO, F_GETFL);
  if (flags < 0 || fstat(STDIN_FILENO, &status) != 0) return Status::system();
  if ((flags & O_ACCMODE) == O_WRONLY) return Status::system(EBADF);
  return S_ISDIR(status.st_mode) ? Status::system(EISDIR) : Status();
}

bool isRegularFile(int descriptor) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

bool isCompressedFile(const std::string& path) {
  const Result<Descriptor> file = openFile(path, O_RDONLY);
  char bytes[profiling::kCompressionBytes];
  const Result<size_t> count =
      file ? readUpTo(file->get(), bytes, sizeof bytes) : Result<size_t>(file.status());
  return count && profiling::isCompressed({bytes, *count});
}

}  // namespace

std::string inputName(const std::string& operand) {
  return operand == kStandardStream ? kStandardInputName : operand;
}

Status checkInputs(const std::vector<std::string>& operands) {
  if (std::count(operands.begin(), operands.end(), kStandardStream) <= 1) return {};
  return Status::failure("standard input (-) can be read only once");
}

Result<InputPath> InputPath::of(const std::string& operand, bool needsSeeking) {
  if (operand != kStandardStream) {
    struct stat status = {};
    if (!needsSeeking || stat(operand.c_str(), &status) != 0 || !S_ISFIFO(status.st_mode))
      return InputPath(operand);
    const Result<Descriptor> opened = openFile(operand, O_RDONLY);
    if (!opened) return opened.status().of("cannot read " + operand);
    return copyOf(opened->get(), operand);
  }
  if (Status status = checkStandardInput(); !status) return failure(status);
  const Result<Descriptor> opened = openFile(kStandardInputPath, O_RDONLY | O_NONBLOCK);
  const bool isAtStart =
      !isRegularFile(STDIN_FILENO) || lseek(STDIN_FILENO, 0, SEEK_CUR) == 0;  // opened anew, it is
  if (opened && isAtStart && (!needsSeeking || isRegularFile(opened->get())))
    return InputPath(kStandardInputPath);
  return copyOf(STDIN_FILENO, kStandardInputName);
}

Result<InputPath> InputPath::decompressed(const std::string& operand) {
  Result<InputPath> input = of(operand, /*needsSeeking=*/true);
  if (!input || !isCompressedFile(input->path())) return input;
  const auto source = profiling::openByteSource(input->path());
  if (!source) return input;  // whoever reads it says why
  const Progress progress("unpacking", bytesOf({operand}));
  InputPath copy("");
  Result<Descriptor> file = openUnnamedFile();
  if (!file) return file.status().of("cannot read " + inputName(operand));
  copy.copy_ = std::move(*file);
  copy.path_ = pathOf(copy.copy_);
  copy.damage_ = profiling::copySource(**source, copy.copy_.get());
  return copy;
}

Result<InputPath> InputPath::copyOf(int descriptor, const std::string& name) {
  Result<Descriptor> copy = openUnnamedFile();
  if (!copy) return copy.status().of("cannot read " + name);
  InputPath input("");
  input.copy_ = std::move(*copy);
  if (Status status = copyAll(descriptor, input.copy_.get()); !status)
    return status.of("cannot copy " + name + " to a temporary file");
  input.path_ = pathOf(input.copy_);
  return input;
}

}  // namespace ryx::tools
