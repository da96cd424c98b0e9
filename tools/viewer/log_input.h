// SPDX-License-Identifier: Apache-2.0
// A log as the command line names it, probed before a reader opens it by its path.
//
// Readers tell their host little: true or false, and a log line. So the viewer finds out first
// whether there is something to read, and what it is if it is no log. Of a pipe without a name the
// first bytes are peeked at, which leaves them there for the reader. What is
// compressed is decompressed into a file for it.

#ifndef RYX_VIEWER_LOG_INPUT_H
#define RYX_VIEWER_LOG_INPUT_H

#include <cstdint>
#include <optional>
#include <string>

#include "base/descriptor.h"
#include "base/status.h"
#include "common/input.h"
#include "viewer/decompressed_log.h"

namespace ryx::viewer {

class LogInput {
 public:
  /// Opens the log, waiting for one that comes through a pipe. One that is compressed is read into
  /// `decompressed`, which must outlive this and serve nothing else meanwhile. Fails for what
  /// cannot be read, and for a file that is no log.
  [[nodiscard]] static Result<LogInput> open(const std::string& operand,
                                             DecompressedLog& decompressed);

  /// The path to read it by, for as long as this lives.
  [[nodiscard]] const std::string& path() const { return readPath_; }
  /// What the user calls it.
  [[nodiscard]] const std::string& name() const { return name_; }
  /// Its size; 0 where nobody knows it.
  [[nodiscard]] uint64_t bytes() const;
  /// How far a reader of this process is in it, by the descriptor that it has open; 0 where that
  /// cannot be told.
  [[nodiscard]] uint64_t readPosition() const;
  /// Whether it is known that there is nothing in it.
  [[nodiscard]] bool isEmpty() const { return firstBytes_ && firstBytes_->empty(); }

  /// Why a reader has refused the log: which chunk stops readers, where and why, and the command
  /// that rescues the others, where this can be told.
  [[nodiscard]] std::string explainRefusal() const;

 private:
  LogInput(tools::InputPath path, std::string name)
      : path_(std::move(path)), readPath_(path_.path()), name_(std::move(name)) {}
  [[nodiscard]] Status look();
  [[nodiscard]] Status decompress(DecompressedLog& decompressed);
  [[nodiscard]] std::string refusalFor(const std::string& damage) const;

  tools::InputPath path_;
  std::string readPath_;
  std::string name_;
  bool isFile_ = false;
  Descriptor file_;  ///< of a pipe, whose writer would end with its last reader
  std::optional<std::string> firstBytes_;
};

}  // namespace ryx::viewer

#endif
