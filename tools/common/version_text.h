// SPDX-License-Identifier: Apache-2.0
// Which build a tool is, and which reader plug-ins it would load.

#ifndef RYX_COMMON_VERSION_TEXT_H
#define RYX_COMMON_VERSION_TEXT_H

#include <string>
#include <vector>

namespace ryx::tools {

/// The reader plug-ins of this project, by what they write.
constexpr char kBasePlugin[] = "libRyxProfilingReader.so";    ///< text and CSV
constexpr char kGpuPlugin[] = "libRyxGpuProfilingReader.so";  ///< JSON

/// Where a plug-in of that name is looked for before the loader's own search: beside the program,
/// then in ../lib from there. Empty where the system does not say where the program is.
[[nodiscard]] std::vector<std::string> pluginPlaces(const std::string& fileName);

/// Whether a plug-in's path leads nowhere. Anything but a plain "not there" is left to the loader,
/// which says what is wrong.
[[nodiscard]] bool isAbsent(const std::string& path);

/// What --version prints, without the last line's end: a line "`program` 1.0.0", then the commit
/// and the compiler of the build, the versions of the interfaces, and the paths of the plug-ins.
[[nodiscard]] std::string versionText(const std::string& program);

}  // namespace ryx::tools

#endif
