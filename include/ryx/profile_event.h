// SPDX-License-Identifier: Apache-2.0
// One event of the log as statistics and reports see it, and the records that group events.
//
// All of these are plain values, copied deeply with everything they own. The one thing they borrow
// is the text of a string value, which belongs to the reader that built the event.

#ifndef RYX_PROFILE_EVENT_H
#define RYX_PROFILE_EVENT_H

#include <cstdint>
#include <string>
#include <vector>

namespace ryx::profiling {

/// The types of an event's value. The low two hexadecimal digits of a code give the width in bits,
/// the digit above the kind: 0 signed, 1 unsigned, 2 floating point, 5 boolean, 6 string.
struct EventDataType {
  enum Code : uint32_t {
    Int8 = 0x0008,
    Int16 = 0x0016,
    Int32 = 0x0032,
    Int64 = 0x0064,
    Uint8 = 0x0108,
    Uint16 = 0x0116,
    Uint32 = 0x0132,
    Uint64 = 0x0164,
    Float32 = 0x0232,
    Float64 = 0x0264,
    Bool8 = 0x0508,
    String = 0x0608,
    Unset = 0x7FFFFFFF,
  };
};

/// The units a log names. Events keep the log's code as it is, known or not.
enum class EventUnit : uint32_t {
  Microseconds = 1,
  Bytes = 2,
  Cycles = 3,
  Count = 4,
  Object = 5,  ///< not a measurement: `bytes` hold a payload to be saved
  None = 6,
};

/// Event types that the reader tells apart; the log may carry any others.
constexpr uint32_t kInitEventType = 100;
constexpr uint32_t kFinalizeEventType = 300;
constexpr uint32_t kQueueWaitEventType = 405;

struct EventValue {
  uint32_t dataType = EventDataType::Unset;  ///< a code of EventDataType, or any other
  /// The bits of the value: an integer, a float in the low half, a double, or the address of a
  /// NUL-terminated text that belongs to the reader and lives as long as it.
  uint64_t payload = 0;
};

struct ProfileEvent {
  uint32_t eventType = 0;
  EventValue value;
  std::vector<uint8_t> bytes;   ///< the value of an event that carries a byte array
  std::string identifier;       ///< "null" when the log has none
  std::string payloadFileName;  ///< the file that `bytes` of an object event are saved to
  uint32_t unit = 0;            ///< a code of EventUnit, or any other
  uint64_t timestamp = 0;
  uint64_t timingSource = 0;  ///< 1 (the back end) from the log; in an average, events merged
  std::vector<ProfileEvent> subEvents;
};

inline bool isObject(const ProfileEvent& event) {
  return event.unit == static_cast<uint32_t>(EventUnit::Object);
}

/// The events of one message, or of one statistic, about one graph.
struct GraphEventSet {
  std::string graphName;
  uint64_t duration = 0;  ///< microseconds
  uint64_t timestamp = 0;
  std::vector<ProfileEvent> events;
};

/// One execution of one graph.
struct ExecutionRecord {
  uint64_t duration = 0;  ///< microseconds
  uint64_t timestamp = 0;
  std::vector<ProfileEvent> events;
};

/// All executions of one graph, in log order.
struct GraphExecutions {
  std::string graphName;
  std::vector<ExecutionRecord> executions;
};

/// The queue waits of one graph, one per execution.
struct GraphQueueWaits {
  std::string graphName;
  std::vector<EventValue> waits;
};

/// The queue wait of one graph's longest or shortest execution.
struct GraphQueueWait {
  std::string graphName;
  uint64_t wait = 0;
};

}  // namespace ryx::profiling

#endif
