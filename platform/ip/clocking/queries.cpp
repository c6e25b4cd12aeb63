#include "platform/ip/clocking/queries.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <numeric>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "platform/ip/clocking/limits.h"
#include "platform/ip/clocking/order.h"
#include "platform/ip/clocking/search.h"

namespace kdi::clocking {
namespace {

int in_units(Rational const& divider) { return static_cast<int>((divider * kUnit).floor()); }

// The least common multiple of two frequencies; none if 64 bits do not hold it.
std::optional<Rational> common_multiple(Rational const& a, Rational const& b) {
  const std::int64_t divisor = std::gcd(a.num(), b.num());
  const Int128 num = static_cast<Int128>(a.num() / divisor) * b.num();
  if (num > std::numeric_limits<std::int64_t>::max()) return std::nullopt;
  return Rational(static_cast<std::int64_t>(num), std::gcd(a.den(), b.den()));
}

// The frequency whose multiples are the only VCO frequencies from which every output can be exact.
std::optional<Rational> vco_raster(Search const& search, Request const& request) {
  std::optional<Rational> raster;
  for (std::size_t i = 0; i < search.outputs().size(); ++i) {
    const Rational wanted = i < request.outputs.size() ? request.outputs[i].frequency_hz : *request.high_speed_hz;
    const Rational step = wanted * Rational(search.outputs()[i].values().spacing(), kUnit);
    raster = raster ? common_multiple(*raster, step) : step;
    if (!raster) return std::nullopt;
  }
  return raster;
}

// What the spread makes of a frequency.
Range spread_of(Rational const& frequency, SpreadMode const* mode) {
  if (mode == nullptr) return {frequency, frequency};
  return {frequency * (Rational(1) - mode->down), frequency * (Rational(1) + mode->up)};
}

bool contains(Range const& limits, Range const& inner) { return limits.min <= inner.min && inner.max <= limits.max; }

// Multipliers from `low` to `high` of which each takes, at the same D, inputs that its neighbour takes as well.
struct Run {
  int low;
  int high;
};

// M at the gain g takes the inputs from vco.min / (g down) to vco.max / (g up); for M and the next, these overlap
// whatever D is if next / M <= (vco.max down) / (vco.min up).
std::vector<Run> overlapping_multipliers(ValueSet const& multipliers, Range const& vco, Rational const& down,
                                         Rational const& up) {
  const Int128 high = static_cast<Int128>(vco.max.num()) * vco.min.den() * down.num() * up.den();
  const Int128 low = static_cast<Int128>(vco.min.num()) * vco.max.den() * up.num() * down.den();
  std::vector<Run> runs;
  for (int m = multipliers.at_least(1); m != ValueSet::kNone; m = multipliers.at_least(m + 1)) {
    if (!runs.empty() && m * low <= runs.back().high * high)
      runs.back().high = m;
    else
      runs.push_back({m, m});
  }
  return runs;
}

// The union of the ranges, as disjoint ones in ascending order.
std::vector<Range> merged(std::vector<Range> ranges) {
  std::ranges::sort(ranges, {}, [](Range const& range) { return std::pair(range.min, range.max); });
  std::vector<Range> disjoint;
  for (Range const& range : ranges) {
    if (disjoint.empty() || range.min > disjoint.back().max)
      disjoint.push_back(range);
    else
      disjoint.back().max = std::max(disjoint.back().max, range.max);
  }
  return disjoint;
}

// Whether every output has a divider that leaves no error at this VCO frequency and keeps all else that is asked for.
bool is_exact_vco(Primitive const& primitive, Request const& request, Search const& search, Rational const& vco) {
  SpreadMode const* spread = request.spread ? primitive.spread_mode(request.spread->mode) : nullptr;
  if (!contains(primitive.vco_hz, spread_of(vco, spread))) return false;
  for (std::size_t i = 0; i < search.outputs().size(); ++i) {
    OutputSearch const& output = search.outputs()[i];
    const Rational wanted = i < request.outputs.size() ? request.outputs[i].frequency_hz : *request.high_speed_hz;
    const Rational divider = vco / wanted * kUnit;
    if (divider.den() != 1 || divider > Rational(std::int64_t{kUnit} * kMaxOutputDivider)) return false;
    const int o = static_cast<int>(divider.num());
    if (!output.is_well_placed(o)) return false;
    if (!contains(output.limits(), spread_of(wanted, spread))) return false;
  }
  return true;
}

// Whether the request, with this input and D, is well formed and has a modulation frequency.
bool is_input_usable(Primitive const& primitive, Request const& request, Rational const& input, int d) {
  Request other = request;
  other.input_hz = input;
  if (check(primitive, other)) return false;
  return !request.spread ||
         actual_modulation(*primitive.spread_mode(request.spread->mode), input / d, request.spread->modulation_hz);
}

// The nearest to a number so far, ordered, without repetition.
class Nearest {
 public:
  Nearest(Rational const& aim, std::size_t count) : aim_(aim), count_(count) {}

  bool is_too_far(Rational const& value) const { return kept_.size() >= count_ && key(value) > *kept_.rbegin(); }
  bool holds(Rational const& value) const { return kept_.contains(key(value)); }
  void take(Rational const& value) {
    kept_.insert(key(value));
    if (kept_.size() > count_) kept_.erase(std::prev(kept_.end()));
  }
  std::vector<Rational> values() const {
    std::vector<Rational> result;
    for (auto const& [distance, value] : kept_) result.push_back(value);
    return result;
  }

 private:
  std::pair<Rational, Rational> key(Rational const& value) const { return {abs(value - aim_), value}; }

  Rational aim_;
  std::size_t count_;
  std::set<std::pair<Rational, Rational>> kept_;
};

}  // namespace

Rational actual_phase_deg(Primitive const& primitive, Rational const& divider, Rational const& phase_deg,
                          bool fine_phase) {
  const int steps = fine_phase && primitive.fine_phase_steps > 0 ? primitive.fine_phase_steps : primitive.phase_steps;
  return place_phase(phase_deg / 360, in_units(divider), steps, primitive.max_phase_step).actual * 360;
}

Rational actual_duty(Primitive const& primitive, Rational const& divider, Rational const& duty) {
  return place_duty(duty, in_units(divider), primitive).actual;
}

std::vector<Range> input_ranges(Primitive const& primitive, Request const& request) {
  const Range limits = input_limits(primitive, request);
  SpreadMode const* spread = request.spread ? primitive.spread_mode(request.spread->mode) : nullptr;
  const Rational down = spread ? Rational(1) - spread->down : Rational(1);
  const Rational up = spread ? Rational(1) + spread->up : Rational(1);
  Range const& pfd = pfd_range(primitive, request);
  const ValueSet dividers(primitive.input_divider, true);
  const std::vector<Run> runs =
      overlapping_multipliers(Search(primitive, request).multipliers(), primitive.vco_hz, down, up);

  std::vector<Range> ranges;
  for (int value = dividers.at_least(1); value != ValueSet::kNone; value = dividers.at_least(value + 1)) {
    const int d = value / kUnit;
    const Range by_pfd{std::max(limits.min, pfd.min * d), std::min(limits.max, pfd.max * d)};
    const auto gain = [d](int m) { return Rational(m, static_cast<std::int64_t>(kUnit) * d); };
    for (Run const& run : runs) {
      const Range range{std::max(by_pfd.min, primitive.vco_hz.min / gain(run.high) / down),
                        std::min(by_pfd.max, primitive.vco_hz.max / gain(run.low) / up)};
      if (range.min <= range.max) ranges.push_back(range);
    }
  }
  return merged(std::move(ranges));
}

namespace {

Range within(Range const& a, Range const& b) { return {std::max(a.min, b.min), std::min(a.max, b.max)}; }

// Whether the second input's frequencies, which are `ratio` times the first one's, keep all limits with this VCO
// frequency of the first one, and D.
bool serves_second(Primitive const& primitive, Request const& request, Search const& search, Rational const& ratio,
                   Rational const& vco, int d) {
  SpreadMode const* spread = request.spread ? primitive.spread_mode(request.spread->mode) : nullptr;
  if (!pfd_range(primitive, request).contains(*request.second_input_hz / d)) return false;
  if (!contains(primitive.vco_hz, spread_of(vco * ratio, spread))) return false;
  for (std::size_t i = 0; i < search.outputs().size(); ++i) {
    const Rational wanted = i < request.outputs.size() ? request.outputs[i].frequency_hz : *request.high_speed_hz;
    if (!contains(search.outputs()[i].limits(), spread_of(wanted * ratio, spread))) return false;
  }
  return true;
}

// Inputs from which some M and D make a VCO frequency, the nearest to the request's over all that are tried.
class ExactInputs {
 public:
  ExactInputs(Primitive const& primitive, Request const& request, Search const& search, std::size_t count)
      : primitive_(primitive),
        request_(request),
        search_(search),
        limits_(input_limits(primitive, request)),
        pfd_(pfd_range(primitive, request)),
        nearest_(request.input_hz, count) {}

  void try_divider(Rational const& vco, int d) {
    Range range = within(limits_, {pfd_.min * d, pfd_.max * d});
    if (request_.second_input_hz) range = within(range, near_second(vco));
    if (range.min > range.max) return;
    const Rational scaled = vco * (std::int64_t{d} * kUnit);  // input = scaled / m
    const Rational start = std::clamp(request_.input_hz, range.min, range.max);
    const int aim = static_cast<int>(std::clamp(scaled.to_double() / start.to_double(), 1.0, 1e6));
    ValueSet const& multipliers = search_.multipliers();
    for (int m = multipliers.at_most(aim); m != ValueSet::kNone; m = multipliers.at_most(m - 1))
      if (const Rational input = scaled / m; input > range.max || !consider(input, vco, d, range)) break;
    for (int m = multipliers.at_least(aim + 1); m != ValueSet::kNone; m = multipliers.at_least(m + 1))
      if (const Rational input = scaled / m; input < range.min || !consider(input, vco, d, range)) break;
  }

  std::vector<Rational> values() const { return nearest_.values(); }

 private:
  // Inputs with which the second one's VCO frequency may be in range, a little more than those: so that few others are
  // looked at.
  Range near_second(Rational const& vco) const {
    constexpr double kSlack = 1e-3;
    const double at = vco.to_double() * request_.second_input_hz->to_double();
    const auto hz = [](double value) { return Rational(static_cast<std::int64_t>(std::clamp(value, 0.0, 0x1p50))); };
    const double slowest = std::max(1.0, primitive_.vco_hz.min.to_double());
    return {hz(at / primitive_.vco_hz.max.to_double() * (1 - kSlack)), hz(at / slowest * (1 + kSlack) + 1)};
  }

  // False once further inputs in the same direction are too far away.
  bool consider(Rational const& input, Rational const& vco, int d, Range const& range) {
    if (nearest_.is_too_far(input)) return false;
    if (range.contains(input) && !nearest_.holds(input) && is_usable(input, vco, d)) nearest_.take(input);
    return true;
  }

  bool is_usable(Rational const& input, Rational const& vco, int d) const {
    if (!is_input_usable(primitive_, request_, input, d)) return false;
    if (!request_.second_input_hz) return true;
    try {
      return serves_second(primitive_, request_, search_, *request_.second_input_hz / input, vco, d);
    } catch (std::overflow_error const&) {  // so many digits that nobody would give them
      return false;
    }
  }

  Primitive const& primitive_;
  Request const& request_;
  Search const& search_;
  Range limits_;
  Range pfd_;
  Nearest nearest_;
};

}  // namespace

std::vector<Rational> exact_inputs(Primitive const& primitive, Request const& request, std::size_t count) {
  constexpr std::int64_t kMaxPairs = 1 << 16;
  const Search search(primitive, request);
  const std::optional<Rational> raster = vco_raster(search, request);
  if (!raster || count == 0) return {};
  if (request.second_input_hz && !input_limits(primitive, request).contains(*request.second_input_hz)) return {};
  ExactInputs inputs(primitive, request, search, count);
  const ValueSet dividers(primitive.input_divider, true);
  const std::int64_t last = (primitive.vco_hz.max / *raster).floor();
  std::int64_t k = std::max<std::int64_t>(1, (primitive.vco_hz.min / *raster).ceil());
  for (std::int64_t pairs = 0; k <= last && pairs < kMaxPairs; ++k, ++pairs) {
    const Rational vco = *raster * k;
    if (!is_exact_vco(primitive, request, search, vco)) continue;
    for (int value = dividers.at_least(1); value != ValueSet::kNone; value = dividers.at_least(value + 1), ++pairs)
      inputs.try_divider(vco, value / kUnit);
  }
  return inputs.values();
}

namespace {

// Whether the request has a setting from this input that is off by no more than `error`.
bool has_setting(Primitive const& primitive, Request const& request, Rational const& input, Rational const& error) {
  constexpr std::int64_t kRaster = std::int64_t{1} << 40;
  const Rational rounded =
      Rational::of((static_cast<Int128>(error.num()) * kRaster + error.den() - 1) / error.den(), kRaster);
  Request other = request;
  other.input_hz = input;
  other.tolerance = request.tolerance ? std::min(*request.tolerance, rounded) : rounded;
  if (check(primitive, other)) return false;
  try {
    return Search(primitive, other).has_any();
  } catch (std::overflow_error const&) {
    return false;
  }
}

std::optional<Rational> advised(Primitive const& primitive, Request const& request, Rational const& exact) {
  const Rational low = exact.floor(), high = exact.ceil();
  const bool is_low_nearer = exact - low <= high - exact;
  for (Rational const& input : {is_low_nearer ? low : high, is_low_nearer ? high : low})
    if (input > 0 && has_setting(primitive, request, input, abs(input - exact) / exact)) return input;
  return std::nullopt;
}

}  // namespace

std::vector<Rational> advised_inputs(Primitive const& primitive, Request const& request, std::size_t count) {
  constexpr std::size_t kTried = 8;  // for each that is wanted
  std::vector<Rational> inputs;
  for (Rational const& exact : exact_inputs(primitive, request, count * kTried)) {
    if (inputs.size() == count) break;
    const auto input = exact.den() == 1 ? exact : advised(primitive, request, exact);
    if (input && std::ranges::find(inputs, *input) == inputs.end()) inputs.push_back(*input);
  }
  return inputs;
}

namespace {

// The settings of one output that come nearest to its frequency, nearest first; of two equally near the lower.
class ClosestSettings {
 public:
  ClosestSettings(OutputSearch const& output, std::size_t count) : output_(output), count_(count) {}

  void try_loop(int m, int d) {
    ValueSet const& dividers = output_.values();
    const int low = output_.lowest(m, d), high = output_.highest(m, d);
    const int aim = static_cast<int>(std::clamp(output_.ideal(m, d), 0.0, 1e9));
    for (int o = dividers.at_most(std::min(aim, high)); o != ValueSet::kNone && o >= low && take(m, d, o);)
      o = dividers.at_most(o - 1);
    for (int o = dividers.at_least(std::max(aim + 1, low)); o != ValueSet::kNone && o <= high && take(m, d, o);)
      o = dividers.at_least(o + 1);
  }

  std::vector<Rational> frequencies(Rational const& input_hz) const {
    std::vector<Rational> result;
    result.reserve(kept_.size());
    for (Kept const& one : kept_)
      result.push_back(input_hz * Rational(one.m, static_cast<std::int64_t>(one.d) * one.o));
    return result;
  }

 private:
  // One setting for each frequency: settings of equal errors on the same side are the same frequency.
  struct Kept {
    Quotient error;
    bool is_above;
    int m, d, o;
    bool operator<(Kept const& other) const {
      if (const auto order = error <=> other.error; std::is_neq(order)) return std::is_lt(order);
      return is_above < other.is_above;
    }
  };

  // False once there are enough nearer ones: no divider further out can do better.
  bool take(int m, int d, int o) {
    const Kept candidate{output_.error(m, d, o), output_.is_fast(m, d, o), m, d, o};
    if (kept_.size() >= count_ && !(candidate < *kept_.rbegin())) return false;
    kept_.insert(candidate);
    if (kept_.size() > count_) kept_.erase(std::prev(kept_.end()));
    return true;
  }

  OutputSearch const& output_;
  std::size_t count_;
  std::set<Kept> kept_;
};

}  // namespace

std::vector<Rational> closest_outputs(Primitive const& primitive, Request const& request, std::size_t counter,
                                      Rational const& wanted_hz, std::size_t count) {
  Request free = without_tolerances(request);
  free.outputs.clear();
  free.high_speed_hz.reset();
  const Search search(primitive, free);
  OutputRequest wanted;
  wanted.frequency_hz = wanted_hz;
  const OutputSearch output(primitive, free, wanted, static_cast<int>(counter));
  ClosestSettings closest(output, count);
  for (Search::Loop const& loop : search.loops())
    for (int m = loop.m_low; m != ValueSet::kNone && m <= loop.m_high; m = search.multipliers().at_least(m + 1))
      closest.try_loop(m, loop.d);
  return closest.frequencies(request.input_hz);
}

namespace {

// A figure as it is told, in steps of 1 / scale. What double precision does not tell is left to the one who writes it.
std::int64_t told(double figure, double scale, int decimals) {
  const double steps = figure * scale;
  constexpr double kUnsure = 1e-3;
  if (std::abs(steps - std::floor(steps) - 0.5) > kUnsure) return std::llround(steps);
  return std::llround(number::leading_double(number::fixed(figure, decimals).c_str()) * scale);
}

// Settings that no other one beats, of all that were added.
class Front {
 public:
  struct Point {
    std::int64_t error;   // 0.001 ppm
    std::int64_t jitter;  // 0.001 ps
    std::int64_t power;   // 0.1 mW
    Setting setting;
    std::size_t order;  // of the outputs
    bool operator<(Point const& other) const {
      return std::tie(error, jitter, power, setting.d, setting.m, order) <
             std::tie(other.error, other.jitter, other.power, other.setting.d, other.setting.m, other.order);
    }
  };

  // What is beaten is dropped now and then, so that memory follows the front and not the number of settings.
  void add(Point const& point) {
    points_.push_back(point);
    if (points_.size() < 2 * kept_ + kBatch) return;
    drop_beaten();
    kept_ = points_.size();
  }

  /// In ascending order.
  std::vector<Point> const& points() {
    drop_beaten();
    return points_;
  }

 private:
  static constexpr std::size_t kBatch = 1 << 10;

  void drop_beaten() {
    std::sort(points_.begin(), points_.end());
    // In this order a point is beaten only by one before it. `steps` holds, of those before, the pairs of jitter and
    // power that none of them beats: jitter ascending, power descending.
    std::set<std::pair<std::int64_t, std::int64_t>> steps;
    const auto is_beaten = [&steps](Point const& point) {
      auto after = steps.upper_bound({point.jitter, std::numeric_limits<std::int64_t>::max()});
      if (after != steps.begin() && std::prev(after)->second <= point.power) return true;
      while (after != steps.end() && after->second >= point.power) after = steps.erase(after);
      if (after != steps.begin() && std::prev(after)->first == point.jitter) steps.erase(std::prev(after));
      steps.insert({point.jitter, point.power});
      return false;
    };
    std::size_t kept = 0;
    for (Point const& point : points_)
      if (!is_beaten(point)) points_[kept++] = point;
    points_.resize(kept);
  }

  std::vector<Point> points_;
  std::size_t kept_ = 0;  // when it was last looked through
};

}  // namespace

namespace {

// One order of the outputs on the counters, with its search.
struct Ordered {
  Counters counters;
  Primitive primitive;
  Search search;
  Ordered(Counters order, Primitive const& as_it_is, Request const& request)
      : counters(std::move(order)), primitive(rearranged(as_it_is, counters)), search(primitive, request) {}
};

// The order that the request has, or all that it may have.
std::deque<Ordered> orders_of(Primitive const& primitive, Request const& request) {
  std::deque<Ordered> orders;
  if (!request.order_free) {
    orders.emplace_back(Counters(), primitive, request);
    return orders;
  }
  for_each_order(primitive, request.outputs.size(),
                 [&](Counters const& counters) { orders.emplace_back(counters, primitive, request); });
  return orders;
}

}  // namespace

std::vector<ParetoPoint> pareto_front(Primitive const& primitive, Request const& request, std::size_t most) {
  const std::deque<Ordered> orders = orders_of(primitive, request);
  Front front;
  for (std::size_t order = 0; order < orders.size(); ++order) {
    Search const& search = orders[order].search;
    search.for_each([&](Setting const& setting) {
      const Figures figures = search.figures_of(setting);
      const Quotient error = search.worst_error(setting);
      const double ppm = static_cast<double>(error.num) / static_cast<double>(error.den) * 1e6;
      front.add({told(ppm, 1e3, 3), told(figures.jitter_ps, 1e3, 3), told(figures.power_w, 1e4, 4), setting, order});
    });
  }
  std::vector<Front::Point> const& points = front.points();
  const std::size_t count = std::min(points.size(), most);
  std::vector<ParetoPoint> chosen;
  chosen.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    Front::Point const& point = points[count < 2 ? 0 : i * (points.size() - 1) / (count - 1)];
    Ordered const& order = orders[point.order];
    const Figures figures = order.search.figures_of(point.setting);
    chosen.push_back({order.search.worst_error(point.setting).reduced(), figures.jitter_ps, figures.power_w,
                      order.search.describe(point.setting)});
    chosen.back().solution.counters = order.counters;
  }
  return chosen;
}

}  // namespace kdi::clocking
