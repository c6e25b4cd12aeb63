#include "platform/ip/clock_faces/questions.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/device/parts.h"
#include "platform/ip/clock_faces/part_primitives.h"

namespace kdi::clocking {
namespace {

char const* name_of(device::ClockPrimitiveKind kind) {
  switch (kind) {
    case device::ClockPrimitiveKind::pll:
      return "PLL";
    case device::ClockPrimitiveKind::phy_pll:
      return "PHYPLL";
    case device::ClockPrimitiveKind::mmcm:
      break;
  }
  return "MMCM";
}

}  // namespace

void require(std::optional<std::string> const& fault) {
  if (fault) throw Fault{*fault};
}

void require_within(char const* what, double mhz, device::Range const& limits) {
  if (const std::string fault = outside(what, mhz, limits); !fault.empty()) throw Fault{fault};
}

Rational frequency(std::string const& what, double mhz) {
  if (const auto hz = to_hz(mhz)) return *hz;
  throw Fault{what + " " + number::plain(mhz) + " MHz is no frequency above 0"};
}

Rational angle(std::string const& what, double value, double least, double most) {
  if (value >= least && value <= most) return Rational::nearest(value, 1000000);
  throw Fault{what + " " + number::plain(value) + " is outside " + number::plain(least) + " to " + number::plain(most)};
}

Rational phase(double degrees) { return angle("phase", degrees, -360000, 360000); }
Rational duty(double percent) { return angle("duty cycle", percent, 1e-4, 100 - 1e-4) / 100; }

SpreadRequest spread(std::string const& mode, double khz) {
  return {mode, angle("modulation frequency in kHz,", khz, 1e-3, 6e4) * 1000};
}

Rational divider_of(Primitive const& primitive, double divide, bool whole_only) {
  CounterSpec const& spec = primitive.outputs.front().divider;
  if (!(divide >= spec.min && divide <= spec.max))
    throw Fault{"the divider " + number::plain(divide) + " is outside " + std::to_string(spec.min) + " to " +
                std::to_string(spec.max)};
  const std::vector<int> values = counter_values(spec, whole_only);
  const double wanted = divide * kUnit;
  return {*std::ranges::min_element(values, {}, [wanted](int value) { return std::abs(value - wanted); }), kUnit};
}

double mhz(Rational const& hz) { return hz.to_double() / 1e6; }

std::optional<double> if_any(double mhz) { return mhz == 0 ? std::nullopt : std::optional(mhz); }

device::Part const& part_of(std::string const& name) { return known(device::find_part(name), name); }

device::Part const& known(device::Part const* found, std::string const& name) {
  if (found != nullptr) return *found;
  throw Fault{device::unknown_part(name)};
}

device::ClockPrimitive const& primitive_of(device::Part const& part, device::ClockPrimitiveKind kind) {
  if (auto const* const data = part.clock_primitive(kind)) return *data;
  throw Fault{part.name + " has no " + name_of(kind)};
}

void add_inputs(Request& request, double input_mhz, std::optional<double> second_input_mhz) {
  request.input_hz = frequency("input", input_mhz);
  if (second_input_mhz) request.second_input_hz = frequency("second input", *second_input_mhz);
}

void add_outputs(Request& request, std::vector<Wish> const& wishes, Rational (*duty_of)(double percent)) {
  for (Wish const& wish : wishes) {
    OutputRequest output;
    output.frequency_hz = frequency("output", wish.frequency_mhz);
    output.phase_deg = phase(wish.phase_deg);
    output.duty = duty_of(wish.duty_percent);
    request.outputs.push_back(output);
  }
}

std::string beyond_limits(std::vector<Wish> const& wishes, device::ClockPrimitive const& primitive) {
  for (Wish const& wish : wishes)
    if (std::string beyond = outside("output frequency", wish.frequency_mhz, primitive.output_mhz); !beyond.empty())
      return beyond;
  return {};
}

Solved ask(Primitive primitive, Request request, std::string const& beyond) {
  if (!beyond.empty()) throw Fault{with_nearest(beyond, primitive, request)};
  Result result = solve(primitive, request);
  if (!result.solution) throw Fault{result.error};
  return {std::move(primitive), std::move(request), std::move(*result.solution)};
}

}  // namespace kdi::clocking
