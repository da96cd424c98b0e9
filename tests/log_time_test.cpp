// Times of --from and --to: what they look like.

#include "stream/log_time.h"

#include <gtest/gtest.h>

#include <string>

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

}  // namespace
}  // namespace ryx::profiling
