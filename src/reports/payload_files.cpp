// Saving the payloads of object events to files of their own.

#include <algorithm>
#include <fstream>

#include "base/logger.h"
#include "base/number_text.h"
#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {
namespace {

bool isReadable(const std::string& path) { return std::ifstream(path, std::ios::binary).is_open(); }

/// `requested` for number 0, else "stem_number.extension". The extension starts at the last dot,
/// wherever that stands: in a folder's name, too.
std::string numberedName(const std::string& requested, uint64_t number) {
  if (number == 0) return requested;
  const size_t dot = std::min(requested.rfind('.'), requested.size());
  return requested.substr(0, dot) + "_" + decimal(number) + requested.substr(dot);
}

}  // namespace

void RyxProfileLogReader::saveObjectPayload(const ProfileEvent& event) {
  if (event.payloadFileName.empty()) return;
  // A trace of every execution comes under one name: trying all numbers anew for each would be
  // quadratic.
  uint64_t& number = payloadNumbers_[event.payloadFileName];
  std::string path = numberedName(event.payloadFileName, number);
  while (isReadable(path)) path = numberedName(event.payloadFileName, ++number);
  std::ofstream file(path);
  if (file.is_open()) {
    file.write(reinterpret_cast<const char*>(event.bytes.data()),
               static_cast<std::streamsize>(event.bytes.size()));
    file.close();
  }
  if (!file) RYX_LOG_ERROR("Invalid output fileName: [%s]", path.c_str());
}

}  // namespace ryx::profiling
