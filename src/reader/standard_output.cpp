// SPDX-License-Identifier: Apache-2.0
// A reader is a guest in the host's process: std::cout is shared with whatever else the host
// prints, in whatever state the host has put it. Text goes through its buffer, so that it stays in
// order with the host's own, but past its flags and its error state.

#include "reader/standard_output.h"

#include <iostream>
#include <streambuf>

#include "base/logger.h"

namespace ryx::profiling {

void writeStandardOutput(std::string_view text) {
  if (text.empty()) return;
  // An earlier failure of the stream does not keep this text from being written, and a failure here
  // does not set the stream's error state.
  std::streambuf* const output = std::cout.rdbuf();
  const auto size = static_cast<std::streamsize>(text.size());
  if (output != nullptr && output->sputn(text.data(), size) == size && output->pubsync() == 0)
    return;
  RYX_LOG_ERROR("Invalid output file: [%s]", "standard output");
}

}  // namespace ryx::profiling
