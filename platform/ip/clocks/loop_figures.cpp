#include "ip/clocks/loop_figures.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "ip/clocks/number_lists.h"

namespace kdi::clocking {
namespace {

double square(double value) { return value * value; }

constexpr double kHzPerGhz = 1e9;

}  // namespace

std::optional<HASTJitterCalculatorKelvane::BANDWIDTH> bandwidth_of(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  if (text == "LOW") return HASTJitterCalculatorKelvane::BW_LOW;
  if (text == "HIGH") return HASTJitterCalculatorKelvane::BW_HIGH;
  if (text == "OPTIMIZED") return HASTJitterCalculatorKelvane::BW_OPTIMIZED;
  return std::nullopt;
}

double jitter_ps(device::LoopModel const& loop, double input_jitter_ps, double vco_mhz, bool spread, bool fine_phase) {
  const double random =
      square(loop.input_gain * input_jitter_ps) + square(loop.vco_ps) * 1000 / vco_mhz + square(loop.output_ps);
  return std::sqrt(random) + (spread ? loop.spread_ps : 0) + (fine_phase ? loop.fine_ps : 0);
}

double phase_error_ps(device::LoopModel const& loop, double pfd_mhz) {
  return loop.phase_error_ps + loop.phase_error_pfd_ps * 100 / pfd_mhz;
}

double power_w(device::ClockPower const& model, Solution const& solution) {
  double watts = model.base_w + model.w_per_vco_ghz * solution.vco_hz.to_double() / kHzPerGhz;
  for (OutputSolution const& output : solution.outputs)
    watts += model.w_per_output_ghz * output.frequency_hz.to_double() / kHzPerGhz;
  if (solution.high_speed) watts += model.w_per_output_ghz * solution.high_speed->frequency_hz.to_double() / kHzPerGhz;
  return watts;
}

std::string outside(char const* what, double mhz, device::Range const& range) {
  if (range.contains(mhz)) return {};
  return std::string(what) + " " + number_text(mhz) + " MHz is outside " + number_text(range.min) + " to " +
         number_text(range.max) + " MHz";
}

}  // namespace kdi::clocking
