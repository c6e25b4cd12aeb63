#include "platform/ip/clock_faces/achievable.h"

#include <algorithm>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clocking/queries.h"

namespace kdi::clocking {
namespace {

constexpr int kHzPerKhz = 1000;

// Data rates that controllers of a type run memories at, in Mb/s of a pin. NONE, or nothing: any.
std::optional<device::Range> rates_of(device::Part const& part, std::string const& controller_type) {
  if (controller_type.empty() || controller_type == "NONE") return std::nullopt;
  std::optional<device::Range> rates;
  for (auto const& controller : part.speed->memory_controllers)
    for (auto const& memory : controller.interfaces) {
      if (memory.type != controller_type) continue;
      if (!rates) rates = memory.rate_mbps;
      rates->min = std::min(rates->min, memory.rate_mbps.min);
      rates->max = std::max(rates->max, memory.rate_mbps.max);
    }
  if (!rates) throw Fault{part.name + " has no memory controller for " + text::shown(controller_type)};
  return rates;
}

Request request_of(device::Part const& part, Primitive const& primitive, ExactClocks const& clocks) {
  if (!(clocks.near_period_ns > 0))
    throw Fault{"the input period " + number::plain(clocks.near_period_ns) + " ns is not above 0"};
  Request request;
  request.input_hz = frequency("the frequency of the input period,", 1000 / clocks.near_period_ns);
  if (clocks.phy_mhz != 0) request.high_speed_hz = frequency("clkoutphy", clocks.phy_mhz);
  if (const auto rates = rates_of(part, clocks.controller_type); rates && !rates->contains(clocks.phy_mhz))
    throw Fault{"clkoutphy " + number::plain(clocks.phy_mhz) + " MHz is outside the data rates of " +
                clocks.controller_type + ", " + number::plain(rates->min) + " to " + number::plain(rates->max) +
                " Mb/s"};
  for (double output : clocks.outputs_mhz) {
    if (output == 0) continue;
    OutputRequest asked;
    asked.frequency_hz = frequency("output", output);
    Range const& limits = primitive.outputs.front().frequency_hz;
    if (!limits.contains(asked.frequency_hz))
      throw Fault{"output frequency " + number::plain(output) + " MHz is outside " + text_mhz(limits)};
    request.outputs.push_back(asked);
  }
  if (request.outputs.empty() && !request.high_speed_hz) throw Fault{"no output is asked for"};
  require(check(primitive, request));
  return request;
}

// What output 0 can be at this VCO frequency: beside an output for I/O banks every frequency, otherwise those that are
// a whole number of kHz, since all of them would be thousands.
void add_outputs(Primitive const& primitive, Rational const& vco, int multiplication,
                 std::optional<device::Range> const& rates, std::set<Rational>& found) {
  OutputSpec const& output = primitive.outputs.front();
  const std::vector<int> dividers = counter_values(output.divider, true);
  if (primitive.high_speed_modes.empty()) {
    for (int divider : dividers)
      if (const Rational made = vco * kUnit / divider;
          output.frequency_hz.contains(made) && (made / kHzPerKhz).den() == 1)
        found.insert(made);
    return;
  }
  for (auto const& mode : primitive.high_speed_modes) {
    const Rational phy = vco * mode.factor, made = phy / multiplication, divider = vco / made * kUnit;
    const bool is_divider = divider.den() == 1 && std::ranges::binary_search(dividers, static_cast<int>(divider.num()));
    if (is_divider && output.frequency_hz.contains(made) && primitive.high_speed_hz.contains(phy) &&
        (!rates || rates->contains(mhz(phy))))
      found.insert(made);
  }
}

}  // namespace

Primitive primitive_for_lists(device::Part const& part, device::ClockPrimitiveKind kind, Grades grades) {
  device::ClockPrimitive const& data = primitive_of(part, kind);
  Primitive primitive = solver_primitive(part, grades == Grades::own ? data : widest(*part.device, data), false);
  require(check(primitive));
  return primitive;
}

std::vector<Rational> find_inputs(device::Part const& part, Primitive const& primitive, ExactClocks const& clocks,
                                  std::size_t count) {
  const Request request = request_of(part, primitive, clocks);
  std::vector<Rational> inputs = advised_inputs(primitive, request, count);
  if (!inputs.empty()) return inputs;
  const Result nearest = solve(primitive, request);
  if (!nearest.solution) throw Fault{nearest.error};
  throw Fault{"no input frequency makes all of these exactly; from " + mhz_text(request.input_hz) +
              " MHz the farthest is off by " + number::fixed(nearest.solution->worst_error.to_double() * 1e6, 3) +
              " ppm"};
}

std::vector<Rational> find_outputs(device::Part const& part, Primitive const& primitive, double input_mhz,
                                   int multiplication, std::string const& controller_type) {
  const Rational input = frequency("input", input_mhz);
  if (!primitive.input_hz.contains(input))
    throw Fault{"input " + mhz_text(input) + " MHz is outside " + text_mhz(primitive.input_hz)};
  const int most = primitive.high_speed_modes.empty() ? 1 : kMaxOutputDivider;
  if (multiplication < 1 || multiplication > most)
    throw Fault{"the multiplication factor " + std::to_string(multiplication) + " is outside 1 to " +
                std::to_string(most)};
  const auto rates = rates_of(part, controller_type);
  if (rates && primitive.high_speed_modes.empty()) throw Fault{primitive.name + " has no output for I/O banks"};
  std::set<Rational> found;
  for (int d = primitive.input_divider.min; d <= primitive.input_divider.max && found.empty(); ++d) {
    if (!primitive.pfd_hz.contains(input / d)) continue;
    for (int m : counter_values(primitive.multiplier, true))
      if (const Rational vco = input * m / (std::int64_t{kUnit} * d); primitive.vco_hz.contains(vco))
        add_outputs(primitive, vco, multiplication, rates, found);
  }
  if (found.empty()) throw Fault{"no whole M and D make an output from " + mhz_text(input) + " MHz"};
  return {found.begin(), found.end()};
}

}  // namespace kdi::clocking
