// SPDX-License-Identifier: Apache-2.0
// What each profiled method leaves in the reader's data.

#ifndef RYX_EVENTS_METHOD_HANDLERS_H
#define RYX_EVENTS_METHOD_HANDLERS_H

#include <cstdint>

#include "events/profile_data.h"
#include "profile_log_generated.h"
#include "ryx/profile_log_reader.h"

namespace ryx::profiling {

/// Takes one verified message into `data`. False when the level hides it or it lacks what the
/// method needs (a graph's name); `data` is then unchanged, but for what `handlerOf` says.
using MethodHandler = bool (*)(ProfileData& data, VisibilityLevel visibilityLevel,
                               const Message& message);

/// The handler of the message's method type, or null when that is absent or unknown.
///
/// Even a hidden message leaves a trace for two of them: host round trips switch the queue-wait
/// rule on, and the timing-only methods (InitStep, ComposeGraphs) store their timestamp.
[[nodiscard]] MethodHandler handlerOf(const Message& message);

}  // namespace ryx::profiling

#endif
