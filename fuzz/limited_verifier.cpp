// SPDX-License-Identifier: Apache-2.0
// The verifier allows billions of tables, for which no fuzzer has the time and no test the memory.
// This source takes its place, with a lower limit: a linker that has it does not fetch the other
// from the library.

#include "stream/log_format.h"

namespace ryx::fuzz {

constexpr uint32_t kMaxFuzzedTables = 1 << 16;

}  // namespace ryx::fuzz

#define kMaxTables ryx::fuzz::kMaxFuzzedTables
#include "stream/chunk_verifier.cpp"  // NOLINT(bugprone-suspicious-include)
