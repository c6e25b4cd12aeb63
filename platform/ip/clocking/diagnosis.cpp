#include "platform/ip/clocking/diagnosis.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

constexpr std::size_t kExactInputs = 4;
constexpr std::int64_t kGridRaster = std::int64_t{1} << 40;  // tolerances are multiples of 2^-40
constexpr std::int64_t kMaxModulation = 1 << 26;

// How far a limit is opened: not at all at 0, then by factors (1 + i / 512) 2^j that grow by at most 0.2 % from one
// level to the next, and at kOpen altogether.
constexpr int kLevelsPerOctave = 512;
constexpr int kOctaves = 12;
constexpr int kOpen = kLevelsPerOctave * kOctaves;

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

CounterSpec opened(CounterSpec spec, int level, int highest) {
  const Range range = opened(Range{spec.min, spec.max}, level, highest);
  spec.min = std::max(1, static_cast<int>(range.min.floor()));
  spec.max = static_cast<int>(range.max.floor());
  spec.step = 1;
  return spec;
}

// The longest high time goes with the largest divider.
void fit_duty(Primitive& primitive) {
  if (primitive.max_high_steps == 0) return;
  for (auto const& output : primitive.outputs)
    primitive.max_high_steps = std::max(primitive.max_high_steps, output.divider.max * primitive.duty_steps);
}

// Opens one limit to a level. Tolerances, buffers and the second input are simply dropped.
void open(Relaxed& relaxed, Limit limit, int level) {
  auto& [primitive, request] = relaxed;
  switch (limit) {
    case Limit::second_input:
      request.second_input_hz.reset();
      break;
    case Limit::input:
      primitive.input_hz = opened(primitive.input_hz, level, kMaxFrequencyHz);
      break;
    case Limit::pfd:
      primitive.pfd_hz = opened(primitive.pfd_hz, level, kMaxFrequencyHz);
      primitive.pfd_low_bandwidth_hz = opened(primitive.pfd_low_bandwidth_hz, level, kMaxFrequencyHz);
      break;
    case Limit::vco:
      primitive.vco_hz = opened(primitive.vco_hz, level, kMaxFrequencyHz);
      break;
    case Limit::multiplier:
      primitive.multiplier = opened(primitive.multiplier, level, kMaxMultiplier);
      break;
    case Limit::input_divider:
      primitive.input_divider = opened(primitive.input_divider, level, kMaxInputDivider);
      break;
    case Limit::output_divider:
      for (auto& output : primitive.outputs) output.divider = opened(output.divider, level, kMaxOutputDivider);
      fit_duty(primitive);
      break;
    case Limit::output_range:
      for (auto& output : primitive.outputs) output.frequency_hz = opened(output.frequency_hz, level, kMaxFrequencyHz);
      primitive.high_speed_hz = opened(primitive.high_speed_hz, level, kMaxFrequencyHz);
      break;
    case Limit::buffer:
      request.input_buffer.clear();
      for (auto& output : request.outputs) output.buffer.clear();
      break;
    case Limit::modulation:
      for (auto& mode : primitive.spread_modes) mode.modulation_hz = opened(mode.modulation_hz, level, kMaxModulation);
      break;
    case Limit::phase_grid:
      request.phase_tolerance.reset();
      break;
    case Limit::duty_grid:
      request.duty_tolerance.reset();
      break;
    case Limit::frequency_grid:
      request.tolerance.reset();
      break;
  }
}

using Limits = std::vector<Limit>;

bool is_range(Limit limit) {
  switch (limit) {
    case Limit::second_input:
    case Limit::buffer:
    case Limit::phase_grid:
    case Limit::duty_grid:
    case Limit::frequency_grid:
      return false;
    default:
      return true;
  }
}

Relaxed opened(Primitive const& primitive, Request const& request, Limits const& limits, int level) {
  Relaxed relaxed{primitive, request};
  for (Limit limit : limits) open(relaxed, limit, level);
  return relaxed;
}

bool is_feasible(Relaxed const& relaxed) { return Search(relaxed.primitive, relaxed.request).best().has_value(); }

Request without_tolerances(Request request) {
  request.tolerance.reset();
  request.phase_tolerance.reset();
  request.duty_tolerance.reset();
  return request;
}

// Whether an output lies where no divider takes any VCO frequency of the range, whatever M and D are.
bool is_out_of_reach(Primitive const& primitive, Request const& request) {
  for (std::size_t i = 0; i < request.outputs.size(); ++i) {
    OutputSpec const& spec = primitive.outputs[i];
    Rational const& wanted = request.outputs[i].frequency_hz;
    if (!spec.frequency_hz.contains(wanted)) return true;
    if (wanted * spec.divider.min > primitive.vco_hz.max || wanted * spec.divider.max < primitive.vco_hz.min)
      return true;
    std::string const& buffer = request.outputs[i].buffer;
    if (!buffer.empty() && !buffer_frequencies(*primitive.buffer(buffer)).contains(wanted)) return true;
  }
  return request.high_speed_hz && !primitive.high_speed_hz.contains(*request.high_speed_hz);
}

// The limits that may bind, those that explain most first: causes before what they cause.
Limits suspects(Primitive const& primitive, Request const& request, bool has_nearest) {
  Limits order;
  const bool has_buffer = !request.input_buffer.empty() || std::ranges::any_of(request.outputs, [](auto const& output) {
    return !output.buffer.empty();
  });
  const auto add_grids = [&] {
    if (request.phase_tolerance) order.push_back(Limit::phase_grid);
    if (request.duty_tolerance) order.push_back(Limit::duty_grid);
    if (request.tolerance) order.push_back(Limit::frequency_grid);
  };
  // With a nearest setting and nothing out of reach, the ranges are wide enough and their raster is too coarse.
  if (has_nearest && !is_out_of_reach(primitive, request)) add_grids();
  const bool is_raster_only = !order.empty();
  if (request.second_input_hz) order.push_back(Limit::second_input);
  order.push_back(Limit::input);
  if (has_buffer) order.push_back(Limit::buffer);
  if (has_nearest) order.push_back(Limit::output_range);
  for (Limit limit : {Limit::pfd, Limit::vco}) order.push_back(limit);
  if (!has_nearest) order.push_back(Limit::output_range);
  if (request.spread) order.push_back(Limit::modulation);
  for (Limit limit : {Limit::output_divider, Limit::multiplier, Limit::input_divider}) order.push_back(limit);
  if (!is_raster_only) add_grids();
  return order;
}

// Limits that no frequency within the tolerance of an output keeps: these bind whatever else does. Without this, one
// wide tolerance would excuse them all.
Limits certain_limits(Primitive const& primitive, Request const& request) {
  if (!request.tolerance) return {};
  const double slack = request.tolerance->to_double() * (1 + 1e-9);
  const auto excludes = [slack](Range const& limits, Rational const& wanted) {
    return wanted.to_double() * (1 + slack) < limits.min.to_double() ||
           wanted.to_double() * (1 - slack) > limits.max.to_double();
  };
  bool by_range = request.high_speed_hz && excludes(primitive.high_speed_hz, *request.high_speed_hz);
  bool by_buffer = false;
  for (std::size_t i = 0; i < request.outputs.size(); ++i) {
    OutputRequest const& output = request.outputs[i];
    by_range = by_range || excludes(primitive.outputs[i].frequency_hz, output.frequency_hz);
    by_buffer = by_buffer || (!output.buffer.empty() &&
                              excludes(buffer_frequencies(*primitive.buffer(output.buffer)), output.frequency_hz));
  }
  Limits limits;
  if (by_range) limits.push_back(Limit::output_range);
  if (by_buffer) limits.push_back(Limit::buffer);
  return limits;
}

// The first of the smallest sets of suspects without which the request has a solution. All of them together are one.
Limits binding_limits(Relaxed const& base, Limits const& all) {
  Limits limits;
  for (std::size_t size = 0; size <= all.size(); ++size) {
    std::vector<bool> chosen(all.size(), false);
    std::fill_n(chosen.begin(), size, true);
    do {
      limits.clear();
      for (std::size_t i = 0; i < all.size(); ++i)
        if (chosen[i]) limits.push_back(all[i]);
      if (size == all.size() || is_feasible(opened(base.primitive, base.request, limits, kOpen))) return limits;
    } while (std::prev_permutation(chosen.begin(), chosen.end()));
  }
  return limits;
}

// The lowest level at which the limits let a setting through; it is known that kOpen does.
int least_level(Primitive const& primitive, Request const& request, Limits const& limits) {
  if (std::ranges::none_of(limits, is_range)) return kOpen;
  int closed = -1, open_level = kOpen;
  while (open_level - closed > 1) {
    const int middle = (open_level + closed) / 2;
    (is_feasible(opened(primitive, request, limits, middle)) ? open_level : closed) = middle;
  }
  return open_level;
}

// Up to a multiple of 2^-40, which a request can hold.
Rational rounded_up(Rational const& value) {
  const Int128 scaled = static_cast<Int128>(value.num()) * kGridRaster;
  return Rational::of((scaled + value.den() - 1) / value.den(), kGridRaster);
}

Rational worst_of(Solution const& solution, Rational OutputSolution::*error) {
  Rational worst = 0;
  for (auto const& output : solution.outputs) worst = std::max(worst, output.*error);
  return worst;
}

Solution solved(Relaxed const& relaxed) {
  Search search(relaxed.primitive, relaxed.request);
  return search.describe(*search.best());
}

// Tightens a dropped tolerance to the least that leaves a solution, to within 2^-20 of a period.
void tighten(Relaxed& relaxed, std::optional<Rational> Request::*tolerance, Rational const& failed,
             Rational OutputSolution::*error) {
  constexpr std::int64_t kRaster = 1 << 20;
  Rational enough = rounded_up(worst_of(solved(relaxed), error));
  std::int64_t low = (failed * kRaster).floor(), high = (enough * kRaster).ceil();
  while (high - low > 1) {
    const std::int64_t middle = low + (high - low) / 2;
    relaxed.request.*tolerance = Rational(middle, kRaster);
    if (is_feasible(relaxed)) {
      enough = rounded_up(worst_of(solved(relaxed), error));
      high = middle;
    } else {
      low = middle;
    }
  }
  relaxed.request.*tolerance = enough;
}

void widen(Range& range, Rational const& value) {
  range.min = std::min(range.min, value);
  range.max = std::max(range.max, value);
}

// Device data and requests hold whole Hz in comfort; a limit is widened to the next one outside.
void widen_hz(Range& range, Range const& values) {
  if (values.min < range.min) range.min = values.min.floor();
  if (values.max > range.max) range.max = std::min<Rational>(values.max.ceil(), kMaxFrequencyHz);
}

// The limit as it stands and as the setting needs it.
Binding bind(Limit limit, Primitive const& primitive, Request const& request, Relaxed const& relaxed,
             Solution const& solution) {
  Binding binding;
  binding.limit = limit;
  const Range input = effective_input(primitive, relaxed.request);
  const Rational second = relaxed.request.second_input_hz.value_or(request.input_hz);
  const Range inputs{std::min(request.input_hz, second), std::max(request.input_hz, second)};
  const Rational gain = solution.multiplier / solution.input_divider;
  const auto set = [&binding](Range const& now) { binding.now = binding.needed = now; };
  switch (limit) {
    case Limit::input:
      set(primitive.input_hz);
      widen_hz(binding.needed, inputs);
      break;
    case Limit::pfd:
      set(pfd_range(primitive, request));
      widen_hz(binding.needed, {inputs.min / solution.input_divider, inputs.max / solution.input_divider});
      break;
    case Limit::vco:
      set(primitive.vco_hz);
      widen_hz(binding.needed, {input.min * gain, input.max * gain});
      break;
    case Limit::multiplier:
      set({primitive.multiplier.min, primitive.multiplier.max});
      widen(binding.needed, solution.multiplier.floor());
      widen(binding.needed, solution.multiplier.ceil());
      break;
    case Limit::input_divider:
      set({primitive.input_divider.min, primitive.input_divider.max});
      widen(binding.needed, solution.input_divider);
      break;
    case Limit::output_divider:
      set({primitive.outputs[0].divider.min, primitive.outputs[0].divider.max});
      for (auto const& output : solution.outputs) {
        widen(binding.needed, output.divider.floor());
        widen(binding.needed, output.divider.ceil());
      }
      break;
    case Limit::output_range: {
      set(solution.outputs.empty() ? primitive.high_speed_hz : primitive.outputs[0].frequency_hz);
      std::vector<Rational> dividers;
      for (auto const& output : solution.outputs) dividers.push_back(output.divider);
      if (solution.high_speed) dividers.push_back(solution.high_speed->divider);
      for (Rational const& divider : dividers)
        widen_hz(binding.needed, {input.min * gain / divider, input.max * gain / divider});
      break;
    }
    case Limit::modulation:
      set(primitive.spread_mode(request.spread->mode)->modulation_hz);
      widen_hz(binding.needed, {*solution.modulation_hz, *solution.modulation_hz});
      break;
    case Limit::phase_grid:
      binding.now = {0, *request.phase_tolerance};
      binding.needed = {0, *relaxed.request.phase_tolerance};
      break;
    case Limit::duty_grid:
      binding.now = {0, *request.duty_tolerance};
      binding.needed = {0, *relaxed.request.duty_tolerance};
      break;
    case Limit::frequency_grid:
      binding.now = {0, *request.tolerance};
      binding.needed = {0, *relaxed.request.tolerance};
      break;
    case Limit::second_input:
    case Limit::buffer:
      break;
  }
  return binding;
}

std::string ppm_text(Rational const& relative) {
  // In double precision: a product with 10^6 may leave 64 bits.
  return Rational::nearest(relative.to_double() * 1e6, 1000).text(3) + " ppm";
}

std::string text_of(Binding const& binding) {
  std::string title = name(binding.limit);
  const auto plain = [](Range const& range) { return range.min.text() + " to " + range.max.text(); };
  switch (binding.limit) {
    case Limit::second_input:
      return title + ": no setting keeps the PFD and the VCO in range at both input clocks";
    case Limit::buffer:
      return title + ": a buffer does not carry its clock";
    case Limit::input:
    case Limit::pfd:
    case Limit::vco:
    case Limit::output_range:
      return title + " " + text_mhz(binding.now) + " would have to be " + text_mhz(binding.needed);
    case Limit::modulation:
      return title + " " + plain(binding.now) + " Hz would have to be " + plain(binding.needed) + " Hz";
    case Limit::multiplier:
    case Limit::input_divider:
    case Limit::output_divider:
      return title + " " + plain(binding.now) + " would have to be " + plain(binding.needed);
    case Limit::phase_grid:
      return title + ": the tolerance of " + (binding.now.max * 360).text() + " degrees would have to be " +
             Rational::nearest(binding.needed.max.to_double() * 360, 1000000).text() + " degrees";
    case Limit::duty_grid:
      return title + ": the tolerance of " + (binding.now.max * 100).text() + " % would have to be " +
             Rational::nearest(binding.needed.max.to_double() * 100, 1000000).text() + " %";
    case Limit::frequency_grid:
      return title + ": the tolerance of " + ppm_text(binding.now.max) + " would have to be " +
             ppm_text(binding.needed.max);
  }
  return title;
}

std::string describe(Diagnosis const& diagnosis) {
  std::string text = "No valid setting: ";
  for (std::size_t i = 0; i < diagnosis.bindings.size(); ++i)
    text += (i == 0 ? "" : "; and ") + text_of(diagnosis.bindings[i]);
  text += ".";
  if (diagnosis.nearest) text += " " + nearest_text(*diagnosis.nearest);
  if (!diagnosis.exact_inputs_hz.empty()) {
    text += " Exact with an input of";
    for (std::size_t i = 0; i < diagnosis.exact_inputs_hz.size(); ++i)
      text += (i == 0 ? " " : " or ") + (diagnosis.exact_inputs_hz[i] / 1000000).text();
    text += " MHz.";
  }
  return text;
}

// A limit that is certain to bind under the request's tolerance may not under the one that it is found to need.
void drop_idle(Primitive const& primitive, Request const& request, std::vector<Binding>& bindings) {
  for (std::size_t i = 0; bindings.size() > 1 && i < bindings.size();) {
    std::vector<Binding> others = bindings;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
    if (is_feasible(relax(primitive, request, others)))
      bindings = std::move(others);
    else
      ++i;
  }
}

}  // namespace

std::string nearest_text(Solution const& solution) {
  std::string text =
      "Nearest: M " + solution.multiplier.text() + ", D " + std::to_string(solution.input_divider) + ", outputs";
  for (auto const& output : solution.outputs) text += " " + (output.frequency_hz / 1000000).text();
  if (solution.high_speed) text += " " + (solution.high_speed->frequency_hz / 1000000).text();
  return text + " MHz, worst error " + ppm_text(solution.worst_error) + ".";
}

Diagnosis diagnose(Primitive const& primitive, Request const& request) {
  Diagnosis diagnosis;
  const Request free = without_tolerances(request);
  Search search(primitive, free);
  if (const auto setting = search.best()) {
    diagnosis.nearest = search.describe(*setting);
    diagnosis.nearest_ppm = diagnosis.nearest->worst_error.to_double() * 1e6;
  }

  const Limits certain = certain_limits(primitive, request);
  const Relaxed base = opened(primitive, request, certain, kOpen);
  const bool is_rangeful = is_feasible({base.primitive, without_tolerances(base.request)});
  Limits all = suspects(base.primitive, base.request, is_rangeful);
  std::erase_if(all, [&certain](Limit limit) { return std::ranges::find(certain, limit) != certain.end(); });
  const Limits limits = binding_limits(base, all);
  Relaxed relaxed = opened(base.primitive, base.request, limits, least_level(base.primitive, base.request, limits));

  const auto binds = [&limits](Limit limit) { return std::ranges::find(limits, limit) != limits.end(); };
  // The frequencies come first: phase and duty cycle are judged where they are as good as they can be, unless the
  // request says how good they have to be.
  if (!relaxed.request.tolerance) relaxed.request.tolerance = rounded_up(solved(relaxed).worst_error);
  if (binds(Limit::phase_grid))
    tighten(relaxed, &Request::phase_tolerance, *request.phase_tolerance, &OutputSolution::phase_error);
  if (binds(Limit::duty_grid))
    tighten(relaxed, &Request::duty_tolerance, *request.duty_tolerance, &OutputSolution::duty_error);
  const Solution solution = solved(relaxed);
  for (Limits const* part : {&certain, &limits})
    for (Limit limit : *part) diagnosis.bindings.push_back(bind(limit, primitive, request, relaxed, solution));
  drop_idle(primitive, request, diagnosis.bindings);

  diagnosis.exact_inputs_hz = exact_inputs(primitive, request, kExactInputs);
  // At this input the outputs are exact already: another one is no remedy.
  if (!diagnosis.exact_inputs_hz.empty() && diagnosis.exact_inputs_hz[0] == request.input_hz)
    diagnosis.exact_inputs_hz.clear();
  diagnosis.text = describe(diagnosis);
  return diagnosis;
}

Relaxed relax(Primitive const& primitive, Request const& request, std::vector<Binding> const& bindings) {
  Relaxed relaxed{primitive, request};
  auto& [device, wish] = relaxed;
  const auto widened = [](Range range, Range const& needed) {
    widen(range, needed.min);
    widen(range, needed.max);
    return range;
  };
  const auto counter = [](CounterSpec spec, Range const& needed) {
    spec.min = std::min(spec.min, static_cast<int>(needed.min.floor()));
    spec.max = std::max(spec.max, static_cast<int>(needed.max.ceil()));
    spec.step = 1;
    return spec;
  };
  for (Binding const& binding : bindings) {
    Range const& needed = binding.needed;
    switch (binding.limit) {
      case Limit::input:
        device.input_hz = widened(device.input_hz, needed);
        break;
      case Limit::pfd:
        device.pfd_hz = widened(device.pfd_hz, needed);
        device.pfd_low_bandwidth_hz = widened(device.pfd_low_bandwidth_hz, needed);
        break;
      case Limit::vco:
        device.vco_hz = widened(device.vco_hz, needed);
        break;
      case Limit::multiplier:
        device.multiplier = counter(device.multiplier, needed);
        break;
      case Limit::input_divider:
        device.input_divider = counter(device.input_divider, needed);
        break;
      case Limit::output_divider:
        for (auto& output : device.outputs) output.divider = counter(output.divider, needed);
        fit_duty(device);
        break;
      case Limit::output_range:
        for (auto& output : device.outputs) output.frequency_hz = widened(output.frequency_hz, needed);
        device.high_speed_hz = widened(device.high_speed_hz, needed);
        break;
      case Limit::modulation:
        for (auto& mode : device.spread_modes) mode.modulation_hz = widened(mode.modulation_hz, needed);
        break;
      case Limit::phase_grid:
        wish.phase_tolerance = needed.max;
        break;
      case Limit::duty_grid:
        wish.duty_tolerance = needed.max;
        break;
      case Limit::frequency_grid:
        wish.tolerance = needed.max;
        break;
      case Limit::second_input:
      case Limit::buffer:
        open(relaxed, binding.limit, kOpen);
        break;
    }
  }
  return relaxed;
}

}  // namespace kdi::clocking
