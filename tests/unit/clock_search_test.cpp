// The clock search against plain enumeration, and against what any answer has to be.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/plain_clocks.h"
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

}  // namespace
