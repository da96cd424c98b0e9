// Saving the payloads of object events to files of their own.

#include <fstream>

#include "events/number_text.h"
#include "log/logger.h"
#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {
namespace {

bool isReadable(const std::string& path) { return std::ifstream(path, std::ios::binary).is_open(); }

/// `requested`, or the first of "stem_1.extension", "stem_2.extension", ... that names no readable
/// file. The extension starts at the last dot, wherever that stands: in a folder's name, too.
std::string freeName(const std::string& requested) {
  const size_t dot = requested.rfind('.');
  const std::string stem = requested.substr(0, dot);
  const std::string extension = dot == std::string::npos ? "" : requested.substr(dot);
  std::string path = requested;
  for (uint64_t n = 1; isReadable(path); ++n) {
    path = stem;
    path.append("_").append(decimal(n)).append(extension);
  }
  return path;
}

}  // namespace

void RyxProfileLogReader::saveObjectPayload(const ProfileEvent& event) {
  if (event.payloadFileName.empty()) return;
  const std::string path = freeName(event.payloadFileName);
  std::ofstream file(path);
  if (file.is_open()) {
    file.write(reinterpret_cast<const char*>(event.bytes.data()),
               static_cast<std::streamsize>(event.bytes.size()));
    file.close();
  }
  if (!file) RYX_LOG_ERROR("Invalid output fileName: [%s]", path.c_str());
}

}  // namespace ryx::profiling
