// SPDX-License-Identifier: Apache-2.0
// What is put in comes from lists of the values that code treats apart: the numbers at which types
// end, the identifiers and event types that reports look for, texts with NULs, commas, format
// directives and bytes that are not UTF-8. Any other number is one among many, and a fuzzer would
// try it for hours without reaching another line.
//
// The seed alone decides, so that a finding can be repeated.

#include "fuzz/model_mutator.h"

#include <cstdint>
#include <iterator>
#include <limits>
#include <random>
#include <utility>

namespace ryx::fuzz {
namespace {

using namespace ryx::profiling;
using std::string_view_literals::operator""sv;

constexpr std::string_view kTexts[] = {
    ""sv,
    "null"sv,
    "duration"sv,
    "count"sv,
    "RyxGraph_finalize"sv,
    "net"sv,
    "other net"sv,
    "cut\0off"sv,
    "a,b\n\"c\""sv,
    "\xff\xfe\x80"sv,
    "%s%n"sv,
    "\1\t\x7f"sv,
    "payload.bin"sv,
    "a text that is longer than what a string holds without storage of its own"sv};
constexpr uint8_t kBytes[] = {0, 1, 127, 128, 255};
constexpr uint32_t kEventTypes[] = {0, 1, 100, 300, 405, UINT32_MAX};
constexpr uint64_t kNumbers[] = {0, 1, 2, 7, 1000000, UINT32_MAX, uint64_t{1} << 63, UINT64_MAX};
constexpr double kDoubles[] = {0.0,
                               -0.0,
                               1.5,
                               -3e38,
                               std::numeric_limits<double>::max(),
                               std::numeric_limits<double>::denorm_min(),
                               std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()};
constexpr float kFloats[] = {0.0F,
                             -0.0F,
                             1.5F,
                             -3e38F,
                             std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()};

class Mutator {
 public:
  explicit Mutator(unsigned seed) : random_(seed) {}

  size_t below(size_t limit) {
    return std::uniform_int_distribution<size_t>(0, limit - 1)(random_);
  }

  template <typename Items>
  auto& pick(Items& items) {
    return items[below(std::size(items))];
  }

  void change(LogModel& model) {
    if (model.empty()) model.emplace_back();
    ChunkModel& chunk = pick(model);
    if (chunk.messages.empty()) chunk.messages.emplace_back();
    switch (below(10)) {
      case 0: changeHeader(chunk.header); break;
      case 1: changeList(model); break;
      case 2: changeList(chunk.messages); break;
      case 3:
      case 4: changeMessage(pick(chunk.messages).record); break;
      default: changeEvents(pick(chunk.messages).events);
    }
  }

 private:
  /// Unset one time in eight.
  template <typename T, typename Items>
  void set(std::optional<T>& field, const Items& items) {
    if (below(8) == 0)
      field.reset();
    else
      field = static_cast<T>(pick(items));
  }

  /// A number near an interesting one, or any.
  template <typename T>
  void setNumber(std::optional<T>& field) {
    set(field, kNumbers);
    if (field && below(2) == 0) field = static_cast<T>(below(3) == 0 ? random_() : below(4000));
  }

  void setCode(std::optional<uint32_t>& field) {
    field = static_cast<uint32_t>(below(8));
    if (below(16) == 0) field.reset();
  }

  void changeHeader(std::optional<HeaderRecord>& header) {
    if (!header) header.emplace();
    switch (below(8)) {
      case 0: header.reset(); break;
      case 1: set(header->timeScale, kFloats); break;
      case 2: setNumber(header->epochTimestamp); break;
      case 3: setNumber(header->steadyClockTimestamp); break;
      case 4: set(header->infoText, kTexts); break;
      case 5: set(header->backendVersion, kTexts); break;
      case 6: set(header->infoLabel, kTexts); break;
      case 7: header->hasExtension = !header->hasExtension; break;
    }
  }

  void changeMessage(MessageRecord& message) {
    switch (below(8)) {
      case 0:
      case 1: message.method = static_cast<ProfiledMethod>(below(14)); break;
      case 2: set(message.text, kTexts); break;
      case 3: setNumber(message.timestamp); break;
      case 4: setNumber(message.start); break;
      case 5: setNumber(message.end); break;
      case 6: setNumber(message.level); break;
      case 7: message.emptyEvents = !message.emptyEvents; break;
    }
  }

  /// Changes one event, or the list it is in, on a random level.
  void changeEvents(std::vector<EventModel>& events) {
    if (events.empty()) events.emplace_back();
    EventModel& event = pick(events);
    switch (below(6)) {
      case 0: changeList(events); break;
      case 1:
      case 2: changeEvents(event.events); break;
      case 3: event.events.assign(1, EventModel(event)); break;
      default: changeEvent(event.record);
    }
  }

  void changeEvent(EventRecord& event) {
    switch (below(12)) {
      case 0: set(event.identifier, kTexts); break;
      case 1: set(event.eventType, kEventTypes); break;
      case 2: setCode(event.unit); break;
      case 3: setNumber(event.timestamp); break;
      case 4: set(event.fileName, kTexts); break;
      case 5: setCode(event.valueKind); break;
      case 6: setNumber(event.intValue); break;
      case 7: setNumber(event.uintValue); break;
      case 8: set(event.floatValue, kFloats); break;
      case 9: set(event.doubleValue, kDoubles); break;
      case 10: set(event.stringValue, kTexts); break;
      case 11: event.bytesValue = ArrayView<uint8_t>(kBytes, below(sizeof kBytes + 1)); break;
    }
  }

  /// Removes, repeats or swaps elements of a list that is not empty.
  template <typename T>
  void changeList(std::vector<T>& items) {
    const auto at = items.begin() + static_cast<ptrdiff_t>(below(items.size()));
    switch (below(4)) {
      case 0: items.erase(at); break;
      case 1: std::swap(*at, pick(items)); break;
      default: items.insert(at, T(pick(items)));
    }
  }

  std::minstd_rand random_;
};

}  // namespace

void mutateModel(LogModel& model, unsigned seed) {
  Mutator mutator(seed);
  for (size_t changes = 1 + mutator.below(4); changes > 0; --changes) mutator.change(model);
}

}  // namespace ryx::fuzz
