// Properties of the models and of exact numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "clock_primitives.h"
#include "ip/clocking/models.h"
#include "ip/clocking/rational.h"
#include "random.h"

namespace {

using namespace kdi::clocking;
using test_support::Random;

LoopPoint random_point(Random& random) {
  LoopPoint point;
  point.input_hz = 1e6 * (10 + random.below(790));
  point.pfd_hz = point.input_hz / (1 + random.below(5));
  point.vco_hz = 1e6 * (600 + random.below(1000));
  point.bandwidth = static_cast<Bandwidth>(random.below(3));
  point.fractional_counters = static_cast<int>(random.below(3));
  point.input_jitter_ps = random.below(200);
  if (random.one_in(3)) {
    point.spread = 0.001 * (1 + random.below(20));
    point.modulation_hz = 1e3 * (25 + random.below(225));
  }
  return point;
}

TEST(JitterModel, MovesInTheDirectionsThatItStates) {
  const JitterModel model = test_support::large_primitive().jitter;
  Random random(1);
  for (int i = 0; i < 2000; ++i) {
    SCOPED_TRACE(i);
    const LoopPoint point = random_point(random);
    const double output = 1e6 * (5 + random.below(700));
    const double jitter = jitter_ps(model, point, output);
    ASSERT_TRUE(std::isfinite(jitter));
    EXPECT_GE(jitter, model.jitter_floor_ps);
    const auto with = [&](auto change) {
      LoopPoint changed = point;
      change(changed);
      return changed;
    };
    EXPECT_LT(jitter_ps(model, with([](LoopPoint& p) { p.vco_hz *= 1.1; }), output), jitter);
    EXPECT_GE(jitter_ps(model, point, output / 1.1), jitter);
    EXPECT_GE(jitter_ps(model, with([](LoopPoint& p) { p.input_jitter_ps += 10; }), output), jitter);
    EXPECT_GT(jitter_ps(model, with([](LoopPoint& p) { p.fractional_counters += 1; }), output), jitter);
    EXPECT_GT(jitter_ps(model, with([](LoopPoint& p) { p.spread += 0.001, p.modulation_hz += 1000; }), output), jitter);

    const double error = phase_error_ps(model, point);
    EXPECT_GE(error, model.phase_floor_ps);
    EXPECT_LT(phase_error_ps(model, with([](LoopPoint& p) { p.vco_hz *= 1.1; })), error);
    EXPECT_LT(phase_error_ps(model, with([](LoopPoint& p) { p.pfd_hz *= 1.1; })), error);
  }
}

TEST(JitterModel, AWiderLoopPassesTheInputAndHoldsTheVco) {
  JitterModel model = test_support::large_primitive().jitter;
  Random random(2);
  for (int i = 0; i < 500; ++i) {
    SCOPED_TRACE(i);
    LoopPoint point = random_point(random);
    const double output = 1e6 * (5 + random.below(700));
    LoopPoint low = point, high = point;
    low.bandwidth = Bandwidth::low;
    high.bandwidth = Bandwidth::high;
    JitterModel quiet = model;  // nothing but the input's jitter
    quiet.vco_kappa = quiet.pfd_noise_ps = 0;
    low.input_jitter_ps = high.input_jitter_ps = 100;
    EXPECT_LT(jitter_ps(quiet, low, output), jitter_ps(quiet, high, output));
    JitterModel free = model;  // nothing but the VCO's
    free.pfd_noise_ps = 0;
    low.input_jitter_ps = high.input_jitter_ps = 0;
    EXPECT_GT(jitter_ps(free, low, output), jitter_ps(free, high, output));
  }
}

// Numbers worked out by hand from the formulas.
TEST(JitterModel, AgreesWithItsFormulas) {
  JitterModel model;
  model.pfd_noise_ps = 2;
  model.loop_ratio_optimized = 0.25;
  model.peak_factor = 10;
  model.jitter_floor_ps = 5;
  LoopPoint point{.input_hz = 100e6, .pfd_hz = 50e6, .vco_hz = 1e9};
  EXPECT_DOUBLE_EQ(jitter_ps(model, point, 100e6), 5 + 10 * 2 * 0.5);
  model.fraction_phase = 0.125;
  point.fractional_counters = 2;
  EXPECT_DOUBLE_EQ(jitter_ps(model, point, 100e6), 15 + 2 * 125);
  point.spread = 0.01;
  point.modulation_hz = 100e3;
  EXPECT_NEAR(jitter_ps(model, point, 100e6), 265 + 2 * 0.01 * 1e5 * 1e-16 * 1e12, 1e-9);
  model = {};
  model.vco_kappa = 1e-8;  // w T = pi / 10 at a PFD of 50 MHz and a ratio of 1/20, T = 20 ns
  model.peak_factor = 1;
  point = {.input_hz = 50e6, .pfd_hz = 50e6, .vco_hz = 4e9};
  const double w = 2 * M_PI * 0.05 * 50e6;
  EXPECT_NEAR(jitter_ps(model, point, 50e6), 1e4 * std::sqrt(0.25 * (1 - std::exp(-w * 20e-9)) / w), 1e-9);
  model.phase_floor_ps = 30;
  model.pfd_offset = 0.01;
  EXPECT_NEAR(phase_error_ps(model, point), 30 + 200 + jitter_ps(model, point, 50e6) / 2, 1e-9);
  EXPECT_DOUBLE_EQ(ui_to_ps(0.01, 100e6), 100);
}

TEST(PowerModel, RisesWithEveryFrequencyAndOutput) {
  const PowerModel model = test_support::large_primitive().power;
  Random random(3);
  for (int i = 0; i < 500; ++i) {
    LoopPoint point = random_point(random);
    const double power = loop_power_mw(model, point);
    const double output = output_power_mw(model, point, 1e8);
    EXPECT_GT(power, model.static_mw);
    EXPECT_GT(output, 0);
    EXPECT_GT(output_power_mw(model, point, 1.1e8), output);
    point.vco_hz *= 1.1;
    EXPECT_GT(loop_power_mw(model, point), power);
    EXPECT_GT(output_power_mw(model, point, 1e8), output);
    const double faster = loop_power_mw(model, point);
    point.pfd_hz *= 1.1;
    EXPECT_GT(loop_power_mw(model, point), faster);
  }
  const PowerModel plain{
      .static_mw = 10, .per_vco = 0.1, .per_pfd = 0.2, .per_counter = 0.01, .per_output = 0.05, .per_fraction = 0.02};
  const LoopPoint point{.input_hz = 100e6, .pfd_hz = 50e6, .vco_hz = 1e9, .fractional_counters = 1};
  EXPECT_DOUBLE_EQ(loop_power_mw(plain, point), 10 + 100 + 10 + 20);
  EXPECT_DOUBLE_EQ(output_power_mw(plain, point, 200e6), 10 + 10);
}

TEST(ExactNumbers, CompareAndComputeWithoutRounding) {
  EXPECT_EQ(Rational(6, -4), Rational(-3, 2));
  EXPECT_EQ(Rational(1, 3) + Rational(1, 6), Rational(1, 2));
  EXPECT_EQ(Rational(1, 3) - Rational(1, 2), Rational(-1, 6));
  EXPECT_EQ(Rational(-2, 3) / Rational(4, 9), Rational(-3, 2));
  EXPECT_EQ(Rational(-7, 2).floor(), -4);
  EXPECT_EQ(Rational(-7, 2).ceil(), -3);
  EXPECT_EQ(Rational(7, 2).floor(), 3);
  EXPECT_EQ(Rational(7, 2).ceil(), 4);
  constexpr std::int64_t kLarge = std::numeric_limits<std::int64_t>::max();
  EXPECT_LT(Rational(kLarge - 1, kLarge), Rational(kLarge, kLarge - 1));
  EXPECT_LT(Rational(kLarge - 2, kLarge - 1), Rational(kLarge - 1, kLarge));
  EXPECT_EQ(Rational(kLarge, 3) * Rational(3, kLarge), 1);
  EXPECT_THROW(Rational(kLarge) + 1, std::overflow_error);
  EXPECT_THROW(Rational(1, kLarge) * Rational(1, 2), std::overflow_error);
  EXPECT_THROW(Rational(1) / 0, std::domain_error);
  EXPECT_EQ(Rational::nearest(33.3333333, 1000000), Rational(33333333, 1000000));
  EXPECT_THROW(Rational::nearest(std::numeric_limits<double>::quiet_NaN(), 1), std::overflow_error);
  EXPECT_THROW(Rational::nearest(1e30, 1), std::overflow_error);
}

TEST(ExactNumbers, WriteDecimals) {
  EXPECT_EQ(Rational(0).text(), "0");
  EXPECT_EQ(Rational(-1, 3).text(), "-0.333333");
  EXPECT_EQ(Rational(2, 3).text(2), "0.67");
  EXPECT_EQ(Rational(199999, 100000).text(3), "2");
  EXPECT_EQ(Rational(1200).text(), "1200");
  EXPECT_EQ(Rational(10050, 1000).text(), "10.05");
  EXPECT_EQ(Rational(-1, 10000).text(3), "0");
  EXPECT_EQ(Rational(5, 2).text(0), "3");
}

TEST(ExactNumbers, CompareSumsOfAnyWidth) {
  constexpr std::int64_t kPrimes[] = {4611686018427387847, 4611686018427387817, 4611686018427387787,
                                      4611686018427387761};
  std::vector<Rational> a, b;
  for (std::int64_t prime : kPrimes) {
    a.emplace_back(1, prime);
    b.insert(b.begin(), Rational(1, prime));
  }
  EXPECT_EQ(compare_sums(a, b), std::strong_ordering::equal);
  b[0] = Rational(1, kPrimes[3] + 1);
  EXPECT_EQ(compare_sums(a, b), std::strong_ordering::greater);
  EXPECT_EQ(compare_sums(b, a), std::strong_ordering::less);
  const std::vector<Rational> thirds{Rational(1, 3), Rational(1, 3), Rational(1, 3)}, one{Rational(0), Rational(1)};
  EXPECT_EQ(compare_sums(thirds, one), std::strong_ordering::equal);
}

}  // namespace
