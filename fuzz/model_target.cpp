// SPDX-License-Identifier: Apache-2.0
// Fuzz target: the input is a log that always verifies, because it is changed as a model and then
// written again. Both the log as it comes and the one that the writer makes of it must give the
// same reports. Not so where a value is a text: some reports show its address.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/log_model.h"
#include "fuzz/log_reports.h"
#include "fuzz/model_mutator.h"
#include "fuzz/require.h"

namespace {

using namespace ryx::fuzz;

// Chunks may share texts, which the writer repeats.
constexpr size_t kMaxWrittenBytes = size_t{1} << 20;

constexpr uint32_t kTextKind = 6;

bool hasTextValues(const std::vector<EventModel>& events) {
  return std::any_of(events.begin(), events.end(), [](const EventModel& event) {
    return event.record.valueKind == kTextKind || hasTextValues(event.events);
  });
}

bool hasTextValues(const LogModel& model) {
  for (const ChunkModel& chunk : model)
    for (const MessageModel& message : chunk.messages)
      if (hasTextValues(message.events)) return true;
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view log(reinterpret_cast<const char*>(data), size);
  const auto model = readModel(log);
  if (!model) return 0;
  const std::string written = writeModel(*model);
  if (written.size() > kMaxWrittenBytes) return 0;
  const LogReports reports = makeReports(written);
  require(reports.wholeLogRead, "what is written can be read");
  const LogReports original = makeReports(log);
  require(original == reports || hasTextValues(*model), "writing a log again keeps its reports");
  return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
  const std::string original(reinterpret_cast<const char*>(data), size);
  LogModel model = readModel(original).value_or(LogModel());
  mutateModel(model, seed);
  const std::string mutated = writeModel(model);
  if (mutated.size() > maxSize) return size;
  std::copy(mutated.begin(), mutated.end(), data);
  return mutated.size();
}
