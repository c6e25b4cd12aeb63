#include "ip/clocking/models.h"

#include <cmath>
#include <numbers>

namespace kdi::clocking {
namespace {

constexpr double kPsPerSecond = 1e12;
constexpr double kHzPerMhz = 1e6;

double loop_ratio(JitterModel const& model, Bandwidth bandwidth) {
  switch (bandwidth) {
    case Bandwidth::high:
      return model.loop_ratio_high;
    case Bandwidth::low:
      return model.loop_ratio_low;
    case Bandwidth::optimized:
      break;
  }
  return model.loop_ratio_optimized;
}

// w, the loop's corner in rad/s.
double corner(JitterModel const& model, LoopPoint const& point) {
  return 2 * std::numbers::pi * loop_ratio(model, point.bandwidth) * point.pfd_hz;
}

// Variance in ps^2 of the random part after `period` seconds.
double random_variance(JitterModel const& model, LoopPoint const& point, double period) {
  const double w = corner(model, point);
  const double kappa = model.vco_kappa * kPsPerSecond;
  // expm1: for short periods the difference from 1 would be lost.
  const double vco = kappa * kappa * model.vco_reference_hz / point.vco_hz * -std::expm1(-w * period) / w;
  const double pfd = model.pfd_noise_ps * model.pfd_noise_ps * loop_ratio(model, point.bandwidth);
  return vco + pfd;
}

}  // namespace

double jitter_ps(JitterModel const& model, LoopPoint const& point, double output_hz) {
  const double period = 1 / output_hz;
  const double random = model.peak_factor * model.peak_factor * random_variance(model, point, period);
  const double passed = point.input_jitter_ps * point.input_jitter_ps / (1 + point.input_hz / corner(model, point));
  const double fraction = point.fractional_counters * model.fraction_phase / point.vco_hz * kPsPerSecond;
  const double spread = 2 * point.spread * point.modulation_hz * period * period * kPsPerSecond;
  return model.jitter_floor_ps + std::sqrt(random + passed) + fraction + spread;
}

double phase_error_ps(JitterModel const& model, LoopPoint const& point) {
  return model.phase_floor_ps + model.pfd_offset / point.pfd_hz * kPsPerSecond +
         model.peak_factor / 2 * std::sqrt(random_variance(model, point, 1 / point.pfd_hz));
}

double loop_power_mw(PowerModel const& model, LoopPoint const& point) {
  return model.static_mw + (model.per_vco * point.vco_hz + model.per_pfd * point.pfd_hz +
                            model.per_fraction * point.fractional_counters * point.vco_hz) /
                               kHzPerMhz;
}

double output_power_mw(PowerModel const& model, LoopPoint const& point, double output_hz) {
  return (model.per_counter * point.vco_hz + model.per_output * output_hz) / kHzPerMhz;
}

double ui_to_ps(double unit_intervals, double input_hz) { return unit_intervals / input_hz * kPsPerSecond; }

}  // namespace kdi::clocking
