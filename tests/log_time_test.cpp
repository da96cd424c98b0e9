// SPDX-License-Identifier: Apache-2.0
// Times of --from and --to: what they look like, and what they select.

#include "stream/log_time.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "ryx/profile_log_writer.h"
#include "ryx/profile_tables.h"
#include "stream/message_filter.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

TEST(LogTimeTest, Forms) {
  using Since = LogTime::Since;
  const struct {
    const char* text;
    Since since;
    uint64_t microseconds;
  } times[] = {
      {"0", Since::Logged, 0},
      {"18446744073709551615", Since::Logged, UINT64_MAX},
      {"+1.5s", Since::FirstMessage, 1500000},
      {"+0.0000019s", Since::FirstMessage, 1},
      {"+7us", Since::FirstMessage, 7},
      {"+2.5ms", Since::FirstMessage, 2500},
      {"+3m", Since::FirstMessage, 180000000},
      {"+1.000000001h", Since::FirstMessage, 3600000003},
      {"1970-01-01", Since::Epoch, 0},
      {"2000-02-29T00:00", Since::Epoch, 951782400000000},
      {"2024-03-04T10:15:02Z", Since::Epoch, 1709547302000000},
      {"2024-03-04 10:15:02.5", Since::Epoch, 1709547302500000},
      {"2024-03-04t11:45:02,0000019+01:30", Since::Epoch, 1709547302000001},
      {"2024-03-03T22:15:02-1200", Since::Epoch, 1709547302000000},
      {"2024-12-31T23:59:60z", Since::Epoch, 1735689600000000},
      {"9999-12-31T23:59:59-23", Since::Epoch, 253402383599000000},
  };
  for (const auto& test : times) {
    const auto time = parseLogTime(test.text);
    ASSERT_TRUE(time) << test.text;
    EXPECT_EQ(test.since, time->since) << test.text;
    EXPECT_EQ(test.microseconds, time->microseconds) << test.text;
  }
  for (const char* text : {"",
                           "-1",
                           "1.5",
                           "18446744073709551616",
                           "+1",
                           "+1d",
                           "+s",
                           "+.5s",
                           "+1.5 s",
                           "+-1s",
                           "+5124095577h",
                           "2023-02-29",
                           "2024-13-01",
                           "2024-00-01",
                           "2024-04-31",
                           "1969-12-31",
                           "24-03-04",
                           "2024-3-4",
                           "2024-03-04T",
                           "2024-03-04T10",
                           "2024-03-04T24:00",
                           "2024-03-04T10:60",
                           "2024-03-04T10:15:61",
                           "2024-03-04T10:15:02.",
                           "2024-03-04T10:15:02X",
                           "2024-03-04T10:15:02Zz",
                           "2024-03-04T10:15:02+1",
                           "2024-03-04T10:15:02+24:00",
                           "1970-01-01T00:00+00:01"})
    EXPECT_EQ("'" + std::string(text) + "' is no time: " + kLogTimeForms,
              parseLogTime(text).status().text());
}

class TimeRangeTest : public testing::Test {
 protected:
  /// A log whose messages have these times, in chunks of two.
  void write(const std::vector<std::optional<uint64_t>>& times,
             std::optional<uint64_t> epoch = std::nullopt,
             std::optional<uint64_t> steadyClock = std::nullopt) {
    ProfileLogWriter log({2, 1 << 20});
    HeaderRecord header;
    header.epochTimestamp = epoch;
    header.steadyClockTimestamp = steadyClock;
    ASSERT_TRUE(log.open(folder_ / "run.log"));
    for (size_t i = 0; i < times.size(); ++i) {
      ASSERT_TRUE(i != 2 || log.setHeader(header));  // of the second chunk
      MessageRecord message;
      message.timestamp = times[i];
      ASSERT_TRUE(log.addMessage(message)) << log.error();
    }
    ASSERT_TRUE(log.close()) << log.error();
  }

  /// The numbers of the messages that are selected, or why none can be told.
  std::string select(const std::string& from, const std::string& to,
                     std::optional<uint64_t> last = std::nullopt) {
    Selection selection;
    selection.add(TableId::Messages, {"message_id"});
    if (!from.empty()) selection.filter.fromTime = *parseLogTime(from);
    if (!to.empty()) selection.filter.toTime = *parseLogTime(to);
    selection.filter.last = last;
    TableReader reader(selection);
    if (!reader.open(folder_ / "run.log")) return reader.damage()->line;
    std::string ids;
    while (const Batch* batch = reader.next())
      for (size_t row = 0; row < batch->rows(); ++row)
        ids += std::to_string(batch->cell(row, 0).integer);
    return ids;
  }

  const tests::TemporaryFolder folder_;
};

TEST_F(TimeRangeTest, CountFromTheFirstTimeAndFromTheHeader) {
  // The clock read 2,000,000 at 1970-01-01T01:00:00.
  write({std::nullopt, 1000000, 2000000, std::nullopt, 1500000, 3000000}, 3600000000, 2000000);
  const struct {
    const char* from;
    const char* to;
    const char* selected;
  } cases[] = {
      {"+0s", "", "1245"},
      {"+500ms", "", "245"},
      {"", "+0.5s", "0134"},
      {"+1us", "+1s", "24"},
      {"+1000000h", "", ""},
      {"+5124095576h", "", ""},
      {"", "+5124095576h", "012345"},
      {"1970-01-01T01:00", "", "25"},
      {"1970-01-01T00:59:59.5", "1970-01-01T01:00:00Z", "24"},
      {"1970-01-01T00:00", "", "012345"},
      {"", "1970-01-01T00:59:58", "03"},
      {"", "1970-01-01T00:59:57", ""},
      {"+500ms", "1970-01-01T01:00", "24"},
      {"2500000", "1970-01-01T01:00", ""},
  };
  for (const auto& test : cases)
    EXPECT_EQ(test.selected, select(test.from, test.to)) << test.from << " to " << test.to;
  EXPECT_EQ("45", select("+500ms", "", 2));
  EXPECT_EQ("34", select("", "1970-01-01T01:00", 2));
}

TEST_F(TimeRangeTest, DatesNeedAHeaderThatTiesTheClockToThem) {
  const std::string reason =
      "its header does not tie its clock to dates, as --from or --to by date needs";
  for (const auto& [epoch, clock] :
       std::vector<std::pair<std::optional<uint64_t>, std::optional<uint64_t>>>{
           {std::nullopt, std::nullopt}, {1, std::nullopt}, {std::nullopt, 1}}) {
    write({1, 2, 3}, epoch, clock);
    EXPECT_EQ(reason, select("2024-03-04", ""));
    EXPECT_EQ("12", select("+1us", ""));
  }
  write({1});
  EXPECT_EQ(reason, select("", "2024-03-04"));
  EXPECT_EQ("No such file or directory", [&] {
    std::filesystem::remove(folder_ / "run.log");
    return select("", "2024-03-04");
  }());
}

}  // namespace
}  // namespace ryx::profiling
