// SPDX-License-Identifier: Apache-2.0
// How a fuzz target states what must hold.

#ifndef RYX_FUZZ_REQUIRE_H
#define RYX_FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace ryx::fuzz {

/// Ends the process as a crash when `holds` is false: unlike an assertion, in every build.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace ryx::fuzz

#endif
