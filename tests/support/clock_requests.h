// Random requests to a clock primitive: round figures, odd figures, figures that some setting makes exactly, and all
// the options.
#pragma once

#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_primitives.h"
#include "tests/support/random.h"

namespace test_support {

using kdi::clocking::Bandwidth;
using kdi::clocking::OutputRequest;
using kdi::clocking::Preference;
using kdi::clocking::Request;

inline std::int64_t between(Random& random, std::int64_t low, std::int64_t high) {
  return low + random.below(static_cast<unsigned>(high - low + 1));
}

inline Rational random_frequency(Random& random, Rational const& input, std::int64_t low_mhz, std::int64_t high_mhz) {
  switch (random.below(6)) {
    case 0:
      return between(random, low_mhz * 1000000, high_mhz * 1000000);
    case 1:
      return Rational(between(random, low_mhz, high_mhz) * 1000000, 3);
    case 2:
    case 3:
      return input * Rational(between(random, 8, 80), 8 * between(random, 1, 12));
    default:
      return between(random, low_mhz, high_mhz) * 1000000;
  }
}

/// `outputs` clocks with phases, duty cycles and options, which may or may not have a solution.
inline Request random_request(Random& random, Primitive const& primitive, std::size_t outputs) {
  Request request;
  request.input_hz = between(random, 20, 300) * 1000000;
  if (random.one_in(4)) request.input_hz = Rational(between(random, 20000000, 400000000));
  if (random.one_in(10)) request.input_hz = Rational(100000000 * between(random, 1, 3), 3);
  if (random.one_in(8)) request.second_input_hz = request.input_hz * Rational(between(random, 90, 120), 100);
  for (std::size_t i = 0; i < outputs; ++i) {
    OutputRequest output;
    output.frequency_hz = random_frequency(random, request.input_hz, 10, random.one_in(8) ? 900 : 400);
    if (random.one_in(3)) output.phase_deg = Rational(between(random, -3600, 7200), 10);
    if (random.one_in(4)) output.duty = Rational(between(random, 1, 99), 100);
    if (random.one_in(12)) output.buffer = random.one_in(2) ? "fast" : "slow";
    request.outputs.push_back(output);
  }
  if (!primitive.high_speed_modes.empty() && random.one_in(2))
    request.high_speed_hz = between(random, 300, 2600) * 1000000;
  request.preference = random.one_in(3) ? Preference::low_power : Preference::low_jitter;
  request.bandwidth = random.one_in(4) ? Bandwidth::low : Bandwidth::optimized;
  request.fine_phase = primitive.fine_phase_steps > 0 && random.one_in(4);
  request.whole_counters = random.one_in(8);
  if (random.one_in(8))
    request.spread = {random.one_in(2) ? "centre" : "down", Rational(between(random, 30000, 240000))};
  if (random.one_in(16)) request.input_buffer = "slow";
  request.input_jitter_ps = static_cast<double>(random.below(100));
  if (random.one_in(4)) request.tolerance = Rational(between(random, 0, 20000), 1000000);
  if (random.one_in(6)) request.phase_tolerance = Rational(between(random, 0, 30), 360);
  if (random.one_in(6)) request.duty_tolerance = Rational(between(random, 0, 10), 100);
  return request;
}

}  // namespace test_support
