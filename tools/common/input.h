// SPDX-License-Identifier: Apache-2.0
// Files that a command line names to be read.

#ifndef RYX_COMMON_INPUT_H
#define RYX_COMMON_INPUT_H

#include <string>
#include <vector>

#include "base/descriptor.h"
#include "base/status.h"

namespace ryx::tools {

/// The operand that stands for standard input, and as an output for standard output.
constexpr char kStandardStream[] = "-";

/// What the user calls it: the operand, or "standard input" for "-".
[[nodiscard]] std::string inputName(const std::string& operand);

/// Fails when standard input, which can be read but once, is among `operands` more than once.
[[nodiscard]] Status checkInputs(const std::vector<std::string>& operands);

/// A path to read an operand by. For standard input that is /dev/stdin, where that can be opened;
/// for sockets, and for pipes where `needsSeeking` asks for a file, that of an unnamed temporary
/// copy.
class InputPath {
 public:
  /// Failures read "cannot read NAME: REASON"; what is not there is left to its reader.
  [[nodiscard]] static Result<InputPath> of(const std::string& operand, bool needsSeeking = false);

  /// As `of` where seeking is needed, and of what is compressed, the path of an unnamed temporary
  /// file that it is decompressed to, up to its damage if it has any.
  [[nodiscard]] static Result<InputPath> decompressed(const std::string& operand);

  /// What ended decompressing before its time.
  [[nodiscard]] const Status& damage() const { return damage_; }

  /// Leads to the input for as long as this lives.
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  explicit InputPath(std::string path) : path_(std::move(path)) {}
  [[nodiscard]] static Result<InputPath> copyOf(int descriptor, const std::string& name);

  std::string path_;
  Descriptor copy_;
  Status damage_;
};

}  // namespace ryx::tools

#endif
