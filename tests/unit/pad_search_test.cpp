// Plans for pads against trying everything, and against what any plan has to be.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "tests/support/plain_pads.h"
#include "tests/support/random.h"
#include "tests/support/random_pads.h"

namespace {

using namespace kdi::cores;
using plain_pads::PlainPads;
using random_pads::RandomPads;

int runs(int few) {
  char const* const many = std::getenv("IPTASKS_LONG_RUNS");
  return many == nullptr ? few : few * std::atoi(many);
}

std::string shown(std::vector<PadFunction> const& functions, PadPlan const& plan) {
  std::string text;
  for (std::size_t f = 0; f < functions.size(); ++f) {
    text += functions[f].peripheral + "." + functions[f].name + ":";
    for (std::size_t g = 0; g < functions[f].groups.size(); ++g) {
      text += g == functions[f].present ? " *" : " ";
      for (const std::uint32_t pad : functions[f].groups[g].pads) text += std::to_string(pad) + ",";
      text += functions[f].groups[g].closed ? "closed" : "";
    }
    text += " -> " + (plan.groups[f] ? std::to_string(*plan.groups[f]) : "given up") + "\n";
  }
  return text;
}

TEST(PadSearch, FindsWhatTryingEverythingFinds) {
  int conflicted = 0, unmoved = 0, moved = 0, impossible = 0, differ = 0;
  for (int seed = 1; seed <= runs(2500); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<PadFunction> functions = RandomPads(static_cast<std::uint64_t>(seed)).small();
    PlainPads plain(functions);
    const std::optional<PadPlan> expected = plain.best(plain_pads::Rule::free);
    const std::optional<PadPlan> plan = free_assignment(functions);
    ASSERT_EQ(plan.has_value(), expected.has_value());
    if (plan) {
      ASSERT_TRUE(*plan == *expected) << shown(functions, *plan) << "against\n" << shown(functions, *expected);
    }
    const PadPlan stays = nearest_repair(functions, PadRepair::fewest_moved);
    const PadPlan stays_expected = *plain.best(plain_pads::Rule::fewest_moved);
    ASSERT_TRUE(stays == stays_expected) << shown(functions, stays) << "against\n" << shown(functions, stays_expected);
    const PadPlan keeps = nearest_repair(functions, PadRepair::fewest_given_up);
    const PadPlan keeps_expected = *plain.best(plain_pads::Rule::fewest_given_up);
    ASSERT_TRUE(keeps == keeps_expected) << shown(functions, keeps) << "against\n" << shown(functions, keeps_expected);
    conflicted += !conflicts(functions).empty();
    unmoved += plan && plan->moved.empty();
    moved += plan && !plan->moved.empty();
    impossible += !plan;
    differ += stays.given_up.size() > keeps.given_up.size();
  }
  // The run saw what there is to see.
  EXPECT_GT(conflicted, 500);
  EXPECT_GT(unmoved, 100);
  EXPECT_GT(moved, 300);
  EXPECT_GT(impossible, 300);
  EXPECT_GT(differ, 100);
}

// What any plan has to be: nobody on a closed group or on another's pads, peripherals moved and given up together.
void expect_sound(std::vector<PadFunction> const& functions, PadPlan const& plan) {
  std::vector<PadFunction> seated;
  std::set<std::string> moved, given_up;
  ASSERT_EQ(plan.groups.size(), functions.size());
  for (std::size_t f = 0; f < functions.size(); ++f) {
    if (!plan.groups[f]) {
      given_up.insert(functions[f].peripheral);
      continue;
    }
    if (*plan.groups[f] != functions[f].present) moved.insert(functions[f].peripheral);
    EXPECT_FALSE(functions[f].groups[*plan.groups[f]].closed);
    seated.push_back(functions[f]);
    seated.back().present = *plan.groups[f];
  }
  EXPECT_TRUE(conflicts(seated).empty());
  EXPECT_EQ(plan.given_up, std::vector<std::string>(given_up.begin(), given_up.end()));
  EXPECT_EQ(plan.moved, std::vector<std::string>(moved.begin(), moved.end()));
  for (PadFunction const& function : seated) EXPECT_EQ(given_up.count(function.peripheral), 0U);
}

// Forty functions on 78 pads: at every tenth of them that may leave for the fabric, from none to all.
TEST(PadSearch, WholeCoresEndWithinTheirSteps) {
  int oversubscribed = 0;
  for (int seed = 1; seed <= runs(11); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto number = static_cast<std::uint64_t>(seed);
    const std::vector<PadFunction> functions = RandomPads(number).whole(number % 11);
    const PadPlan keeps = nearest_repair(functions, PadRepair::fewest_given_up);
    const PadPlan stays = nearest_repair(functions, PadRepair::fewest_moved);
    for (PadPlan const& plan : {keeps, stays}) {
      expect_sound(functions, plan);
      EXPECT_EQ(plan.unproven_within, 0);
      EXPECT_EQ(plan.least_given_up, plan.given_up.size());
      EXPECT_EQ(text_of(plan), "");
    }
    EXPECT_TRUE(stays.moved.empty());
    EXPECT_LE(keeps.given_up.size(), stays.given_up.size());
    oversubscribed += !keeps.given_up.empty();
    const std::optional<PadPlan> free = free_assignment(functions);
    ASSERT_EQ(free.has_value(), keeps.given_up.empty());
    if (free) {
      EXPECT_TRUE(*free == keeps) << shown(functions, *free) << "against\n" << shown(functions, keeps);
    }
  }
  EXPECT_GE(oversubscribed, 5);
}

// Several functions move and are given up with one peripheral, in thousands of ways: 5 ** 7 on pads that others want
// too.
TEST(PadSearch, WaysToSeatAPeripheralAreNotCountedUp) {
  std::vector<PadFunction> functions;
  for (std::uint32_t f = 0; f < 7; ++f) {
    PadFunction function{"P" + std::to_string(f), "P", {}, 0};
    for (std::uint32_t g = 0; g < 5; ++g) function.groups.push_back({std::to_string(g), {(f + 3 * g) % 8, 8 + f + g}});
    functions.push_back(std::move(function));
  }
  functions.push_back({"Q", "Q", {{"0", {0}}, {"1", {8}}}, 0});
  const std::optional<PadPlan> plan = free_assignment(functions);
  ASSERT_TRUE(plan);
  expect_sound(functions, *plan);
  EXPECT_EQ(plan->unproven_within, 0);
  EXPECT_EQ(plan->moved, std::vector<std::string>{"P"}) << shown(functions, *plan);
  functions.back().groups.pop_back();
  functions.push_back({"R", "R", {{"0", {1}}}, 0});
  EXPECT_FALSE(free_assignment(functions));  // eight pads below 8, nine who each want one of them
  const PadPlan keeps = nearest_repair(functions, PadRepair::fewest_given_up);
  expect_sound(functions, keeps);
  EXPECT_EQ(keeps.given_up, std::vector<std::string>{"P"}) << shown(functions, keeps);
}

// Requests that took seconds, or that had too many ways to be seated, when ways were counted up.
TEST(PadSearch, FixedRequestsKeepTheirAnswers) {
  struct Fixed {
    std::uint64_t seed;
    std::size_t given_up, moved;
  };
  for (Fixed const& fixed : {Fixed{8697, 3, 12}, Fixed{5156, 0, 20}}) {
    SCOPED_TRACE("seed " + std::to_string(fixed.seed));
    const std::vector<PadFunction> functions = RandomPads(fixed.seed).whole(fixed.seed % 11);
    const PadPlan keeps = nearest_repair(functions, PadRepair::fewest_given_up);
    expect_sound(functions, keeps);
    EXPECT_EQ(keeps.unproven_within, 0);
    EXPECT_EQ(keeps.given_up.size(), fixed.given_up);
    EXPECT_EQ(keeps.moved.size(), fixed.moved);
    EXPECT_EQ(free_assignment(functions).has_value(), fixed.given_up == 0);
  }
}

TEST(PadSearch, TellsWhatItHasNotProven) {
  const std::vector<PadFunction> functions = RandomPads(2).whole(2);
  const PadPlan best = nearest_repair(functions, PadRepair::fewest_given_up);
  const PadPlan plan = nearest_repair(functions, PadRepair::fewest_given_up, 3);
  expect_sound(functions, plan);
  EXPECT_EQ(plan.unproven_within, 3);
  EXPECT_LE(plan.least_given_up, best.given_up.size());
  EXPECT_GE(plan.given_up.size(), best.given_up.size());
  EXPECT_EQ(text_of(plan), "not proven within 3 steps: gives up " + std::to_string(plan.given_up.size()) +
                               ", at least " + std::to_string(plan.least_given_up) + " have to be given up; moves " +
                               std::to_string(plan.moved.size()));
}

TEST(PadSearch, SaysThatItHasNoAnswerYet) {
  // Three on two sides, of which no two fit on one; but half of each would fit: it takes a step for either.
  const std::vector<PadFunction> functions = {{"A", "A", {{"0", {1, 2}}, {"1", {4, 5}}}, 0},
                                              {"B", "B", {{"0", {1, 3}}, {"1", {4, 6}}}, 0},
                                              {"C", "C", {{"0", {2, 3}}, {"1", {5, 6}}}, 0}};
  EXPECT_EQ(free_assignment(functions, 2), std::nullopt);
  try {
    free_assignment(functions, 1);
    ADD_FAILURE() << "one step was enough";
  } catch (PadEffortError const& error) {
    EXPECT_STREQ(error.what(), "no free assignment was found, nor proven not to be, within 1 steps");
  }
}

TEST(PadSearch, ConflictsNameBothSidesAndThePads) {
  const std::vector<PadFunction> functions = {{"A", "A", {{"0", {0, 1, 2}}}, 0},
                                              {"B", "B", {{"7", {7}}, {"1", {2, 1, 9}}}, 1},
                                              {"C", "C", {{"x", {}}}, 0},
                                              {"D", "D", {{"9", {9, 200}}}, 0}};
  EXPECT_EQ(conflicts(functions), (std::vector<PadConflict>{{0, 1, {1, 2}}, {1, 3, {9}}}));
}

TEST(PadSearch, TheOrderOfFunctionsHasNoBearing) {
  test_support::Seeded<std::mt19937_64> engine(7);
  for (int seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<PadFunction> functions = RandomPads(static_cast<std::uint64_t>(seed)).small();
    std::vector<PadFunction> shuffled = functions;
    std::shuffle(shuffled.begin(), shuffled.end(), engine);
    const PadPlan plan = nearest_repair(functions, PadRepair::fewest_given_up);
    const PadPlan other = nearest_repair(shuffled, PadRepair::fewest_given_up);
    EXPECT_EQ(plan.moved, other.moved);
    EXPECT_EQ(plan.given_up, other.given_up);
    for (std::size_t f = 0; f < functions.size(); ++f)
      for (std::size_t g = 0; g < functions.size(); ++g)
        if (functions[f].name == shuffled[g].name) {
          EXPECT_EQ(plan.groups[f], other.groups[g]);
        }
  }
}

TEST(PadSearch, RefusesWhatIsNoRequest) {
  const auto refusal = [](std::vector<PadFunction> const& functions) -> std::string {
    try {
      conflicts(functions);
      free_assignment(functions);
    } catch (PadError const& error) {
      return error.what();
    }
    return "taken";
  };
  EXPECT_EQ(refusal({{"A", "A", {{"0", {0}}}, 1}}), "A sits on none of its groups");
  EXPECT_EQ(refusal({{"A", "A", {{"0", {256}}}, 0}}), "pads are numbered from 0 to 255");
  EXPECT_EQ(refusal({{"A", "A", {{"0", {255}}}, 0}}), "taken");
  EXPECT_EQ(refusal({{"A", "A", {{"0", {0}}}, 0}, {"A", "B", {{"0", {1}}}, 0}}), "two functions are called A");
  const auto many = [](int count, std::vector<PadGroup> const& groups) {
    std::vector<PadFunction> all;
    for (int f = 0; f < count; ++f) all.push_back({"F" + std::to_string(f), "P", groups, 0});
    return all;
  };
  EXPECT_EQ(refusal(many(12, {{"0", {}}, {"1", {}}})), "taken");
  EXPECT_EQ(refusal(many(40, {{"0", {}}, {"1", {}}})), "taken");  // one way serves as well as all others
  std::vector<PadFunction> ways;
  for (std::uint32_t f = 0; f < 13; ++f) {
    const std::string number = std::to_string(f);
    ways.push_back({"F" + number, "P", {{"0", {2 * f}}, {"1", {2 * f + 1}}}, 0});
  }
  EXPECT_EQ(refusal(ways), "taken");  // ways are not counted up
  EXPECT_EQ(refusal({{"A", "A", {{"0", {0}}, {"1", {256}}}, 0}}), "pads are numbered from 0 to 255");
  EXPECT_EQ(refusal(many(1000, {{"0", {}}})), "taken");
  EXPECT_EQ(refusal(many(1001, {{"0", {}}})), "at most 1000 functions");
}

}  // namespace
