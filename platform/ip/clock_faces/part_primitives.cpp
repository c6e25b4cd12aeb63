#include "platform/ip/clock_faces/part_primitives.h"

#include <algorithm>
#include <limits>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::clocking {
namespace {

constexpr std::int64_t kHzPerMhz = 1000000;

Range to_hz(device::Range const& mhz) {
  const auto hz = [](double value) { return Rational::nearest(value * static_cast<double>(kHzPerMhz), 1); };
  return {hz(mhz.min), hz(mhz.max)};
}

CounterSpec counter(device::CounterRange const& range) {
  CounterSpec spec;
  spec.min = range.min;
  spec.max = range.max;
  spec.fraction = range.steps_per_unit;
  spec.fraction_min = std::max(range.min, range.fraction_min);
  return spec;
}

SpreadMode spread_mode(device::SpreadSpectrum::Mode const& data, device::Range const& modulation_khz) {
  constexpr std::int64_t kSteps = 10000;  // the solver's
  const double whole = data.deviation_percent / 100;
  SpreadMode mode;
  mode.name = data.name;
  mode.down = Rational::nearest(data.centred ? whole / 2 : whole, kSteps);
  if (data.centred) mode.up = mode.down;
  mode.modulation_hz = {Rational::nearest(modulation_khz.min * 1000, 1),
                        Rational::nearest(modulation_khz.max * 1000, 1)};
  return mode;
}

void widen(device::Range& range, device::Range const& other) {
  range.min = std::min(range.min, other.min);
  range.max = std::max(range.max, other.max);
}

}  // namespace

std::optional<Rational> to_hz(double mhz) {
  if (!(mhz > 0 && mhz <= static_cast<double>(kMaxFrequencyHz) / static_cast<double>(kHzPerMhz))) return std::nullopt;
  const Rational hz = Rational::nearest(mhz * static_cast<double>(kHzPerMhz), 1);
  if (hz.is_zero()) return std::nullopt;
  return hz;
}

std::string mhz_text(Rational const& hz) { return (hz / kHzPerMhz).text(6); }

Primitive solver_primitive(device::Part const& part, device::ClockPrimitive const& data, bool fine_phase) {
  Primitive primitive;
  primitive.name = data.name;
  primitive.input_hz = to_hz(data.input_mhz);
  primitive.pfd_hz = primitive.pfd_low_bandwidth_hz = to_hz(data.pfd_mhz);
  primitive.vco_hz = to_hz(data.vco_mhz);
  primitive.multiplier = counter(data.multiply);
  primitive.input_divider = counter(data.divide);
  primitive.input_divider.fraction = 1;

  primitive.fine_phase_steps = data.fine_phase_steps_per_vco_period;
  const std::size_t most = data.phy_output ? kMaxOutputs - 1 : kMaxOutputs;
  int farthest = std::numeric_limits<int>::max();  // of all outputs: the solver has one figure for them
  for (device::ClockOutput const& output : data.outputs) {
    if (primitive.outputs.size() == most) break;
    primitive.outputs.push_back({counter(output.divide), to_hz(data.output_mhz)});
    primitive.phase_steps = output.phase_steps_per_vco_period;
    primitive.duty_steps = output.duty_steps_per_vco_period;
    farthest = std::min(farthest, output.phase_max_vco_periods);
  }
  primitive.max_phase_step =
      farthest * (fine_phase && primitive.fine_phase_steps > 0 ? primitive.fine_phase_steps : primitive.phase_steps);
  if (data.phy_output) {
    for (auto const& mode : data.phy_output->modes)
      primitive.high_speed_modes.push_back({mode.name, Rational::nearest(mode.vco_ratio, kUnit)});
    primitive.high_speed_hz = to_hz(data.phy_output->output_mhz);
  }
  if (data.spread_spectrum)
    for (auto const& mode : data.spread_spectrum->modes)
      primitive.spread_modes.push_back(spread_mode(mode, data.spread_spectrum->modulation_khz));
  for (auto const& buffer : part.speed->clock_buffers)
    primitive.buffers.push_back({buffer.name, buffer.period_ns.min, buffer.period_ns.max});
  primitive.loops = data.loops;
  if (device::ClockPower const* const power = part.device->power.clock(data.name)) primitive.power = *power;
  return primitive;
}

std::string outside(char const* what, double mhz, device::Range const& range) {
  if (range.contains(mhz)) return {};
  return std::string(what) + " " + number::plain(mhz) + " MHz is outside " + number::plain(range.min) + " to " +
         number::plain(range.max) + " MHz";
}

std::string with_nearest(std::string const& fault, Primitive const& primitive, Request const& request) {
  const Result result = solve(primitive, request);
  return fault + ". " + (result.solution ? nearest_text(*result.solution) : result.error);
}

std::optional<HASTJitterCalculatorKelvane::BANDWIDTH> bandwidth_of(std::string_view word) {
  using Word = HASTJitterCalculatorKelvane;
  if (text::same_but_case(word, "LOW")) return Word::BW_LOW;
  if (text::same_but_case(word, "HIGH")) return Word::BW_HIGH;
  if (text::same_but_case(word, "OPTIMIZED")) return Word::BW_OPTIMIZED;
  return std::nullopt;
}

device::ClockPrimitive widest(device::Device const& device, device::ClockPrimitive primitive) {
  for (device::SpeedGrade const& grade : device.speed_grades)
    for (device::ClockPrimitive const& other : grade.clock_primitives) {
      if (other.name != primitive.name) continue;
      widen(primitive.input_mhz, other.input_mhz);
      widen(primitive.pfd_mhz, other.pfd_mhz);
      widen(primitive.vco_mhz, other.vco_mhz);
      widen(primitive.output_mhz, other.output_mhz);
      if (primitive.phy_output && other.phy_output)
        widen(primitive.phy_output->output_mhz, other.phy_output->output_mhz);
    }
  return primitive;
}

}  // namespace kdi::clocking
