// SPDX-License-Identifier: Apache-2.0
// The numbers behind `stats` and `diff`, against values worked out by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "analysis/distribution.h"
#include "analysis/intervals.h"
#include "analysis/number.h"
#include "analysis/outliers.h"
#include "analysis/samples.h"
#include "analysis/warm_up.h"

namespace ryx::profiling {
namespace {

Samples samplesOf(const std::vector<Number>& values) {
  Samples samples;
  for (const Number& value : values) samples.append(value);
  return samples;
}

std::vector<Number> upTo(int64_t count) {
  std::vector<Number> values;
  for (int64_t i = 1; i <= count; ++i) values.emplace_back(i);
  return values;
}

TEST(Numbers, AreExactUntilTheFirstDouble) {
  Number sum;
  for (int i = 0; i < 4; ++i) sum += Number(UINT64_MAX);
  ASSERT_TRUE(sum.isWhole());
  EXPECT_TRUE(Int128{UINT64_MAX} * 4 == sum.whole());
  sum -= Number(0.5);
  EXPECT_FALSE(sum.isWhole());
  EXPECT_EQ(0x1p66, sum.real());

  // Neither side is rounded to be compared.
  const Number big = int64_t{(1LL << 53) + 1};
  const struct {
    Number less, more;
  } cases[] = {
      {0x1p53, big},          {big, 0x1p53 + 2}, {-1.5, int64_t{-1}},      {int64_t{-2}, -1.5},
      {-1e300, -big.whole()}, {big, 1e300},      {int64_t{2}, int64_t{3}}, {2.5, 3.0}};
  for (const auto& test : cases) {
    EXPECT_LT(compare(test.less, test.more), 0);
    EXPECT_GT(compare(test.more, test.less), 0);
  }
  EXPECT_EQ(0, compare(int64_t{7}, 7.0));
}

TEST(Samples, WidenWithoutChangingWhatTheyHold) {
  const std::vector<std::vector<Number>> lists = {
      {int64_t{1}, int64_t{-2}, int64_t{1} << 40, int64_t{3}},
      {int64_t{1}, UINT64_MAX, int64_t{2}},
      {0.5, 1.5, int64_t{3}},
      {int64_t{(1LL << 53) + 1}, 0.25, UINT64_MAX}};
  for (const auto& list : lists) {
    const Samples samples = samplesOf(list);
    ASSERT_EQ(list.size(), samples.size());
    for (size_t i = 0; i < list.size(); ++i) {
      EXPECT_EQ(list[i], samples[i]);
      EXPECT_EQ(list[i].isWhole(), samples[i].isWhole());
    }
  }
  EXPECT_TRUE(samplesOf(lists[1]).areWhole());
  EXPECT_FALSE(samplesOf(lists[3]).areWhole());
}

TEST(Distribution, PercentilesAreNearestRank) {
  const struct {
    int64_t count;
    double p50, p75, p90, p95, p99, p999;  // 0: none
  } cases[] = {{1, 1, 1, 1, 1, 0, 0},
               {2, 1, 2, 2, 2, 0, 0},
               {4, 2, 3, 4, 4, 0, 0},
               {20, 10, 15, 18, 19, 0, 0},
               {99, 50, 75, 90, 95, 0, 0},
               {100, 50, 75, 90, 95, 99, 0},
               {101, 51, 76, 91, 96, 100, 0},
               {999, 500, 750, 900, 950, 990, 0},
               {1000, 500, 750, 900, 950, 990, 999},
               {1001, 501, 751, 901, 951, 991, 1000}};
  for (const auto& test : cases) {
    std::vector<Number> values = upTo(test.count);
    std::shuffle(values.begin(), values.end(), std::mt19937(1));
    const Distribution d = DistributionMaker().of(samplesOf(values));
    SCOPED_TRACE(test.count);
    EXPECT_EQ(test.p50, d.p50.real());
    EXPECT_EQ(test.p75, d.p75.real());
    EXPECT_EQ(test.p90, d.p90.real());
    EXPECT_EQ(test.p95, d.p95.real());
    EXPECT_EQ(test.p99, d.p99 ? d.p99->real() : 0);
    EXPECT_EQ(test.p999, d.p99_9 ? d.p99_9->real() : 0);
    EXPECT_EQ(1, d.min.real());
    EXPECT_EQ(static_cast<double>(test.count), d.max.real());
    EXPECT_EQ(values.front(), d.first);
    EXPECT_EQ(Number(test.count * (test.count + 1) / 2), d.sum);
  }
}

TEST(Distribution, SpreadByHand) {
  DistributionMaker maker;
  // 2 4 4 4 5 5 7 9: mean 5, squares 32; distances from 4: 0 0 0 1 1 2 3 5.
  const Distribution d = maker.of(samplesOf({int64_t{9}, int64_t{2}, int64_t{4}, int64_t{5},
                                             int64_t{4}, int64_t{5}, int64_t{4}, int64_t{7}}));
  EXPECT_EQ(5, d.mean);
  EXPECT_DOUBLE_EQ(std::sqrt(32.0 / 7), *d.stddev);
  EXPECT_DOUBLE_EQ(std::sqrt(32.0 / 7) / 5, *d.cv);
  EXPECT_EQ(4, d.p50.real());
  EXPECT_EQ(1, d.mad.real());

  const Distribution one = maker.of(samplesOf({int64_t{0}}));
  EXPECT_FALSE(one.stddev);
  EXPECT_FALSE(one.cv);
  const Distribution zero = maker.of(samplesOf({int64_t{-3}, int64_t{3}}));
  EXPECT_TRUE(zero.stddev);
  EXPECT_FALSE(zero.cv);  // the mean is 0
  EXPECT_EQ(0U, maker.of(Samples()).count);

  // A part of the samples: 4 and 9.
  const Distribution part =
      maker.of(samplesOf({int64_t{1}, int64_t{9}, int64_t{4}, int64_t{2}}), {1, 3});
  EXPECT_EQ(2U, part.count);
  EXPECT_EQ(13, part.sum.real());
  EXPECT_EQ(9, part.first.real());
}

TEST(Distribution, HugeNumbersAreExactAndWhatIsTooHugeIsSaid) {
  DistributionMaker maker;
  const Distribution whole = maker.of(samplesOf({UINT64_MAX, UINT64_MAX, INT64_MIN, UINT64_MAX}));
  EXPECT_TRUE(Int128{UINT64_MAX} * 3 + INT64_MIN == whole.sum.whole());
  EXPECT_TRUE(Int128{UINT64_MAX} == whole.p50.whole());
  EXPECT_TRUE(whole.mad == Number());
  EXPECT_FALSE(hasOverflown(whole));

  // Added up plainly, both ones are lost.
  const Distribution sum = maker.of(samplesOf({1.0, 1e100, 1.0, -1e100}));
  EXPECT_EQ(2, sum.sum.real());
  EXPECT_FALSE(sum.sum.isWhole());

  EXPECT_TRUE(hasOverflown(maker.of(samplesOf({1e308, 1e308}))));   // the sum
  EXPECT_TRUE(hasOverflown(maker.of(samplesOf({1e200, -1e200}))));  // the squares
  EXPECT_FALSE(hasOverflown(maker.of(samplesOf({1e307, 1e307}))));
}

TEST(Distribution, EqualsSortingAndIndexingOnRandomSamples) {
  std::mt19937_64 random(7);
  DistributionMaker maker;
  for (int round = 0; round < 300; ++round) {
    const size_t count = 1 + random() % (round % 3 == 0 ? 5 : 600);
    const int64_t span = int64_t{1} << (random() % 62);
    std::vector<Number> values;
    for (size_t i = 0; i < count; ++i) {
      const auto whole = static_cast<int64_t>(random() % static_cast<uint64_t>(span)) - span / 3;
      values.push_back(round % 5 == 0 ? Number(static_cast<double>(whole) / 8) : Number(whole));
    }
    const Distribution d = maker.of(samplesOf(values));
    const auto median = [&](std::vector<Number> list) {
      std::sort(list.begin(), list.end());
      return list[(count + 1) / 2 - 1];
    };
    std::vector<Number> distances;
    distances.reserve(count);
    const Number p50 = median(values);
    for (const Number& value : values) distances.push_back(value < p50 ? p50 - value : value - p50);
    ASSERT_EQ(p50, d.p50) << round;
    ASSERT_EQ(median(distances), d.mad) << round;
    ASSERT_EQ(*std::max_element(values.begin(), values.end()), d.max) << round;
  }
}

TEST(WarmUp, IsTheSlowStartBeforeTheSteadyPart) {
  const auto series = [](size_t slow, size_t count) {
    std::vector<double> values(count);
    for (size_t i = 0; i < count; ++i) {
      const auto step = static_cast<double>(i % 5);  // 1000 to 1004
      values[i] = i < slow ? 3000 - 100 * step : 1000 + step;
    }
    return values;
  };
  EXPECT_EQ(0U, findWarmUp(series(0, 20)));
  EXPECT_EQ(3U, findWarmUp(series(3, 40)));
  EXPECT_EQ(12U, findWarmUp(series(12, 40)));
  EXPECT_EQ(20U, findWarmUp(series(20, 40)));
  EXPECT_EQ(137U, findWarmUp(series(137, 2000)));
  EXPECT_FALSE(findWarmUp(series(0, 19)));   // too short to tell
  EXPECT_FALSE(findWarmUp(series(30, 40)));  // past the half

  // One slow window in ten is no warm-up, two are.
  std::vector<double> values = series(0, 100);
  std::fill(values.begin() + 30, values.begin() + 40, 2000.0);
  EXPECT_EQ(0U, findWarmUp(values));
  std::fill(values.begin() + 20, values.begin() + 30, 2000.0);
  EXPECT_EQ(40U, findWarmUp(values));
}

TEST(Outliers, LieBeyondTheFences) {
  // p25 = 100, p75 = 110: the fences are at 85 and 125, and at 70 and 140.
  std::vector<Number> values(40, Number(int64_t{100}));
  std::fill(values.begin() + 20, values.end(), Number(int64_t{110}));
  for (const int64_t value : {125, 126, 140, 141, 85, 84, 70, 69}) values.emplace_back(value);
  std::string found;
  for (const Outlier& each : findOutliers(samplesOf(values), {0, values.size()}))
    found += std::to_string(each.sample) + (each.isSlow ? "slow" : "fast") +
             (each.isSevere ? "! " : " ");
  EXPECT_EQ("41slow 42slow 43slow! 45fast 46fast 47fast! ", found);

  // A range of no width counts as 1 microsecond.
  std::vector<Number> flat(20, Number(int64_t{50}));
  for (const int64_t value : {51, 52, 53, 54}) flat.emplace_back(value);
  const auto outliers = findOutliers(samplesOf(flat), {0, flat.size()});
  ASSERT_EQ(3U, outliers.size());
  EXPECT_FALSE(outliers[1].isSevere);
  EXPECT_TRUE(outliers[2].isSevere);
  EXPECT_TRUE(findOutliers(Samples(), {0, 0}).empty());
}

TEST(Intervals, StudentQuantiles) {
  EXPECT_NEAR(12.7062047362, studentQuantile(1), 1e-9);
  EXPECT_NEAR(2.7764451052, studentQuantile(4), 1e-9);
  EXPECT_NEAR(2.0095752371, studentQuantile(49), 1e-9);
  EXPECT_NEAR(1.9599639845, studentQuantile(1e9), 1e-7);
}

TEST(Intervals, OfAMedianAreOrderStatistics) {
  const struct {
    size_t count;
    double effective;
    double below, above;  // in ranks, from the median's
  } cases[] = {
      {6, 6, 2, 3},
      {20, 20, 4, 5},
      {50, 50, 7, 8},
      {100, 100, 10, 11},
      // A quarter of the samples counts: of 25 the ranks 8 and 18, times four.
      {100, 25, 19, 20},
  };
  for (const auto& test : cases) {
    std::vector<double> sorted(test.count);
    std::iota(sorted.begin(), sorted.end(), 1.0);
    const auto estimate = estimatePercentile(sorted, 500, test.effective);
    ASSERT_TRUE(estimate) << test.count;
    EXPECT_EQ(static_cast<double>(test.count) / 2, estimate->value);
    EXPECT_EQ(test.below, estimate->below) << test.count;
    EXPECT_EQ(test.above, estimate->above) << test.count;
  }
  const std::vector<double> sorted(100, 7.0);
  EXPECT_FALSE(estimatePercentile(sorted, 500, 5.9));
  EXPECT_FALSE(estimatePercentile(sorted, 990, 100));  // p99 has no upper limit in 100 samples
  EXPECT_TRUE(estimatePercentile(sorted, 900, 100));
}

TEST(Intervals, OfMeansAndChanges) {
  const auto mean = estimateMean(100, 10, 25);
  ASSERT_TRUE(mean);
  EXPECT_NEAR(2.0638985616 * 2, mean->above, 1e-8);
  EXPECT_FALSE(estimateMean(100, 10, 1.5));

  const Interval change = changeInterval({100, 3, 6}, {120, 8, 4});
  EXPECT_DOUBLE_EQ(20 - 10, change.low);  // base above, new below: 6 and 8
  EXPECT_DOUBLE_EQ(20 + 5, change.high);  // 3 and 4

  // Means 10 and 14, variances of the means 1/3 and 4/3; 2.941 degrees of freedom.
  const Interval welch = welchInterval({9, 10, 11}, {12, 14, 16});
  EXPECT_NEAR(4 - 4.1553995032, welch.low, 1e-9);
  EXPECT_NEAR(4 + 4.1553995032, welch.high, 1e-9);
  // Variances whose squares leave the doubles, at either end, and variances that do.
  for (const double scale : {1e-120, 1e120}) {
    const Interval scaled =
        welchInterval({9 * scale, 10 * scale, 11 * scale}, {12 * scale, 14 * scale, 16 * scale});
    EXPECT_NEAR(4 - 4.1553995032, scaled.low / scale, 1e-9);
  }
  EXPECT_EQ(-HUGE_VAL, welchInterval({1e300, -1e300}, {1, 2}).low);
  const Interval flat = welchInterval({5, 5, 5}, {6, 6, 6});
  EXPECT_EQ(1, flat.low);
  EXPECT_EQ(1, flat.high);
}

TEST(Intervals, NeighboursThatAreAlikeCountForLess) {
  EXPECT_EQ(0, rankAutocorrelation({{5, 5, 5, 5}}));
  EXPECT_EQ(0, rankAutocorrelation({{1, 9, 2, 8, 3, 7}}));  // would be negative
  // Ranks 1 to 4: products 0.75 - 0.25 + 0.75 of squares 5.
  EXPECT_DOUBLE_EQ(0.25, rankAutocorrelation({{1, 10, 100, 1000}}));
  // The same in two runs: the middle pair, of -0.25, is none.
  EXPECT_DOUBLE_EQ(0.3, rankAutocorrelation({{1, 10}, {100, 1000}}));
  std::vector<double> drift(1000);
  std::iota(drift.begin(), drift.end(), 0.0);
  EXPECT_EQ(0.95, rankAutocorrelation({drift}));
  EXPECT_DOUBLE_EQ(100.0 / 3, effectiveCount(100, 0.5));
}

TEST(Intervals, ProbabilityOfExceedingCountsTiesHalf) {
  EXPECT_EQ(0.5, probabilityOfExceeding({1, 2, 3}, {1, 2, 3}));
  EXPECT_EQ(1, probabilityOfExceeding({1, 2}, {3, 4}));
  EXPECT_EQ(0, probabilityOfExceeding({3, 4}, {1, 2}));
  // 2 against 1, 2, 2, 3: wins 1, ties 2; 3: wins 3, ties 1.
  EXPECT_DOUBLE_EQ((2 + 3.5) / 8, probabilityOfExceeding({1, 2, 2, 3}, {2, 3}));
}

}  // namespace
}  // namespace ryx::profiling
