// SPDX-License-Identifier: Apache-2.0
// A log as a tree of the writer's records, which can be changed and written again.

#ifndef RYX_FUZZ_LOG_MODEL_H
#define RYX_FUZZ_LOG_MODEL_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ryx/profile_log_writer.h"

namespace ryx::fuzz {

/// `record` borrows its texts and bytes from the log that the model was read from. Its list of
/// events is unset: `events` stands for it.
struct EventModel {
  profiling::EventRecord record;
  std::vector<EventModel> events;
};

struct MessageModel {
  profiling::MessageRecord record;
  std::vector<EventModel> events;
};

struct ChunkModel {
  std::optional<profiling::HeaderRecord> header;
  std::vector<MessageModel> messages;
};

using LogModel = std::vector<ChunkModel>;

/// Nothing when `log`, which must outlive the model, is not made of whole, good chunks.
[[nodiscard]] std::optional<LogModel> readModel(std::string_view log);

/// Messages that the writer refuses are left out.
[[nodiscard]] std::string writeModel(const LogModel& model);

}  // namespace ryx::fuzz

#endif
