// What the options of a request do, on cases that can be followed by hand, and what the solver makes of hostile ones.
#include <gtest/gtest.h>

#include "platform/ip/clocking/cover.h"
#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_primitives.h"
#include "tests/support/clock_requests.h"

namespace {

using namespace kdi::clocking;
using test_support::Random;

Request request_of(std::int64_t input_mhz, std::vector<std::int64_t> const& outputs_mhz) {
  Request request;
  request.input_hz = input_mhz * 1000000;
  for (std::int64_t mhz : outputs_mhz) request.outputs.push_back({mhz * 1000000, 0, Rational(1, 2), ""});
  return request;
}

Solution solved(Primitive const& primitive, Request const& request) {
  const Result result = solve(primitive, request);
  EXPECT_TRUE(result.solution) << result.error;
  return result.solution.value_or(Solution{});
}

TEST(Preference, RunsTheVcoFastForJitterAndSlowlyForPower) {
  const Primitive primitive = test_support::whole_primitive();
  Request request = request_of(100, {100, 50});
  const Solution fast = solved(primitive, request);
  EXPECT_EQ(fast.vco_hz, 1600000000);
  request.preference = Preference::low_power;
  const Solution slow = solved(primitive, request);
  EXPECT_EQ(slow.vco_hz, 800000000);
  EXPECT_EQ(slow.worst_error, 0);
  EXPECT_LT(fast.jitter_ps, slow.jitter_ps);
  EXPECT_LT(slow.power_w, fast.power_w);
  EXPECT_EQ(fast.input_divider, 1);  // of the settings with this VCO frequency, the fastest PFD
}

TEST(SecondInput, IsServedByTheSameSetting) {
  const Primitive primitive = test_support::whole_primitive();
  Request request = request_of(100, {100});
  request.second_input_hz = 125000000;
  const Solution solution = solved(primitive, request);
  const Rational gain = solution.multiplier / solution.input_divider;
  EXPECT_TRUE(primitive.vco_hz.contains(gain * 100000000));
  EXPECT_TRUE(primitive.vco_hz.contains(gain * 125000000));
  EXPECT_EQ(solution.vco_hz, 1200000000);  // with 1300 MHz and more the second input's VCO would pass 1600
}

TEST(LowBandwidth, KeepsThePfdInItsOwnRange) {
  const Primitive primitive = test_support::whole_primitive();
  Request request = request_of(400, {200});
  EXPECT_EQ(solved(primitive, request).input_divider, 1);
  request.bandwidth = Bandwidth::low;
  const Solution solution = solved(primitive, request);
  EXPECT_EQ(solution.pfd_hz, 200000000);
  EXPECT_EQ(solution.worst_error, 0);
}

TEST(FinePhase, StepsFinerAndStopsFractions) {
  const Primitive primitive = test_support::large_primitive();
  Request request = request_of(100, {160});
  request.outputs[0].phase_deg = 1;
  request.tolerance = 0;
  const Solution coarse = solved(primitive, request);
  request.fine_phase = true;
  const Solution fine = solved(primitive, request);
  EXPECT_LT(fine.outputs[0].phase_error, coarse.outputs[0].phase_error);
  EXPECT_EQ(fine.multiplier.den(), 1);
  EXPECT_EQ(fine.outputs[0].divider.den(), 1);
  const Rational step = Rational(360, 56) / fine.outputs[0].divider;
  EXPECT_EQ(fine.outputs[0].phase_deg, step * fine.outputs[0].phase_step);
}

TEST(WholeCounters, AreWhole) {
  const Primitive primitive = test_support::eighths_primitive();
  Request request = request_of(80, {70, 40});
  bool was_fractional = false;
  for (std::int64_t mhz : {70, 73, 77, 83, 91}) {
    request.outputs[0].frequency_hz = mhz * 1000000;
    request.whole_counters = false;
    const Solution any = solved(primitive, request);
    was_fractional |= any.multiplier.den() != 1 || any.outputs[0].divider.den() != 1;
    request.whole_counters = true;
    const Solution whole = solved(primitive, request);
    EXPECT_EQ(whole.multiplier.den(), 1);
    EXPECT_EQ(whole.outputs[0].divider.den(), 1);
    EXPECT_LE(any.worst_error, whole.worst_error);
  }
  EXPECT_TRUE(was_fractional);
}

TEST(SpreadSpectrum, KeepsTheLimitsAtBothEndsOfTheSpread) {
  const Primitive primitive = test_support::whole_primitive();
  Request request = request_of(100, {100});
  request.spread = {"centre", 50000};
  const Solution solution = solved(primitive, request);
  EXPECT_EQ(solution.vco_hz, 1500000000);  // 1600 x 1.005 would be too fast
  // 100 MHz / 4 / 500
  EXPECT_EQ(solution.modulation_hz, Rational(50000));
  request.spread = {"down", 50000};
  EXPECT_EQ(solved(primitive, request).vco_hz, 1600000000);
  request.preference = Preference::low_power;
  EXPECT_EQ(solved(primitive, request).vco_hz, 900000000);  // 800 x 0.99 would be too slow
  Request plain = request;
  plain.spread.reset();
  const double spread_ps = primitive.loop(Bandwidth::optimized)->spread_ps;
  EXPECT_LT(solved(primitive, request).jitter_ps, solved(primitive, plain).jitter_ps + spread_ps);  // the VCO is faster
  EXPECT_GT(solved(primitive, request).jitter_ps, solved(primitive, plain).jitter_ps);
  EXPECT_EQ(solved(primitive, plain).modulation_hz, std::nullopt);
}

TEST(SpreadSpectrum, TakesTheNearestModulationWithinItsRange) {
  const Primitive primitive = test_support::whole_primitive();
  Request request = request_of(100, {100});
  request.spread = {"down", Rational(249000)};
  // 25 MHz / 100 = 250 kHz, 25 MHz / 101 = 247.5 kHz
  EXPECT_EQ(solved(primitive, request).modulation_hz, Rational(250000));
  request.spread = {"down", Rational(1000000)};
  EXPECT_EQ(solved(primitive, request).modulation_hz, Rational(250000));
  request.spread = {"down", Rational(1000)};
  EXPECT_EQ(solved(primitive, request).modulation_hz, Rational(25000));
}

TEST(HighSpeedOutput, ChoosesItsModeAlongWithTheVco) {
  const Primitive primitive = test_support::stepped_primitive();
  Request request = request_of(100, {100});
  for (auto const& [mhz, mode] :
       {std::pair<std::int64_t, char const*>{2400, "double"}, {1200, "single"}, {400, "half"}}) {
    request.high_speed_hz = mhz * 1000000;
    const Solution solution = solved(primitive, request);
    EXPECT_EQ(solution.worst_error, 0) << mhz;
    EXPECT_EQ(solution.high_speed_mode, mode);
    ASSERT_TRUE(solution.high_speed);
    EXPECT_EQ(solution.high_speed->frequency_hz, mhz * 1000000);
  }
  request.outputs.clear();  // alone
  EXPECT_EQ(solved(primitive, request).high_speed_mode, "half");
}

TEST(Buffers, LimitWhatTheyCarry) {
  const Primitive primitive = test_support::whole_primitive();
  Request request = request_of(100, {400});
  EXPECT_EQ(solved(primitive, request).worst_error, 0);
  request.outputs[0].buffer = "slow";  // 4 ns: 250 MHz
  EXPECT_LE(solved(primitive, request).outputs[0].frequency_hz, 250000000);
  request.tolerance = Rational(1, 1000);
  const Result result = solve(primitive, request);
  ASSERT_TRUE(result.diagnosis);
  EXPECT_EQ(result.diagnosis->bindings[0].limit, Limit::buffer);
}

// Anything that passes the checks has an answer or a diagnosis, in time; anything else has an error. Frequencies have
// denominators up to the limit here, and exact arithmetic runs out of its 64 bits now and then.
TEST(HostileRequests, AreAnsweredInWords) {
  Random random(31);
  int solutions = 0, diagnoses = 0, errors = 0;
  const auto any_rational = [&random](std::int64_t num, std::int64_t den) {
    return Rational(test_support::between(random, -num / 1000, num), test_support::between(random, 1, den));
  };
  for (int i = 0; i < 1500; ++i) {
    SCOPED_TRACE(i);
    Primitive primitive = i % 2 == 0 ? test_support::whole_primitive() : test_support::stepped_primitive();
    if (random.one_in(10)) primitive.vco_hz.max = any_rational(2000000000, 1000);
    if (random.one_in(10))
      primitive.outputs[0].divider = {static_cast<int>(random.below(50)), static_cast<int>(random.below(50))};
    if (random.one_in(10)) primitive.spread_modes[0].divider_step = static_cast<int>(random.below(2000));
    Request request = test_support::random_request(random, primitive, random.below(4));
    if (random.one_in(4)) request.input_hz = any_rational(2000000000, 1 << 21) * 10;
    if (random.one_in(8)) request.second_input_hz = any_rational(2000000000, 1 << 20);
    if (random.one_in(8)) request.high_speed_hz = any_rational(2000000000, 10000);
    if (random.one_in(4) && !request.outputs.empty()) {
      request.outputs[0].frequency_hz = any_rational(2000000000, 10000);
      request.outputs[0].phase_deg = any_rational(1000000000, 1000000);
      request.outputs[0].duty = any_rational(1000000, 1000000);
    }
    const Result result = solve(primitive, request);
    EXPECT_EQ(result.solution.has_value(), result.error.empty());
    if (result.solution)
      ++solutions;
    else
      ++(result.diagnosis ? diagnoses : errors);
    CoverRequest cover;
    cover.inputs_hz = {request.input_hz};
    cover.outputs = request.outputs;
    cover.options = request;
    const Cover covered = minimal_primitives(primitive, cover);
    EXPECT_TRUE(covered.groups.empty() ? !covered.message.empty() : covered.groups.size() >= covered.at_least);
  }
  EXPECT_GT(solutions, 100);
  EXPECT_GT(diagnoses, 100);
  EXPECT_GT(errors, 100);
}

}  // namespace
