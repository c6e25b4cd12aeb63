// What is well formed, from both sides: each bound of a primitive and of a request lets its last value through and not
// the next one.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_primitives.h"

namespace {

using kdi::clocking::CounterSpec;
using kdi::clocking::Primitive;
using kdi::clocking::Range;
using kdi::clocking::Rational;
using kdi::clocking::Request;

constexpr std::int64_t two_to_the(int power) { return std::int64_t{1} << power; }

// One bound: values that pass and values that do not, and what is said of those.
template <class Subject, class Value>
struct Bound {
  std::string fault;  // how it begins, up to the value
  std::function<void(Subject&, Value)> set;
  std::vector<Value> passes, fails;
};

template <class Subject, class Value, class Check>
void expect_bounds(std::vector<Bound<Subject, Value>> const& bounds, Subject const& sound, Check check) {
  for (auto const& bound : bounds) {
    SCOPED_TRACE(bound.fault);
    for (std::size_t i = 0; i < bound.passes.size(); ++i) {
      Subject subject = sound;
      bound.set(subject, bound.passes[i]);
      EXPECT_EQ(check(subject).value_or(""), "") << "value " << i << " that passes";
    }
    for (std::size_t i = 0; i < bound.fails.size(); ++i) {
      Subject subject = sound;
      bound.set(subject, bound.fails[i]);
      EXPECT_EQ(check(subject).value_or("").substr(0, bound.fault.size()), bound.fault)
          << "value " << i << " that fails";
    }
  }
}

std::optional<std::string> check_primitive(Primitive const& primitive) { return kdi::clocking::check(primitive); }

// Sound, with something of everything.
Primitive rich_primitive() {
  Primitive primitive = test_support::stepped_primitive();
  primitive.fine_phase_steps = 56;
  return primitive;
}

TEST(Rational, IsReducedWhateverTheSizeOfItsTerms) {
  for (int bits = 0; bits < 124; ++bits)
    EXPECT_EQ(Rational::of(kdi::clocking::Int128{6} << bits, kdi::clocking::Int128{4} << bits), Rational(3, 2)) << bits;
}

TEST(PrimitiveBounds, OfCounters) {
  struct Counter {
    std::string field;
    CounterSpec& (*of)(Primitive&);
    int highest;
  };
  const std::vector<Counter> counters = {
      {"multiplier", [](Primitive& p) -> CounterSpec& { return p.multiplier; }, 1024},
      {"input_divider", [](Primitive& p) -> CounterSpec& { return p.input_divider; }, 256},
      {"output 1 divider", [](Primitive& p) -> CounterSpec& { return p.outputs[1].divider; }, 2048}};
  std::vector<Bound<Primitive, int>> bounds;
  for (auto const& [field, of, highest] : counters) {
    const auto set = [of = of](int CounterSpec::*value) {
      return [of, value](Primitive& p, int to) { of(p).*value = to; };
    };
    const auto set_both = [of = of](Primitive& p, int to) { of(p).min = of(p).max = to; };
    bounds.push_back({field + " minimum ", set_both, {1, highest}, {0, highest + 1}});
    bounds.push_back({field + " maximum ",
                      [of = of](Primitive& p, int to) {
                        of(p).min = 5;
                        of(p).max = to;
                      },
                      {5, highest},
                      {4, highest + 1}});
    bounds.push_back({field + " step ", set(&CounterSpec::step), {1, highest}, {0, highest + 1}});
    bounds.push_back({field + " fraction_min ", set(&CounterSpec::fraction_min), {1, highest}, {0, highest + 1}});
    if (field == "input_divider") {
      bounds.push_back({field + " has fractional values", set(&CounterSpec::fraction), {1}, {2, 64}});
      bounds.push_back({field + " fraction ", set(&CounterSpec::fraction), {1}, {-1, 0, 3, 65}});
    } else {
      bounds.push_back({field + " fraction ", set(&CounterSpec::fraction), {1, 2, 64}, {-1, 0, 3, 65, 128}});
    }
  }
  expect_bounds(bounds, rich_primitive(), check_primitive);
}

TEST(PrimitiveBounds, OfStepsAndNumbers) {
  const auto set = [](int Primitive::*value) { return [value](Primitive& p, int to) { p.*value = to; }; };
  const auto outputs = [](Primitive& p, int to) { p.outputs.resize(static_cast<std::size_t>(to), p.outputs[0]); };
  const auto outputs_alone = [outputs](Primitive& p, int to) {
    p.high_speed_modes.clear();
    outputs(p, to);
  };
  const std::vector<Bound<Primitive, int>> bounds = {
      {"phase_steps ", set(&Primitive::phase_steps), {1, 256}, {0, 257}},
      {"fine_phase_steps ", set(&Primitive::fine_phase_steps), {0, 256}, {-1, 257}},
      {"max_phase_step ", set(&Primitive::max_phase_step), {0, 1 << 20}, {-1, (1 << 20) + 1}},
      {"duty_steps ", set(&Primitive::duty_steps), {1, 64}, {0, 65}},
      {"max_high_steps ", set(&Primitive::max_high_steps), {0, 16, 1 << 20}, {-1, 15, (1 << 20) + 1}},  // 32 steps
      {"number of outputs ", outputs, {0, 7}, {8}},
      {"number of outputs ", outputs_alone, {1, 8}, {0, 9}},
      {"spread mode \"centre\" divider_step ",
       [](Primitive& p, int to) { p.spread_modes[0].divider_step = to; },
       {1, 1024},
       {0, 1025}}};
  expect_bounds(bounds, rich_primitive(), check_primitive);
}

TEST(PrimitiveBounds, OfFrequencies) {
  struct Place {
    std::string field;
    Range& (*of)(Primitive&);
  };
  const std::vector<Place> places = {
      {"input_hz", [](Primitive& p) -> Range& { return p.input_hz; }},
      {"pfd_hz", [](Primitive& p) -> Range& { return p.pfd_hz; }},
      {"pfd_low_bandwidth_hz", [](Primitive& p) -> Range& { return p.pfd_low_bandwidth_hz; }},
      {"vco_hz", [](Primitive& p) -> Range& { return p.vco_hz; }},
      {"high_speed_hz", [](Primitive& p) -> Range& { return p.high_speed_hz; }},
      {"output 1 frequency", [](Primitive& p) -> Range& { return p.outputs[1].frequency_hz; }},
      {"spread mode \"down\" modulation", [](Primitive& p) -> Range& { return p.spread_modes[1].modulation_hz; }}};
  std::vector<Bound<Primitive, Range>> bounds;
  const Rational least(1, two_to_the(20)), most(two_to_the(40)), finest(two_to_the(44), 19);
  for (auto const& [field, of] : places) {
    const auto set = [of = of](Primitive& p, Range to) { of(p) = to; };
    bounds.push_back({field + " ",
                      set,
                      {{0, most}, {least, least}, {0, finest}},
                      {{-least, most},
                       {0, most + 1},
                       {Rational(1, two_to_the(20) + 1), most},
                       {0, Rational(two_to_the(44) + 1, 19)}}});
    bounds.push_back({field + ": maximum 0", set, {{0, least}}, {{0, 0}}});
    bounds.push_back({field + ": minimum ", set, {{100, 100}}, {{101, 100}}});
  }
  expect_bounds(bounds, rich_primitive(), check_primitive);
}

TEST(PrimitiveBounds, OfModesAndModels) {
  const Rational step(1, 10000);
  const std::vector<Bound<Primitive, Rational>> rationals = {
      {"high-speed mode \"single\": factor ",
       [](Primitive& p, Rational to) { p.high_speed_modes[1].factor = to; },
       {Rational(1, 8), Rational(8, 7), 8},
       {Rational(1, 16), Rational(1, 9), 3, 16}},
      {"spread mode \"down\" deviation ",
       [](Primitive& p, Rational to) { p.spread_modes[1].down = to; },
       {0, step, Rational(1, 4)},
       {-step, Rational(1, 10001), Rational(1, 4) + step}},
      {"spread mode \"down\" deviation ",
       [](Primitive& p, Rational to) { p.spread_modes[1].up = to; },
       {0, step, Rational(1, 4)},
       {-step, Rational(1, 10001), Rational(1, 4) + step}}};
  expect_bounds(rationals, rich_primitive(), check_primitive);

  const auto below = [](double value) { return std::nextafter(value, -1e300); };
  const auto above = [](double value) { return std::nextafter(value, 1e300); };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const auto model = [&](std::string const& fault, std::function<void(Primitive&, double)> set) {
    return Bound<Primitive, double>{fault, std::move(set), {0, 1e12}, {below(0), above(1e12), nan}};
  };
  const auto in_loop = [&](std::string const& name, double kdi::device::LoopModel::*field) {
    return model("loop " + name + " ", [field](Primitive& p, double to) { p.loops[2].*field = to; });
  };
  using Loop = kdi::device::LoopModel;
  const std::vector<Bound<Primitive, double>> doubles = {
      {"buffer \"slow\" min_period_ns ",
       [](Primitive& p, double to) {
         p.buffers[1].min_period_ns = to;
         p.buffers[1].max_period_ns = 0;
       },
       {1e-3, 1e9},
       {below(1e-3), above(1e9), nan}},
      {"buffer \"slow\" max_period_ns ",
       [](Primitive& p, double to) { p.buffers[1].max_period_ns = to; },
       {0, 4, 1e9},
       {below(4), above(1e9), nan}},
      in_loop("input_gain", &Loop::input_gain),
      in_loop("vco_ps", &Loop::vco_ps),
      in_loop("output_ps", &Loop::output_ps),
      in_loop("spread_ps", &Loop::spread_ps),
      in_loop("fine_ps", &Loop::fine_ps),
      in_loop("phase_error_ps", &Loop::phase_error_ps),
      in_loop("phase_error_pfd_ps", &Loop::phase_error_pfd_ps),
      model("power base_w ", [](Primitive& p, double to) { p.power->base_w = to; }),
      model("power w_per_vco_ghz ", [](Primitive& p, double to) { p.power->w_per_vco_ghz = to; }),
      model("power w_per_output_ghz ", [](Primitive& p, double to) { p.power->w_per_output_ghz = to; })};
  expect_bounds(doubles, rich_primitive(), check_primitive);
}

Request plain_request() {
  Request request;
  request.input_hz = 100000000;
  request.outputs.resize(1);
  request.outputs[0].frequency_hz = 100000000;
  return request;
}

std::optional<std::string> check_request(Request const& request) {
  return kdi::clocking::check(rich_primitive(), request);
}

TEST(RequestBounds, OfFrequencies) {
  const Rational least(1, two_to_the(20)), most(two_to_the(40)), finest(two_to_the(44), 19);
  const std::vector<Rational> passes{least, most, finest};
  const std::vector<Rational> fails{0, -1, most + 1, Rational(1, two_to_the(20) + 1), Rational(two_to_the(44) + 1, 19)};
  // Where the ratio to the input counts, that is 1.
  const std::vector<Bound<Request, Rational>> bounds = {
      {"input ",
       [](Request& r, Rational to) {
         r.outputs[0].frequency_hz = to > 0 ? to : Rational(1);
         r.input_hz = to;
       },
       passes, fails},
      {"second input ", [](Request& r, Rational to) { r.second_input_hz = to; }, passes, fails},
      {"output 0 frequency ",
       [](Request& r, Rational to) {
         r.input_hz =
             to > 0 && to <= two_to_the(40) && to.den() <= two_to_the(20) && to.num() <= two_to_the(44) ? to : 1;
         r.outputs[0].frequency_hz = to;
       },
       passes, fails},
      {"high-speed output ",
       [](Request& r, Rational to) {
         r.input_hz =
             to > 0 && to <= two_to_the(40) && to.den() <= two_to_the(20) && to.num() <= two_to_the(44) ? to : 1;
         r.outputs[0].frequency_hz = r.input_hz;
         r.high_speed_hz = to;
       },
       passes, fails},
      // The terms of the ratio, as they are and reduced.
      {"output 0: its ratio to the input has terms above 2^37",
       [](Request& r, Rational to) {
         r.input_hz = 1;
         r.outputs[0].frequency_hz = to;
       },
       {two_to_the(37)},
       {two_to_the(37) + 1}},
      {"output 0: its ratio to the input has terms above 2^37",
       [](Request& r, Rational to) {
         r.input_hz = 2;
         r.outputs[0].frequency_hz = to;
       },
       {two_to_the(38)},
       {two_to_the(38) + 2}},
      {"output 0: its ratio to the input has terms above 2^37",
       [](Request& r, Rational to) {
         r.input_hz = to;
         r.outputs[0].frequency_hz = 1;
       },
       {two_to_the(37)},
       {two_to_the(37) + 1}},
      {"output 0: its ratio to the input has terms above 2^37",
       [](Request& r, Rational to) {
         r.input_hz = to;
         r.outputs[0].frequency_hz = 2;
       },
       {two_to_the(38)},
       {two_to_the(38) + 2}},
      {"high-speed output: its ratio to the input has terms above 2^37",
       [](Request& r, Rational to) {
         r.input_hz = 1;
         r.outputs[0].frequency_hz = 1;
         r.high_speed_hz = to;
       },
       {two_to_the(37)},
       {two_to_the(37) + 1}}};
  expect_bounds(bounds, plain_request(), check_request);
}

TEST(RequestBounds, OfAnglesTolerancesAndModulation) {
  const std::int64_t million = 1000000;
  const Rational finest(1, two_to_the(40));
  const auto tolerance = [&](std::string const& fault, std::optional<Rational> Request::*field) {
    return Bound<Request, Rational>{fault,
                                    [field](Request& r, Rational to) { r.*field = to; },
                                    {0, finest, two_to_the(20)},
                                    {-finest, Rational(1, two_to_the(40) + 1), two_to_the(20) + 1}};
  };
  const std::vector<Bound<Request, Rational>> bounds = {{"output 0 phase ",
                                                         [](Request& r, Rational to) { r.outputs[0].phase_deg = to; },
                                                         {-million, million, Rational(1, million)},
                                                         {-million - 1, million + 1, Rational(1, million + 1)}},
                                                        {"output 0 duty cycle ",
                                                         [](Request& r, Rational to) { r.outputs[0].duty = to; },
                                                         {Rational(1, million), Rational(million - 1, million)},
                                                         {0, 1, Rational(1, million + 1)}},
                                                        {"modulation frequency ",
                                                         [](Request& r, Rational to) {
                                                           r.spread = {"down", to};
                                                         },
                                                         {Rational(1, 1000), two_to_the(26)},
                                                         {0, Rational(1, 1001), two_to_the(26) + 1}},
                                                        tolerance("frequency tolerance ", &Request::tolerance),
                                                        tolerance("phase tolerance ", &Request::phase_tolerance),
                                                        tolerance("duty cycle tolerance ", &Request::duty_tolerance)};
  expect_bounds(bounds, plain_request(), check_request);
  const std::vector<Bound<Request, double>> jitter = {
      {"input jitter ",
       [](Request& r, double to) { r.input_jitter_ps = to; },
       {0, 1e12},
       {std::nextafter(0, -1), std::nextafter(1e12, 1e13), std::numeric_limits<double>::quiet_NaN()}}};
  expect_bounds(jitter, plain_request(), check_request);
}

TEST(RequestBounds, OfOutputs) {
  const std::vector<Bound<Request, int>> bounds = {
      {"3 outputs are asked for; the primitive has 2",
       [](Request& r, int to) { r.outputs.resize(static_cast<std::size_t>(to), r.outputs[0]); },
       {0, 1, 2},
       {3}}};
  expect_bounds(bounds, plain_request(), check_request);
}

// Limits of an output that are so far away that the divider for them is no int.
TEST(OutputBounds, AreKeptFarFromWhatACounterReaches) {
  const Primitive sound = test_support::whole_primitive();
  const auto first_divider = [&](Rational least, Rational most) -> std::optional<Rational> {
    Primitive primitive = sound;
    primitive.outputs[0].frequency_hz = {least, most};
    const kdi::clocking::Result result = kdi::clocking::solve(primitive, plain_request());
    return result.solution ? std::optional(result.solution->outputs[0].divider) : std::nullopt;
  };
  const std::optional<Rational> plain = first_divider(0, kdi::clocking::kMaxFrequencyHz);
  ASSERT_TRUE(plain);
  for (const Rational far : {Rational(3, two_to_the(20)), Rational(1, 7), Rational(3), Rational(1001)}) {
    EXPECT_EQ(first_divider(far, kdi::clocking::kMaxFrequencyHz), plain) << far.to_double();
    EXPECT_EQ(first_divider(0, far), std::nullopt) << far.to_double();
  }
}

TEST(ExactNumberBounds, AreThoseOf64Bits) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(Rational(kLargest - 1) + 1, kLargest);
  EXPECT_THROW(Rational(kLargest) + 1, std::overflow_error);
  EXPECT_EQ(Rational(1, kLargest).den(), kLargest);
  EXPECT_EQ(-Rational(kLargest), -kLargest);
  EXPECT_THROW(-Rational(kLargest) - 1, std::overflow_error);
  EXPECT_EQ(Rational::nearest(8.0e18, 1), 8000000000000000000);
  EXPECT_THROW(Rational::nearest(9.0e18, 1), std::overflow_error);
  EXPECT_THROW(Rational::nearest(-9.0e18, 1), std::overflow_error);
  const auto thrown = [](auto compute) -> std::string {
    try {
      return compute().text();
    } catch (std::exception const& error) {
      return error.what();
    }
  };
  EXPECT_EQ(thrown([] { return Rational(kLargest) + 1; }), "a fraction that 64 bits do not hold");
  EXPECT_EQ(thrown([] { return Rational::nearest(9.0e18, 1); }), "a number that is not finite or too large");
  EXPECT_EQ(thrown([] { return Rational::of(1, 0); }), "a fraction with denominator 0");
}

}  // namespace
