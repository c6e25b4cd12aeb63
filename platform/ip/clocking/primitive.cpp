#include "platform/ip/clocking/primitive.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "kdi/common/KdiNumber.h"

namespace kdi::clocking {
namespace {

constexpr double kHzPerInverseNs = 1e9;

using Fault = std::optional<std::string>;

std::string outside(std::string const& field, std::string const& value, std::string const& bounds) {
  return field + " " + value + " is outside " + bounds;
}

// Every solve checks its primitive: texts are put together when there is a fault, not before.
Fault in(std::string_view part, Fault const& fault) {
  return fault ? Fault(std::string(part) + " " + *fault) : std::nullopt;
}

Fault check_range(char const* field, Range const& range) {
  for (Rational const& end : {range.min, range.max})
    if (end < 0 || end > kMaxFrequencyHz || end.num() > kMaxFrequencyNum || end.den() > kMaxFrequencyDen)
      return outside(field, end.text() + " Hz", "0 to 2^40 Hz, or is finer than 2^-20 Hz");
  if (range.max.is_zero()) return std::string(field) + ": maximum 0";
  if (range.max < range.min)
    return std::string(field) + ": minimum " + range.min.text() + " Hz exceeds maximum " + range.max.text();
  return std::nullopt;
}

Fault check_integer(char const* field, int value, int low, int high) {
  if (value >= low && value <= high) return std::nullopt;
  return outside(field, std::to_string(value), std::to_string(low) + " to " + std::to_string(high));
}

Fault check_double(char const* field, double value, double low, double high) {
  if (value >= low && value <= high) return std::nullopt;
  const auto text = [](double one) { return number::fixed(one, 6); };
  return outside(field, text(value), text(low) + " to " + text(high));
}

Fault check_counter(CounterSpec const& spec, int highest) {
  if (auto fault = check_integer("minimum", spec.min, 1, highest)) return fault;
  if (auto fault = check_integer("maximum", spec.max, spec.min, highest)) return fault;
  if (auto fault = check_integer("step", spec.step, 1, highest)) return fault;
  if (spec.fraction < 1 || kUnit % spec.fraction != 0)
    return outside("fraction", std::to_string(spec.fraction), "1, 2, 4, 8, 16, 32, 64");
  return check_integer("fraction_min", spec.fraction_min, 1, highest);
}

Fault check_models(Primitive const& primitive) {
  constexpr double kHuge = 1e12;
  const auto check_all = [](char const* model, std::initializer_list<std::pair<char const*, double>> fields) {
    Fault fault;
    for (auto const& [field, value] : fields)
      if (!fault) fault = in(model, check_double(field, value, 0, kHuge));
    return fault;
  };
  for (device::LoopModel const& loop : primitive.loops)
    if (auto fault = check_all("loop", {{"input_gain", loop.input_gain},
                                        {"vco_ps", loop.vco_ps},
                                        {"output_ps", loop.output_ps},
                                        {"spread_ps", loop.spread_ps},
                                        {"fine_ps", loop.fine_ps},
                                        {"phase_error_ps", loop.phase_error_ps},
                                        {"phase_error_pfd_ps", loop.phase_error_pfd_ps}}))
      return fault;
  if (!primitive.power) return std::nullopt;
  return check_all("power", {{"base_w", primitive.power->base_w},
                             {"w_per_vco_ghz", primitive.power->w_per_vco_ghz},
                             {"w_per_output_ghz", primitive.power->w_per_output_ghz}});
}

Fault check_spread(SpreadMode const& mode) {
  for (Rational const& side : {mode.down, mode.up})
    if (side < 0 || side > Rational(1, 4) || side.den() > 10000)
      return outside("deviation", side.text(), "0 to 1/4 in steps of 10^-4");
  if (auto fault = check_range("modulation", mode.modulation_hz)) return fault;
  return check_integer("divider_step", mode.divider_step, 1, 1024);
}

Fault check_high_speed(HighSpeedMode const& mode) {
  if (mode.factor < Rational(1, 8) || mode.factor > 8 || kUnit % mode.factor.num() != 0)
    return "high-speed mode \"" + mode.name + "\": factor " + mode.factor.text() +
           " is outside 1/8 to 8, or its inverse is no multiple of 1/64";
  return std::nullopt;
}

Fault check_buffer(BufferSpec const& buffer) {
  constexpr double kLongestNs = 1e9;
  if (auto fault = check_double("min_period_ns", buffer.min_period_ns, 1e-3, kLongestNs)) return fault;
  if (buffer.max_period_ns == 0) return std::nullopt;
  return check_double("max_period_ns", buffer.max_period_ns, buffer.min_period_ns, kLongestNs);
}

}  // namespace

BufferSpec const* Primitive::buffer(std::string const& buffer_name) const {
  const auto found = std::ranges::find(buffers, buffer_name, &BufferSpec::name);
  return found == buffers.end() ? nullptr : &*found;
}

SpreadMode const* Primitive::spread_mode(std::string const& mode_name) const {
  const auto found = std::ranges::find(spread_modes, mode_name, &SpreadMode::name);
  return found == spread_modes.end() ? nullptr : &*found;
}

device::LoopModel const* Primitive::loop(Bandwidth bandwidth) const {
  using Word = HASTJitterCalculatorKelvane;
  const Word::BANDWIDTH wanted = bandwidth == Bandwidth::low    ? Word::BW_LOW
                                 : bandwidth == Bandwidth::high ? Word::BW_HIGH
                                                                : Word::BW_OPTIMIZED;
  const auto found = std::ranges::find(loops, wanted, &device::LoopModel::bandwidth);
  return found == loops.end() ? nullptr : &*found;
}

namespace {

Fault check_ranges(Primitive const& primitive) {
  struct Named {
    char const* field;
    Range const& range;
  };
  for (auto const& [field, range] :
       {Named{"input_hz", primitive.input_hz}, Named{"pfd_hz", primitive.pfd_hz},
        Named{"pfd_low_bandwidth_hz", primitive.pfd_low_bandwidth_hz}, Named{"vco_hz", primitive.vco_hz},
        Named{"high_speed_hz", primitive.high_speed_hz}})
    if (auto fault = check_range(field, range)) return fault;
  return std::nullopt;
}

Fault check_loop_counters(Primitive const& primitive) {
  if (auto fault = in("multiplier", check_counter(primitive.multiplier, kMaxMultiplier))) return fault;
  if (auto fault = in("input_divider", check_counter(primitive.input_divider, kMaxInputDivider))) return fault;
  if (primitive.input_divider.fraction != 1) return "input_divider has fractional values; only whole ones exist";
  return std::nullopt;
}

Fault check_outputs(Primitive const& primitive) {
  const int counters = static_cast<int>(primitive.outputs.size());
  const bool has_high_speed = !primitive.high_speed_modes.empty();
  if (auto fault = check_integer("number of outputs", counters, has_high_speed ? 0 : 1,
                                 has_high_speed ? kMaxOutputs - 1 : kMaxOutputs))
    return fault;
  for (std::size_t i = 0; i < primitive.outputs.size(); ++i) {
    const auto field = [i] { return "output " + std::to_string(i); };
    if (auto fault = in("divider", check_counter(primitive.outputs[i].divider, kMaxOutputDivider)))
      return in(field(), fault);
    if (auto fault = check_range("frequency", primitive.outputs[i].frequency_hz)) return in(field(), fault);
    const int longest = primitive.outputs[i].divider.max * std::clamp(primitive.duty_steps, 1, 64);
    if (primitive.max_high_steps != 0 && 2 * std::int64_t{primitive.max_high_steps} < longest)
      return "max_high_steps " + std::to_string(primitive.max_high_steps) + " is less than half the period of " +
             field() + " at its largest divider, " + std::to_string(longest) + " steps";
  }
  return std::nullopt;
}

Fault check_steps(Primitive const& primitive) {
  struct Named {
    char const* field;
    int value, low, high;
  };
  for (auto const& [field, value, low, high] :
       {Named{"phase_steps", primitive.phase_steps, 1, 256},
        Named{"fine_phase_steps", primitive.fine_phase_steps, 0, 256},
        Named{"max_phase_step", primitive.max_phase_step, 0, 1 << 20}, Named{"duty_steps", primitive.duty_steps, 1, 64},
        Named{"max_high_steps", primitive.max_high_steps, 0, 1 << 20}})
    if (auto fault = check_integer(field, value, low, high)) return fault;
  return std::nullopt;
}

Fault check_modes_and_buffers(Primitive const& primitive) {
  for (auto const& mode : primitive.high_speed_modes)
    if (auto fault = check_high_speed(mode)) return fault;
  for (auto const& mode : primitive.spread_modes)
    if (auto fault = check_spread(mode)) return in("spread mode \"" + mode.name + "\"", fault);
  for (auto const& buffer : primitive.buffers)
    if (auto fault = check_buffer(buffer)) return in("buffer \"" + buffer.name + "\"", fault);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> check(Primitive const& primitive) {
  for (auto const part :
       {check_ranges, check_loop_counters, check_outputs, check_steps, check_modes_and_buffers, check_models})
    if (auto fault = part(primitive)) return fault;
  return std::nullopt;
}

std::vector<int> counter_values(CounterSpec const& spec, bool whole_only) {
  std::vector<int> values;
  for (int value = spec.min; value <= spec.max; value += spec.step) values.push_back(value * kUnit);
  if (whole_only || spec.fraction == 1) return values;
  const int whole_count = static_cast<int>(values.size());
  const int stride = kUnit / spec.fraction;
  for (int value = std::max(spec.fraction_min, spec.min) * kUnit; value <= spec.max * kUnit; value += stride)
    values.push_back(value);
  std::inplace_merge(values.begin(), values.begin() + whole_count, values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  return values;
}

Range buffer_frequencies(BufferSpec const& buffer) {
  Range range;
  range.max = std::min(Rational(kMaxFrequencyHz), Rational::nearest(kHzPerInverseNs / buffer.min_period_ns, 1));
  if (buffer.max_period_ns > 0) range.min = Rational::nearest(kHzPerInverseNs / buffer.max_period_ns, 1);
  return range;
}

std::string text_mhz(Range const& range) {
  return (range.min / 1000000).text() + " to " + (range.max / 1000000).text() + " MHz";
}

}  // namespace kdi::clocking
