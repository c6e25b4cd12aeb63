// The solver against exhaustive enumeration: the same setting, always. The last level of the objective leaves no two
// settings alike, so the settings themselves are compared.
#include <gtest/gtest.h>

#include <set>

#include "kdi/device/host/PartCatalogue.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_exhaustive.h"
#include "tests/support/clock_primitives.h"
#include "tests/support/clock_requests.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::clocking;
using test_support::Random;
using test_support::exhaustive::Enumeration;
using test_support::exhaustive::kParts;
using test_support::exhaustive::Value;

struct Tally {
  int solved = 0;
  int failed = 0;
};

void expect_same(Solution const& solution, Value const& truth) {
  EXPECT_EQ(solution.multiplier, Rational(truth.m, kParts));
  EXPECT_EQ(solution.input_divider, truth.d);
  std::vector<OutputSolution> outputs = solution.outputs;
  if (solution.high_speed) outputs.push_back(*solution.high_speed);
  ASSERT_EQ(outputs.size(), truth.o.size());
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    EXPECT_EQ(outputs[i].divider, Rational(truth.o[i], kParts)) << "output " << i;
    EXPECT_EQ(outputs[i].frequency_error, Rational::of(truth.errors[i].num, truth.errors[i].den)) << "output " << i;
    EXPECT_EQ(outputs[i].phase_error + outputs[i].duty_error,
              Rational::of(truth.misplaced[i].num, truth.misplaced[i].den))
        << "output " << i;
  }
  EXPECT_EQ(solution.worst_error, Rational::of(truth.worst.num, truth.worst.den));
}

template <class Truth>
Tally compare(Primitive const& primitive, unsigned seed, int requests, Truth truth_of) {
  EXPECT_EQ(check(primitive), std::nullopt);
  Random random(seed);
  Tally tally;
  for (int i = 0; i < requests && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE(primitive.name + ", request " + std::to_string(i));
    const Request request = test_support::random_request(
        random, primitive, 1 + random.below(static_cast<unsigned>(primitive.outputs.size())));
    const auto fault = check(primitive, request);
    EXPECT_EQ(fault, std::nullopt) << *fault;
    const Result result = solve(primitive, request);
    const std::optional<Value> truth = truth_of(Enumeration(primitive, request));
    EXPECT_EQ(result.solution.has_value(), truth.has_value()) << result.error;
    if (result.solution && truth) expect_same(*result.solution, *truth);
    ++(truth ? tally.solved : tally.failed);
  }
  return tally;
}

// Not all of the requests may be of one kind, or nothing is tested.
void expect_both_kinds(Tally const& tally) {
  EXPECT_GT(tally.solved, (tally.solved + tally.failed) / 3);
  EXPECT_GT(tally.failed, (tally.solved + tally.failed) / 100);
}

constexpr int kRequestsEach = test_support::kSanitized ? 60 : 1250;  // in ten tests: 12,500

constexpr int kRequestsOfMany = test_support::kSanitized ? 6 : 20;  // where enumeration takes a second

class SolverIsOptimal : public testing::TestWithParam<unsigned> {};

TEST_P(SolverIsOptimal, WithWholeCounters) {
  expect_both_kinds(compare(test_support::whole_primitive(), GetParam(), kRequestsEach,
                            [](Enumeration const& all) { return all.best(); }));
}
TEST_P(SolverIsOptimal, WithEighths) {
  expect_both_kinds(compare(test_support::eighths_primitive(), GetParam(), kRequestsEach,
                            [](Enumeration const& all) { return all.best(); }));
}
TEST_P(SolverIsOptimal, WithSixtyFourths) {
  expect_both_kinds(compare(test_support::sixty_fourths_primitive(), GetParam(), kRequestsEach,
                            [](Enumeration const& all) { return all.best(); }));
}
TEST_P(SolverIsOptimal, WithStepsAndAHighSpeedOutput) {
  expect_both_kinds(compare(test_support::stepped_primitive(), GetParam(), kRequestsEach,
                            [](Enumeration const& all) { return all.best(); }));
}
// Here the truth is the product of all outputs' dividers, which the other tests and the solver suppose is not needed.
TEST_P(SolverIsOptimal, OverTheProductOfAllDividers) {
  expect_both_kinds(compare(test_support::tiny_primitive(), GetParam(), kRequestsEach / 2,
                            [](Enumeration const& all) { return all.best_of_product(); }));
}
TEST_P(SolverIsOptimal, OverTinyPrimitives) {
  expect_both_kinds(compare(test_support::tiny_primitive(), GetParam() + 100, kRequestsEach / 2,
                            [](Enumeration const& all) { return all.best(); }));
}
INSTANTIATE_TEST_SUITE_P(Seeds, SolverIsOptimal, testing::Values(1u, 2u));

TEST(SolverOnALargePrimitive, IsOptimalToo) {
  const Tally tally =
      compare(test_support::large_primitive(), 3, kRequestsOfMany, [](Enumeration const& all) { return all.best(); });
  EXPECT_GT(tally.solved, kRequestsOfMany / 3);
}

// The steps and ranges that the device data state. Spread modes and buffers are those that the random requests name.
TEST(SolverOnThePrimitivesOfDevices, IsOptimalToo) {
  const Primitive named = test_support::large_primitive();
  auto& catalogue = kdi::device::PartCatalogue::global();
  std::set<int> fractions;
  for (char const* device : {"zrv7030", "zrv9010", "brvn3716"}) {
    auto const& part = catalogue.part(catalogue.parts(device).front())->values();
    for (auto const& data : part.speed->clock_primitives) {
      Primitive primitive = solver_primitive(part, data, false);
      fractions.insert(primitive.multiplier.fraction);
      EXPECT_EQ(primitive.multiplier.fraction, data.multiply.steps_per_unit);
      primitive.spread_modes = named.spread_modes;
      primitive.buffers = named.buffers;
      // The more settings there are, the fewer requests there is time to enumerate.
      const int requests = primitive.multiplier.fraction == 64 ? 2 : kRequestsOfMany;
      const Tally tally = compare(primitive, 4, requests, [](Enumeration const& all) { return all.best(); });
      EXPECT_GT(tally.solved, 0) << device << ' ' << data.name;
    }
  }
  EXPECT_EQ(fractions, (std::set<int>{1, 8, 64}));
}

}  // namespace
