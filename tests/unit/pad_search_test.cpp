// Plans for pads against trying everything, and against what any plan has to be.
#include <gtest/gtest.h>

#include <cstdlib>

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
  EXPECT_THROW(conflicts({{"A", "A", {{"0", {0}}}, 1}}), PadError);
  EXPECT_THROW(conflicts({{"A", "A", {{"0", {256}}}, 0}}), PadError);
  EXPECT_THROW(free_assignment({{"A", "A", {{"0", {0}}}, 0}, {"A", "B", {{"0", {0}}}, 0}}), PadError);
  std::vector<PadFunction> many;
  for (int f = 0; f < 13; ++f) many.push_back({"F" + std::to_string(f), "P", {{"0", {}}, {"1", {}}}, 0});
  EXPECT_THROW(free_assignment(many), PadError);
}

}  // namespace
