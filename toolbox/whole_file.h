// Files read and written in one piece. Every operation answers the system's error, or none.

#ifndef RYX_TOOLBOX_WHOLE_FILE_H
#define RYX_TOOLBOX_WHOLE_FILE_H

#include <string>
#include <string_view>
#include <system_error>

namespace ryx::profiling {

[[nodiscard]] std::error_code readWholeFile(const std::string& path, std::string& bytes);

/// Makes `bytes` the content of the file at `path`, which appears or changes only when everything
/// could be written. Devices and pipes are written to directly.
[[nodiscard]] std::error_code writeWholeFile(const std::string& path, std::string_view bytes);

}  // namespace ryx::profiling

#endif
