// SPDX-License-Identifier: Apache-2.0
// A salvaged or edited log has to be either whole or absent, so this only frames chunks; that they
// appear together, in one rename at the end, is left to AtomicFile.

#include "stream/atomic_log.h"

#include "stream/log_format.h"

namespace ryx::profiling {

Status AtomicLog::append(const uint8_t* chunk, size_t size) {
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(static_cast<uint32_t>(size), prefix);
  if (Status status = file_.append(prefix, sizeof prefix); !status) return status;
  return file_.append(chunk, size);
}

}  // namespace ryx::profiling
