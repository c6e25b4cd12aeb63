// The questions beside the best setting, each against plain enumeration.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <tuple>

#include "platform/ip/clocking/queries.h"
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
using test_support::exhaustive::values_of;

struct Figures {
  Rational error;
  double jitter_ps;
  double power_w;
  int d, m;
};

// The figures of a setting by the formulas that the device data state, written out here.
Figures figures_of(Primitive const& primitive, Request const& request, Value const& value) {
  using Word = HASTJitterCalculatorKelvane;
  const auto bandwidth = request.bandwidth == Bandwidth::low ? Word::BW_LOW : Word::BW_OPTIMIZED;
  auto const& loop = *std::ranges::find(primitive.loops, bandwidth, &kdi::device::LoopModel::bandwidth);
  // Equal ratios of counters are equal numbers.
  const double input_mhz = request.input_hz.to_double() / 1e6;
  const double vco_mhz = input_mhz * (value.m / static_cast<double>(kParts * value.d));
  Figures figures{Rational::of(value.worst.num, value.worst.den), 0, 0, value.d, value.m};
  figures.jitter_ps =
      std::hypot(loop.input_gain * request.input_jitter_ps, loop.vco_ps * std::sqrt(1000 / vco_mhz), loop.output_ps) +
      (request.spread ? loop.spread_ps : 0) + (request.fine_phase ? loop.fine_ps : 0);
  figures.power_w = primitive.power->base_w + primitive.power->w_per_vco_ghz * vco_mhz / 1000;
  for (int o : value.o)
    figures.power_w +=
        primitive.power->w_per_output_ghz * input_mhz * (value.m / (static_cast<double>(value.d) * o)) / 1000;
  return figures;
}

// A figure as it is printed, without its point.
long long printed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  std::string digits(text);
  std::erase(digits, '.');
  return std::stoll(digits);
}

using Told = std::tuple<long long, long long, long long>;

Told told(Figures const& figures) {
  return {printed(figures.error.to_double() * 1e6, 3), printed(figures.jitter_ps, 3), printed(figures.power_w, 4)};
}

bool dominates(Told const& a, Told const& b) {
  return a != b && std::get<0>(a) <= std::get<0>(b) && std::get<1>(a) <= std::get<1>(b) &&
         std::get<2>(a) <= std::get<2>(b);
}

std::vector<Figures> brute_front(Primitive const& primitive, Request const& request) {
  const Enumeration all(primitive, request);
  std::vector<std::pair<Told, Figures>> points;
  all.for_each_loop([&](int m, int d) {
    if (const auto value = all.best_of(m, d)) {
      const Figures figures = figures_of(primitive, request, *value);
      points.emplace_back(told(figures), figures);
    }
  });
  std::vector<std::pair<Told, Figures>> front;
  for (auto const& point : points) {
    const bool is_beaten = std::ranges::any_of(points, [&point](auto const& other) {
      return dominates(other.first, point.first) ||
             (other.first == point.first &&
              std::pair(other.second.d, other.second.m) < std::pair(point.second.d, point.second.m));
    });
    if (!is_beaten) front.push_back(point);
  }
  std::ranges::sort(front, {}, [](auto const& point) { return point.first; });
  std::vector<Figures> figures;
  for (auto const& point : front) figures.push_back(point.second);
  return figures;
}

// Power that never lies in the middle between two figures as they are printed, where the last bit of a sum decides.
Primitive without_ties(Primitive primitive) {
  primitive.power->base_w = 0.0500012347;
  primitive.power->w_per_vco_ghz = 0.0300007151;
  primitive.power->w_per_output_ghz = 0.0100003761;
  return primitive;
}

constexpr std::size_t kAll = 1000000;  // more than any front here has

// Settings by the thousand, which are looked through piece by piece.
TEST(ParetoFront, IsTheBruteForceFrontOfManySettings) {
  Primitive primitive = without_ties(test_support::large_primitive());
  primitive.multiplier.fraction = test_support::kSanitized ? 4 : 16;
  Request request;
  request.input_hz = 100000000;
  request.outputs.push_back({74000000, 0, Rational(1, 2), ""});
  int settings = 0;
  Enumeration(primitive, request).for_each_loop([&](int, int) { ++settings; });
  EXPECT_GT(settings, 800);
  const std::vector<Figures> truth = brute_front(primitive, request);
  const std::vector<ParetoPoint> front = pareto_front(primitive, request, kAll);
  ASSERT_EQ(front.size(), truth.size());
  for (std::size_t at = 0; at < front.size(); ++at) {
    EXPECT_EQ(front[at].worst_error, truth[at].error);
    EXPECT_EQ(front[at].solution.input_divider, truth[at].d);
    EXPECT_EQ(front[at].solution.multiplier, Rational(truth[at].m, kParts));
  }
}

TEST(ParetoFront, IsTheBruteForceFrontOnAThousandRequests) {
  const Primitive primitives[] = {test_support::whole_primitive(), test_support::eighths_primitive(),
                                  test_support::sixty_fourths_primitive(), test_support::stepped_primitive(),
                                  test_support::tiny_primitive()};
  Random random(7);
  std::size_t points = 0;
  constexpr int kRequests = test_support::kSanitized ? 100 : 1000;
  for (int i = 0; i < kRequests && !HasFailure(); ++i) {
    SCOPED_TRACE("request " + std::to_string(i));
    const Primitive primitive = without_ties(primitives[static_cast<std::size_t>(i) % std::size(primitives)]);
    const Request request = test_support::random_request(
        random, primitive, 1 + random.below(static_cast<unsigned>(primitive.outputs.size())));
    const std::vector<Figures> truth = brute_front(primitive, request);
    const std::vector<ParetoPoint> front = pareto_front(primitive, request, kAll);
    ASSERT_EQ(front.size(), truth.size());
    points += front.size();
    for (std::size_t at = 0; at < front.size(); ++at) {
      EXPECT_EQ(front[at].worst_error, truth[at].error);
      EXPECT_DOUBLE_EQ(front[at].jitter_ps, truth[at].jitter_ps);
      EXPECT_DOUBLE_EQ(front[at].power_w, truth[at].power_w);
      EXPECT_EQ(front[at].solution.input_divider, truth[at].d);
      EXPECT_EQ(front[at].solution.multiplier, Rational(truth[at].m, kParts));
    }
  }
  EXPECT_GT(points, std::size_t{2} * kRequests);  // fronts, not single points
}

Request three_clocks() {
  Request request;
  request.input_hz = 100000000;
  for (std::int64_t mhz : {74, 148, 33}) request.outputs.push_back({mhz * 1000000, 0, Rational(1, 2), ""});
  return request;
}

TEST(ParetoFront, BeginsWithTheLeastError) {
  const Primitive primitive = test_support::large_primitive();
  const auto front = pareto_front(primitive, three_clocks(), kAll);
  ASSERT_FALSE(front.empty());
  EXPECT_EQ(front[0].worst_error, solve(primitive, three_clocks()).solution->worst_error);
}

TEST(ParetoFront, OfMoreThanAreAskedForIsChosenEvenly) {
  const Primitive primitive = test_support::large_primitive();
  const auto all = pareto_front(primitive, three_clocks(), kAll);
  ASSERT_GT(all.size(), 20U);
  const auto chosen = [&](std::size_t most) {
    std::vector<std::size_t> indices;
    for (ParetoPoint const& point : pareto_front(primitive, three_clocks(), most))
      for (std::size_t i = 0; i < all.size(); ++i)
        if (all[i].solution.multiplier == point.solution.multiplier &&
            all[i].solution.input_divider == point.solution.input_divider)
          indices.push_back(i);
    return indices;
  };
  using Indices = std::vector<std::size_t>;
  const std::size_t last = all.size() - 1;
  EXPECT_EQ(chosen(1), (Indices{0}));
  EXPECT_EQ(chosen(2), (Indices{0, last}));
  EXPECT_EQ(chosen(4), (Indices{0, last / 3, 2 * last / 3, last}));
  for (std::size_t most : {last, last + 1, last + 2}) {
    const Indices indices = chosen(most);
    EXPECT_EQ(indices.size(), std::min(most, all.size()));
    EXPECT_TRUE(std::ranges::is_sorted(indices, std::less_equal<>())) << "none twice";
    EXPECT_EQ(indices.front(), 0U);
    EXPECT_EQ(indices.back(), last);
  }
}

TEST(InputRanges, HoldExactlyTheInputsThatASettingTakes) {
  Random random(8);
  int inside = 0, outside = 0;
  for (Primitive const& primitive :
       {test_support::whole_primitive(), test_support::eighths_primitive(), test_support::sixty_fourths_primitive(),
        test_support::stepped_primitive(), test_support::tiny_primitive()})
    for (int i = 0; i < 100; ++i) {
      Request request = test_support::random_request(random, primitive, 1);
      request.second_input_hz.reset();
      if (request.spread) request.spread->modulation_hz = 60000;
      const std::vector<Range> ranges = input_ranges(primitive, request);
      for (std::size_t at = 1; at < ranges.size(); ++at) EXPECT_LT(ranges[at - 1].max, ranges[at].min);
      for (int probe = 0; probe < 20; ++probe) {
        request.input_hz = test_support::between(random, 10000000, 1000000000);
        // Ends of ranges, and what lies one hertz outside, are the likely mistakes.
        if (!ranges.empty() && probe < 8) {
          Range const& range = ranges[random.below(static_cast<unsigned>(ranges.size()))];
          request.input_hz = (probe % 2 == 0 ? range.min : range.max) + (probe % 4 - 1);
        }
        bool has_setting = false;
        Enumeration(primitive, request).for_each_loop([&](int, int) { has_setting = true; });
        const bool is_inside =
            std::ranges::any_of(ranges, [&](Range const& range) { return range.contains(request.input_hz); });
        EXPECT_EQ(is_inside, has_setting) << primitive.name << " " << request.input_hz.text();
        ++(is_inside ? inside : outside);
      }
    }
  EXPECT_GT(inside, 500);
  EXPECT_GT(outside, 500);
}

TEST(InputRanges, KeepTheInputsOwnLimits) {
  Primitive primitive = test_support::large_primitive();  // inputs of 10 to 800 MHz
  primitive.pfd_hz = test_support::mhz(5, 900);           // which the PFD and the VCO would exceed at both ends
  primitive.multiplier.fraction = 1;
  Request request;
  request.input_hz = 100000000;
  const std::vector<Range> ranges = input_ranges(primitive, request);
  ASSERT_FALSE(ranges.empty());
  EXPECT_EQ(ranges.front().min, 10000000);
  EXPECT_EQ(ranges.back().max, 800000000);
}

// Input frequencies from all exact VCO frequencies, D and M, without any order or raster.
std::vector<Rational> brute_exact_inputs(Primitive const& primitive, Request request, std::size_t count) {
  std::set<std::pair<Rational, Rational>> found;
  const Rational wanted = request.outputs[0].frequency_hz, near = request.input_hz;
  for (int o : values_of(primitive.outputs[0].divider, false))
    for (int d = 1; d <= primitive.input_divider.max; ++d)
      for (int m : values_of(primitive.multiplier, false)) {
        request.input_hz = wanted * Rational(o * d, m);
        if (check(primitive, request)) continue;
        if (found.contains({abs(request.input_hz - near), request.input_hz})) continue;
        if (found.size() >= count && abs(request.input_hz - near) > found.rbegin()->first) continue;
        const auto best = Enumeration(primitive, request).best();
        if (!best || best->worst.num != 0) continue;
        found.insert({abs(request.input_hz - near), request.input_hz});
        if (found.size() > count) found.erase(std::prev(found.end()));
      }
  std::vector<Rational> inputs;
  for (auto const& [distance, input] : found) inputs.push_back(input);
  return inputs;
}

TEST(ExactInputs, AreTheNearestOfAll) {
  Random random(9);
  std::size_t total = 0;
  const Primitive primitive = test_support::tiny_primitive();
  for (int i = 0; i < 14 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    Request request = test_support::random_request(random, primitive, 1 + random.below(2));
    request.outputs[0].frequency_hz = test_support::between(random, 20, 400) * 1000000;
    const auto inputs = exact_inputs(primitive, request, 5);
    EXPECT_EQ(inputs, brute_exact_inputs(primitive, request, 5));
    total += inputs.size();
  }
  EXPECT_GT(total, 25u);
}

TEST(ExactInputs, ServeASecondInputToo) {
  Random random(12);
  std::size_t total = 0, fewer = 0;
  const Primitive primitive = test_support::tiny_primitive();
  for (int i = 0; i < 40 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    Request request = test_support::random_request(random, primitive, 1);
    request.outputs[0].frequency_hz = test_support::between(random, 20, 400) * 1000000;
    request.second_input_hz = request.input_hz * Rational(test_support::between(random, 50, 200), 100);
    const auto inputs = exact_inputs(primitive, request, 5);
    EXPECT_EQ(inputs, brute_exact_inputs(primitive, request, 5));
    total += inputs.size();
    request.second_input_hz.reset();
    fewer += exact_inputs(primitive, request, 5) != inputs ? 1 : 0;
  }
  EXPECT_GT(total, 25u);
  EXPECT_GT(fewer, 5u);
}

// What is advised is given back as it is printed, and works.
TEST(AdvisedInputs, AreWholeHzFromWhichAllIsAsAsked) {
  Random random(13);
  int advised = 0, beside = 0;
  const Primitive primitive = test_support::tiny_primitive();
  for (int i = 0; i < 150 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    Request request = test_support::random_request(random, primitive, 1 + random.below(2));
    if (random.one_in(4)) request.tolerance = 0;
    for (Rational const& input : advised_inputs(primitive, request, 4)) {
      EXPECT_EQ(input.den(), 1);
      ++advised;
      Request other = request;
      other.input_hz = input;
      const auto truth = Enumeration(primitive, other).best();
      ASSERT_TRUE(truth) << input.text();
      // Off by no more than the Hz that the input is rounded by.
      EXPECT_LE(truth->worst.num * input.num(), truth->worst.den * 2) << input.text();
      beside += truth->worst.num != 0 ? 1 : 0;
    }
  }
  EXPECT_GT(advised, 100);
  EXPECT_GT(beside, 10);
}

// 19.047619047... MHz times 42 is the slowest that the VCO goes; a Hz below is out of range.
TEST(AdvisedInputs, AreRoundedIntoTheRange) {
  Primitive primitive = test_support::large_primitive();
  primitive.vco_hz = test_support::mhz(800, 1600);
  primitive.multiplier = {.min = 1, .max = 64};
  primitive.input_divider = {.min = 1, .max = 1};
  Request request;
  request.input_hz = 19047000;
  request.outputs.emplace_back().frequency_hz = 6250000;
  EXPECT_EQ(exact_inputs(primitive, request, 1), (std::vector<Rational>{Rational(400000000, 21)}));
  EXPECT_EQ(advised_inputs(primitive, request, 1), (std::vector<Rational>{19047620}));
}

TEST(ExactInputs, MayStandAtTheInputsLimits) {
  Primitive primitive = test_support::large_primitive();
  primitive.input_divider = {.min = 1, .max = 2};
  Request request;
  request.outputs.emplace_back().frequency_hz = 100000000;
  for (const std::int64_t limit : {10000000, 800000000})  // VCO 600 MHz, M 60, D 1; 1600 MHz, M 4, D 2
    for (const std::int64_t beside : {0, 5000, -5000}) {  // nearer to no other
      request.input_hz = limit + beside;
      if (!primitive.input_hz.contains(request.input_hz)) continue;
      EXPECT_EQ(exact_inputs(primitive, request, 1), std::vector<Rational>{limit}) << beside;
    }
}

TEST(ClosestOutputs, AreTheNearestOfAll) {
  Random random(10);
  for (Primitive const& primitive :
       {test_support::whole_primitive(), test_support::eighths_primitive(), test_support::sixty_fourths_primitive(),
        test_support::stepped_primitive(), test_support::tiny_primitive()})
    for (int i = 0; i < 25; ++i) {
      SCOPED_TRACE(primitive.name + ", request " + std::to_string(i));
      const Request request = test_support::random_request(random, primitive, 1);
      const std::size_t counter = random.below(2);
      const Rational wanted = test_support::random_frequency(random, request.input_hz, 10, 700);
      std::set<std::pair<Rational, Rational>> all;
      Request single = request;
      single.outputs.clear();
      single.high_speed_hz.reset();
      const bool whole = request.whole_counters || (request.fine_phase && !primitive.fraction_with_fine_phase) ||
                         (request.spread && !primitive.fraction_with_spread);
      const Rational second = request.second_input_hz.value_or(request.input_hz);
      auto const& spec = primitive.outputs[counter];
      const SpreadMode* spread = request.spread ? primitive.spread_mode(request.spread->mode) : nullptr;
      Enumeration(primitive, single).for_each_loop([&](int m, int d) {
        for (int o : values_of(spec.divider, whole)) {
          const Rational gain(m, d * o);
          Rational fast = std::max(request.input_hz, second) * gain, slow = std::min(request.input_hz, second) * gain;
          if (spread != nullptr) {
            fast = fast * (Rational(1) + spread->up);
            slow = slow * (Rational(1) - spread->down);
          }
          if (fast > spec.frequency_hz.max || slow < spec.frequency_hz.min) continue;
          all.insert({abs(request.input_hz * gain - wanted), request.input_hz * gain});
        }
      });
      std::vector<Rational> truth;
      for (auto const& [distance, frequency] : all)
        if (truth.size() < 12) truth.push_back(frequency);
      EXPECT_EQ(closest_outputs(primitive, request, counter, wanted, 12), truth);
    }
}

TEST(ActualPhase, IsAStepOfTheVco) {
  const Primitive primitive = test_support::large_primitive();
  const auto phase = [&](Rational const& divider, Rational const& wanted, bool fine = false) {
    return actual_phase_deg(primitive, divider, wanted, fine);
  };
  EXPECT_EQ(phase(4, 90), 90);
  EXPECT_EQ(phase(4, 50), 45);  // steps of 360 / 32
  EXPECT_EQ(phase(4, -90), 270);
  EXPECT_EQ(phase(4, 359), 0);                             // a whole turn is nearer than 348.75
  EXPECT_EQ(phase(1, Rational(45, 2)), 0);                 // half-way: fewer steps
  EXPECT_EQ(phase(Rational(5, 2), 100), 108);              // 20 steps of 18 degrees
  EXPECT_EQ(phase(4, 50, true), Rational(360 * 31, 224));  // steps of 360 / 224
  EXPECT_EQ(phase(128, 200), Rational(511 * 360, 1024));   // the counter of phases ends at 511
  EXPECT_EQ(phase(128, 350), 0);
}

TEST(ActualDuty, IsAStepOfHalfAVcoPeriod) {
  const Primitive primitive = test_support::large_primitive();
  const auto duty = [&](Rational const& divider, Rational const& wanted) {
    return actual_duty(primitive, divider, wanted);
  };
  EXPECT_EQ(duty(4, Rational(1, 4)), Rational(1, 4));
  EXPECT_EQ(duty(4, Rational(1, 100)), Rational(1, 8));  // at least one step
  EXPECT_EQ(duty(4, Rational(99, 100)), Rational(7, 8));
  EXPECT_EQ(duty(1, Rational(1, 10)), Rational(1, 2));
  EXPECT_EQ(duty(Rational(5, 2), Rational(1, 10)), Rational(1, 2));  // fractional dividers have no choice
  EXPECT_EQ(duty(128, Rational(1, 10)), Rational(1, 2));             // 128 steps high and low at most
  EXPECT_EQ(duty(3, Rational(5, 12)), Rational(1, 3));               // half-way: the shorter
}

}  // namespace
