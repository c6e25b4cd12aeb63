#include "platform/ip/clocking/diagnosis.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/ip/clocking/limits.h"
#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

constexpr std::size_t kExactInputs = 4;
constexpr std::int64_t kGridRaster = std::int64_t{1} << 40;  // tolerances are multiples of 2^-40

using Limits = std::vector<Limit>;

Relaxed opened(Primitive const& primitive, Request const& request, Limits const& limits, int level) {
  Relaxed relaxed{primitive, request};
  for (Limit limit : limits) open(relaxed, limit, level);
  return relaxed;
}

bool is_feasible(Relaxed const& relaxed) { return Search(relaxed.primitive, relaxed.request).best().has_value(); }

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

bool contains(Limits const& limits, Limit limit) { return std::ranges::find(limits, limit) != limits.end(); }

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

// Whether no frequency within the tolerance of the wanted one is within the limits. In 128 bits, which hold the
// products of what primitives and requests may say.
bool excludes(Range const& limits, Rational const& wanted, Rational const& tolerance) {
  // wanted x share / tolerance.den() against the limit
  const auto compare = [&](std::int64_t share, Rational const& limit) {
    return static_cast<Int128>(wanted.num()) * share * limit.den() <=>
           static_cast<Int128>(limit.num()) * wanted.den() * tolerance.den();
  };
  return std::is_lt(compare(tolerance.den() + tolerance.num(), limits.min)) ||
         std::is_gt(compare(tolerance.den() - tolerance.num(), limits.max));
}

// Limits that no frequency within the tolerance of an output keeps: these bind whatever else does. Without this, one
// wide tolerance would excuse them all.
Limits certain_limits(Primitive const& primitive, Request const& request) {
  if (!request.tolerance) return {};
  const auto is_excluded = [&](Range const& limits, Rational const& wanted) {
    return excludes(limits, wanted, *request.tolerance);
  };
  bool by_range = request.high_speed_hz && is_excluded(primitive.high_speed_hz, *request.high_speed_hz);
  bool by_buffer = false;
  for (std::size_t i = 0; i < request.outputs.size(); ++i) {
    OutputRequest const& output = request.outputs[i];
    by_range = by_range || is_excluded(primitive.outputs[i].frequency_hz, output.frequency_hz);
    by_buffer = by_buffer || (!output.buffer.empty() &&
                              is_excluded(buffer_frequencies(*primitive.buffer(output.buffer)), output.frequency_hz));
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

Solution solved(Relaxed const& relaxed) {
  Search search(relaxed.primitive, relaxed.request);
  return search.describe(*search.best());
}

// The tolerance that the best setting needs.
Rational needed_tolerance(Relaxed const& relaxed, Grid const& grid) {
  Rational worst = 0;
  for (auto const& output : solved(relaxed).outputs) worst = std::max(worst, output.*grid.error);
  return rounded_up(worst);
}

// Tightens a dropped tolerance to the least that leaves a solution, to within 2^-20 of a period. It is known that
// `failed` leaves none.
void tighten(Relaxed& relaxed, Grid const& grid, Rational const& failed) {
  constexpr std::int64_t kRaster = 1 << 20;
  Rational enough = needed_tolerance(relaxed, grid);
  std::int64_t low = (failed * kRaster).floor(), high = (enough * kRaster).ceil();
  while (high - low > 1) {
    const std::int64_t middle = low + (high - low) / 2;
    relaxed.request.*grid.tolerance = Rational(middle, kRaster);
    if (is_feasible(relaxed)) {
      enough = needed_tolerance(relaxed, grid);
      high = middle;
    } else {
      low = middle;
    }
  }
  relaxed.request.*grid.tolerance = enough;
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

namespace {

void add_nearest(Diagnosis& diagnosis, Primitive const& primitive, Request const& request) {
  const Request free = without_tolerances(request);
  Search search(primitive, free);
  const auto setting = search.best();
  if (!setting) return;
  diagnosis.nearest = search.describe(*setting);
  diagnosis.nearest_ppm = diagnosis.nearest->worst_error.to_double() * 1e6;
}

// `limits`, with all that is certain to bind out of the way, closed again as far as there is a solution.
Relaxed closed_again(Relaxed const& base, Limits const& limits, Request const& request) {
  Relaxed relaxed = opened(base.primitive, base.request, limits, least_level(base.primitive, base.request, limits));
  // The frequencies come first: phase and duty cycle are judged where they are as good as they can be, unless the
  // request says how good they have to be.
  if (!relaxed.request.tolerance) relaxed.request.tolerance = rounded_up(solved(relaxed).worst_error);
  for (Limit limit : {Limit::phase_grid, Limit::duty_grid})
    if (contains(limits, limit)) tighten(relaxed, grid_of(limit), *(request.*grid_of(limit).tolerance));
  return relaxed;
}

void add_bindings(Diagnosis& diagnosis, Primitive const& primitive, Request const& request) {
  const Limits certain = certain_limits(primitive, request);
  const Relaxed base = opened(primitive, request, certain, kOpen);
  const bool is_rangeful = is_feasible({base.primitive, without_tolerances(base.request)});
  Limits all = suspects(base.primitive, base.request, is_rangeful);
  std::erase_if(all, [&certain](Limit limit) { return contains(certain, limit); });
  const Limits limits = binding_limits(base, all);
  const Relaxed relaxed = closed_again(base, limits, request);
  const Solution solution = solved(relaxed);
  for (Limits const* part : {&certain, &limits})
    for (Limit limit : *part) diagnosis.bindings.push_back(bind(limit, primitive, request, relaxed, solution));
  drop_idle(primitive, request, diagnosis.bindings);
}

void add_exact_inputs(Diagnosis& diagnosis, Primitive const& primitive, Request const& request) {
  diagnosis.exact_inputs_hz = exact_inputs(primitive, request, kExactInputs);
  // At this input the outputs are exact already: another one is no remedy.
  if (!diagnosis.exact_inputs_hz.empty() && diagnosis.exact_inputs_hz[0] == request.input_hz)
    diagnosis.exact_inputs_hz.clear();
}

}  // namespace

Diagnosis diagnose(Primitive const& primitive, Request const& request) {
  Diagnosis diagnosis;
  add_nearest(diagnosis, primitive, request);
  add_bindings(diagnosis, primitive, request);
  add_exact_inputs(diagnosis, primitive, request);
  diagnosis.text = describe(diagnosis);
  return diagnosis;
}

}  // namespace kdi::clocking
