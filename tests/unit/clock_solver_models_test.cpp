// Properties of the models, of the shipped coefficients, and of exact numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "kdi/common/KdiNumber.h"
#include "kdi/device/host/PartCatalogue.h"
#include "kdi/ip/HIPClkwiz.h"
#include "kdi/ip/HIPClocking.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clocking/models.h"
#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/rational.h"
#include "tests/support/random.h"

namespace {

using namespace kdi::clocking;
using test_support::Random;

// Calls `visit` with every primitive of every speed grade of the shipped devices.
template <class Visit>
void for_each_primitive(Visit visit) {
  auto& catalogue = kdi::device::PartCatalogue::global();
  for (char const* device : {"zrv7030", "zrv9010", "brvn2104", "brvn3716", "brvn5130"}) {
    auto const& part = catalogue.part(catalogue.parts(device).front())->values();
    for (auto const& grade : part.device->speed_grades)
      for (auto const& data : grade.clock_primitives) {
        SCOPED_TRACE(std::string(device) + " " + data.name);
        visit(part, data);
      }
  }
}

TEST(JitterModel, MovesInTheDirectionsThatItStates) {
  int models = 0;
  for_each_primitive([&models](auto const&, auto const& data) {
    Random random(1);
    for (auto const& loop : data.loops) {
      ++models;
      for (int i = 0; i < 100; ++i) {
        const double vco = data.vco_mhz.min + random.below(1000) / 1000.0 * (data.vco_mhz.max - data.vco_mhz.min);
        const double pfd = data.pfd_mhz.min + random.below(1000) / 1000.0 * (data.pfd_mhz.max - data.pfd_mhz.min);
        const double input_jitter = random.below(500);
        const bool spread = random.one_in(2), fine = random.one_in(2);
        const double jitter = jitter_ps(loop, input_jitter, vco, spread, fine);
        EXPECT_TRUE(std::isfinite(jitter));
        EXPECT_GT(jitter, loop.output_ps);
        EXPECT_LT(jitter_ps(loop, input_jitter, vco * 1.1, spread, fine), jitter);
        EXPECT_GT(jitter_ps(loop, input_jitter + 10, vco, spread, fine), jitter);
        EXPECT_GE(jitter_ps(loop, input_jitter, vco, true, fine), jitter);
        EXPECT_GE(jitter_ps(loop, input_jitter, vco, spread, true), jitter);
        EXPECT_GT(phase_error_ps(loop, pfd), loop.phase_error_ps);
        EXPECT_LT(phase_error_ps(loop, pfd * 1.1), phase_error_ps(loop, pfd));
      }
    }
  });
  EXPECT_GT(models, 50);
}

TEST(JitterModel, AWiderLoopPassesTheInputAndHoldsTheVco) {
  for_each_primitive([](auto const&, auto const& data) {
    using Word = HASTJitterCalculatorKelvane;
    auto const *low = data.loop(Word::BW_LOW), *optimized = data.loop(Word::BW_OPTIMIZED),
               *high = data.loop(Word::BW_HIGH);
    ASSERT_TRUE(low != nullptr && optimized != nullptr && high != nullptr);
    constexpr double kMuch = 1e5;  // next to which the VCO's share is nothing
    const auto passed = [](auto const* loop) { return jitter_ps(*loop, kMuch, 1000, false, false); };
    const auto own = [](auto const* loop) { return jitter_ps(*loop, 0, 1000, false, false); };
    EXPECT_LT(passed(low), passed(optimized));
    EXPECT_LT(passed(optimized), passed(high));
    EXPECT_LT(passed(high), kMuch);
    EXPECT_GT(own(low), own(optimized));
    EXPECT_GT(own(optimized), own(high));
    EXPECT_LT(low->pfd_ratio, optimized->pfd_ratio);
    EXPECT_LT(optimized->pfd_ratio, high->pfd_ratio);
  });
}

// Numbers worked out by hand from the formulas.
TEST(JitterModel, AgreesWithItsFormulas) {
  const kdi::device::LoopModel loop{.input_gain = 0.5,
                                    .vco_ps = 80,
                                    .output_ps = 20,
                                    .spread_ps = 40,
                                    .fine_ps = 8,
                                    .phase_error_ps = 50,
                                    .phase_error_pfd_ps = 12};
  EXPECT_DOUBLE_EQ(jitter_ps(loop, 80, 4000, false, false), 60);  // 40, 40 and 20 as squares
  EXPECT_DOUBLE_EQ(jitter_ps(loop, 80, 4000, true, false), 100);
  EXPECT_DOUBLE_EQ(jitter_ps(loop, 80, 4000, true, true), 108);
  EXPECT_DOUBLE_EQ(phase_error_ps(loop, 50), 74);
  EXPECT_DOUBLE_EQ(power_w({"x", 0.5, 0.25, 0.125}, 4, 2), 1.75);
}

TEST(PowerModel, RisesWithEveryFrequency) {
  for_each_primitive([](auto const& part, auto const& data) {
    auto const* const model = part.device->power.clock(data.name);
    ASSERT_NE(model, nullptr);
    const double power = power_w(*model, 1, 0.5);
    EXPECT_GT(power, model->base_w);
    EXPECT_GT(power_w(*model, 1.1, 0.5), power);
    EXPECT_GT(power_w(*model, 1, 0.6), power);
  });
}

// There is one model: what the solver says of a setting, what the Pareto list says and what the commands say.
TEST(Figures, AreTheSameWhoeverIsAsked) {
  auto& catalogue = kdi::device::PartCatalogue::global();
  for (char const* device : {"zrv7030", "brvn2104"}) {
    auto const& part = catalogue.part(catalogue.parts(device).front())->values();
    auto const& data = *part.clock_primitive("MMCM");
    const Primitive primitive = solver_primitive(part, data, false);
    Request request;
    request.input_hz = 100000000;
    request.outputs.resize(1);
    request.outputs[0].frequency_hz = 74250000;
    const Result result = solve(primitive, request);
    ASSERT_TRUE(result.solution);
    Solution const& solution = *result.solution;
    const double vco_mhz = solution.vco_hz.to_double() / 1e6;

    double jitter = 0;
    Ip_Clocking::HIPClockingSoln solver(part.name);
    ASSERT_TRUE(solver.getPeakToPeakJitter(100, vco_mhz, 74.25, HASTJitterCalculatorKelvane::BW_OPTIMIZED, "MMCM",
                                           false, false, 0, &jitter));
    EXPECT_NEAR(jitter, solution.jitter_ps, 1e-9);
    std::string error, bandwidth = "OPTIMIZED";
    Ip_Clkwiz::HIPClkwizImp wizard;
    wizard.setPart(part.name);
    ASSERT_TRUE(wizard.getPkToPkJitter(100, vco_mhz, 74.25, bandwidth, 0, 0, error, &jitter)) << error;
    EXPECT_NEAR(jitter, solution.jitter_ps, 1e-9);

    std::vector<Ip_Clocking::HIPClock> clocks(1);
    clocks[0].frequency = 74.25;
    std::string name = part.name, dict;
    StrVec errors;
    auto kind = Ip_Clocking::CLKPRIM_MMCM;
    ASSERT_TRUE(solver.calculateMandD(clocks, name, errors, 100, 0, kind, true, false, false, false, false, "", 0, 10,
                                      10, dict));
    EXPECT_NE(dict.find("phase_error " + kdi::number::fixed(solution.phase_error_ps, 3)), std::string::npos) << dict;
    EXPECT_NE(dict.find("power " + kdi::number::fixed(solution.power_w, 4)), std::string::npos) << dict;
    EXPECT_NE(dict.find("jitter " + kdi::number::fixed(solution.jitter_ps, 3)), std::string::npos) << dict;
    double phase_error = 0;
    ASSERT_TRUE(solver.getPhaseError(&phase_error, 0));
    EXPECT_NEAR(phase_error, solution.phase_error_ps, 1e-9);

    const auto front = pareto_front(primitive, request, 1000000);
    ASSERT_FALSE(front.empty());
    bool is_listed = false;
    for (ParetoPoint const& point : front) {
      EXPECT_EQ(point.jitter_ps, point.solution.jitter_ps);
      EXPECT_EQ(point.power_w, point.solution.power_w);
      is_listed = is_listed || (point.worst_error == solution.worst_error && point.jitter_ps == solution.jitter_ps);
    }
    EXPECT_TRUE(is_listed) << "the fastest VCO of the least error has the least jitter there";
  }
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
