// SPDX-License-Identifier: Apache-2.0
#include "base/version.h"

namespace ryx {

const char kToolVersion[] = RYX_VERSION;
const char kCommit[] = RYX_COMMIT;

#ifdef __clang__
const char kCompiler[] = "clang " __clang_version__;
#else
const char kCompiler[] = "g++ " __VERSION__;
#endif

}  // namespace ryx
