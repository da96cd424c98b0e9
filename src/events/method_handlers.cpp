// SPDX-License-Identifier: Apache-2.0
// One handler for each method, in three families: methods of one event list, where the last message
// wins; methods of timing alone; and methods about a graph, whose events are split by their type
// among initialisation, finalisation and execution. Flags stay set and executions add up, whatever
// messages follow.
//
// The rules have edges that look like mistakes: a message without events can empty a list, and a
// hidden one still moves a timestamp. They are meant; the comments say where.

#include "events/method_handlers.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "events/event_tree.h"
#include "stream/log_text.h"

namespace ryx::profiling {
namespace {

using EventList = std::vector<ProfileEvent>;

bool isVisible(VisibilityLevel visibilityLevel, const Message& message) {
  return message.level().value_or(0) < static_cast<int8_t>(visibilityLevel);
}

uint64_t timestampOf(const Message& message) { return message.timestamp()->time().value_or(0); }

uint64_t durationOf(const Message& message) {
  const auto start = message.timing()->start();
  const auto end = message.timing()->end();
  return start && end && *start < *end ? *end - *start : 0;
}

EventList eventsOf(ProfileData& data, const Message& message) {
  EventList events;
  buildMessageEvents(data.stringValues_, message, events);
  return events;
}

/// Removes the events of one type from `events`, keeping order on both sides, and returns them.
EventList extractEvents(EventList& events, uint32_t eventType) {
  const auto isOfType = [eventType](const ProfileEvent& event) {
    return event.eventType == eventType;
  };
  EventList extracted;
  const auto count = std::count_if(events.begin(), events.end(), isOfType);
  if (count == 0) return extracted;
  extracted.reserve(static_cast<size_t>(count));
  const auto kept = [&](ProfileEvent& event) {
    if (!isOfType(event)) return false;
    extracted.push_back(std::move(event));
    return true;
  };
  events.erase(std::remove_if(events.begin(), events.end(), kept), events.end());
  return extracted;
}

/// Moves the initialisation events that other methods' messages carry to where they belong. The
/// flag outlives its message on purpose: once any message had such events, one without empties the
/// list.
void takeInitEvents(ProfileData& data, EventList& events) {
  EventList initEvents = extractEvents(events, kInitEventType);
  if (!initEvents.empty()) data.hasInitEvents_ = true;
  if (data.hasInitEvents_) data.initEvents_ = std::move(initEvents);
}

/// Files the finalisation record of a message. As with the initialisation events, once any message
/// had finalisation events, one without still leaves its (empty) record.
void fileFinalizeEvents(ProfileData& data, GraphEventSet record) {
  if (!record.events.empty()) data.hasFinalizeEvents_ = true;
  if (data.hasFinalizeEvents_) data.graphEventSets_.push_back(std::move(record));
}

/// What a method of one event list leaves; the last message wins.
struct Phase {
  uint64_t& duration;
  uint64_t& timestamp;
  EventList& events;
};

/// Returns whether the message was taken.
bool storePhase(const Phase& phase, ProfileData& data, VisibilityLevel visibilityLevel,
                const Message& message) {
  if (!isVisible(visibilityLevel, message)) return false;
  phase.duration = durationOf(message);
  phase.timestamp = timestampOf(message);
  phase.events = eventsOf(data, message);
  return true;
}

bool handleInit(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  const bool taken = storePhase({data.initDuration_, data.initTimestamp_, data.initMethodEvents_},
                                data, visibilityLevel, message);
  data.initSeen_ = data.initSeen_ || taken;
  return taken;
}

bool handleDeInit(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  return storePhase({data.deInitDuration_, data.deInitTimestamp_, data.deInitEvents_}, data,
                    visibilityLevel, message);
}

bool handleNetRun(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  const bool taken = storePhase({data.netRunDuration_, data.netRunTimestamp_, data.netRunEvents_},
                                data, visibilityLevel, message);
  data.netRunSeen_ = data.netRunSeen_ || taken;
  return taken;
}

bool handleLibLoad(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  const bool taken =
      storePhase({data.libLoadDuration_, data.libLoadTimestamp_, data.libLoadEvents_}, data,
                 visibilityLevel, message);
  data.libLoadSeen_ = data.libLoadSeen_ || taken;
  return taken;
}

/// The timing-only methods. Their timestamp is stored before the message is filtered.
bool storeTiming(uint64_t& timestamp, uint64_t& duration, VisibilityLevel visibilityLevel,
                 const Message& message) {
  timestamp = timestampOf(message);
  if (!isVisible(visibilityLevel, message)) return false;
  duration = durationOf(message);
  return true;
}

bool handleInitStep(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  return storeTiming(data.initStepTimestamp_, data.initStepDuration_, visibilityLevel, message);
}

bool handleComposeGraphs(ProfileData& data, VisibilityLevel visibilityLevel,
                         const Message& message) {
  return storeTiming(data.composeGraphsTimestamp_, data.composeGraphsDuration_, visibilityLevel,
                     message);
}

/// Whether a message about a graph is to be taken: visible, and naming its graph.
bool isTakenGraphMessage(VisibilityLevel visibilityLevel, const Message& message) {
  return isVisible(visibilityLevel, message) && message.text() != nullptr;
}

bool handleFinalize(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  if (!isTakenGraphMessage(visibilityLevel, message)) return false;
  data.finalizeSeen_ = true;
  EventList events = eventsOf(data, message);
  takeInitEvents(data, events);
  fileFinalizeEvents(data, {std::string(logText(message.text())), durationOf(message),
                            timestampOf(message), std::move(events)});
  return true;
}

bool handleExecute(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  if (!isTakenGraphMessage(visibilityLevel, message)) return false;
  EventList events = eventsOf(data, message);
  takeInitEvents(data, events);
  data.graphExecutions_.add(logText(message.text()),
                            {durationOf(message), timestampOf(message), std::move(events)});
  return true;
}

bool handleExecuteHostRoundTrip(ProfileData& data, VisibilityLevel visibilityLevel,
                                const Message& message) {
  data.queueWaitSeen_ = true;
  return handleExecute(data, visibilityLevel, message);
}

/// A combined record of a graph. Its own timing is not used: everything is filed under 0.
bool handleGraphRun(ProfileData& data, VisibilityLevel visibilityLevel, const Message& message) {
  if (!isTakenGraphMessage(visibilityLevel, message)) return false;
  const std::string_view graphName = logText(message.text());
  EventList events = eventsOf(data, message);
  takeInitEvents(data, events);
  EventList finalizeEvents = extractEvents(events, kFinalizeEventType);
  fileFinalizeEvents(data, {std::string(graphName), 0, 0, std::move(finalizeEvents)});
  data.graphExecutions_.add(graphName, {0, 0, std::move(events)});
  data.graphRunSeen_ = true;
  return true;
}

bool handleApplyBinarySection(ProfileData& data, VisibilityLevel visibilityLevel,
                              const Message& message) {
  if (!isTakenGraphMessage(visibilityLevel, message)) return false;
  data.applyBinarySectionExecutions_.add(
      logText(message.text()),
      {durationOf(message), timestampOf(message), eventsOf(data, message)});
  data.applyBinarySectionSeen_ = true;
  return true;
}

}  // namespace

void GraphExecutionList::add(std::string_view graphName, ExecutionRecord execution) {
  std::string name(graphName);
  const auto known = positions_.find(name);
  if (known != positions_.end()) {
    graphs_[known->second].executions.push_back(std::move(execution));
    return;
  }
  // The graph before its position: no position may lead nowhere, should memory run out in between.
  graphs_.push_back({name, {}});
  positions_.emplace(std::move(name), graphs_.size() - 1);
  graphs_.back().executions.push_back(std::move(execution));
}

MethodHandler handlerOf(const Message& message) {
  const auto method = message.method_type();
  if (!method) return nullptr;
  switch (*method) {
    case MethodType::Execute: return handleExecute;
    case MethodType::Finalize: return handleFinalize;
    case MethodType::ExecuteHostRoundTrip: return handleExecuteHostRoundTrip;
    case MethodType::Init: return handleInit;
    case MethodType::DeInit: return handleDeInit;
    case MethodType::InitStep: return handleInitStep;
    case MethodType::ComposeGraphs: return handleComposeGraphs;
    case MethodType::NetRun: return handleNetRun;
    case MethodType::GraphRun: return handleGraphRun;
    case MethodType::LibLoad: return handleLibLoad;
    case MethodType::ApplyBinarySection:
    case MethodType::ApplyBinarySectionAlt: return handleApplyBinarySection;
  }
  return nullptr;
}

}  // namespace ryx::profiling
