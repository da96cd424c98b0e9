// SPDX-License-Identifier: Apache-2.0
// Only what is held for certain is continued: the file has the device, the inode, the size and the
// time that the last report left. Whatever differs, or cannot be told, means that somebody else may
// have written there. Then the file is written anew, as it is by the first report of a process, and
// wherever it is no regular file.
//
// Before new reports are written, the end of the old array is cut off. From there until all is
// written the file is no JSON, so a failure restores what it held. `restore` may fail in turn; then
// nothing is remembered, and the next report writes the file anew.

#include "reports/json_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <new>
#include <string_view>
#include <utility>

#include "reports/block_output_stream.h"

namespace ryx::profiling {
namespace {

/// How a file of several reports ends.
constexpr std::string_view kArrayEnd = "\n]\n";

bool isUntouched(const struct stat& left, const struct stat& present) {
  return left.st_dev == present.st_dev && left.st_ino == present.st_ino &&
         left.st_size == present.st_size && left.st_mtim.tv_sec == present.st_mtim.tv_sec &&
         left.st_mtim.tv_nsec == present.st_mtim.tv_nsec;
}

/// Cuts the file to `size` bytes; what is written next goes to its new end.
Status cutTo(const Descriptor& file, off_t size) {
  const bool done =
      ::ftruncate(file.get(), size) == 0 && ::lseek(file.get(), size, SEEK_SET) == size;
  return done ? Status() : Status::system();
}

Status writeOne(const Descriptor& file, const JsonValue& report) {
  BlockOutputStream stream(file.get());
  JsonPrettyWriter writer(stream);
  report.Accept(writer);
  stream.Put('\n');
  return stream.finish();
}

/// Writes the reports from number `first` on. Those after the first number continue an array, after
/// its last report.
Status writeFrom(const Descriptor& file, const JsonValue& reports, rapidjson::SizeType first) {
  BlockOutputStream stream(file.get());
  JsonPrettyWriter writer(stream);
  writer.StartArray();
  if (first > 0) stream.replaceLast(',');
  for (rapidjson::SizeType i = first; i < reports.Size(); ++i) reports[i].Accept(writer);
  writer.EndArray();
  stream.Put('\n');
  return stream.finish();
}

}  // namespace

Status JsonFile::open(const std::string& path) {
  Result<Descriptor> file = openFile(path, O_WRONLY | O_CREAT);
  if (!file) return file.status();
  file_ = std::move(*file);
  held_ = last_;
  return isHeld() ? Status() : empty();
}

bool JsonFile::isHeld() const {
  struct stat present = {};
  return held_.count > 0 && ::fstat(file_.get(), &present) == 0 && isUntouched(held_.file, present);
}

Status JsonFile::empty() {
  held_ = {};
  struct stat present = {};
  if (::fstat(file_.get(), &present) != 0) return Status::system();
  return S_ISREG(present.st_mode) ? cutTo(file_, 0) : Status();
}

Status JsonFile::write(const JsonValue& reports, bool asArray) {
  last_ = {};
  // Much time may have passed since it was opened.
  if (!isHeld())
    if (Status status = empty(); !status) return status;
  try {
    Status status = writeReports(reports, asArray);
    if (!status) restore(reports);
    return status;
  } catch (const std::bad_alloc&) {
    restore(reports);
    throw;
  }
}

Status JsonFile::writeReports(const JsonValue& reports, bool asArray) {
  if (Status status = cutHeld(); !status) return status;
  Status status = asArray ? writeFrom(file_, reports, held_.isArray ? held_.count : 0)
                          : writeOne(file_, reports[0]);
  if (!status) return status;
  remember(reports.Size(), asArray);
  return file_.close();
}

/// Cuts off what the next report does not leave as it is: an array's end, or all of a single
/// report, which is indented otherwise in an array.
Status JsonFile::cutHeld() {
  if (held_.count == 0) return {};
  return cutTo(file_, held_.isArray ? held_.file.st_size - off_t{kArrayEnd.size()} : 0);
}

void JsonFile::restore(const JsonValue& reports) {
  if (held_.count == 0 || !cutHeld()) return;
  const Status status = held_.isArray ? writeAll(file_.get(), kArrayEnd.data(), kArrayEnd.size())
                                      : writeOne(file_, reports[0]);
  if (status) remember(held_.count, held_.isArray);
}

void JsonFile::remember(rapidjson::SizeType count, bool isArray) {
  struct stat written = {};
  if (::fstat(file_.get(), &written) == 0 && S_ISREG(written.st_mode))
    last_ = {written, count, isArray};
}

}  // namespace ryx::profiling
