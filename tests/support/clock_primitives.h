// Clock primitives to hold the solver against, none of them of any silicon: a large one as fast devices have them, and
// small ones that exhaustive enumeration gets through, each with a trait of its own.
#pragma once

#include <vector>

#include "platform/ip/clocking/primitive.h"

namespace test_support {

using kdi::clocking::CounterSpec;
using kdi::clocking::Primitive;
using kdi::clocking::Range;
using kdi::clocking::Rational;

inline Range mhz(std::int64_t low, std::int64_t high) { return {low * 1000000, high * 1000000}; }

inline Primitive with_models(Primitive primitive) {
  using Word = HASTJitterCalculatorKelvane;
  const auto loop = [](Word::BANDWIDTH bandwidth, double input_gain, double vco_ps) {
    return kdi::device::LoopModel{.bandwidth = bandwidth,
                                  .input_gain = input_gain,
                                  .vco_ps = vco_ps,
                                  .output_ps = 20,
                                  .spread_ps = 40,
                                  .fine_ps = 8,
                                  .phase_error_ps = 50,
                                  .phase_error_pfd_ps = 12};
  };
  primitive.loops = {loop(Word::BW_LOW, 0.3, 120), loop(Word::BW_HIGH, 0.9, 60), loop(Word::BW_OPTIMIZED, 0.7, 80)};
  primitive.power = kdi::device::ClockPower{primitive.name, 0.05, 0.03, 0.01};
  primitive.buffers = {{"fast", 1.2, 0}, {"slow", 4, 200}};
  primitive.spread_modes = {{"centre", Rational(1, 200), Rational(1, 200), {25000, 250000}, 4},
                            {"down", Rational(1, 100), 0, {25000, 250000}, 4}};
  return primitive;
}

/// Fractional M and first divider, seven outputs.
inline Primitive large_primitive() {
  Primitive p;
  p.name = "large";
  p.input_hz = mhz(10, 800);
  p.pfd_hz = mhz(10, 450);
  p.pfd_low_bandwidth_hz = mhz(10, 300);
  p.vco_hz = mhz(600, 1600);
  p.multiplier = {.min = 2, .max = 64, .fraction = 8, .fraction_min = 2};
  p.input_divider = {.min = 1, .max = 106};
  p.outputs.assign(7, {{.min = 1, .max = 128}, {4687500, 800000000}});
  p.outputs[0].divider = {.min = 1, .max = 128, .fraction = 8, .fraction_min = 2};
  p.fine_phase_steps = 56;
  p.max_phase_step = 511;
  p.max_high_steps = 128;
  return with_models(p);
}

/// Whole counters only.
inline Primitive whole_primitive() {
  Primitive p;
  p.name = "whole";
  p.input_hz = mhz(19, 800);
  p.pfd_hz = mhz(19, 450);
  p.pfd_low_bandwidth_hz = mhz(19, 300);
  p.vco_hz = mhz(800, 1600);
  p.multiplier = {.min = 2, .max = 40};
  p.input_divider = {.min = 1, .max = 6};
  p.outputs.assign(4, {{.min = 1, .max = 40}, mhz(6, 800)});
  p.phase_steps = 8;
  return with_models(p);
}

/// Eighths in M and in the first divider.
inline Primitive eighths_primitive() {
  Primitive p = whole_primitive();
  p.name = "eighths";
  p.pfd_hz = mhz(30, 450);
  p.vco_hz = mhz(600, 1000);
  p.multiplier = {.min = 2, .max = 16, .fraction = 8, .fraction_min = 2};
  p.input_divider = {.min = 1, .max = 4};
  p.outputs.assign(3, {{.min = 1, .max = 24}, mhz(10, 700)});
  p.outputs[0].divider = {.min = 1, .max = 24, .fraction = 8, .fraction_min = 2};
  p.fine_phase_steps = 56;
  p.max_phase_step = 120;
  p.max_high_steps = 24;
  return p;
}

/// Sixty-fourths in M, sixteenths in the first divider.
inline Primitive sixty_fourths_primitive() {
  Primitive p = eighths_primitive();
  p.name = "sixty-fourths";
  p.pfd_hz = mhz(60, 450);
  p.multiplier = {.min = 2, .max = 10, .fraction = 64, .fraction_min = 3};
  p.input_divider = {.min = 1, .max = 3};
  p.outputs[0].divider = {.min = 1, .max = 16, .fraction = 16, .fraction_min = 2};
  p.fraction_with_fine_phase = true;
  return p;
}

/// Counters in steps, a high-speed output, few phases and duty cycles.
inline Primitive stepped_primitive() {
  Primitive p = whole_primitive();
  p.name = "stepped";
  p.vco_hz = mhz(750, 1500);
  p.multiplier = {.min = 4, .max = 44, .step = 2};
  p.input_divider = {.min = 1, .max = 7, .step = 2};
  p.outputs.assign(2, {{.min = 2, .max = 32, .step = 2}, mhz(12, 600)});
  p.outputs[1].divider = {.min = 3, .max = 30, .step = 3, .fraction = 2, .fraction_min = 10};
  p.phase_steps = 4;
  p.duty_steps = 1;
  p.high_speed_modes = {{"double", 2}, {"single", 1}, {"half", Rational(1, 2)}};
  p.high_speed_hz = mhz(300, 2700);
  p.fraction_with_spread = true;
  return p;
}

/// So few settings that even the product over the outputs' dividers can be enumerated.
inline Primitive tiny_primitive() {
  Primitive p = whole_primitive();
  p.name = "tiny";
  p.vco_hz = mhz(400, 1000);
  p.multiplier = {.min = 3, .max = 8, .fraction = 2, .fraction_min = 4};
  p.input_divider = {.min = 1, .max = 3};
  p.outputs.assign(3, {{.min = 1, .max = 9}, mhz(20, 500)});
  p.outputs[0].divider = {.min = 1, .max = 7, .fraction = 4, .fraction_min = 3};
  p.phase_steps = 8;
  p.max_phase_step = 20;
  p.fine_phase_steps = 12;
  return p;
}

}  // namespace test_support
