#include "platform/ip/clocking/diagnosis.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "platform/ip/clocking/limits.h"
#include "platform/ip/clocking/order.h"
#include "platform/ip/clocking/queries.h"
#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

constexpr std::size_t kExactInputs = 4;
constexpr std::int64_t kGridRaster = std::int64_t{1} << 40;  // tolerances are multiples of 2^-40

using Limits = std::vector<Limit>;

struct Opening {
  Limit limit;
  int level;
};

Relaxed opened(Relaxed const& base, std::vector<Opening> const& openings) {
  Relaxed relaxed = base;
  for (Opening const& one : openings) open(relaxed, one.limit, one.level);
  return relaxed;
}

std::vector<Opening> at_level(Limits const& limits, int level) {
  std::vector<Opening> openings;
  for (Limit limit : limits) openings.push_back({limit, level});
  return openings;
}

bool is_feasible(Relaxed const& relaxed) { return Search(relaxed.primitive, relaxed.request).has_any(); }

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
  if (request.high_speed_hz) order.push_back(Limit::high_speed_range);
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
  bool by_range = false, by_buffer = false;
  for (std::size_t i = 0; i < request.outputs.size(); ++i) {
    OutputRequest const& output = request.outputs[i];
    by_range = by_range || is_excluded(primitive.outputs[i].frequency_hz, output.frequency_hz);
    by_buffer = by_buffer || (!output.buffer.empty() &&
                              is_excluded(buffer_frequencies(*primitive.buffer(output.buffer)), output.frequency_hz));
  }
  Limits limits;
  if (by_range) limits.push_back(Limit::output_range);
  if (request.high_speed_hz && is_excluded(primitive.high_speed_hz, *request.high_speed_hz))
    limits.push_back(Limit::high_speed_range);
  if (by_buffer) limits.push_back(Limit::buffer);
  return limits;
}

// Which of the suspects, a bit for each in their order: the first one is the highest, so that of two sets of a size the
// one that std::prev_permutation would come to first is the larger number.
using Choice = unsigned;

class Choices {
 public:
  Choices(Relaxed const& base, Limits const& all) : base_(base), all_(all) {}

  Choice everything() const { return (Choice{1} << all_.size()) - 1; }
  Limits limits(Choice choice) const {
    Limits chosen;
    for (std::size_t i = 0; i < all_.size(); ++i)
      if ((choice & bit(i)) != 0) chosen.push_back(all_[i]);
    return chosen;
  }
  bool is_enough(Choice choice) const {
    return choice == everything() || is_feasible(opened(base_, at_level(limits(choice), kOpen)));
  }
  // Of a set that is not enough: what is left out of a largest one around it, of which every set that is enough must
  // hold one.
  Choice missing(Choice choice) const {
    for (std::size_t i = 0; i < all_.size(); ++i)
      if ((choice & bit(i)) == 0 && !is_enough(choice | bit(i))) choice |= bit(i);
    return everything() & ~choice;
  }

 private:
  Choice bit(std::size_t index) const { return Choice{1} << (all_.size() - 1 - index); }

  Relaxed const& base_;
  Limits const& all_;
};

// The first of the smallest sets of suspects without which the request has a solution. All of them together are one.
// Sets that lack what earlier ones turned out to lack are passed over: without that, thousands would be tried.
Limits binding_limits(Relaxed const& base, Limits const& all) {
  const Choices choices(base, all);
  std::vector<Choice> must_hold;
  for (int size = 0;; ++size)
    for (Choice choice = choices.everything() + 1; choice-- > 0;) {
      if (std::popcount(choice) != size) continue;
      if (std::ranges::any_of(must_hold, [choice](Choice one_of) { return (choice & one_of) == 0; })) continue;
      if (choices.is_enough(choice)) return choices.limits(choice);
      must_hold.push_back(choices.missing(choice));
    }
}

// The lowest level of each limit at which, all others as they are, a setting is let through: first of all together,
// then of one after the other. It is known that kOpen lets one through.
std::vector<Opening> least_levels(Relaxed const& base, Limits const& limits) {
  std::vector<Opening> openings = at_level(limits, kOpen);
  const auto close = [&base](auto set, std::vector<Opening>& at) {
    int closed = -1, open_level = kOpen;
    while (open_level - closed > 1) {
      const int middle = (open_level + closed) / 2;
      set(at, middle);
      (is_feasible(opened(base, at)) ? open_level : closed) = middle;
    }
    set(at, open_level);
  };
  if (std::ranges::none_of(limits, is_range)) return openings;
  close(
      [](std::vector<Opening>& at, int level) {
        for (Opening& one : at)
          if (is_range(one.limit)) one.level = level;
      },
      openings);
  for (std::size_t i = 0; i < openings.size() && openings.size() > 1; ++i) {
    if (!is_range(openings[i].limit)) continue;
    close([i](std::vector<Opening>& at, int level) { at[i].level = level; }, openings);
  }
  return openings;
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
  std::int64_t low = (failed * kRaster).floor(), high = kRaster;  // no error is larger than a period
  const auto set = [&](std::int64_t value) { relaxed.request.*grid.tolerance = Rational(value, kRaster); };
  while (high - low > 1) {
    const std::int64_t middle = low + (high - low) / 2;
    set(middle);
    (is_feasible(relaxed) ? high : low) = middle;
  }
  set(high);
  relaxed.request.*grid.tolerance = needed_tolerance(relaxed, grid);
}

std::string describe(Diagnosis const& diagnosis, Request const& request) {
  std::string text = "No valid setting: ";
  for (std::size_t i = 0; i < diagnosis.bindings.size(); ++i)
    text += (i == 0 ? "" : "; and ") + text_of(diagnosis.bindings[i]);
  text += ".";
  if (diagnosis.nearest) text += " " + nearest_text(*diagnosis.nearest);
  if (diagnosis.reordered) {
    text += " In the order";
    for (Rational const& hz : in_order(request, diagnosis.reordered->counters)) text += " " + (hz / 1000000).text();
    text += " MHz there is a setting.";
  }
  if (!diagnosis.exact_inputs_hz.empty()) {
    text += " Exact with an input of";
    for (std::size_t i = 0; i < diagnosis.exact_inputs_hz.size(); ++i)
      text += (i == 0 ? " " : " or ") + (diagnosis.exact_inputs_hz[i] / 1000000).text();
    text += " MHz.";
  }
  return text;
}

// Of what was found, a limit may have become idle by what another one turned out to need. Those that are certain to
// bind under the request's own tolerances stay.
void drop_idle(Primitive const& primitive, Request const& request, Limits const& certain,
               std::vector<Binding>& bindings) {
  for (std::size_t i = 0; bindings.size() > 1 && i < bindings.size();) {
    if (contains(certain, bindings[i].limit)) {
      ++i;
      continue;
    }
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

Rational floored(double hz) { return static_cast<std::int64_t>(std::floor(hz)); }
Rational ceiled(double hz) { return static_cast<std::int64_t>(std::ceil(hz)); }

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
  Relaxed relaxed = opened(base, least_levels(base, limits));
  // The frequencies come first: phase and duty cycle are judged where they are as good as they can be, unless the
  // request says how good they have to be.
  if (!relaxed.request.tolerance) relaxed.request.tolerance = rounded_up(solved(relaxed).worst_error);
  for (Limit limit : {Limit::phase_grid, Limit::duty_grid})
    if (contains(limits, limit)) tighten(relaxed, grid_of(limit), *(request.*grid_of(limit).tolerance));
  return relaxed;
}

// What is named because a wanted frequency lies outside the range reaches to that frequency, less the tolerance, even
// if the setting stays within the range for another limit's sake.
void reach_wanted(Primitive const& primitive, Request const& request, std::vector<Binding>& bindings) {
  if (!request.tolerance) return;
  const auto reach = [&request](Binding& binding, Range const& limits, Rational const& wanted) {
    if (!excludes(limits, wanted, *request.tolerance)) return;
    const double share = request.tolerance->to_double();
    if (wanted < limits.min)
      binding.needed.min = std::min(binding.needed.min, floored(wanted.to_double() * (1 + share)));
    else
      binding.needed.max = std::max(binding.needed.max, ceiled(wanted.to_double() * (1 - share)));
  };
  for (Binding& binding : bindings) {
    if (binding.limit == Limit::high_speed_range) reach(binding, primitive.high_speed_hz, *request.high_speed_hz);
    if (binding.limit != Limit::output_range) continue;
    for (std::size_t i = 0; i < request.outputs.size(); ++i)
      reach(binding, primitive.outputs[i].frequency_hz, request.outputs[i].frequency_hz);
  }
}

void add_bindings(Diagnosis& diagnosis, Primitive const& primitive, Request const& request) {
  const Limits certain = certain_limits(primitive, request);
  const Relaxed base = opened({primitive, request}, at_level(certain, kOpen));
  const bool is_rangeful = is_feasible({base.primitive, without_tolerances(base.request)});
  Limits all = suspects(base.primitive, base.request, is_rangeful);
  std::erase_if(all, [&certain](Limit limit) { return contains(certain, limit); });
  const Limits limits = binding_limits(base, all);
  const Relaxed relaxed = closed_again(base, limits, request);
  const Solution solution = solved(relaxed);
  for (Limits const* part : {&certain, &limits})
    for (Limit limit : *part) diagnosis.bindings.push_back(bind(limit, primitive, request, relaxed, solution));
  reach_wanted(primitive, request, diagnosis.bindings);
  drop_idle(primitive, request, certain, diagnosis.bindings);
}

void add_exact_inputs(Diagnosis& diagnosis, Primitive const& primitive, Request const& request) {
  diagnosis.exact_inputs_hz = advised_inputs(primitive, request, kExactInputs);
  // At this input the outputs are exact already: another one is no remedy.
  if (!diagnosis.exact_inputs_hz.empty() && diagnosis.exact_inputs_hz[0] == request.input_hz)
    diagnosis.exact_inputs_hz.clear();
}

Diagnosis diagnose_in_order(Primitive const& primitive, Request const& request) {
  Diagnosis diagnosis;
  add_nearest(diagnosis, primitive, request);
  add_bindings(diagnosis, primitive, request);
  if (!request.order_free) diagnosis.reordered = best_in_any_order(primitive, request);
  add_exact_inputs(diagnosis, primitive, request);
  diagnosis.text = describe(diagnosis, request);
  return diagnosis;
}

}  // namespace

// Where any order will do, that of the nearest setting is looked into.
Diagnosis diagnose(Primitive const& primitive, Request const& request) {
  if (!request.order_free) return diagnose_in_order(primitive, request);
  const auto nearest = best_in_any_order(primitive, without_tolerances(request));
  if (!nearest) return diagnose_in_order(primitive, request);
  Diagnosis diagnosis = diagnose_in_order(rearranged(primitive, nearest->counters), request);
  diagnosis.nearest->counters = nearest->counters;
  return diagnosis;
}

}  // namespace kdi::clocking
