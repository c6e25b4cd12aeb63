#include "platform/ip/clocking/limits.h"

#include <algorithm>
#include <cmath>
#include <variant>
#include <vector>

#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

double factor_of(int level) {
  return (1 + static_cast<double>(level % kLevelsPerOctave) / kLevelsPerOctave) *
         static_cast<double>(1 << (level / kLevelsPerOctave));
}

Range opened(Range const& range, int level, std::int64_t highest) {
  if (level >= kOpen) return {0, highest};
  const double factor = factor_of(level);
  const auto low = static_cast<std::int64_t>(std::floor(range.min.to_double() / factor));
  const auto high =
      static_cast<std::int64_t>(std::min(std::ceil(range.max.to_double() * factor), static_cast<double>(highest)));
  return {std::min(range.min, Rational(low)), std::max(range.max, Rational(high))};
}

CounterSpec opened(CounterSpec spec, int level, std::int64_t highest) {
  const Range range = opened(Range{spec.min, spec.max}, level, highest);
  spec.min = std::max(1, static_cast<int>(range.min.floor()));
  spec.max = static_cast<int>(range.max.floor());
  spec.step = 1;
  return spec;
}

Range widened(Range const& range, Range const& needed) {
  return {std::min(range.min, needed.min), std::max(range.max, needed.max)};
}

CounterSpec widened(CounterSpec spec, Range const& needed) {
  spec.min = std::min(spec.min, static_cast<int>(needed.min.floor()));
  spec.max = std::max(spec.max, static_cast<int>(needed.max.ceil()));
  spec.step = 1;
  return spec;
}

// Device data and requests hold whole Hz in comfort, and counters are named by whole values: a limit is widened to the
// next whole number outside.
Range widened_to_whole(Range range, Range const& used) {
  if (used.min < range.min) range.min = used.min.floor();
  if (used.max > range.max) range.max = std::min<Rational>(used.max.ceil(), kMaxFrequencyHz);
  return range;
}

// What a setting makes of its inputs.
struct Use {
  Range inputs;       // the slower and the faster one
  Range loop_inputs;  // with the spread
  Solution const& solution;

  Range pfd() const { return {inputs.min / solution.input_divider, inputs.max / solution.input_divider}; }
  Range vco() const {
    const Rational gain = solution.multiplier / solution.input_divider;
    return {loop_inputs.min * gain, loop_inputs.max * gain};
  }
  Range output(OutputSolution const& output) const { return {vco().min / output.divider, vco().max / output.divider}; }
};

Use use_of(Primitive const& primitive, Request const& request, Solution const& solution) {
  const Rational second = request.second_input_hz.value_or(request.input_hz);
  const Range inputs{std::min(request.input_hz, second), std::max(request.input_hz, second)};
  return {inputs, effective_input(primitive, request), solution};
}

// --------------------------------------------------------------------------------------------------- kinds of limits
//
// Each says how a limit of its kind is opened to a level, widened to what is needed, found as it stands and as a
// setting needs it, and told.

// One that is kept or dropped.
struct Condition {
  static constexpr bool kIsRange = false;

  void (*drop)(Request&);
  char const* meaning;  // of its binding

  void open(Relaxed& relaxed, int /*level*/) const { drop(relaxed.request); }
  void widen(Relaxed& relaxed, Range const& /*needed*/) const { drop(relaxed.request); }
  void bind(Binding&, Primitive const&, Request const&, Relaxed const&, Use const&) const {}
  std::string text(Binding const&, Unit const&) const { return std::string(": ") + meaning; }
};

// The tolerance of an error that the steps of the counters leave; a range from 0 to the tolerance.
struct Tolerance {
  static constexpr bool kIsRange = false;

  Grid grid;
  std::int64_t shown_steps;  // of the unit: no finer figure is shown

  void open(Relaxed& relaxed, int /*level*/) const { (relaxed.request.*grid.tolerance).reset(); }
  void widen(Relaxed& relaxed, Range const& needed) const { relaxed.request.*grid.tolerance = needed.max; }
  void bind(Binding& binding, Primitive const&, Request const& request, Relaxed const& relaxed, Use const&) const {
    binding.now = {0, *(request.*grid.tolerance)};
    binding.needed = {0, *(relaxed.request.*grid.tolerance)};
  }
  std::string text(Binding const& binding, Unit const& unit) const {
    return ": the tolerance of " + amount(binding.now.max, unit) + " would have to be " +
           amount(binding.needed.max, unit);
  }
  // In double precision: a product with 10^6 may leave 64 bits.
  std::string amount(Rational const& value, Unit const& unit) const {
    return Rational::nearest(value.to_double() * unit.scale().to_double(), shown_steps).text() + " " + unit.name;
  }
};

// A range that places of the primitive have: of frequencies, or of a counter's values.
template <class Place>
struct Bounds {
  static constexpr bool kIsRange = true;

  std::vector<Place*> (*places)(Primitive&);            // all that give way together
  Range (*standing)(Primitive const&, Request const&);  // the one that is told
  std::vector<Range> (*used)(Use const&);               // what a setting needs
  std::int64_t highest;
  void (*adapt)(Primitive&) = nullptr;  // what has to go along

  void open(Relaxed& relaxed, int level) const {
    change(relaxed, [&](Place const& place) { return opened(place, level, highest); });
  }
  void widen(Relaxed& relaxed, Range const& needed) const {
    change(relaxed, [&](Place const& place) { return widened(place, needed); });
  }
  void bind(Binding& binding, Primitive const& primitive, Request const& request, Relaxed const&,
            Use const& use) const {
    binding.now = binding.needed = standing(primitive, request);
    for (Range const& range : used(use)) binding.needed = widened_to_whole(binding.needed, range);
  }
  std::string text(Binding const& binding, Unit const& unit) const {
    return " " + told(binding.now, unit) + " would have to be " + told(binding.needed, unit);
  }

 private:
  template <class Change>
  void change(Relaxed& relaxed, Change changed) const {
    for (Place* place : places(relaxed.primitive)) *place = changed(*place);
    if (adapt != nullptr) adapt(relaxed.primitive);
  }
  static std::string told(Range const& range, Unit const& unit) {
    const std::string bounds = (range.min * unit.scale()).text() + " to " + (range.max * unit.scale()).text();
    return *unit.name == '\0' ? bounds : bounds + " " + unit.name;
  }
};

// ------------------------------------------------------------------------------------------- what the rows refer to

template <auto Field>
auto sole(Primitive& primitive) {
  return std::vector{&(primitive.*Field)};
}
template <auto Field>
auto of_each_output(Primitive& primitive) {
  std::vector<decltype(&(primitive.outputs.front().*Field))> places;
  for (OutputSpec& output : primitive.outputs) places.push_back(&(output.*Field));
  return places;
}
std::vector<Range*> both_pfd_ranges(Primitive& primitive) {
  return {&primitive.pfd_hz, &primitive.pfd_low_bandwidth_hz};
}
std::vector<Range*> modulation_ranges(Primitive& primitive) {
  std::vector<Range*> places;
  for (SpreadMode& mode : primitive.spread_modes) places.push_back(&mode.modulation_hz);
  return places;
}

// The longest high time goes with the largest divider.
void adapt_duty(Primitive& primitive) {
  if (primitive.max_high_steps == 0) return;
  for (auto const& output : primitive.outputs)
    primitive.max_high_steps = std::max(primitive.max_high_steps, output.divider.max * primitive.duty_steps);
}

Range range_of(Range const& range) { return range; }
Range range_of(CounterSpec const& spec) { return {spec.min, spec.max}; }
template <auto Field>
Range standing(Primitive const& primitive, Request const&) {
  return range_of(primitive.*Field);
}
Range standing_pfd(Primitive const& primitive, Request const& request) { return pfd_range(primitive, request); }
Range standing_divider(Primitive const& primitive, Request const&) {
  return primitive.outputs.empty() ? Range() : range_of(primitive.outputs.front().divider);
}
Range standing_output(Primitive const& primitive, Request const&) { return primitive.outputs.front().frequency_hz; }
Range standing_modulation(Primitive const& primitive, Request const& request) {
  return primitive.spread_mode(request.spread->mode)->modulation_hz;
}

std::vector<Range> used_input(Use const& use) { return {use.inputs}; }
std::vector<Range> used_pfd(Use const& use) { return {use.pfd()}; }
std::vector<Range> used_vco(Use const& use) { return {use.vco()}; }
template <auto Field>
std::vector<Range> used(Use const& use) {
  const Rational value = use.solution.*Field;
  return {{value, value}};
}
std::vector<Range> used_dividers(Use const& use) {
  std::vector<Range> dividers;
  for (auto const& output : use.solution.outputs) dividers.push_back({output.divider, output.divider});
  return dividers;
}
std::vector<Range> used_outputs(Use const& use) {
  std::vector<Range> outputs;
  for (auto const& output : use.solution.outputs) outputs.push_back(use.output(output));
  return outputs;
}
std::vector<Range> used_high_speed(Use const& use) { return {use.output(*use.solution.high_speed)}; }
std::vector<Range> used_modulation(Use const& use) {
  return {{*use.solution.modulation_hz, *use.solution.modulation_hz}};
}

void drop_second_input(Request& request) { request.second_input_hz.reset(); }
void drop_buffers(Request& request) {
  request.input_buffer.clear();
  for (auto& output : request.outputs) output.buffer.clear();
}

// --------------------------------------------------------------------------------------------------------- the rows

struct Row {
  Limit limit;
  char const* name;
  Unit unit;
  std::variant<Condition, Tolerance, Bounds<Range>, Bounds<CounterSpec>> kind;
};

using Frequencies = Bounds<Range>;
using Counter = Bounds<CounterSpec>;

constexpr Unit kNone = {};
constexpr Unit kNumber = {"", 1, 1};
constexpr Unit kHz = {"Hz", 1, 1};
constexpr Unit kMhz = {"MHz", 1, 1000000};
constexpr Unit kDegrees = {"degrees", 360, 1};
constexpr Unit kPercent = {"%", 100, 1};
constexpr Unit kPpm = {"ppm", 1000000, 1};

constexpr std::int64_t kMaxModulationHz = 1 << 26;

// In the order of Limit.
constexpr Row kRows[] = {
    {Limit::second_input, "second input", kNone,
     Condition{drop_second_input, "no setting keeps the PFD and the VCO in range at both input clocks"}},
    {Limit::input, "input range", kMhz,
     Frequencies{sole<&Primitive::input_hz>, standing<&Primitive::input_hz>, used_input, kMaxFrequencyHz}},
    {Limit::pfd, "PFD range", kMhz, Frequencies{both_pfd_ranges, standing_pfd, used_pfd, kMaxFrequencyHz}},
    {Limit::vco, "VCO range", kMhz,
     Frequencies{sole<&Primitive::vco_hz>, standing<&Primitive::vco_hz>, used_vco, kMaxFrequencyHz}},
    {Limit::multiplier, "multiplier range", kNumber,
     Counter{sole<&Primitive::multiplier>, standing<&Primitive::multiplier>, used<&Solution::multiplier>,
             kMaxMultiplier}},
    {Limit::input_divider, "input divider range", kNumber,
     Counter{sole<&Primitive::input_divider>, standing<&Primitive::input_divider>, used<&Solution::input_divider>,
             kMaxInputDivider}},
    {Limit::output_divider, "output divider range", kNumber,
     Counter{of_each_output<&OutputSpec::divider>, standing_divider, used_dividers, kMaxOutputDivider, adapt_duty}},
    {Limit::output_range, "output frequency range", kMhz,
     Frequencies{of_each_output<&OutputSpec::frequency_hz>, standing_output, used_outputs, kMaxFrequencyHz}},
    {Limit::high_speed_range, "phy_mhz", kMhz,
     Frequencies{sole<&Primitive::high_speed_hz>, standing<&Primitive::high_speed_hz>, used_high_speed,
                 kMaxFrequencyHz}},
    {Limit::buffer, "buffer period", kNone, Condition{drop_buffers, "a buffer does not carry its clock"}},
    {Limit::modulation, "modulation frequency range", kHz,
     Frequencies{modulation_ranges, standing_modulation, used_modulation, kMaxModulationHz}},
    {Limit::phase_grid, "phase grid", kDegrees,
     Tolerance{{&Request::phase_tolerance, &OutputSolution::phase_error}, 1000000}},
    {Limit::duty_grid, "duty cycle grid", kPercent,
     Tolerance{{&Request::duty_tolerance, &OutputSolution::duty_error}, 1000000}},
    {Limit::frequency_grid, "frequency grid", kPpm,
     Tolerance{{&Request::tolerance, &OutputSolution::frequency_error}, 1000}},
};

constexpr bool are_rows_in_order() {
  for (std::size_t i = 0; i < std::size(kRows); ++i)
    if (kRows[i].limit != static_cast<Limit>(i)) return false;
  return true;
}
static_assert(are_rows_in_order());

constexpr Row const& row_of(Limit limit) { return kRows[static_cast<std::size_t>(limit)]; }

}  // namespace

char const* name(Limit limit) { return row_of(limit).name; }

Unit const* unit_of(Limit limit) {
  Unit const& unit = row_of(limit).unit;
  return unit.name == nullptr ? nullptr : &unit;
}

bool is_range(Limit limit) {
  return std::visit([](auto const& kind) { return kind.kIsRange; }, row_of(limit).kind);
}

Grid const& grid_of(Limit limit) { return std::get<Tolerance>(row_of(limit).kind).grid; }

void open(Relaxed& relaxed, Limit limit, int level) {
  std::visit([&](auto const& kind) { kind.open(relaxed, level); }, row_of(limit).kind);
}

Relaxed relax(Primitive const& primitive, Request const& request, std::vector<Binding> const& bindings) {
  Relaxed relaxed{primitive, request};
  for (Binding const& binding : bindings)
    std::visit([&](auto const& kind) { kind.widen(relaxed, binding.needed); }, row_of(binding.limit).kind);
  return relaxed;
}

Binding bind(Limit limit, Primitive const& primitive, Request const& request, Relaxed const& relaxed,
             Solution const& solution) {
  Binding binding;
  binding.limit = limit;
  const Use use = use_of(primitive, relaxed.request, solution);
  std::visit([&](auto const& kind) { kind.bind(binding, primitive, request, relaxed, use); }, row_of(limit).kind);
  return binding;
}

std::string text_of(Binding const& binding) {
  Row const& row = row_of(binding.limit);
  return row.name + std::visit([&](auto const& kind) { return kind.text(binding, row.unit); }, row.kind);
}

std::string ppm_text(Rational const& relative) {
  return std::get<Tolerance>(row_of(Limit::frequency_grid).kind).amount(relative, kPpm);
}

Request without_tolerances(Request request) {
  for (Row const& row : kRows)
    if (auto const* const tolerance = std::get_if<Tolerance>(&row.kind)) (request.*tolerance->grid.tolerance).reset();
  return request;
}

}  // namespace kdi::clocking
