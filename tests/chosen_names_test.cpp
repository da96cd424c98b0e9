// SPDX-License-Identifier: Apache-2.0
// Names chosen so that they meet in one place of every table that hashes without a key.

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "reader/ryx_profile_log_reader_gpu.h"
#include "ryx/profile_log_writer.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

constexpr int kNames = 20000;

std::string text(uint64_t first, uint64_t second) {
  std::string bytes(16, '\0');
  std::memcpy(&bytes[0], &first, 8);
  std::memcpy(&bytes[8], &second, 8);
  return bytes;
}

/// Texts of 16 bytes, for all of which the standard library's hash is the same: what the first 8
/// bytes do to its state, the second 8 undo.
std::vector<std::string> collidingNames() {
  constexpr uint64_t kFactor = 0xc6a4a7935bd1e995;
  constexpr uint64_t kSeed = 0xc70f6907;
  uint64_t inverse = kFactor;
  for (int i = 0; i < 6; ++i) inverse *= 2 - kFactor * inverse;
  const auto folded = [](uint64_t value) { return value ^ value >> 47; };
  std::vector<std::string> names;
  for (uint64_t first = 0x0101010101010101; names.size() < kNames; first += 0x0107) {
    const uint64_t state = ((kSeed ^ 16 * kFactor) ^ folded(first * kFactor) * kFactor) * kFactor;
    std::string name = text(first, folded(state * inverse) * inverse);
    if (name.find('\0') == std::string::npos) names.push_back(std::move(name));
  }
  return names;
}

/// Seconds to read and report a log with `names` for its events, their sub-events and its graphs.
double secondsFor(const std::vector<std::string>& names) {
  const tests::TemporaryFolder folder;
  std::vector<EventRecord> events(names.size());
  for (size_t i = 0; i < names.size(); ++i) events[i].identifier = names[i];
  const std::vector<EventRecord> reversed(events.rbegin(), events.rend());
  EventRecord wait, parent, reversedParent;
  wait.eventType = 405;
  parent.nestedEvents = events;
  reversedParent.nestedEvents = reversed;

  ProfileLogWriter writer;
  bool good = writer.open(folder / "run.log");
  const auto add = [&](ProfiledMethod method, const std::string& graph,
                       ArrayView<EventRecord> content) {
    MessageRecord message;
    message.method = method;
    message.text = graph;
    message.events = content;
    good = good && writer.addMessage(message);
  };
  for (const std::string& name : names) add(ProfiledMethod::ExecuteHostRoundTrip, name, {&wait, 1});
  add(ProfiledMethod::ApplyBinarySection, "root", events);
  add(ProfiledMethod::ApplyBinarySection, "root", reversed);
  add(ProfiledMethod::ApplyBinarySection, "below", {&parent, 1});
  add(ProfiledMethod::ApplyBinarySection, "below", {&reversedParent, 1});
  add(ProfiledMethod::DeInit, "", reversed);
  EXPECT_TRUE(good && writer.close()) << writer.error();

  const std::clock_t begin = std::clock();
  RyxProfileLogReaderGPU reader(folder / "run.log", VisibilityLevel{127});
  testing::internal::CaptureStdout();
  EXPECT_TRUE(reader.readLogFile(false) && reader.generateOutput("/dev/null"));
  EXPECT_TRUE(reader.RyxProfileLogReader::generateOutput(""));
  testing::internal::GetCapturedStdout();
  return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

TEST(ChosenNames, TakeNoLongerThanOthers) {
  const std::vector<std::string> chosen = collidingNames();
  ASSERT_EQ(std::hash<std::string>()(chosen.front()), std::hash<std::string>()(chosen.back()));
  std::vector<std::string> plain;
  for (uint64_t i = 0; i < kNames; ++i) plain.push_back(text(0x2020202020202020, ~i));
  EXPECT_LT(secondsFor(chosen), 4 * secondsFor(plain) + 0.1);
}

}  // namespace
}  // namespace ryx::profiling
