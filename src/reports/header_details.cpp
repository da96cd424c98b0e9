// SPDX-License-Identifier: Apache-2.0
// The log's header as text.

#include <ctime>
#include <ostream>

#include "base/logger.h"
#include "base/number_text.h"
#include "base/os_helpers.h"
#include "base/version.h"
#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {

std::string RyxProfileLogReader::getHeaderDetails() {
  if (!headerSaved_) {
    RYX_LOG_DEBUG("Header details unavailable.");
    return {};
  }
  std::string text = "Input Log File Location: " + logFilePath_ + '\n';

  constexpr uint64_t kMicrosecondsPerSecond = 1000000;
  const auto seconds = static_cast<std::time_t>(epochTimestamp_ / kMicrosecondsPerSecond);
  std::tm date;
  if (log::localTime(&seconds, &date) != nullptr) {
    char dateText[26];
    // A year of more than four digits has no such text; then the details are empty altogether.
    if (log::asciiTime(&date, dateText, sizeof dateText) == nullptr) return {};
    text += "Log File Created: ";
    text += dateText;  // ends in a newline of its own
  }

  text += "Time Scale: " + generalNumber(double{timeScale_}) + '\n';
  text += "Epoch Timestamp: " + decimal(epochTimestamp_) +
          " Steady Clock Timestamp: " + decimal(steadyClockTimestamp_) + '\n';
  text += "Generated using: \n";
  text += std::string("ryx-profile-viewer: ") + kToolVersion + '\n';
  if (!infoText_.empty() && !infoLabel_.empty()) text += infoLabel_ + ": " + infoText_ + '\n';
  if (!backendVersion_.empty()) text += "Backend: " + backendVersion_ + '\n';
  return text;
}

void RyxProfileLogReader::printHeaderDetails(std::ostream& os) {
  os << getHeaderDetails() << '\n';
  os.flush();
}

}  // namespace ryx::profiling
