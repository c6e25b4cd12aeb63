// Requests without a solution: the limit that is named binds, the setting that is called nearest is nearest, and the
// inputs that are said to make the request exact do.
#include <gtest/gtest.h>

#include <map>

#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/search.h"
#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_exhaustive.h"
#include "tests/support/clock_primitives.h"
#include "tests/support/clock_requests.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::clocking;
using test_support::Random;
using test_support::exhaustive::Enumeration;

Request without_tolerances(Request request) {
  request.tolerance.reset();
  request.phase_tolerance.reset();
  request.duty_tolerance.reset();
  return request;
}

// Far from what the primitives can do more often than not.
Request difficult_request(Random& random, Primitive const& primitive) {
  const auto outputs = 1 + random.below(static_cast<unsigned>(primitive.outputs.size()));
  Request request = test_support::random_request(random, primitive, outputs);
  if (random.one_in(3)) request.input_hz = test_support::between(random, 1, 1200) * 1000000;
  if (random.one_in(4)) request.outputs[0].frequency_hz = test_support::between(random, 1, 3000) * 1000000;
  if (random.one_in(4))
    request.second_input_hz = request.input_hz * Rational(test_support::between(random, 20, 300), 100);
  if (random.one_in(3)) request.tolerance = Rational(test_support::between(random, 0, 200), 1000000);
  if (random.one_in(3)) request.phase_tolerance = Rational(test_support::between(random, 0, 20), 3600);
  if (request.high_speed_hz && random.one_in(3))
    request.high_speed_hz = test_support::between(random, 60, 9000) * 1000000;
  return request;
}

void expect_nearest(Primitive const& primitive, Request const& request, Diagnosis const& diagnosis) {
  const Request free = without_tolerances(request);
  const auto truth = Enumeration(primitive, free).best();
  ASSERT_EQ(diagnosis.nearest.has_value(), truth.has_value());
  if (!truth) return;
  EXPECT_EQ(diagnosis.nearest->worst_error, Rational::of(truth->worst.num, truth->worst.den));
  EXPECT_DOUBLE_EQ(diagnosis.nearest_ppm, diagnosis.nearest->worst_error.to_double() * 1e6);
}

// Given back as it is told, each works as the request asks, off by no more than the Hz that it is rounded by.
void expect_exact(Primitive const& primitive, Request request, Diagnosis const& diagnosis) {
  for (Rational const& input : diagnosis.exact_inputs_hz) {
    request.input_hz = input;
    const auto truth = Enumeration(primitive, request).best();
    ASSERT_TRUE(truth) << input.text();
    EXPECT_EQ(input.den(), 1);
    EXPECT_LE(truth->worst.num * input.num(), truth->worst.den * 2) << input.text();
  }
}

// With the others as they are told, a range need not be widened as far as is said if a factor 0.3 % smaller does too.
void expect_needed(Primitive const& primitive, Request const& request, Diagnosis const& diagnosis, std::size_t at) {
  Binding const& binding = diagnosis.bindings[at];
  double factor = 1;
  if (binding.needed.min < binding.now.min)
    factor = std::max(factor, binding.now.min.to_double() / std::max(1.0, binding.needed.min.to_double()));
  if (binding.needed.max > binding.now.max)
    factor = std::max(factor, binding.needed.max.to_double() / binding.now.max.to_double());
  EXPECT_GT(factor, 1);
  const double less = std::max(1.0, factor * 0.997);
  std::vector<Binding> tight = diagnosis.bindings;
  tight[at].needed = {static_cast<std::int64_t>(binding.now.min.to_double() / less) + 1,
                      static_cast<std::int64_t>(binding.now.max.to_double() * less)};
  const Relaxed relaxed = relax(primitive, request, tight);
  EXPECT_FALSE(Enumeration(relaxed.primitive, relaxed.request).best()) << name(binding.limit) << " " << factor;
}

// Whether no frequency within the tolerance of the wanted one is within the limits.
bool is_beyond(Range const& limits, Rational const& wanted, Request const& request) {
  return request.tolerance && (wanted * (Rational(1) + *request.tolerance) < limits.min ||
                               wanted * (Rational(1) - *request.tolerance) > limits.max);
}
bool is_output_beyond(Primitive const& primitive, Request const& request) {
  for (std::size_t i = 0; i < request.outputs.size(); ++i)
    if (is_beyond(primitive.outputs[i].frequency_hz, request.outputs[i].frequency_hz, request)) return true;
  return false;
}

bool names(Diagnosis const& diagnosis, Limit limit) {
  return std::ranges::find(diagnosis.bindings, limit, &Binding::limit) != diagnosis.bindings.end();
}

void expect_relaxing_helps(Primitive const& primitive, Request const& request, Diagnosis const& diagnosis) {
  ASSERT_FALSE(diagnosis.bindings.empty());
  const Relaxed relaxed = relax(primitive, request, diagnosis.bindings);
  const auto primitive_fault = check(relaxed.primitive);
  ASSERT_EQ(primitive_fault, std::nullopt) << *primitive_fault;
  const auto request_fault = check(relaxed.primitive, relaxed.request);
  ASSERT_EQ(request_fault, std::nullopt) << *request_fault;
  EXPECT_TRUE(solve(relaxed.primitive, relaxed.request).solution) << diagnosis.text;
  EXPECT_TRUE(Enumeration(relaxed.primitive, relaxed.request).best()) << diagnosis.text;
}

// Those that an output is beyond, whatever else is said.
bool is_certain(Primitive const& primitive, Request const& request, Limit limit) {
  if (limit == Limit::output_range) return is_output_beyond(primitive, request);
  if (limit == Limit::high_speed_range) return is_beyond(primitive.high_speed_hz, *request.high_speed_hz, request);
  if (limit != Limit::buffer) return false;
  return std::ranges::any_of(request.outputs, [&](OutputRequest const& output) {
    return !output.buffer.empty() &&
           is_beyond(buffer_frequencies(*primitive.buffer(output.buffer)), output.frequency_hz, request);
  });
}

// With all but one of the named limits out of the way, that one still binds.
void expect_none_idle(Primitive const& primitive, Request const& request, Diagnosis const& diagnosis) {
  for (std::size_t i = 0; i < diagnosis.bindings.size(); ++i) {
    if (is_certain(primitive, request, diagnosis.bindings[i].limit)) continue;
    std::vector<Binding> others = diagnosis.bindings;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
    const Relaxed relaxed = relax(primitive, request, others);
    EXPECT_FALSE(Enumeration(relaxed.primitive, relaxed.request).best()) << name(diagnosis.bindings[i].limit);
  }
}

TEST(Limits, HaveAUnitIfTheyHaveBounds) {
  using kdi::clocking::Limit;
  for (const Limit limit : {Limit::second_input, Limit::buffer}) EXPECT_EQ(unit_of(limit), nullptr) << name(limit);
  for (const Limit limit :
       {Limit::input, Limit::pfd, Limit::vco, Limit::multiplier, Limit::output_range, Limit::frequency_grid})
    EXPECT_NE(unit_of(limit), nullptr) << name(limit);
}

constexpr int kInfeasible = test_support::kSanitized ? 200 : 1000;

TEST(SolverDiagnosis, NamesWhatBindsInAThousandInfeasibleRequests) {
  const Primitive primitives[] = {test_support::whole_primitive(), test_support::eighths_primitive(),
                                  test_support::sixty_fourths_primitive(), test_support::stepped_primitive(),
                                  test_support::tiny_primitive()};
  Random random(5);
  std::map<Limit, int> named;
  int infeasible = 0, several = 0, with_exact_inputs = 0;
  for (int i = 0; infeasible < kInfeasible && !HasFailure(); ++i) {
    Primitive const& primitive = primitives[static_cast<std::size_t>(i) % std::size(primitives)];
    const Request request = difficult_request(random, primitive);
    const Result result = solve(primitive, request);
    if (result.solution) continue;
    ++infeasible;
    SCOPED_TRACE(primitive.name + ", request " + std::to_string(i) + ": " + result.error);
    ASSERT_TRUE(result.diagnosis);
    Diagnosis const& diagnosis = *result.diagnosis;
    EXPECT_FALSE(Enumeration(primitive, request).best());
    expect_none_idle(primitive, request, diagnosis);
    expect_relaxing_helps(primitive, request, diagnosis);
    expect_nearest(primitive, request, diagnosis);
    expect_exact(primitive, request, diagnosis);
    for (Binding const& binding : diagnosis.bindings) {
      ++named[binding.limit];
      EXPECT_NE(diagnosis.text.find(name(binding.limit)), std::string::npos);
    }
    several += diagnosis.bindings.size() > 1 ? 1 : 0;
    with_exact_inputs += diagnosis.exact_inputs_hz.empty() ? 0 : 1;
    EXPECT_LE(is_output_beyond(primitive, request), names(diagnosis, Limit::output_range));
    for (std::size_t at = 0; at < diagnosis.bindings.size(); ++at)
      if (const Limit limit = diagnosis.bindings[at].limit;
          limit == Limit::vco || limit == Limit::pfd || limit == Limit::input)
        expect_needed(primitive, request, diagnosis, at);
  }
  // Every limit that these primitives have is met.
  for (Limit limit :
       {Limit::second_input, Limit::input, Limit::pfd, Limit::vco, Limit::output_divider, Limit::output_range,
        Limit::high_speed_range, Limit::buffer, Limit::phase_grid, Limit::duty_grid, Limit::frequency_grid})
    EXPECT_GT(named[limit], 0) << name(limit);
  EXPECT_LT(several, kInfeasible / 2);
  EXPECT_GT(several, kInfeasible / 20);
  EXPECT_GT(with_exact_inputs, kInfeasible / 10);
}

Request simple_request(std::int64_t input_mhz, std::int64_t output_mhz) {
  Request request;
  request.input_hz = input_mhz * 1000000;
  request.outputs.push_back({output_mhz * 1000000, 0, Rational(1, 2), ""});
  return request;
}

TEST(SolverDiagnosis, SaysInWordsWhatBinds) {
  const Primitive primitive = test_support::whole_primitive();
  // M is at most 40, so 10 MHz makes a VCO of 400 MHz; with M 40, 20 MHz is the least input that makes 800.
  EXPECT_EQ(solve(primitive, simple_request(10, 100)).error,
            "No valid setting: input range 19 to 800 MHz would have to be 10 to 800 MHz; and PFD range 19 to 450 MHz "
            "would have to be 10 to 450 MHz; and VCO range 800 to 1600 MHz would have to be 400 to 1600 MHz. Exact "
            "with an input of 20 or 20.512821 or 21.052632 or 21.621622 MHz.");
  Request request = simple_request(100, 900);
  request.tolerance = 0;
  EXPECT_EQ(solve(primitive, request).error,
            "No valid setting: output frequency range 6 to 800 MHz would have to be 6 to 900 MHz. Nearest: M 16, D 1, "
            "outputs 800 MHz, worst error 111111.111 ppm.");
  // However far the tolerance is opened, 900 MHz is no less outside the range; 101 MHz then is a matter of tolerance.
  request.outputs.push_back(simple_request(100, 101).outputs[0]);
  const Result both = solve(primitive, request);
  ASSERT_TRUE(both.diagnosis);
  ASSERT_EQ(both.diagnosis->bindings.size(), 2u) << both.error;
  EXPECT_EQ(both.diagnosis->bindings[0].limit, Limit::output_range);
  EXPECT_EQ(both.diagnosis->bindings[1].limit, Limit::frequency_grid);
  // M / (D O) = 1.01 takes an M of 101. As inputs, 39/40, 36/37 and 33/34 of 101 MHz are within the counters.
  request = simple_request(100, 101);
  request.tolerance = Rational(1, 10000);
  EXPECT_EQ(
      solve(primitive, request).error,
      "No valid setting: frequency grid: the tolerance of 100 ppm would have to be 9900.99 ppm. Nearest: M 16, D "
      "1, outputs 100 MHz, worst error 9900.99 ppm. Exact with an input of 101 or 98.475 or 98.27027 or 98.029412 "
      "MHz.");
  // The divider of 500 MHz is 2 or 3, with phases of 22.5 or 15 degrees and their multiples.
  request = simple_request(100, 500);
  request.tolerance = 0;
  request.outputs[0].phase_deg = 5;
  request.phase_tolerance = Rational(1, 360);
  EXPECT_EQ(solve(primitive, request).error,
            "No valid setting: phase grid: the tolerance of 1 degrees would have to be 5 degrees. Nearest: M 15, D 1, "
            "outputs 500 MHz, worst error 0 ppm.");
  // Of 400 MHz the duty cycle comes in quarters, sixths or eighths.
  request = simple_request(100, 400);
  request.tolerance = 0;
  request.outputs[0].duty = Rational(2, 5);
  request.duty_tolerance = Rational(1, 100);
  EXPECT_EQ(solve(primitive, request).error,
            "No valid setting: duty cycle grid: the tolerance of 1 % would have to be 2.5 %. Nearest: M 16, D 1, "
            "outputs 400 MHz, worst error 0 ppm.");
  // The buffer carries 250 MHz.
  request = simple_request(100, 400);
  request.tolerance = 0;
  request.outputs[0].buffer = "slow";
  EXPECT_EQ(solve(primitive, request).error,
            "No valid setting: buffer period: a buffer does not carry its clock. Nearest: M 15, D 1, outputs 250 MHz, "
            "worst error 375000 ppm.");
  // The second input would put the VCO at three times the first one's.
  request = simple_request(100, 100);
  request.second_input_hz = 300000000;
  EXPECT_EQ(solve(primitive, request).error,
            "No valid setting: second input: no setting keeps the PFD and the VCO in range at both input clocks. Exact "
            "with an input of 150 or 152.380953 or 153.846154 or 154.83871 MHz.");
}

TEST(SolverDiagnosis, SaysInWordsWhichCounterBinds) {
  // No wider range of the VCO takes 100 MHz to 800 with an M of 4.
  Primitive primitive = test_support::whole_primitive();
  primitive.multiplier.max = 4;
  Request request = simple_request(100, 800);
  request.tolerance = 0;
  EXPECT_EQ(
      solve(primitive, request).error,
      "No valid setting: multiplier range 2 to 4 would have to be 2 to 8. Exact with an input of 200 or 400 or 600 "
      "or 800 MHz.");
  // 800 MHz are too fast for the PFD, and three times as much for the VCO.
  primitive = test_support::whole_primitive();
  primitive.multiplier.min = 3;
  primitive.input_divider.max = 1;
  EXPECT_EQ(solve(primitive, simple_request(800, 100)).error,
            "No valid setting: input divider range 1 to 1 would have to be 1 to 2. Exact with an input of 433.333333 "
            "or 400 or 375 or 366.666667 MHz.");
  // The VCO runs at 800 MHz at least.
  primitive = test_support::whole_primitive();
  primitive.multiplier.min = 8;
  primitive.input_divider.max = 1;
  for (OutputSpec& output : primitive.outputs) output.divider.max = 4;
  request = simple_request(100, 20);
  request.tolerance = 0;
  EXPECT_EQ(solve(primitive, request).error,
            "No valid setting: output divider range 1 to 4 would have to be 1 to 40. Nearest: M 8, D 1, outputs 200 "
            "MHz, worst error 9000000 ppm.");
}

// As fine as a frequency may be; with the spread and the counters' sixty-fourths, what is compared is finer.
TEST(SolverDiagnosis, SaysWhenTheDigitsAreTooMany) {
  Request request;
  request.input_hz = Rational(13172463716972, 524287);
  request.outputs.push_back({request.input_hz, 0, Rational(1, 2), ""});
  request.spread = {"centre", Rational(5597153, 125)};
  EXPECT_EQ(solve(test_support::sixty_fourths_primitive(), request).error,
            "the frequencies need more digits than exact arithmetic in 64 bits holds; give them in fewer");
}

std::vector<Limit> named(Primitive const& primitive, Request const& request) {
  std::vector<Limit> limits;
  const Result result = solve(primitive, request);
  EXPECT_TRUE(result.diagnosis);
  if (result.diagnosis)
    for (Binding const& binding : result.diagnosis->bindings) limits.push_back(binding.limit);
  return limits;
}

// A clock whose limit lies 1/256 of it away, and 101 MHz, which 100 MHz makes to within 1/101 at best. A tolerance that
// just reaches the limit would only have to be wider; with the least bit less, the limit would have to be wider as
// well.
TEST(SolverDiagnosis, ALimitThatTheToleranceDoesNotReachIsNamedToTheLastBit) {
  using Limits = std::vector<Limit>;
  const Rational reach(1, 256), bit(1, std::int64_t{1} << 40);
  Primitive coarse = test_support::whole_primitive();
  coarse.input_divider = {.min = 1, .max = 1};
  struct Case {
    char const* what;
    std::int64_t wanted_mhz;
    Limit limit;
    void (*confine)(Primitive&, Request&, Rational const& below, Rational const& above);
  };
  const Case cases[] = {
      {"the highest frequency", 900, Limit::output_range,
       [](Primitive& p, Request&, Rational const& below, Rational const&) { p.outputs[0].frequency_hz.max = below; }},
      {"the lowest frequency", 20, Limit::output_range,
       [](Primitive& p, Request&, Rational const&, Rational const& above) { p.outputs[0].frequency_hz.min = above; }},
      {"the shortest period of a buffer", 900, Limit::buffer,
       [](Primitive& p, Request& r, Rational const& below, Rational const&) {
         p.outputs[0].frequency_hz.max = 1000000000;
         p.buffers = {{"narrow", 1e9 / below.to_double(), 0}};
         r.outputs[0].buffer = "narrow";
       }},
  };
  for (Case const& one : cases) {
    SCOPED_TRACE(one.what);
    const Rational wanted = one.wanted_mhz * 1000000;
    Primitive primitive = coarse;
    Request request = simple_request(100, one.wanted_mhz);
    request.outputs.push_back(simple_request(100, 101).outputs[0]);
    one.confine(primitive, request, wanted * (Rational(1) - reach), wanted * (Rational(1) + reach));
    request.tolerance = reach;
    EXPECT_EQ(named(primitive, request), (Limits{Limit::frequency_grid}));
    request.tolerance = reach - bit;
    EXPECT_EQ(named(primitive, request), (Limits{one.limit, Limit::frequency_grid}));
  }
}

TEST(SolverDiagnosis, NamesTheHighSpeedOutputByItsOwnLimit) {
  Primitive primitive = test_support::stepped_primitive();
  primitive.high_speed_hz = test_support::mhz(300, 900);
  Request request = simple_request(100, 100);
  request.high_speed_hz = 1000000000;
  request.tolerance = 0;
  EXPECT_EQ(named(primitive, request), std::vector<Limit>{Limit::high_speed_range});
  EXPECT_EQ(solve(primitive, request).error.substr(0, 64),
            "No valid setting: phy_mhz 300 to 900 MHz would have to be 300 to");
}

// A range that goes along with others is closed for itself: 9 MHz need no slower VCO than 64 times as much.
TEST(SolverDiagnosis, ClosesEachRangeForItself) {
  Primitive primitive = test_support::whole_primitive();
  primitive.multiplier.max = 64;
  const Result result = solve(primitive, simple_request(9, 31));
  ASSERT_TRUE(result.diagnosis);
  ASSERT_EQ(result.diagnosis->bindings.size(), 3u) << result.error;
  EXPECT_EQ(result.diagnosis->bindings[2].limit, Limit::vco);
  EXPECT_EQ(result.diagnosis->bindings[2].needed.min, 576000000);
}

// What is outside the range by more than the tolerance is named, though a tolerance that another limit needs would
// excuse it.
TEST(SolverDiagnosis, AlwaysNamesAnOutputBeyondItsRange) {
  Primitive primitive = test_support::whole_primitive();
  primitive.outputs.assign(2, {{.min = 1, .max = 128}, {6250000, 900000000}});
  Request request = simple_request(42, 90);
  request.outputs.push_back(request.outputs[0]);
  request.outputs[0].frequency_hz = 3720000;
  request.tolerance = Rational(50, 1000000);
  EXPECT_EQ(named(primitive, request), (std::vector<Limit>{Limit::output_range, Limit::frequency_grid}));
  const Result result = solve(primitive, request);
  EXPECT_LE(result.diagnosis->bindings[0].needed.min, Rational(3720186));
  EXPECT_TRUE(solve(relax(primitive, request, result.diagnosis->bindings).primitive,
                    relax(primitive, request, result.diagnosis->bindings).request)
                  .solution);
}

// The short way to whether there is a setting, against the search for the best one.
TEST(Feasibility, IsThatOfTheBestSetting) {
  const Primitive primitives[] = {test_support::whole_primitive(),         test_support::eighths_primitive(),
                                  test_support::sixty_fourths_primitive(), test_support::stepped_primitive(),
                                  test_support::tiny_primitive(),          test_support::large_primitive()};
  Random random(6);
  int feasible = 0;
  constexpr int kRequests = test_support::kSanitized ? 1000 : 6000;
  for (int i = 0; i < kRequests && !HasFailure(); ++i) {
    SCOPED_TRACE("request " + std::to_string(i));
    Primitive const& primitive = primitives[static_cast<std::size_t>(i) % std::size(primitives)];
    Request request = difficult_request(random, primitive);
    if (random.one_in(4)) request.tolerance = 0;
    Search search(primitive, request);
    const bool has_best = search.best().has_value();
    EXPECT_EQ(search.has_any(), has_best);
    feasible += has_best ? 1 : 0;
  }
  EXPECT_GT(feasible, kRequests / 10);
  EXPECT_LT(feasible, kRequests * 9 / 10);
}

TEST(SolverDiagnosis, NamesTheModulationFrequency) {
  const Primitive primitive = test_support::whole_primitive();
  Request request = simple_request(100, 100);
  request.spread = {"down", 300000};
  Primitive slow = primitive;
  slow.spread_modes[1].modulation_hz = {100, 150};  // 20 MHz / 4 / 2^16 is the least that 100 MHz / 5 gives: 76 Hz
  slow.input_divider = {.min = 1, .max = 2};
  const Result result = solve(slow, request);
  ASSERT_TRUE(result.diagnosis);
  ASSERT_EQ(result.diagnosis->bindings.size(), 1u);
  EXPECT_EQ(result.diagnosis->bindings[0].limit, Limit::modulation);
  EXPECT_EQ(result.error.substr(0, 83),
            "No valid setting: modulation frequency range 100 to 150 Hz would have to be 100 to ");
  const Relaxed relaxed = relax(slow, request, result.diagnosis->bindings);
  EXPECT_TRUE(solve(relaxed.primitive, relaxed.request).solution);
}

TEST(SolverDiagnosis, RefusesWhatIsNotWellFormed) {
  const Primitive primitive = test_support::whole_primitive();
  const auto error_of = [&primitive](auto change) {
    Request request = simple_request(100, 100);
    change(request);
    const Result result = solve(primitive, request);
    EXPECT_FALSE(result.solution);
    EXPECT_FALSE(result.diagnosis);
    return result.error;
  };
  EXPECT_EQ(error_of([](Request& r) { r.outputs.clear(); }), "no output is asked for");
  EXPECT_EQ(error_of([](Request& r) { r.outputs.resize(5, r.outputs[0]); }),
            "5 outputs are asked for; the primitive has 4");
  EXPECT_EQ(error_of([](Request& r) { r.input_hz = 0; }),
            "input 0 Hz is outside 0 (excluded) to 2^40 Hz, or is finer than 2^-20 Hz");
  EXPECT_EQ(error_of([](Request& r) { r.outputs[0].frequency_hz = -5; }),
            "output 0 frequency -5 Hz is outside 0 (excluded) to 2^40 Hz, or is finer than 2^-20 Hz");
  EXPECT_EQ(error_of([](Request& r) { r.outputs[0].duty = 1; }),
            "output 0 duty cycle 1 is outside 0 to 1 (both excluded) in steps of 10^-6");
  EXPECT_EQ(error_of([](Request& r) { r.outputs[0].phase_deg = Rational(1, 1000003); }),
            "output 0 phase 0.000001 is outside -10^6 to 10^6 degrees in steps of 10^-6");
  EXPECT_EQ(error_of([](Request& r) { r.outputs[0].buffer = "none"; }),
            "output 0: the primitive has no buffer \"none\"");
  EXPECT_EQ(error_of([](Request& r) { r.fine_phase = true; }), "the primitive has no fine phase shift");
  EXPECT_EQ(error_of([](Request& r) { r.high_speed_hz = 1000000000; }), "the primitive has no high-speed output");
  EXPECT_EQ(error_of([](Request& r) { r.spread = {"up", 30000}; }), "the primitive has no spread-spectrum mode \"up\"");
  EXPECT_EQ(error_of([](Request& r) {
              r.spread = {"down", 0};
            }),
            "modulation frequency 0 Hz is outside 0 (excluded) to 2^26 Hz in steps of 10^-3");
  EXPECT_EQ(error_of([](Request& r) { r.tolerance = -1; }),
            "frequency tolerance -1 is outside 0 to 2^20, or is finer than 2^-40");
  EXPECT_EQ(error_of([](Request& r) { r.input_jitter_ps = -1; }), "input jitter -1.000000 ps is outside 0 to 10^12");
  EXPECT_EQ(error_of([](Request& r) {
              r.input_hz = Rational(1000000007, 1048575);
              r.outputs[0].frequency_hz = Rational(999999999989, 1048573);
            }),
            "output 0: its ratio to the input has terms above 2^37; give the frequencies in fewer digits");
}

TEST(SolverDiagnosis, RefusesPrimitivesThatMakeNoSense) {
  const auto error_of = [](auto change) {
    Primitive primitive = test_support::whole_primitive();
    change(primitive);
    const Result result = solve(primitive, simple_request(100, 100));
    EXPECT_FALSE(result.solution);
    return result.error;
  };
  EXPECT_EQ(error_of([](Primitive& p) { p.vco_hz.min = -1; }),
            "vco_hz -1 Hz is outside 0 to 2^40 Hz, or is finer than 2^-20 Hz");
  EXPECT_EQ(error_of([](Primitive& p) { p.vco_hz = {200, 100}; }), "vco_hz: minimum 200 Hz exceeds maximum 100");
  EXPECT_EQ(error_of([](Primitive& p) { p.multiplier.max = 2000; }), "multiplier maximum 2000 is outside 2 to 1024");
  EXPECT_EQ(error_of([](Primitive& p) { p.input_divider.fraction = 2; }),
            "input_divider has fractional values; only whole ones exist");
  EXPECT_EQ(error_of([](Primitive& p) { p.outputs[0].divider.fraction = 3; }),
            "output 0 divider fraction 3 is outside 1, 2, 4, 8, 16, 32, 64");
  EXPECT_EQ(error_of([](Primitive& p) { p.outputs.clear(); }), "number of outputs 0 is outside 1 to 8");
  EXPECT_EQ(error_of([](Primitive& p) { p.max_high_steps = 3; }),
            "max_high_steps 3 is less than half the period of output 0 at its largest divider, 80 steps");
  EXPECT_EQ(error_of([](Primitive& p) {
              p.high_speed_modes = {{"x", Rational(3)}};
            }),
            "high-speed mode \"x\": factor 3 is outside 1/8 to 8, or its inverse is no multiple of 1/64");
  EXPECT_EQ(error_of([](Primitive& p) { p.loops[0].vco_ps = -1; }),
            "loop vco_ps -1.000000 is outside 0.000000 to 1000000000000.000000");
  EXPECT_EQ(error_of([](Primitive& p) { p.power->base_w = -1; }),
            "power base_w -1.000000 is outside 0.000000 to 1000000000000.000000");
  EXPECT_EQ(error_of([](Primitive& p) { p.spread_modes[0].up = Rational(1, 3); }),
            "spread mode \"centre\" deviation 0.333333 is outside 0 to 1/4 in steps of 10^-4");
}

}  // namespace
