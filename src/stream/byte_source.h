// SPDX-License-Identifier: Apache-2.0
// Where the bytes of a log come from.
//
// All that reads logs chunk by chunk opens them here. By itself it understands files, and whatever
// else can be opened and read like one. A program may have it understand more, such as compressed
// files, without any of its readers knowing: the libraries that hosts link stay free of what only
// the tools need.

#ifndef RYX_STREAM_BYTE_SOURCE_H
#define RYX_STREAM_BYTE_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "base/descriptor.h"
#include "base/status.h"

namespace ryx::profiling {

/// The bytes of one log, from front to back.
class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  /// Reads up to `size` bytes, at least one where there are any: 0 is the end. A failure in words
  /// says what is wrong with the file; one of the system's says why it cannot be read.
  [[nodiscard]] virtual Result<size_t> read(uint8_t* destination, size_t size) = 0;
};

/// The bytes as the system has them.
class FileSource : public ByteSource {
 public:
  explicit FileSource(Descriptor file) : file_(std::move(file)) {}

  [[nodiscard]] Result<size_t> read(uint8_t* destination, size_t size) override;

 private:
  Descriptor file_;
};

using LogOpener = Result<std::unique_ptr<ByteSource>> (*)(const std::string& path);

/// Opens anything but a folder. Fails with the system's reason alone, as every opener does.
[[nodiscard]] Result<std::unique_ptr<ByteSource>> openFileSource(const std::string& path);

/// Opens a log as this program opens logs: `openFileSource`, or what it has chosen instead.
[[nodiscard]] Result<std::unique_ptr<ByteSource>> openByteSource(const std::string& path);

/// For programs, before they open a log.
void chooseLogOpener(LogOpener opener);

}  // namespace ryx::profiling

#endif
