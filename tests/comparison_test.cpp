// SPDX-License-Identifier: Apache-2.0
// Comparisons of runs whose truth is known: simulated ones, and a few by hand.

#include "analysis/comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace ryx::profiling {
namespace {

/// One run, whose entries are lists of samples.
class SampleSource : public ComparisonSource {
 public:
  explicit SampleSource(SourceRow row = {true, "net", "Execute"}) : rows_{std::move(row)} {}

  /// The whole first, with an empty name.
  void add(const std::string& name, const std::vector<double>& values,
           const std::string& unit = "us") {
    samples_.emplace_back();
    for (const double value : values)
      samples_.back().append(value == std::floor(value) ? Number(static_cast<int64_t>(value))
                                                        : Number(value));
    names_.push_back(name);
    SourceEntry entry;
    if (!name.empty()) entry.path = {names_.back()};
    entry.unit = unit;
    entry.distribution = DistributionMaker().of(samples_.back());
    entry.samples = &samples_.back();
    entry.ranges = {{0, values.size()}};
    entries_.push_back(entry);
  }

  const std::string& name() const override { return names_.front(); }
  const std::vector<SourceRow>& rows() const override { return rows_; }
  std::vector<SourceEntry> entries(size_t) override { return entries_; }

 private:
  std::vector<SourceRow> rows_;
  std::deque<std::string> names_;
  std::deque<Samples> samples_;
  std::vector<SourceEntry> entries_;
};

// --- Simulated runs ------------------------------------------------------------------------------

constexpr size_t kOperators = 60;

/// A model of a build on a machine.
struct Build {
  double runDrift = 0;  ///< by how much runs as a whole differ, and each operator of a run
  double operatorDrift = 0;
  int slowOperator = -1;  ///< takes 15 % more
};

/// What the operators of all builds take: a few take most of it.
double costOf(size_t op) { return 40 + 4000.0 / static_cast<double>(op + 1); }

std::unique_ptr<ComparisonSource> simulateRun(const Build& build, std::mt19937_64& random) {
  std::normal_distribution<double> normal;
  constexpr size_t kExecutions = 100;
  std::vector<double> whole(kExecutions, 0);
  std::vector<std::vector<double>> operators(kOperators, std::vector<double>(kExecutions));
  const double run = std::exp(build.runDrift * normal(random));
  std::vector<double> weather(kExecutions);  // what neighbouring executions share
  double state = normal(random);
  for (double& each : weather) {
    state = 0.7 * state + std::sqrt(1 - 0.7 * 0.7) * normal(random);
    each = std::exp(0.02 * state) * (random() % 50 == 0 ? 1.5 : 1);
  }
  for (size_t op = 0; op < kOperators; ++op) {
    double cost = costOf(op) * run * std::exp(build.operatorDrift * normal(random));
    if (static_cast<int>(op) == build.slowOperator) cost *= 1.15;
    for (size_t i = 0; i < kExecutions; ++i) {
      operators[op][i] = std::round(cost * weather[i] * std::exp(0.03 * normal(random)));
      whole[i] += operators[op][i];
    }
  }
  auto source = std::make_unique<SampleSource>();
  source->add("", whole);
  for (size_t op = 0; op < kOperators; ++op) source->add("op" + std::to_string(op), operators[op]);
  return source;
}

Sources simulateRuns(size_t count, const Build& build, std::mt19937_64& random) {
  Sources sources;
  for (size_t i = 0; i < count; ++i) sources.push_back(simulateRun(build, random));
  return sources;
}

#ifdef RYX_SANITIZED
constexpr uint64_t kSeeds = 20;
#else
constexpr uint64_t kSeeds = 200;
#endif

/// What came of comparisons of one simulated build with another.
struct Tally {
  uint64_t worse = 0;            ///< comparisons whose verdict is worse
  uint64_t worseWithEvents = 0;  ///< that would be, if events gated
  uint64_t found = 0;            ///< that name the slow operator, and gate on it
  uint64_t accused = 0;          ///< other operators found worse
};

Tally compareBuilds(size_t runs, const Build& base, const Build& next) {
  const std::string slow = "op" + std::to_string(next.slowOperator);
  Tally tally;
  for (uint64_t seed = 0; seed < kSeeds; ++seed) {
    std::mt19937_64 random(seed);
    const Sources baseRuns = simulateRuns(runs, base, random);
    const Sources nextRuns = simulateRuns(runs, next, random);
    ComparisonOptions options;
    options.gate = Gate::Events;
    const Comparison comparison = compareRuns(baseRuns, nextRuns, options);
    if (comparison.verdict == Verdict::Worse) ++tally.worseWithEvents;
    for (const ComparedRow& row : comparison.rows) {
      if (row.verdict != Verdict::Worse) continue;
      if (row.path.empty())
        ++tally.worse;
      else
        ++(row.path[0] == slow && row.gates ? tally.found : tally.accused);
    }
  }
  return tally;
}

TEST(Comparison, OneBuildIsQuiet) {
  const Tally steady = compareBuilds(1, {}, {});
  EXPECT_LE(steady.worseWithEvents, kSeeds / 20);
  // Three runs a side tell drift from a slower build.
  const Build drifting{0.03, 0.02};
  const Tally three = compareBuilds(3, drifting, drifting);
  EXPECT_LE(three.worse, kSeeds / 50);
  EXPECT_LE(three.worseWithEvents, kSeeds / 20);
}

TEST(Comparison, OneSlowOperatorIsFoundAndNamed) {
  constexpr int kTwoPercent = 9;  // of what an execution takes
  const Build slow{0, 0, kTwoPercent};
  for (const size_t runs : {1U, 3U}) {
    const Tally tally = compareBuilds(runs, {}, slow);
    EXPECT_GE(tally.found, kSeeds * 95 / 100) << runs;
    EXPECT_LE(tally.accused, kSeeds / 20) << runs;
    EXPECT_EQ(0U, tally.worse) << "0.3 % of an execution";
  }
}

// --- By hand -------------------------------------------------------------------------------------

/// `count` samples around `middle`, by up to `spread` to either side, neighbours far apart.
std::vector<double> around(double middle, double spread, size_t count) {
  std::vector<double> values;
  for (size_t i = 0; i < count; ++i) {
    const double place = static_cast<double>(i * 17 % count) / static_cast<double>(count - 1);
    values.push_back(std::round(middle + spread * (2 * place - 1)));
  }
  return values;
}

/// An execution of 10,000 us, and one event in it.
Sources runWith(const std::vector<double>& event, const std::string& unit = "us") {
  auto source = std::make_unique<SampleSource>();
  source->add("", around(10000, 10, 41));
  source->add("event", event, unit);
  Sources sources;
  sources.push_back(std::move(source));
  return sources;
}

const ComparedRow& eventRow(const Comparison& comparison) {
  for (const ComparedRow& row : comparison.rows)
    if (!row.path.empty()) return row;
  return comparison.rows.front();
}

TEST(Comparison, AChangeHasToBeLargeSureAndFelt) {
  const struct {
    const char* what;
    std::vector<double> base, next;
    Verdict verdict;
  } cases[] = {
      {"much slower", around(1000, 20, 41), around(1200, 20, 41), Verdict::Worse},
      {"much faster", around(1200, 20, 41), around(1000, 20, 41), Verdict::Better},
      {"below 10 %", around(1000, 5, 41), around(1099, 5, 41), Verdict::Same},
      {"10 %", around(1000, 5, 41), around(1100, 5, 41), Verdict::Worse},
      {"twice, and not 5 us", around(4, 0, 41), around(8, 0, 41), Verdict::Same},
      {"not 0.1 % of the execution", around(20, 0, 41), around(29, 0, 41), Verdict::Same},
      {"0.1 % of the execution", around(20, 0, 41), around(30, 0, 41), Verdict::Worse},
      {"five samples", around(1000, 5, 41), around(2000, 5, 5), Verdict::Inconclusive},
      {"six samples", around(1000, 5, 41), {2000, 1996, 2004, 1998, 2003, 1999}, Verdict::Worse},
      {"small, however few", around(1000, 5, 2), around(1010, 5, 2), Verdict::Same},
      {"an interval of a few wide ones", around(1000, 900, 11), around(1200, 900, 11),
       Verdict::Inconclusive},
      {"neighbours that are alike", around(1000, 300, 41),
       [] {
         std::vector<double> drift = around(1150, 300, 41);
         std::sort(drift.begin(), drift.end());
         return drift;
       }(),
       Verdict::Inconclusive},
      {"sure, and hardly felt", around(1000, 900, 4001), around(1100, 900, 4001),
       Verdict::Inconclusive},
      {"from nothing", around(0, 0, 41), around(50, 5, 41), Verdict::Worse},
      {"from nothing to 9 us of 10,000", around(0, 0, 41), around(9, 0, 41), Verdict::Same},
  };
  for (const auto& test : cases) {
    const Sources base = runWith(test.base);
    const Sources next = runWith(test.next);
    const Comparison comparison = compareRuns(base, next, {});
    EXPECT_EQ(test.verdict, eventRow(comparison).verdict) << test.what;
    EXPECT_EQ(Verdict::Same, comparison.verdict) << "events do not gate: " << test.what;
  }
}

TEST(Comparison, UnitsAreJudgedByWhatTheyAre) {
  const struct {
    const char* unit;
    double base, next;
    Verdict verdict;
    bool gates;
  } cases[] = {
      {"cycles", 1000, 2000, Verdict::Worse, false}, {"bytes", 1000, 1050, Verdict::Worse, true},
      {"bytes", 1000, 1049, Verdict::Changed, true}, {"bytes", 1000, 900, Verdict::Better, true},
      {"bytes", 0, 1, Verdict::Worse, true},         {"bytes", 7, 7, Verdict::Same, true},
      {"count", 1, 9, Verdict::Changed, false},      {"none", 5, 5, Verdict::Same, false},
      {"17", 5, 50, Verdict::Changed, false},
  };
  for (const auto& test : cases) {
    const Sources base = runWith(around(test.base, 0, 41), test.unit);
    const Sources next = runWith(around(test.next, 0, 41), test.unit);
    const Comparison comparison = compareRuns(base, next, {});
    const ComparedRow& row = eventRow(comparison);
    EXPECT_EQ(test.verdict, row.verdict) << test.unit << test.next;
    EXPECT_EQ(test.gates, row.gates) << test.unit;
    EXPECT_EQ(test.base > 0, row.changePercent.has_value());
    const bool isWorse = test.gates && test.verdict == Verdict::Worse;
    EXPECT_EQ(isWorse                           ? Verdict::Worse
              : test.verdict == Verdict::Better ? Verdict::Better
                                                : Verdict::Same,
              comparison.verdict)
        << test.unit << test.next;
  }
}

TEST(Comparison, WhatHappensOnceIsJudgedByTheThresholdsAlone) {
  const auto phase = [](double duration) {
    auto source = std::make_unique<SampleSource>(SourceRow{false, "net", "Finalize"});
    source->add("", {duration});
    return source;
  };
  for (const double next : {104.0, 106.0}) {
    Sources base = runWith({1, 1});
    Sources other = runWith({1, 1});
    base.push_back(phase(100));
    other.push_back(phase(next));
    const Verdict verdict = next > 105 ? Verdict::Worse : Verdict::Same;
    EXPECT_EQ(verdict, compareRuns(base, other, {}).verdict);
    ComparisonOptions options;
    options.metric = Metric::P99;  // which nothing has that happens once
    const Comparison comparison = compareRuns(base, other, options);
    EXPECT_TRUE(std::any_of(comparison.rows.begin(), comparison.rows.end(), [=](const auto& row) {
      return row.happensOnce && row.gates && row.path.empty() && row.method == "Finalize" &&
             row.metric == Metric::P50 && row.verdict == verdict;
    }));
  }
}

TEST(Comparison, ThreeRunsASideAreJudgedByTheirSpread) {
  const auto runsOf = [](const std::vector<double>& medians) {
    Sources sources;
    for (const double median : medians) {
      auto source = std::make_unique<SampleSource>();
      source->add("", {median, median, median});  // the rule of six samples does not apply
      sources.push_back(std::move(source));
    }
    return sources;
  };
  const struct {
    std::vector<double> base, next;
    Verdict verdict;
  } cases[] = {
      {{1000, 1010, 1020}, {1100, 1110, 1120}, Verdict::Worse},
      {{1100, 1110, 1120}, {1000, 1010, 1020}, Verdict::Better},
      {{1000, 1010, 1020}, {1040, 1050, 1060}, Verdict::Same},  // 4 %
      {{1000, 1010, 1400}, {1300, 1310, 1320}, Verdict::Same},  // of base runs 40 % apart
      {{1300, 1310, 1320}, {1000, 1010, 3000}, Verdict::Inconclusive},
  };
  for (const auto& test : cases) {
    const Sources base = runsOf(test.base);
    const Sources next = runsOf(test.next);
    const Comparison comparison = compareRuns(base, next, {});
    EXPECT_TRUE(comparison.isByRun);
    EXPECT_EQ(test.verdict, comparison.rows[0].verdict) << test.next[0];
    EXPECT_FALSE(comparison.rows[0].probability);
    ComparisonOptions strict;
    strict.isStrict = true;
    EXPECT_EQ(test.verdict == Verdict::Inconclusive ? Verdict::NotComparable : test.verdict,
              compareRuns(base, next, strict).verdict);
  }
  EXPECT_FALSE(compareRuns(runsOf({1, 2}), runsOf({1, 2, 3}), {}).isByRun);
}

TEST(Comparison, OneSidedRowsDecideWhereTheyAreMeantTo) {
  const auto run = [](const std::vector<std::string>& events, const char* graph = "net") {
    auto source = std::make_unique<SampleSource>(SourceRow{true, graph, "Execute"});
    source->add("", around(10000, 10, 41));
    for (const std::string& event : events)
      source->add(event, around(100, 1, 41), event == "memory" ? "bytes" : "us");
    Sources sources;
    sources.push_back(std::move(source));
    return sources;
  };
  const struct {
    const char* what;
    std::vector<std::string> base, next;
    Verdict byGraphs, byEvents, byAll;
  } cases[] = {
      {"reordered", {"a", "b"}, {"b", "a"}, Verdict::Same, Verdict::Same, Verdict::Same},
      {"added", {"a"}, {"a", "b"}, Verdict::Same, Verdict::Same, Verdict::Worse},
      {"removed", {"a", "b"}, {"a"}, Verdict::Same, Verdict::Same, Verdict::Worse},
      {"memory added", {"a"}, {"a", "memory"}, Verdict::Same, Verdict::Same, Verdict::Worse},
      {"memory removed",
       {"a", "memory"},
       {"a"},
       Verdict::NotComparable,
       Verdict::NotComparable,
       Verdict::Worse},
  };
  for (const auto& test : cases) {
    const Sources base = run(test.base);
    const Sources next = run(test.next);
    ComparisonOptions options;
    EXPECT_EQ(test.byGraphs, compareRuns(base, next, options).verdict) << test.what;
    options.gate = Gate::Events;
    EXPECT_EQ(test.byEvents, compareRuns(base, next, options).verdict) << test.what;
    options.gate = Gate::All;
    EXPECT_EQ(test.byAll, compareRuns(base, next, options).verdict) << test.what;
    options.ignores = [](std::string_view name) { return name == "b" || name == "memory"; };
    EXPECT_EQ(Verdict::Same, compareRuns(base, next, options).verdict) << test.what;
    options.ignores = [](std::string_view name) { return name == "net"; };
    EXPECT_EQ(Verdict::NotComparable, compareRuns(base, next, options).verdict) << test.what;
  }

  const Sources base = run({"a", "old", "c"});
  const Sources next = run({"a", "new", "c"});
  const Comparison renamed = compareRuns(base, next, {});
  for (const ComparedRow& row : renamed.rows) {
    if (row.verdict != Verdict::Added) continue;
    ASSERT_TRUE(row.maybeRenamedFrom);
    EXPECT_EQ("old", row.maybeRenamedFrom->front());
    EXPECT_EQ(Number(int64_t{100}), row.cost());
  }
  EXPECT_EQ(Verdict::NotComparable, compareRuns(base, run({}, "other"), {}).verdict);
  EXPECT_EQ(Verdict::NotComparable, compareRuns({}, base, {}).verdict);
}

TEST(Comparison, OptionsMoveTheThresholds) {
  const Sources base = runWith(around(1000, 5, 41));
  const Sources next = runWith(around(1080, 5, 41));
  const auto verdictWith = [&](const std::function<void(ComparisonOptions&)>& set) {
    ComparisonOptions options;
    set(options);
    return eventRow(compareRuns(base, next, options)).verdict;
  };
  EXPECT_EQ(Verdict::Same, verdictWith([](auto&) {}));
  EXPECT_EQ(Verdict::Worse, verdictWith([](auto& options) { options.threshold = 7; }));
  EXPECT_EQ(Verdict::Same, verdictWith([](auto& options) {
              options.threshold = 7;
              options.minMicroseconds = 81;
            }));
  EXPECT_EQ(Verdict::Inconclusive, verdictWith([](auto& options) {
              options.threshold = 7;
              options.noise = 9;
            }));
  EXPECT_EQ(Verdict::Worse, verdictWith([](auto& options) {
              options.thresholds = {{"event", 2}};
            }));
  EXPECT_EQ(Verdict::Same, verdictWith([](auto& options) {
              options.threshold = 7;
              options.thresholds = {{"event", 9}};
            }));
  for (const Metric metric : {Metric::Mean, Metric::P90})
    EXPECT_EQ(Verdict::Worse, verdictWith([&](auto& options) {
                options.metric = metric;
                options.threshold = 7;
              }));
  EXPECT_EQ(Verdict::Inconclusive, verdictWith([](auto& options) {
              options.metric = Metric::P99;  // of 41 samples there is none
            }));

  const auto spreads = measureSpread(runWith(around(1000, 5, 41)), {});
  EXPECT_TRUE(spreads.empty());
}

}  // namespace
}  // namespace ryx::profiling
