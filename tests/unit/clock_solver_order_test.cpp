// Clocks in any order: the best over all permutations of the request's outputs, each by enumeration.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>

#include "platform/ip/clocking/order.h"
#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_exhaustive.h"
#include "tests/support/clock_primitives.h"
#include "tests/support/clock_requests.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::clocking;
using test_support::Random;
using test_support::exhaustive::compare_sums;
using test_support::exhaustive::Enumeration;
using test_support::exhaustive::equal;
using test_support::exhaustive::kParts;
using test_support::exhaustive::less;
using test_support::exhaustive::Value;

// The objective down to the VCO's frequency and D: what settings of two orders can be told apart by.
bool is_better(Value const& a, Value const& b, Preference preference) {
  if (!equal(a.worst, b.worst)) return less(a.worst, b.worst);
  if (const int order = compare_sums(a.errors, b.errors); order != 0) return order < 0;
  if (const int order = compare_sums(a.misplaced, b.misplaced); order != 0) return order < 0;
  const long long vco_a = 1LL * a.m * b.d, vco_b = 1LL * b.m * a.d;
  if (vco_a != vco_b) return (vco_a > vco_b) == (preference == Preference::low_jitter);
  return a.d < b.d;
}

// Clock i is made by counter counters[i]; every permutation is tried.
std::optional<Value> best_of_all_orders(Primitive const& primitive, Request const& request) {
  std::vector<std::size_t> order(request.outputs.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::optional<Value> best;
  do {
    Request permuted = request;
    for (std::size_t i = 0; i < order.size(); ++i) permuted.outputs[order[i]] = request.outputs[i];
    const auto value = Enumeration(primitive, permuted).best();
    if (value && (!best || is_better(*value, *best, request.preference))) best = value;
  } while (std::next_permutation(order.begin(), order.end()));
  return best;
}

Rational sum_of(std::vector<test_support::exhaustive::Fraction> const& terms) {
  Rational sum = 0;
  for (auto const& term : terms) sum = sum + Rational::of(term.num, term.den);
  return sum;
}

TEST(FreeOrder, IsTheBestOfAllPermutations) {
  Primitive uneven = test_support::eighths_primitive();  // three counters, no two alike
  uneven.name = "uneven";
  uneven.outputs[2].divider = {.min = 2, .max = 20, .step = 2};
  const Primitive primitives[] = {test_support::eighths_primitive(), test_support::sixty_fourths_primitive(),
                                  test_support::stepped_primitive(), test_support::tiny_primitive(), uneven};
  Random random(31);
  constexpr int kRequests = test_support::kSanitized ? 60 : 400;
  int solved = 0, reordered = 0, told = 0;
  for (int i = 0; i < kRequests && !HasFailure(); ++i) {
    Primitive const& primitive = primitives[static_cast<std::size_t>(i) % std::size(primitives)];
    SCOPED_TRACE(primitive.name + ", request " + std::to_string(i));
    Request request = test_support::random_request(random, primitive,
                                                   1 + random.below(static_cast<unsigned>(primitive.outputs.size())));
    if (random.one_in(3)) request.tolerance = Rational(test_support::between(random, 0, 3000), 1000000);
    const auto truth = best_of_all_orders(primitive, request);
    const Result fixed = solve(primitive, request);
    if (fixed.diagnosis) {
      // What a fixed order cannot do and another one can is told, and that one works when it is asked for.
      EXPECT_EQ(fixed.diagnosis->reordered.has_value(), truth.has_value());
      if (fixed.diagnosis->reordered) {
        ++told;
        Request other = request;
        for (std::size_t at = 0; at < request.outputs.size(); ++at)
          other.outputs[static_cast<std::size_t>(fixed.diagnosis->reordered->counters[at])] = request.outputs[at];
        EXPECT_TRUE(solve(primitive, other).solution);
        EXPECT_NE(fixed.error.find("In the order"), std::string::npos);
      }
    }
    request.order_free = true;
    const Result free = solve(primitive, request);
    ASSERT_EQ(free.solution.has_value(), truth.has_value());
    if (!truth) {
      EXPECT_TRUE(free.diagnosis);
      continue;
    }
    ++solved;
    EXPECT_EQ(free.solution->worst_error, Rational::of(truth->worst.num, truth->worst.den));
    EXPECT_EQ(free.solution->multiplier / free.solution->input_divider, Rational(truth->m, kParts * truth->d));
    EXPECT_EQ(free.solution->input_divider, truth->d);
    Rational misplaced = 0;
    for (auto const& output : free.solution->outputs) misplaced = misplaced + output.phase_error + output.duty_error;
    EXPECT_EQ(misplaced, sum_of(truth->misplaced));
    ASSERT_EQ(free.solution->counters.size(), request.outputs.size());
    reordered += std::ranges::is_sorted(free.solution->counters) ? 0 : 1;
  }
  EXPECT_GT(solved, kRequests / 5);
  EXPECT_GT(reordered, kRequests / 20);
  EXPECT_GT(told, 0);
}

TEST(Orders, AreThoseThatDiffer) {
  const auto orders_of = [](Primitive const& primitive, std::size_t clocks) {
    std::vector<Counters> orders;
    for_each_order(primitive, clocks, [&orders](Counters const& counters) { orders.push_back(counters); });
    return orders;
  };
  const Primitive whole = test_support::whole_primitive(), eighths = test_support::eighths_primitive();
  EXPECT_EQ(orders_of(whole, 4), (std::vector<Counters>{{0, 1, 2, 3}}));  // all counters are alike
  EXPECT_EQ(orders_of(eighths, 3), (std::vector<Counters>{{0, 1, 2}, {1, 0, 2}, {1, 2, 0}}));
  EXPECT_EQ(orders_of(eighths, 1), (std::vector<Counters>{{0}}));
}

TEST(FreeOrder, OfEqualsIsTheOneThatWasAsked) {
  Request request;
  request.input_hz = 100000000;
  request.outputs.assign(3, {100000000, 0, Rational(1, 2), ""});
  request.order_free = true;
  const Result result = solve(test_support::eighths_primitive(), request);
  ASSERT_TRUE(result.solution);
  EXPECT_EQ(result.solution->counters, (Counters{0, 1, 2}));
}

}  // namespace
