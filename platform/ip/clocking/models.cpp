#include "platform/ip/clocking/models.h"

#include <cmath>

namespace kdi::clocking {
namespace {

double square(double value) { return value * value; }

}  // namespace

double jitter_ps(device::LoopModel const& loop, double input_jitter_ps, double vco_mhz, bool spread, bool fine_phase) {
  const double random =
      square(loop.input_gain * input_jitter_ps) + square(loop.vco_ps) * 1000 / vco_mhz + square(loop.output_ps);
  return std::sqrt(random) + (spread ? loop.spread_ps : 0) + (fine_phase ? loop.fine_ps : 0);
}

double phase_error_ps(device::LoopModel const& loop, double pfd_mhz) {
  return loop.phase_error_ps + loop.phase_error_pfd_ps * 100 / pfd_mhz;
}

double power_w(device::ClockPower const& model, double vco_ghz, double outputs_ghz) {
  return model.base_w + model.w_per_vco_ghz * vco_ghz + model.w_per_output_ghz * outputs_ghz;
}

}  // namespace kdi::clocking
