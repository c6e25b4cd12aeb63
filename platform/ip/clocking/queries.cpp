#include "platform/ip/clocking/queries.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <stdexcept>
#include <tuple>

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
    if (output.values().at_least(o) != o || !output.is_well_placed(o)) return false;
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
  std::ranges::sort(ranges, {}, [](Range const& range) { return std::pair(range.min, range.max); });
  std::vector<Range> merged;
  for (Range const& range : ranges) {
    if (merged.empty() || range.min > merged.back().max)
      merged.push_back(range);
    else
      merged.back().max = std::max(merged.back().max, range.max);
  }
  return merged;
}

std::vector<Rational> exact_inputs(Primitive const& primitive, Request const& request, std::size_t count) {
  constexpr std::int64_t kMaxPairs = 1 << 16;
  Nearest nearest(request.input_hz, count);
  const Search search(primitive, request);
  const std::optional<Rational> raster = vco_raster(search, request);
  if (!raster || count == 0) return {};
  const ValueSet dividers(primitive.input_divider, true);
  ValueSet const& multipliers = search.multipliers();
  Range const& pfd = pfd_range(primitive, request);
  const Range limits = input_limits(primitive, request);
  const std::int64_t last = (primitive.vco_hz.max / *raster).floor();
  std::int64_t k = std::max<std::int64_t>(1, (primitive.vco_hz.min / *raster).ceil());
  for (std::int64_t pairs = 0; k <= last && pairs < kMaxPairs; ++k, ++pairs) {
    const Rational vco = *raster * k;
    if (!is_exact_vco(primitive, request, search, vco)) continue;
    for (int value = dividers.at_least(1); value != ValueSet::kNone; value = dividers.at_least(value + 1), ++pairs) {
      const int d = value / kUnit;
      const Rational low = std::max(limits.min, pfd.min * d);
      const Rational high = std::min(limits.max, pfd.max * d);
      if (low > high) continue;
      const Rational scaled = vco * value;  // input = scaled / m
      // False once further inputs in the same direction are too far away.
      const auto visit = [&](Rational const& input) {
        if (nearest.is_too_far(input)) return false;
        if (low <= input && input <= high && !nearest.holds(input) && is_input_usable(primitive, request, input, d))
          nearest.take(input);
        return true;
      };
      const Rational start = std::clamp(request.input_hz, low, high);
      const int aim = static_cast<int>(std::clamp(scaled.to_double() / start.to_double(), 1.0, 1e6));
      for (int m = multipliers.at_most(aim); m != ValueSet::kNone; m = multipliers.at_most(m - 1))
        if (scaled / m > high || !visit(scaled / m)) break;
      for (int m = multipliers.at_least(aim + 1); m != ValueSet::kNone; m = multipliers.at_least(m + 1))
        if (scaled / m < low || !visit(scaled / m)) break;
    }
  }
  return nearest.values();
}

std::vector<Rational> closest_outputs(Primitive const& primitive, Request const& request, std::size_t counter,
                                      Rational const& wanted_hz, std::size_t count) {
  Request free = request;
  free.tolerance.reset();
  free.phase_tolerance.reset();
  free.duty_tolerance.reset();
  free.outputs.clear();
  free.high_speed_hz.reset();
  const Search search(primitive, free);
  OutputRequest wanted;
  wanted.frequency_hz = wanted_hz;
  const OutputSearch output(primitive, free, wanted, static_cast<int>(counter));

  struct Found {
    Quotient error;
    bool is_above;
    int m, d, o;
    bool operator<(Found const& other) const {
      if (const auto order = error <=> other.error; std::is_neq(order)) return std::is_lt(order);
      return is_above < other.is_above;
    }
  };
  std::set<Found> found;
  for (Search::Loop const& loop : search.loops())
    for (int m = loop.m_low; m != ValueSet::kNone && m <= loop.m_high; m = search.multipliers().at_least(m + 1)) {
      const int d = loop.d;
      const int low = output.lowest(m, d), high = output.highest(m, d);
      const int aim = static_cast<int>(std::clamp(output.ideal(m, d), 0.0, 1e9));
      // False once the list is full of nearer ones: no divider further out can do better.
      const auto take = [&](int o) {
        const Found candidate{output.error(m, d, o), output.is_fast(m, d, o), m, d, o};
        if (found.size() >= count && !(candidate < *found.rbegin())) return false;
        found.insert(candidate);
        if (found.size() > count) found.erase(std::prev(found.end()));
        return true;
      };
      for (int o = output.values().at_most(std::min(aim, high)); o != ValueSet::kNone && o >= low && take(o);)
        o = output.values().at_most(o - 1);
      for (int o = output.values().at_least(std::max(aim + 1, low)); o != ValueSet::kNone && o <= high && take(o);)
        o = output.values().at_least(o + 1);
    }
  std::vector<Rational> result;
  result.reserve(found.size());
  for (auto const& one : found)
    result.push_back(request.input_hz * Rational(one.m, static_cast<std::int64_t>(one.d) * one.o));
  return result;
}

std::vector<ParetoPoint> pareto_front(Primitive const& primitive, Request const& request) {
  struct Point {
    Quotient error;
    double jitter_ps;
    double power_w;
    Setting setting;
  };
  const auto key_less = [](Point const& a, Point const& b) {
    if (const auto order = a.error <=> b.error; std::is_neq(order)) return std::is_lt(order);
    return std::tie(a.jitter_ps, a.power_w, a.setting.d, a.setting.m) <
           std::tie(b.jitter_ps, b.power_w, b.setting.d, b.setting.m);
  };
  const Search search(primitive, request);
  std::vector<Point> points;
  search.for_each([&](Setting const& setting) {
    const Figures figures = search.figures_of(setting);
    points.push_back({search.worst_error(setting), figures.jitter_ps, figures.power_w, setting});
  });
  std::ranges::sort(points, key_less);

  // In this order a point is dominated only by one before it. `steps` holds, of those before, the pairs of jitter and
  // power that none of them beats: jitter ascending, power descending.
  std::set<std::pair<double, double>> steps;
  std::vector<ParetoPoint> front;
  for (Point const& point : points) {
    auto after = steps.upper_bound({point.jitter_ps, std::numeric_limits<double>::infinity()});
    if (after != steps.begin() && std::prev(after)->second <= point.power_w) continue;
    while (after != steps.end() && after->second >= point.power_w) after = steps.erase(after);
    if (after != steps.begin() && std::prev(after)->first == point.jitter_ps) steps.erase(std::prev(after));
    steps.insert({point.jitter_ps, point.power_w});
    front.push_back({point.error.reduced(), point.jitter_ps, point.power_w, search.describe(point.setting)});
  }
  return front;
}

}  // namespace kdi::clocking
