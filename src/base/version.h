// SPDX-License-Identifier: Apache-2.0
// Which build this is, and the versions of what it shares with other programs.

#ifndef RYX_BASE_VERSION_H
#define RYX_BASE_VERSION_H

namespace ryx {

/// The version of tools and libraries alike, "1.0.0"; every report names it.
extern const char kToolVersion[];

/// The commit that was built: "unknown" where the sources came without their history.
extern const char kCommit[];
/// The compiler with its version: "g++ 12.2.0".
extern const char kCompiler[];

/// They change when what others wrote or built for an older one no longer works: the log format of
/// docs/log_format.md, and the plug-ins' interface of ryx/profile_log_reader.h.
constexpr int kLogFormatVersion = 1;
constexpr int kReaderInterfaceVersion = 1;

}  // namespace ryx

#endif
