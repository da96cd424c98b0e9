// SPDX-License-Identifier: Apache-2.0
// Turns the event tables of one message into trees of ProfileEvent.
//
// The tables are read in place and must come from a verified chunk; what is built owns its texts
// and bytes and outlives the chunk. The text of every string value becomes a new element of
// `stringValues`, which must outlive the events: they point at it.

#ifndef RYX_EVENTS_EVENT_TREE_H
#define RYX_EVENTS_EVENT_TREE_H

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "profile_log_generated.h"
#include "ryx/profile_event.h"

namespace ryx::profiling {

using EventTables = flatbuffers::Vector<flatbuffers::Offset<Event>>;

/// Appends the message's root events, with all their sub-events, to `out`.
void buildMessageEvents(std::list<std::string>& stringValues, const Message& message,
                        std::vector<ProfileEvent>& out);

/// The same for any list of event tables.
void buildEventList(std::list<std::string>& stringValues, const EventTables& tables,
                    std::vector<ProfileEvent>& out);

/// Fills `value`, or for a byte array `bytes`, from the field that the table's value kind selects.
/// An unknown kind leaves both as they are.
void decodeEventValue(std::list<std::string>& stringValues, const Event& table, EventValue& value,
                      std::vector<uint8_t>& bytes);

}  // namespace ryx::profiling

#endif
