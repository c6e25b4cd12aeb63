#include "platform/ip/clocking/queries.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "platform/ip/clocking/limits.h"
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
  return merged(std::move(ranges));
}

namespace {

// Inputs from which some M and D make a VCO frequency, the nearest to the request's over all that are tried.
class ExactInputs {
 public:
  ExactInputs(Primitive const& primitive, Request const& request, ValueSet const& multipliers, std::size_t count)
      : primitive_(primitive),
        request_(request),
        multipliers_(multipliers),
        limits_(input_limits(primitive, request)),
        pfd_(pfd_range(primitive, request)),
        nearest_(request.input_hz, count) {}

  void try_divider(Rational const& vco, int d) {
    const Range range{std::max(limits_.min, pfd_.min * d), std::min(limits_.max, pfd_.max * d)};
    if (range.min > range.max) return;
    const Rational scaled = vco * (d * kUnit);  // input = scaled / m
    const Rational start = std::clamp(request_.input_hz, range.min, range.max);
    const int aim = static_cast<int>(std::clamp(scaled.to_double() / start.to_double(), 1.0, 1e6));
    for (int m = multipliers_.at_most(aim); m != ValueSet::kNone; m = multipliers_.at_most(m - 1))
      if (const Rational input = scaled / m; input > range.max || !consider(input, d, range)) break;
    for (int m = multipliers_.at_least(aim + 1); m != ValueSet::kNone; m = multipliers_.at_least(m + 1))
      if (const Rational input = scaled / m; input < range.min || !consider(input, d, range)) break;
  }

  std::vector<Rational> values() const { return nearest_.values(); }

 private:
  // False once further inputs in the same direction are too far away.
  bool consider(Rational const& input, int d, Range const& range) {
    if (nearest_.is_too_far(input)) return false;
    if (range.contains(input) && !nearest_.holds(input) && is_input_usable(primitive_, request_, input, d))
      nearest_.take(input);
    return true;
  }

  Primitive const& primitive_;
  Request const& request_;
  ValueSet const& multipliers_;
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
  ExactInputs inputs(primitive, request, search.multipliers(), count);
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

// Settings that no other one beats, of all that were added.
class Front {
 public:
  struct Point {
    Quotient error;
    double jitter_ps;
    double power_w;
    Setting setting;
    bool operator<(Point const& other) const {
      if (const auto order = error <=> other.error; std::is_neq(order)) return std::is_lt(order);
      return std::tie(jitter_ps, power_w, setting.d, setting.m) <
             std::tie(other.jitter_ps, other.power_w, other.setting.d, other.setting.m);
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
    std::set<std::pair<double, double>> steps;
    const auto is_beaten = [&steps](Point const& point) {
      auto after = steps.upper_bound({point.jitter_ps, std::numeric_limits<double>::infinity()});
      if (after != steps.begin() && std::prev(after)->second <= point.power_w) return true;
      while (after != steps.end() && after->second >= point.power_w) after = steps.erase(after);
      if (after != steps.begin() && std::prev(after)->first == point.jitter_ps) steps.erase(std::prev(after));
      steps.insert({point.jitter_ps, point.power_w});
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

std::vector<ParetoPoint> pareto_front(Primitive const& primitive, Request const& request, std::size_t most) {
  const Search search(primitive, request);
  Front front;
  search.for_each([&](Setting const& setting) {
    const Figures figures = search.figures_of(setting);
    front.add({search.worst_error(setting), figures.jitter_ps, figures.power_w, setting});
  });
  std::vector<Front::Point> const& points = front.points();
  const std::size_t count = std::min(points.size(), most);
  std::vector<ParetoPoint> chosen;
  chosen.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    Front::Point const& point = points[count < 2 ? 0 : i * (points.size() - 1) / (count - 1)];
    chosen.push_back({point.error.reduced(), point.jitter_ps, point.power_w, search.describe(point.setting)});
  }
  return chosen;
}

}  // namespace kdi::clocking
