// SPDX-License-Identifier: Apache-2.0
#include "events/execution_statistics.h"

#include <gtest/gtest.h>

#include <random>

#include "events/queue_wait.h"

namespace ryx::profiling {
namespace {

ProfileEvent event(const std::string& identifier, uint64_t payload,
                   std::vector<ProfileEvent> subEvents = {}) {
  ProfileEvent result;
  result.identifier = identifier;
  result.value = {EventDataType::Uint64, payload};
  result.timingSource = 1;
  result.subEvents = std::move(subEvents);
  return result;
}

std::string describe(const std::vector<ProfileEvent>& events) {
  std::string text;
  for (const ProfileEvent& each : events) {
    text += each.identifier + '=' + std::to_string(each.value.payload);
    if (each.value.dataType != EventDataType::Uint64) text += '?';
    text += '/' + std::to_string(each.timingSource);
    if (!each.subEvents.empty()) text += '(' + describe(each.subEvents) + ')';
    text += ' ';
  }
  return text;
}

// The merge as its rule is worded: the slow way, to hold the fast one against.
void mergeLiterally(std::vector<ProfileEvent>& accumulated,
                    const std::vector<ProfileEvent>& events) {
  for (const ProfileEvent& incoming : events) {
    ProfileEvent* found = nullptr;
    for (ProfileEvent& candidate : accumulated)
      if (found == nullptr && candidate.identifier == incoming.identifier) found = &candidate;
    if (found == nullptr) {
      accumulated.push_back(incoming);
      continue;
    }
    found->value.dataType = EventDataType::Uint64;
    found->value.payload += incoming.value.payload;
    ++found->timingSource;
    mergeLiterally(found->subEvents, incoming.subEvents);
  }
}

void divideLiterally(std::vector<ProfileEvent>& events) {
  for (ProfileEvent& each : events) {
    if (each.value.dataType == EventDataType::Uint64)
      each.value.payload = each.timingSource == 0 ? 0 : each.value.payload / each.timingSource;
    divideLiterally(each.subEvents);
  }
}

class RandomEvents {
 public:
  explicit RandomEvents(unsigned seed) : random_(seed) {}

  std::vector<ProfileEvent> list(int depth, size_t names, size_t most) {
    std::vector<ProfileEvent> events(below(most + 1));
    for (ProfileEvent& each : events) {
      each = event("event name long enough " + std::to_string(below(names)), random_());
      if (below(3) == 0) each.value.dataType = EventDataType::Float64;
      if (below(9) == 0) each.timingSource = below(2);
      if (depth > 0) each.subEvents = list(depth - 1, names, most);
    }
    return events;
  }

 private:
  size_t below(size_t limit) { return random_() % limit; }
  std::mt19937_64 random_;
};

TEST(ExecutionStatistics, TiesGoToTheLastExecution) {
  const std::vector<ExecutionRecord> executions = {
      {10, 1, {event("first", 1)}}, {30, 2, {event("second", 1)}}, {30, 3, {event("third", 1)}}};
  const ExecutionRecord longest = buildMaximumExecution(executions);
  EXPECT_EQ(30U, longest.duration);
  EXPECT_EQ(3U, longest.timestamp);
  EXPECT_EQ("third=1/1 ", describe(longest.events));
  EXPECT_EQ("first=1/1 ", describe(buildMinimumExecution(executions).events));
  const ExecutionRecord average = buildAverageExecution(executions);
  EXPECT_EQ(23U, average.duration);
  EXPECT_EQ(3U, average.timestamp);

  const std::vector<ExecutionRecord> equal = {{5, 1, {}}, {5, 2, {}}};
  EXPECT_EQ(2U, buildMaximumExecution(equal).timestamp);
  EXPECT_EQ(2U, buildMinimumExecution(equal).timestamp);
  EXPECT_EQ(2U, buildMaximumExecution({{0, 1, {}}, {0, 2, {}}}).timestamp);
  EXPECT_EQ(2U, buildMinimumExecution({{UINT64_MAX, 1, {}}, {UINT64_MAX, 2, {}}}).timestamp);
}

TEST(ExecutionStatistics, NoExecutions) {
  for (const auto& build : {buildMaximumExecution, buildMinimumExecution, buildAverageExecution}) {
    const ExecutionRecord record = build({});
    EXPECT_EQ(0U, record.duration);
    EXPECT_EQ(0U, record.timestamp);
    EXPECT_TRUE(record.events.empty());
  }
}

TEST(ExecutionStatistics, AverageMergesByIdentifier) {
  ProfileEvent once = event("once", 7);
  once.value.dataType = EventDataType::Float64;
  ProfileEvent fraction = event("float", 0x3F800000);
  fraction.value.dataType = EventDataType::Float32;
  const std::vector<ExecutionRecord> executions = {
      {1, 1, {event("x", 10, {event("s", 4)}), event("twice", 1), event("twice", 2), fraction}},
      {1, 2, {once, event("x", 21, {event("t", 9), event("s", 5)}), event("twice", 6), fraction}}};
  EXPECT_EQ("x=15/2(s=4/2 t=9/1 ) twice=3/3 float=1065353216/2 once=7?/1 ",
            describe(buildAverageExecution(executions).events));
}

TEST(ExecutionStatistics, AverageEqualsTheLiteralRuleOnRandomTrees) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    RandomEvents random(seed);
    // Few names make repeats within one list, many names make lists that grow past any small size.
    const size_t names = seed % 2 == 0 ? 3 : 300;
    const size_t most = seed % 3 == 0 ? 60 : 6;
    std::vector<ExecutionRecord> executions;
    std::vector<ProfileEvent> expected;
    for (uint64_t i = 0; i < 4; ++i) {
      executions.push_back({i, i, random.list(most > 6 ? 1 : 3, names, most)});
      mergeLiterally(expected, executions.back().events);
    }
    // Repeat one execution, so that the merge meets its events in the order it expects.
    executions.push_back(executions.front());
    mergeLiterally(expected, executions.back().events);
    divideLiterally(expected);
    ASSERT_EQ(describe(expected), describe(buildAverageExecution(executions).events)) << seed;
  }
}

TEST(QueueWait, MeanTruncatesAndWrapsAtTheTop) {
  const auto mean = [](const std::vector<uint64_t>& payloads) {
    GraphQueueWaits waits;
    for (const uint64_t payload : payloads) waits.waits.push_back({EventDataType::Uint64, payload});
    return meanQueueWait(waits);
  };
  EXPECT_EQ(0U, mean({}));
  EXPECT_EQ(2U, mean({1, 2, 4}));
  EXPECT_EQ(uint64_t{1} << 63, mean({uint64_t{1} << 63}));
  EXPECT_EQ(0U, mean({UINT64_MAX}));
}

}  // namespace
}  // namespace ryx::profiling
