// The clock search against plain enumeration, and against what any answer has to be.
#include "platform/cores/search/clock_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <vector>

#include "platform/cores/search/clock_parting.h"
#include "tests/support/adverse_clocks.h"
#include "tests/support/plain_clocks.h"
#include "tests/support/random.h"
#include "tests/support/random_clocks.h"

namespace {

using namespace kdi::cores;
using plain_clocks::number;
using plain_clocks::Number;
using plain_clocks::PlainClocks;
using random_clocks::RandomClocks;

int runs(int few) {
  char const* const many = std::getenv("IPTASKS_LONG_RUNS");
  return many == nullptr ? few : few * std::atoi(many);
}

std::string shown(ClockRequest const& request, ClockAnswer const& answer) {
  std::string text;
  for (ClockReference const& reference : request.references) text += reference.name + " " + reference.mhz.text() + "\n";
  for (std::size_t p = 0; p < request.plls.size(); ++p) {
    Pll const& pll = request.plls[p];
    PllSetting const& setting = answer.plls[p];
    text += pll.name + " feedback " + std::to_string(pll.feedback.front()) + ".." +
            std::to_string(pll.feedback.back()) + " vco " + pll.vco_least.text() + ".." + pll.vco_most.text() + ": ";
    text += !setting.used
                ? "not used\n"
                : std::to_string(setting.reference) + " * " + std::to_string(setting.feedback) + " / " +
                      std::to_string(setting.output_divider) + " / " + std::to_string(setting.crossing) + "\n";
  }
  for (std::size_t c = 0; c < request.clocks.size(); ++c) {
    Clock const& clock = request.clocks[c];
    ClockSetting const& setting = answer.clocks[c];
    text += clock.name + " " + clock.requested.text() + (clock.may_exceed ? "" : "-") +
            (clock.most ? " <= " + clock.most->text() : "") + " from";
    for (std::string const& source : clock.sources) text += " " + source;
    text += setting.met ? ": " + clock.sources[setting.source] : ": none";
    for (const int divider : setting.dividers) text += " / " + std::to_string(divider);
    text += " = " + setting.actual.rounded(6).text() + "\n";
  }
  return text;
}

std::vector<std::size_t> met(ClockAnswer const& answer) {
  std::vector<std::size_t> clocks;
  for (std::size_t c = 0; c < answer.clocks.size(); ++c)
    if (answer.clocks[c].met) clocks.push_back(c);
  return clocks;
}

// Everything that is told around an answer.
void check_reason(ClockRequest const& request, PlainClocks& plain, ClockAnswer const& answer, UnmetClock const& unmet) {
  Clock const& clock = request.clocks[unmet.clock];
  const std::optional<Number> lowest = plain.lowest(unmet.clock, {}, false);
  const bool over_limit = lowest && clock.most && *lowest > number(*clock.most);
  const bool over_request = lowest && !clock.may_exceed && *lowest > number(clock.requested);
  const ClockObstacle obstacle = !lowest      ? ClockObstacle::no_source
                                 : over_limit ? ClockObstacle::limit
                                              : ClockObstacle::request;
  ASSERT_EQ(unmet.obstacle, obstacle);
  ASSERT_TRUE(!lowest || over_limit || over_request);
  ASSERT_EQ(unmet.lowest.has_value(), lowest.has_value());
  if (unmet.lowest) {
    ASSERT_EQ(number(*unmet.lowest), *lowest);
  }
  const std::optional<Number> nearest = clock.may_exceed ? std::nullopt : plain.lowest(unmet.clock, met(answer), true);
  ASSERT_EQ(unmet.nearest.has_value(), nearest.has_value());
  if (nearest) {
    ASSERT_EQ(number(*unmet.nearest), *nearest);
  }
}

TEST(ClockSearch, OfPllsThatAreAlikeFindsWhatTryingEverythingFinds) {
  int shared = 0;  // requests that take several PLLs
  for (int seed = 1; seed <= runs(100); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const ClockRequest request = RandomClocks(static_cast<std::uint64_t>(seed)).alike();
    PlainClocks plain(request);
    const ClockAnswer expected = plain.answer();
    const ClockAnswer answer = search_clocks(request);
    ASSERT_TRUE(answer.plls == expected.plls && answer.clocks == expected.clocks)
        << shown(request, answer) << "against\n"
        << shown(request, expected);
    shared += std::count_if(answer.plls.begin(), answer.plls.end(), [](PllSetting const& p) { return p.used; }) > 1;
  }
  EXPECT_GT(shared, 10);
}

TEST(ClockSearch, FindsWhatTryingEverythingFinds) {
  int ties = 0, exact = 0, crossed = 0;
  std::map<ClockObstacle, int> obstacles;
  std::map<bool, int> nearest;
  for (int seed = 1; seed <= runs(1500); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const ClockRequest request = RandomClocks(static_cast<std::uint64_t>(seed)).small();
    PlainClocks plain(request);
    ClockAnswer expected = plain.answer();
    const ClockAnswer answer = search_clocks(request);
    ASSERT_TRUE(answer.plls == expected.plls && answer.clocks == expected.clocks)
        << shown(request, answer) << "against\n"
        << shown(request, expected);
    for (UnmetClock const& unmet : answer.unmet) {
      check_reason(request, plain, answer, unmet);
      ++obstacles[unmet.obstacle];
      ++nearest[unmet.nearest.has_value()];
    }
    ASSERT_EQ(met(answer).size() + answer.unmet.size(), request.clocks.size());
    const auto used = std::count_if(answer.plls.begin(), answer.plls.end(), [](PllSetting const& p) { return p.used; });
    ties += used < static_cast<std::ptrdiff_t>(request.plls.size());
    exact +=
        std::all_of(answer.clocks.begin(), answer.clocks.end(), [](ClockSetting const& c) { return c.error.num == 0; });
    crossed += std::any_of(answer.plls.begin(), answer.plls.end(), [](PllSetting const& p) { return p.crossing != 0; });
  }
  // The run saw what there is to see.
  EXPECT_GT(ties, 100);
  EXPECT_GT(exact, 50);
  EXPECT_GT(crossed, 30);
  for (const ClockObstacle obstacle : {ClockObstacle::no_source, ClockObstacle::limit, ClockObstacle::request})
    EXPECT_GT(obstacles[obstacle], 5) << static_cast<int>(obstacle);
  EXPECT_GT(nearest[true], 20);
  EXPECT_GT(nearest[false], 20);
}

// The least error that a clock can have, whatever the others ask for: by all settings of its sources, each divided as
// near as its dividers permit, in plain fractions.
Number least_error(ClockRequest const& request, Clock const& clock) {
  ClockRequest alone = request;
  alone.clocks = {clock};
  std::erase_if(alone.plls, [&](Pll const& pll) {
    const auto is_source = [&](std::string const& name) {
      return std::find(clock.sources.begin(), clock.sources.end(), name) != clock.sources.end();
    };
    return !is_source(pll.name) && !(pll.crossing && is_source(pll.crossing->name));
  });
  std::optional<Number> least;
  for (Pll const& pll : alone.plls)
    for (std::string const& source : clock.sources) {
      ClockRequest one = alone;
      one.plls = {pll};
      one.clocks[0].sources = {source};
      const bool is_reference = source == "REF" || source == "ALT";
      if (!is_reference && source != pll.name && !(pll.crossing && pll.crossing->name == source)) continue;
      const ClockAnswer answer = search_clocks(one);
      if (answer.clocks[0].met && (!least || number(answer.clocks[0].error) < *least))
        least = number(answer.clocks[0].error);
    }
  return *least;
}

std::pair<Number, Number> worst_and_sum(ClockAnswer const& answer) {
  Number worst = 0, sum = 0;
  for (ClockSetting const& clock : answer.clocks) {
    if (!clock.met) continue;
    worst = std::max(worst, number(clock.error));
    sum += number(clock.error);
  }
  return {worst, sum};
}

// What is told is what the settings give, and within all limits.
void check_settings(ClockRequest const& request, ClockAnswer const& answer) {
  const auto mhz_of = [&](std::string const& name) -> Number {
    for (ClockReference const& reference : request.references)
      if (reference.name == name) return number(reference.mhz);
    for (std::size_t p = 0; p < request.plls.size(); ++p) {
      Pll const& pll = request.plls[p];
      PllSetting const& setting = answer.plls[p];
      if (pll.name == name) return number(setting.output);
      if (pll.crossing && pll.crossing->name == name) return number(setting.output) / setting.crossing;
    }
    return 0;
  };
  for (std::size_t p = 0; p < request.plls.size(); ++p) {
    Pll const& pll = request.plls[p];
    PllSetting const& setting = answer.plls[p];
    if (!setting.used) continue;
    const Number vco = mhz_of(pll.references[setting.reference]) * setting.feedback;
    EXPECT_EQ(number(setting.vco), vco);
    EXPECT_EQ(number(setting.output), vco / setting.output_divider);
    EXPECT_TRUE(vco >= number(pll.vco_least) && vco <= number(pll.vco_most));
    EXPECT_TRUE(!pll.most || number(setting.output) <= number(*pll.most));
  }
  for (std::size_t c = 0; c < request.clocks.size(); ++c) {
    Clock const& clock = request.clocks[c];
    ClockSetting const& setting = answer.clocks[c];
    if (!setting.met) continue;
    Number actual = mhz_of(clock.sources[setting.source]);
    for (const int divider : setting.dividers) actual /= divider;
    EXPECT_EQ(number(setting.actual), actual);
    EXPECT_EQ(number(setting.error), abs(actual - number(clock.requested)) / number(clock.requested));
    EXPECT_TRUE(!clock.most || actual <= number(*clock.most)) << clock.name;
    EXPECT_TRUE(clock.may_exceed || actual <= number(clock.requested)) << clock.name;
  }
}

// Asked for what these settings give, all clocks are met without error: the bound of 0 is reached.
void check_reachable(ClockRequest request, ClockAnswer const& answer) {
  std::vector<Clock> clocks;
  for (std::size_t c = 0; c < request.clocks.size(); ++c) {
    const Decimal mhz = answer.clocks[c].actual.rounded(9);
    Clock clock = request.clocks[c];
    clock.requested = mhz;
    if (answer.clocks[c].met && plain_clocks::number(mhz) == number(answer.clocks[c].actual)) clocks.push_back(clock);
  }
  ASSERT_GT(clocks.size(), 3U);
  request.clocks = clocks;
  EXPECT_EQ(worst_and_sum(search_clocks(request)), std::pair(Number(0), Number(0)));
}

TEST(ClockSearch, WholeCoresKeepLimitsAndBoundsInAnyOrder) {
  test_support::Seeded<std::mt19937_64> engine(5);
  for (int seed = 1; seed <= runs(8); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const ClockRequest request = RandomClocks(static_cast<std::uint64_t>(seed)).whole();
    const ClockAnswer answer = search_clocks(request);
    check_settings(request, answer);
    const auto [worst, sum] = worst_and_sum(answer);
    Number worst_bound = 0, sum_bound = 0;
    for (std::size_t c = 0; c < request.clocks.size(); ++c) {
      if (!answer.clocks[c].met) continue;
      const Number least = least_error(request, request.clocks[c]);
      worst_bound = std::max(worst_bound, least);
      sum_bound += least;
    }
    EXPECT_GE(worst, worst_bound);
    EXPECT_GE(sum, sum_bound);
    check_reachable(request, answer);
    // The same in another order.
    ClockRequest shuffled = request;
    std::shuffle(shuffled.clocks.begin(), shuffled.clocks.end(), engine);
    std::shuffle(shuffled.plls.begin(), shuffled.plls.end(), engine);
    const ClockAnswer other = search_clocks(shuffled);
    for (std::size_t a = 0; a < request.clocks.size(); ++a)
      for (std::size_t b = 0; b < request.clocks.size(); ++b)
        if (request.clocks[a].name == shuffled.clocks[b].name) {
          EXPECT_EQ(answer.clocks[a], other.clocks[b]);
        }
    for (std::size_t a = 0; a < request.plls.size(); ++a)
      for (std::size_t b = 0; b < request.plls.size(); ++b)
        if (request.plls[a].name == shuffled.plls[b].name) {
          EXPECT_EQ(answer.plls[a], other.plls[b]);
        }
  }
}

// Where one clock is far off the worst error is no help; bounds by prices alone took a thousand times as long.
TEST(ClockSearch, AClockThatIsFarOffMakesOthersNoHarder) {
  const ClockRequest request = adverse_clocks::one_far_off();
  const CountedClocks counted = count_clocks(request);
  check_settings(request, counted.answer);
  const auto [worst, sum] = worst_and_sum(counted.answer);
  EXPECT_EQ(worst, Number(97, 144));  // of VIDEO: 2350 / 24 MHz
  EXPECT_NEAR(sum.convert_to<double>(), 0.696859051433, 1e-12);
  EXPECT_LT(counted.steps, 20'000'000U);
}

TEST(ClockSearch, SeveralClocksFarOffMakeOthersLittleHarder) {
  const ClockRequest request = adverse_clocks::several_far_off();
  const CountedClocks counted = count_clocks(request);
  check_settings(request, counted.answer);
  EXPECT_LT(counted.steps, 60'000'000U);
}

TEST(ClockSearch, RefusesWhatIsNoRequest) {
  const ClockRequest sound = {{{"REF", 30}},
                              {{"A", {"REF"}, {20, 21}, {2}, 500, 700, std::nullopt, std::nullopt}},
                              {{"U", 50, {"A"}, {{1, 2, 3, 4, 5, 6}}, std::nullopt, true}}};
  ASSERT_TRUE(search_clocks(sound).clocks[0].met);
  const auto expect = [&](auto change, std::string const& what) {
    ClockRequest request = sound;
    change(request);
    try {
      search_clocks(request);
      ADD_FAILURE() << "taken: " << what;
    } catch (ClockError const& error) {
      EXPECT_NE(std::string(error.what()).find(what), std::string::npos) << error.what();
    }
  };
  expect([](ClockRequest& r) { r.clocks[0].requested = 0; }, "a frequency above 0 is to be requested");
  expect([](ClockRequest& r) { r.clocks[0].requested = Decimal::of(1, 10); },
         "U: frequencies from 0 to 1000000 MHz with at most 9 places, not 0.0000000001");
  const std::string too_high = ": frequencies from 0 to 1000000 MHz with at most 9 places, not 1000000.000000001";
  const Decimal over = *Decimal::read("1000000.000000001");
  expect([&](ClockRequest& r) { r.references[0].mhz = over; }, "REF" + too_high);
  expect([&](ClockRequest& r) { r.plls[0].vco_most = over; }, "A" + too_high);
  expect([&](ClockRequest& r) { r.plls[0].most = over; }, "A" + too_high);
  expect([&](ClockRequest& r) { r.plls[0].crossing = Crossing{"AX", {1}, over}; }, "AX" + too_high);
  expect([&](ClockRequest& r) { r.clocks[0].most = over; }, "U" + too_high);
  expect([&](ClockRequest& r) { r.plls[0].vco_least = Decimal::of(-1, 9); }, "not -0.000000001");
  expect([](ClockRequest& r) { r.clocks[0].sources = {"B"}; }, "U: no source B");
  expect([](ClockRequest& r) { r.plls[0].references = {"B"}; }, "A: no reference B");
  expect([](ClockRequest& r) { r.clocks.push_back(r.clocks[0]); }, "two clocks are called U");
  expect(
      [](ClockRequest& r) {
        r.references[0].name = "A";
        r.plls[0].references = {"A"};
      },
      "two things are called A");
  for (std::vector<int> const& list : std::vector<std::vector<int>>{{21, 20}, {20, 20}, {0, 1}, {65536}})
    expect([&](ClockRequest& r) { r.plls[0].feedback = list; },
           "A, feedback: values from 1 to 65535, ascending, and none twice");
  expect([](ClockRequest& r) { r.plls[0].output_dividers = {1025}; },
         "A, output divider: values from 1 to 1024, ascending, and none twice");
  expect([](ClockRequest& r) { r.plls[0].crossing = Crossing{"AX", {1025}, {}}; }, "AX: values from 1 to 1024, ");
  expect([](ClockRequest& r) { r.clocks[0].stages = {{(1 << 20) + 1}}; }, "U, divider: values from 1 to 1048576, ");
  expect([](ClockRequest& r) { r.plls[0].feedback = {}; }, "A, feedback has no values");
  expect([](ClockRequest& r) { r.clocks[0].stages = {{1 << 20}, {2}}; }, "U: dividers of at most 1048576 in all");
  expect([](ClockRequest& r) { r.clocks.resize(257, r.clocks[0]); }, "at most 256 clocks");
  // Settings of a PLL: before its limits, with its crossing, and behind its limits.
  const auto from_1_to = [](int most) {
    std::vector<int> list(static_cast<std::size_t>(most));
    std::iota(list.begin(), list.end(), 1);
    return list;
  };
  expect(
      [&](ClockRequest& r) {
        r.plls[0].feedback = from_1_to(65535);
        r.plls[0].output_dividers = from_1_to(257);
      },
      "A: too many settings");
  expect(
      [&](ClockRequest& r) {
        r.plls[0].vco_least = 0;
        r.plls[0].feedback = from_1_to(17);
        r.plls[0].output_dividers = {1};
        r.plls[0].crossing = Crossing{"AX", from_1_to(1024), {}};
      },
      "A: too many settings");
  expect(
      [&](ClockRequest& r) {
        r.plls[0].vco_least = 0;
        r.plls[0].vco_most = 10'000;
        r.plls[0].feedback = from_1_to(300);
        r.plls[0].output_dividers = from_1_to(300);
      },
      "A: too many settings");
  expect([](ClockRequest& r) { r.clocks[0].stages.resize(5, {1}); }, "at most 4 dividers");
  expect([](ClockRequest& r) { r.plls.resize(9, r.plls[0]); }, "at most 8 PLLs");
  // What is just within the limits is taken.
  ClockRequest widest = sound;
  widest.references[0].mhz = 1'000'000;
  widest.plls[0].vco_most = 1'000'000;
  widest.plls[0].feedback = {1, 65535};
  widest.plls[0].output_dividers = {1024};
  widest.clocks[0].stages = {{1 << 19}, {1, 2}};
  widest.clocks.resize(256, widest.clocks[0]);
  for (std::size_t c = 0; c < widest.clocks.size(); ++c) widest.clocks[c].name = "U" + std::to_string(c);
  EXPECT_TRUE(search_clocks(widest).clocks[255].met);
  // Beyond what errors add up to, a setting is none.
  ClockRequest far = sound;
  far.clocks[0] = {"U", Decimal::of(1, 6), {"A"}, {{1}}, std::nullopt, true};
  const ClockAnswer answer = search_clocks(far);
  ASSERT_EQ(answer.unmet.size(), 1U);
  EXPECT_EQ(answer.unmet[0].obstacle, ClockObstacle::request);
}

// Errors of demands with each setting of PLLs, and the least sum that any choice of settings has, by trying all.
struct Errors {
  using Row = std::vector<std::int32_t>;
  std::vector<std::vector<Row>> settings;  // by group of PLLs that have the same
  std::vector<std::size_t> group_of;       // by PLL
  Row limits;

  explicit Errors(test_support::Random& random) {
    constexpr unsigned kDemands = 8, kMost = 1000;
    const auto row = [&](unsigned least) {
      Row errors(kDemands);
      for (std::int32_t& error : errors) error = static_cast<std::int32_t>(least + random.below(kMost - least));
      return errors;
    };
    limits = row(kMost / 3);
    settings.resize(1 + random.below(3));
    for (std::size_t g = 0; g < settings.size(); ++g) {
      for (unsigned n = 1 + random.below(4); n > 0; --n) settings[g].push_back(row(0));
      group_of.insert(group_of.end(), 1 + random.below(2), g);
    }
  }

  // With the first PLLs as `chosen` has them, by what each demand has so far.
  std::int64_t least(std::vector<Row const*> const& chosen, Row const& so_far, std::size_t pll = 0) const {
    if (pll == group_of.size()) return std::accumulate(so_far.begin(), so_far.end(), std::int64_t{0});
    std::int64_t best = std::numeric_limits<std::int64_t>::max();
    for (Row const& setting : settings[group_of[pll]]) {
      if (chosen[pll] != nullptr && chosen[pll] != &setting) continue;
      Row next(so_far.size());
      std::transform(so_far.begin(), so_far.end(), setting.begin(), next.begin(),
                     [](std::int32_t a, std::int32_t b) { return std::min(a, b); });
      best = std::min(best, least(chosen, next, pll + 1));
    }
    return best;
  }
};

// With all demands parted the bound is the least sum itself, with some of them it is never above.
TEST(PartedBound, IsTheLeastSumOrBelow) {
  constexpr std::size_t kFew = 4;
  const int rounds = runs(150);
  test_support::Random random(41);
  int tight = 0;
  for (int round = 0; round < rounds; ++round) {
    const Errors errors(random);
    const bool all = random.one_in(2);
    const auto holds = [&](std::int64_t bound, std::int64_t least) {
      tight += !all && bound == least;
      return all ? bound == least : bound <= least;
    };
    const auto prices_below = [&](Errors::Row const& most) -> Errors::Row {
      if (random.one_in(3)) return most;  // as high as they may be, which is best for one PLL
      Errors::Row prices;
      for (const std::int32_t one : most)
        prices.push_back(static_cast<std::int32_t>(random.below(static_cast<unsigned>(one) + 1)));
      return prices;
    };
    kdi::cores::PartedBound bound;
    const Errors::Row first = prices_below(errors.limits);
    bound.begin(first, errors.limits, all ? errors.limits.size() : kFew);
    for (std::size_t g = 0; g < errors.settings.size(); ++g) {
      bound.add_plls(static_cast<int>(std::count(errors.group_of.begin(), errors.group_of.end(), g)));
      for (Errors::Row const& setting : errors.settings[g]) bound.add_setting(setting.data());
    }
    std::vector<Errors::Row const*> chosen(errors.group_of.size(), nullptr);
    ASSERT_TRUE(holds(bound.bound(), errors.least(chosen, errors.limits))) << round;
    for (std::size_t p = 0; p < chosen.size(); ++p) {
      const std::size_t group = errors.group_of[p];
      const std::size_t n = random.below(static_cast<unsigned>(errors.settings[group].size()));
      chosen[p] = &errors.settings[group][n];
      ASSERT_TRUE(holds(bound.bound_with(group, n), errors.least(chosen, errors.limits))) << round;
      Errors::Row most(first.size());
      for (std::size_t i = 0; i < most.size(); ++i) most[i] = std::min(first[i], (*chosen[p])[i]);
      const Errors::Row prices = prices_below(most);
      bound.set(group, chosen[p]->data(), prices);
      for (std::size_t q = 0; q < chosen.size(); ++q) {
        if (q == p) continue;
        chosen[q] = &errors.settings[errors.group_of[q]].back();
        std::int64_t saved = 0;
        for (std::size_t i = 0; i < prices.size(); ++i) saved += std::max(0, prices[i] - (*chosen[q])[i]);
        ASSERT_TRUE(holds(bound.bound_beside(errors.group_of[q], chosen[q]->data(), saved),
                          errors.least(chosen, errors.limits)))
            << round;
        chosen[q] = nullptr;
      }
      chosen[p] = nullptr;
    }
  }
  EXPECT_GT(tight, 0);  // what is never near would be no bound
}

}  // namespace
