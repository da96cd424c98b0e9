// SPDX-License-Identifier: Apache-2.0
#include "events/event_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "base/number_text.h"

namespace ryx::profiling {
namespace {

template <typename Number>
uint64_t bits(Number number) {
  uint64_t result = 0;
  std::memcpy(&result, &number, sizeof number);
  return result;
}

TEST(EventText, ValueOfEveryDataType) {
  const char pooled[] = "a, \"b\"";
  const struct {
    uint32_t dataType;
    uint64_t payload;
    const char* text;
  } cases[] = {
      {0x0008, 0xFFFFFFFFFFFFFF80, "-128"},
      {0x0008, 0x17F, "127"},
      {0x0016, 0xABCD8000, "-32768"},
      {0x0032, 0x1FFFFFFFF, "-1"},
      {0x0064, bits<int64_t>(-5), "-5"},
      {0x0064, bits(std::numeric_limits<int64_t>::min()), "-9223372036854775808"},
      {0x0108, 0x1FF, "255"},
      {0x0116, 0x1FFFF, "65535"},
      {0x0132, 0x1FFFFFFFF, "4294967295"},
      {0x0164, UINT64_MAX, "18446744073709551615"},
      {0x0232, bits(1.5F), "1.500000"},
      {0x0232, bits(12.5F) | 0xDEAD00000000, "12.500000"},
      {0x0232, bits(0.1F), "0.100000"},
      {0x0264, bits(-0.0), "-0.000000"},
      {0x0264, bits(0.0000005), "0.000000"},
      {0x0264, bits(0.0000015), "0.000002"},
      {0x0264, bits(std::numeric_limits<double>::infinity()), "inf"},
      {0x0264, bits(-std::numeric_limits<double>::quiet_NaN()), "-nan"},
      {0x0508, 0x101, "1"},
      {0x0608, reinterpret_cast<uint64_t>(pooled), "a, \"b\""},
      {0x7FFFFFFF, 7, ""},
      {0, 7, ""},
      {0x0164 + 1, 7, ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.text, toText({c.dataType, c.payload})) << std::hex << c.dataType;
  EXPECT_THROW((void)toText({EventDataType::String, 0}), std::logic_error);
}

TEST(EventText, LargestDoublePrintsInFull) {
  const std::string text =
      toText({EventDataType::Float64, bits(-std::numeric_limits<double>::max())});
  EXPECT_EQ("-17976931348623157", text.substr(0, 18));
  EXPECT_EQ(1 + 309 + 7U, text.size());
}

TEST(EventText, EveryUnitInEveryReport) {
  const struct {
    uint32_t unit;
    const char *upperCase, *suffix, *json;
  } cases[] = {
      {1, "US", " us", "us"},
      {2, "BYTES", " bytes", "bytes"},
      {3, "CYCLES", " cycles", "cycles"},
      {4, "COUNT", " count", "unknown"},
      {5, "OBJECT", " object", "object"},
      {6, "NONE", " ", "none"},
      {0, "US", " us", "unknown"},
      {7, "US", " us", "unknown"},
      {UINT32_MAX, "US", " us", "unknown"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.upperCase, unitUpperCaseText(c.unit)) << c.unit;
    EXPECT_EQ(c.suffix, unitSuffixText(c.unit)) << c.unit;
    EXPECT_EQ(c.json, unitJsonText(c.unit)) << c.unit;
  }
}

TEST(NumberText, MatchesPrintf) {
  for (const double number :
       {0.0, 1.0, 0.5, 0.001, 1e-6, 1e6, 999999.5, 123456.7, -2.5e-300, 3e38}) {
    char expected[512];
    snprintf(expected, sizeof expected, "%g", number);
    EXPECT_EQ(expected, generalNumber(number));
    snprintf(expected, sizeof expected, "%.4f", number);
    EXPECT_EQ(expected, fixedPoint(number, 4));
  }
}

}  // namespace
}  // namespace ryx::profiling
