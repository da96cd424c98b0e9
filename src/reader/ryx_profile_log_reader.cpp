// SPDX-License-Identifier: Apache-2.0
// What several reports of the base reader share.

#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {

RyxProfileLogReader::RyxProfileLogReader(const std::string& logFilePath, VisibilityLevel level)
    : visibilityLevel_(level), logFilePath_(logFilePath) {}

int RyxProfileLogReader::getReaderStatus() { return 1; }

const std::vector<ProfileEvent>* RyxProfileLogReader::initSectionEvents() const {
  if (data_.hasInitEvents_) return &data_.initEvents_;
  return data_.initSeen_ ? &data_.initMethodEvents_ : nullptr;
}

std::optional<float> RyxProfileLogReader::inferenceRate() const {
  const auto& events = data_.netRunEvents_;
  if (!data_.netRunSeen_ || events.size() < 2) return std::nullopt;
  // Two events carry the rate, a duration and a count, in either order.
  const bool durationFirst = events[0].identifier == "duration";
  const uint64_t duration = events[durationFirst ? 0 : 1].value.payload;
  const uint64_t count = events[durationFirst ? 1 : 0].value.payload;
  constexpr float kMicrosecondsPerSecond = 1000000;
  if (duration == 0) return 0.0F;
  return static_cast<float>(count) * kMicrosecondsPerSecond / static_cast<float>(duration);
}

}  // namespace ryx::profiling
