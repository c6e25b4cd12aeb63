#include "platform/ip/clocking/search.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "platform/ip/clocking/models.h"

namespace kdi::clocking {
namespace {

// Relative errors in double precision are off by a few units of 10^-16. Whatever differs by less than this is compared
// exactly; whatever differs by more needs no exact comparison.
constexpr double kDoubt = 1e-12;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double with_doubt(double error) { return error + kDoubt * (1 + error); }

// Clamped to what counters can hold, so that the conversion is defined.
int to_counter(double value) { return static_cast<int>(std::clamp(value, 0.0, 1e9)); }

// Whether the number lies clearly between two integers of the counters' range.
bool is_between_integers(double value) {
  if (!(value < kUnit * kMaxOutputDivider)) return false;
  const double fraction = value - static_cast<int>(value);
  constexpr double kClear = 1e-9 * kUnit * kMaxOutputDivider;
  return fraction > kClear && fraction < 1 - kClear;
}

std::int64_t floor_div(Int128 num, Int128 den) {
  const Int128 quotient = num >= 0 ? num / den : -((-num + den - 1) / den);
  constexpr Int128 kFar = Int128{1} << 62;
  return static_cast<std::int64_t>(std::clamp(quotient, -kFar, kFar));
}

std::int64_t ceil_div(Int128 num, Int128 den) { return -floor_div(-num, den); }

int saturate(std::int64_t value) { return static_cast<int>(std::clamp<std::int64_t>(value, 0, 1000000000)); }

Rational modulo_turn(Rational const& turns) { return turns - turns.floor(); }

Rational circular_distance(Rational const& a, Rational const& b) {
  const Rational distance = abs(a - b);
  return std::min(distance, Rational(1) - distance);
}

}  // namespace

ValueSet::ValueSet(CounterSpec const& spec, bool whole_only) {
  const int whole_last = spec.min + (spec.max - spec.min) / spec.step * spec.step;
  parts_.push_back({spec.min * kUnit, whole_last * kUnit, spec.step * kUnit});
  const int fraction_first = std::max(spec.fraction_min, spec.min) * kUnit;
  if (whole_only || spec.fraction == 1 || fraction_first > spec.max * kUnit) return;
  parts_.push_back({fraction_first, spec.max * kUnit, kUnit / spec.fraction});
}

ValueSet::ValueSet(std::vector<HighSpeedMode> const& modes) {
  for (auto const& mode : modes) {
    const int value = static_cast<int>((Rational(kUnit) / mode.factor).num());
    parts_.push_back({value, value, 1});
  }
}

int ValueSet::at_least(int value) const {
  int best = kNone;
  for (auto const& part : parts_) {
    if (value > part.last) continue;
    const int found =
        value <= part.first ? part.first : part.first + (value - part.first + part.step - 1) / part.step * part.step;
    if (best == kNone || found < best) best = found;
  }
  return best;
}

int ValueSet::at_most(int value) const {
  int best = kNone;
  for (auto const& part : parts_) {
    if (value < part.first) continue;
    const int found = value >= part.last ? part.last : part.first + (value - part.first) / part.step * part.step;
    best = std::max(best, found);
  }
  return best;
}

int ValueSet::count(int low, int high) const {
  int total = 0;
  for (auto const& part : parts_) {
    const int from = std::max(low, part.first), to = std::min(high, part.last);
    if (from <= to) total += (to - from) / part.step + 1;
  }
  return total;
}

int ValueSet::spacing() const {
  int divisor = 0;
  for (auto const& part : parts_) {
    divisor = std::gcd(divisor, part.first);
    if (part.last != part.first) divisor = std::gcd(divisor, part.step);
  }
  return divisor;
}

Placement place_phase(Rational const& turns, int divider, int steps_per_vco_period, int max_step) {
  const Rational steps(static_cast<std::int64_t>(steps_per_vco_period) * divider, kUnit);  // in one output period
  const auto last = static_cast<int>(max_step > 0 ? max_step : steps.ceil() - 1);
  const Rational wanted = modulo_turn(turns);
  const auto below = static_cast<int>((wanted * steps).floor());
  Placement best{0, 0, 1};
  // Step 0 is also one whole turn, and so the neighbour of the last step from above.
  for (int step : {0, std::min(below, last), std::min(below + 1, last)}) {
    const Rational actual = modulo_turn(Rational(step) / steps);
    const Rational error = circular_distance(actual, wanted);
    if (error < best.error) best = {step, actual, error};
  }
  return best;
}

Placement place_duty(Rational const& duty, int divider, Primitive const& primitive) {
  const Rational half(1, 2);
  const int steps = primitive.duty_steps * divider / kUnit;  // in one output period
  // Fractional dividers and periods of a single step have no choice.
  if (divider % kUnit != 0 || steps < 2) return {0, half, abs(duty - half)};
  const int longest = primitive.max_high_steps > 0 ? std::min(primitive.max_high_steps, steps - 1) : steps - 1;
  const int shortest = steps - longest;
  const auto below = static_cast<int>((duty * steps).floor());
  Placement best{0, 0, 2};
  for (int step : {below, below + 1}) {
    step = std::clamp(step, std::min(shortest, longest), std::max(shortest, longest));
    const Rational actual(step, steps);
    const Rational error = abs(actual - duty);
    if (error < best.error) best = {step, actual, error};
  }
  return best;
}

std::optional<Rational> actual_modulation(SpreadMode const& mode, Rational const& pfd_hz, Rational const& requested) {
  constexpr std::int64_t kMaxDivider = 1 << 16;
  const Rational base = pfd_hz / mode.divider_step;
  const auto divider_of = [&base](Rational const& frequency) {
    return floor_div(static_cast<Int128>(base.num()) * frequency.den(),
                     static_cast<Int128>(base.den()) * frequency.num());
  };
  std::optional<Rational> best;
  // The nearest within the range is next to the ideal divider or next to an end of the range.
  for (Rational const& aim : {requested, mode.modulation_hz.min, mode.modulation_hz.max}) {
    if (aim <= 0) continue;
    const std::int64_t nearest = std::clamp<std::int64_t>(divider_of(aim), 1, kMaxDivider);
    for (std::int64_t k = nearest; k <= std::min(nearest + 1, kMaxDivider); ++k) {
      const Rational actual = base / k;
      if (!mode.modulation_hz.contains(actual)) continue;
      if (!best || abs(actual - requested) < abs(*best - requested)) best = actual;
    }
  }
  return best;
}

Range const& pfd_range(Primitive const& primitive, Request const& request) {
  return request.bandwidth == Bandwidth::low ? primitive.pfd_low_bandwidth_hz : primitive.pfd_hz;
}

Range effective_input(Primitive const& primitive, Request const& request) {
  const Rational second = request.second_input_hz.value_or(request.input_hz);
  Range range{std::min(request.input_hz, second), std::max(request.input_hz, second)};
  if (request.spread) {
    SpreadMode const& mode = *primitive.spread_mode(request.spread->mode);
    range.min = range.min * (Rational(1) - mode.down);
    range.max = range.max * (Rational(1) + mode.up);
  }
  return range;
}

namespace {

bool are_counters_whole(Primitive const& primitive, Request const& request) {
  return request.whole_counters || (request.fine_phase && !primitive.fraction_with_fine_phase) ||
         (request.spread && !primitive.fraction_with_spread);
}

// Whether a n < b m.
bool is_below(Rational const& a, int n, Rational const& b, int m) {
  return static_cast<Int128>(a.num()) * b.den() * n < static_cast<Int128>(b.num()) * a.den() * m;
}

Range intersection(Range const& a, Range const& b) { return {std::max(a.min, b.min), std::min(a.max, b.max)}; }

}  // namespace

Range input_limits(Primitive const& primitive, Request const& request) {
  if (request.input_buffer.empty()) return primitive.input_hz;
  return intersection(primitive.input_hz, buffer_frequencies(*primitive.buffer(request.input_buffer)));
}

OutputSearch::OutputSearch(Primitive const& primitive, Request const& request, OutputRequest const& output, int index)
    : primitive_(&primitive),
      duty_(output.duty),
      max_phase_step_(primitive.max_phase_step),
      tolerance_(request.tolerance),
      phase_tolerance_(request.phase_tolerance),
      duty_tolerance_(request.duty_tolerance) {
  if (index == kHighSpeed) {
    values_ = ValueSet(primitive.high_speed_modes);
    limits_ = primitive.high_speed_hz;
  } else {
    OutputSpec const& spec = primitive.outputs[static_cast<std::size_t>(index)];
    values_ = ValueSet(spec.divider, are_counters_whole(primitive, request));
    limits_ = spec.frequency_hz;
  }
  if (!output.buffer.empty()) limits_ = intersection(limits_, buffer_frequencies(*primitive.buffer(output.buffer)));
  const Rational ratio = output.frequency_hz / request.input_hz;
  p_ = ratio.num();
  q_ = ratio.den();
  scale_ = static_cast<double>(q_) / static_cast<double>(p_);
  const Range input = effective_input(primitive, request);
  if (!limits_.max.is_zero()) over_max_ = input.max / limits_.max;
  if (!limits_.min.is_zero()) over_min_ = input.min / limits_.min;
  over_max_double_ = over_max_.to_double();
  over_min_double_ = over_min_.to_double();
  turns_ = modulo_turn(output.phase_deg / 360);
  phase_steps_ = request.fine_phase ? primitive.fine_phase_steps : primitive.phase_steps;
  is_plain_ = index == kHighSpeed || (turns_.is_zero() && duty_ == Rational(1, 2) && primitive.duty_steps % 2 == 0);
  tolerance_double_ = tolerance_ ? tolerance_->to_double() : kInfinity;
  if (!is_plain_ && (phase_tolerance_ || duty_tolerance_))
    placed_.resize(static_cast<std::size_t>(values_.at_most(kUnit * kMaxOutputDivider)) + 1, Placed::unknown);
}

// The smallest divider that keeps the output at or below its largest frequency: o >= m / d x over_max. Only next to an
// integer can the double be in error about which side it lies on.
int OutputSearch::lowest(int m, int d) const {
  const double bound = over_max_double_ * m / d;
  if (is_between_integers(bound)) return static_cast<int>(bound) + 1;
  return saturate(ceil_div(static_cast<Int128>(over_max_.num()) * m, static_cast<Int128>(over_max_.den()) * d));
}

int OutputSearch::highest(int m, int d) const {
  if (limits_.min.is_zero()) return to_counter(kInfinity);
  const double bound = over_min_double_ * m / d;
  if (is_between_integers(bound)) return static_cast<int>(bound);
  return saturate(floor_div(static_cast<Int128>(over_min_.num()) * m, static_cast<Int128>(over_min_.den()) * d));
}

Quotient OutputSearch::error(int m, int d, int o) const {
  const std::int64_t actual = q_ * m;
  const std::int64_t wanted = p_ * d * o;
  return {actual > wanted ? actual - wanted : wanted - actual, wanted};
}

bool OutputSearch::is_within_tolerance(int m, int d, int o) const {
  if (tolerance_ && error(m, d, o) > Quotient{tolerance_->num(), tolerance_->den()}) return false;
  return is_well_placed(o);
}

bool OutputSearch::is_well_placed(int o) const {
  if (placed_.empty()) return true;
  Placed& known = placed_[static_cast<std::size_t>(o)];
  if (known == Placed::unknown) {
    const bool is_bad = (phase_tolerance_ && phase(o).error > *phase_tolerance_) ||
                        (duty_tolerance_ && duty(o).error > *duty_tolerance_);
    known = is_bad ? Placed::badly : Placed::well;
  }
  return known == Placed::well;
}

int OutputSearch::pick(int m, int d, double cap, double& best_error) const {
  const double wanted = ideal(m, d);
  const int low = lowest(m, d), high = highest(m, d);
  if (low > high) return ValueSet::kNone;
  const double stop = with_doubt(std::min(cap, tolerance_double_));
  int below = values_.at_most(std::min(to_counter(wanted), high));
  int above = values_.at_least(std::max(to_counter(wanted) + 1, low));
  if (below < low) below = ValueSet::kNone;
  if (above > high) above = ValueSet::kNone;

  int best = ValueSet::kNone;
  while (below != ValueSet::kNone || above != ValueSet::kNone) {
    const double error_below = below == ValueSet::kNone ? kInfinity : std::abs(wanted / below - 1);
    const double error_above = above == ValueSet::kNone ? kInfinity : std::abs(wanted / above - 1);
    bool take_below = error_below < error_above;
    if (above != ValueSet::kNone && below != ValueSet::kNone && std::abs(error_below - error_above) < with_doubt(0))
      take_below = error(m, d, below) <= error(m, d, above);
    const int next = take_below ? below : above;
    const double next_error = take_below ? error_below : error_above;
    if (next_error > stop) break;
    if (best != ValueSet::kNone && error(m, d, next) > error(m, d, best)) break;
    if (is_within_tolerance(m, d, next)) {
      if (best == ValueSet::kNone) {
        best = next;
        best_error = next_error;
        // Only the other side can hold a divider with the same error.
        const double other = take_below ? error_above : error_below;
        if (other > with_doubt(next_error)) break;
      } else {
        const Rational old_place = misplacement(best), new_place = misplacement(next);
        if (new_place < old_place || (new_place == old_place && next < best)) best = next;
        break;
      }
    }
    if (take_below) {
      below = values_.at_most(below - 1);
      if (below < low) below = ValueSet::kNone;
    } else {
      above = values_.at_least(above + 1);
      if (above > high) above = ValueSet::kNone;
    }
  }
  return best;
}

Search::Search(Primitive const& primitive, Request const& request)
    : primitive_(primitive),
      request_(request),
      multipliers_(primitive.multiplier, are_counters_whole(primitive, request)) {
  for (std::size_t i = 0; i < request.outputs.size(); ++i)
    outputs_.emplace_back(primitive, request, request.outputs[i], static_cast<int>(i));
  if (request.high_speed_hz) {
    OutputRequest output;
    output.frequency_hz = *request.high_speed_hz;
    outputs_.emplace_back(primitive, request, output, OutputSearch::kHighSpeed);
  }
  order_.resize(outputs_.size());
  std::iota(order_.begin(), order_.end(), std::size_t{0});

  const Range limits = input_limits(primitive, request);
  const Rational second = request.second_input_hz.value_or(request.input_hz);
  const Rational slow = std::min(request.input_hz, second), fast = std::max(request.input_hz, second);
  if (slow < limits.min || fast > limits.max) return;

  const Range input = effective_input(primitive, request);
  Range const& pfd = pfd_range(primitive, request);
  const ValueSet dividers(primitive.input_divider, true);
  for (int value = dividers.at_least(1); value != ValueSet::kNone; value = dividers.at_least(value + 1)) {
    const int d = value / kUnit;
    if (is_below(slow, 1, pfd.min, d) || is_below(pfd.max, d, fast, 1)) continue;
    if (request.spread && !actual_modulation(*primitive.spread_mode(request.spread->mode), request.input_hz / d,
                                             request.spread->modulation_hz))
      continue;
    // m >= kUnit d vco_min / slowest input, m <= kUnit d vco_max / fastest input
    Range const& vco = primitive.vco_hz;
    const int least = saturate(ceil_div(static_cast<Int128>(vco.min.num()) * input.min.den() * kUnit * d,
                                        static_cast<Int128>(vco.min.den()) * input.min.num()));
    const int most = saturate(floor_div(static_cast<Int128>(vco.max.num()) * input.max.den() * kUnit * d,
                                        static_cast<Int128>(vco.max.den()) * input.max.num()));
    const int m_low = multipliers_.at_least(least), m_high = multipliers_.at_most(most);
    if (m_low != ValueSet::kNone && m_high != ValueSet::kNone && m_low <= m_high) loops_.push_back({d, m_low, m_high});
  }
}

double Search::cap() const {
  if (!incumbent_) return kInfinity;
  return incumbent_->worst_double;
}

bool Search::choose(int m, int d, double limit, Setting& setting, double& worst) {
  setting.m = m;
  setting.d = d;
  worst = 0;
  for (std::size_t at = 0; at < order_.size(); ++at) {
    const std::size_t i = order_[at];
    double error = 0;
    const int o = outputs_[i].pick(m, d, limit, error);
    if (o == ValueSet::kNone) {
      std::swap(order_[0], order_[at]);
      return false;
    }
    setting.o[i] = o;
    worst = std::max(worst, error);
  }
  return true;
}

Search::Candidate Search::weigh(Setting const& setting, double worst) const {
  Candidate candidate{setting, worst, {}, {}, std::nullopt};
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    candidate.errors[i] = outputs_[i].error(setting.m, setting.d, setting.o[i]);
    candidate.worst = std::max(candidate.worst, candidate.errors[i]);
  }
  return candidate;
}

bool Search::is_better(Candidate& challenger, Candidate& incumbent) const {
  const std::size_t count = outputs_.size();
  if (const auto order = challenger.worst <=> incumbent.worst; std::is_neq(order)) return std::is_lt(order);

  if (challenger.worst.num != 0) {
    const auto total = [count](Candidate const& candidate) {
      double sum = 0;
      for (std::size_t i = 0; i < count; ++i)
        sum += static_cast<double>(candidate.errors[i].num) / static_cast<double>(candidate.errors[i].den);
      return sum;
    };
    const double left = total(challenger), right = total(incumbent);
    if (std::abs(left - right) > kDoubt * (1 + left)) return left < right;
    std::array<Rational, kMaxOutputs> a, b;
    for (std::size_t i = 0; i < count; ++i) {
      a[i] = challenger.errors[i].reduced();
      b[i] = incumbent.errors[i].reduced();
    }
    if (const auto order = compare_sums(std::span(a).first(count), std::span(b).first(count)); std::is_neq(order))
      return std::is_lt(order);
  }

  if (!std::ranges::all_of(outputs_, &OutputSearch::is_plain)) {
    for (Candidate* candidate : {&challenger, &incumbent}) {
      if (candidate->misplaced) continue;
      candidate->misplaced.emplace();
      for (std::size_t i = 0; i < count; ++i)
        (*candidate->misplaced)[i] = outputs_[i].misplacement(candidate->setting.o[i]);
    }
    const auto order =
        compare_sums(std::span(*challenger.misplaced).first(count), std::span(*incumbent.misplaced).first(count));
    if (std::is_neq(order)) return std::is_lt(order);
  }

  const std::int64_t vco = std::int64_t{challenger.setting.m} * incumbent.setting.d;
  const std::int64_t incumbent_vco = std::int64_t{incumbent.setting.m} * challenger.setting.d;
  if (vco != incumbent_vco) return (vco > incumbent_vco) == (request_.preference == Preference::low_jitter);
  return challenger.setting.d < incumbent.setting.d;
}

void Search::consider(int m, int d) {
  Setting setting;
  double worst = 0;
  if (!choose(m, d, cap(), setting, worst)) return;
  if (incumbent_ && worst > with_doubt(incumbent_->worst_double)) return;
  Candidate challenger = weigh(setting, worst);
  if (!incumbent_ || is_better(challenger, *incumbent_)) incumbent_ = challenger;
}

// The output with the fewest dividers to try over the range of the VCO.
std::size_t Search::lead() const {
  std::size_t best = 0;
  int fewest = std::numeric_limits<int>::max();
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    int dividers = 0;
    for (Loop const& loop : loops_)
      dividers += outputs_[i].values().count(to_counter(outputs_[i].ideal(loop.m_low, loop.d)),
                                             to_counter(outputs_[i].ideal(loop.m_high, loop.d)) + 1);
    if (dividers < fewest) {
      fewest = dividers;
      best = i;
    }
  }
  return best;
}

std::optional<Setting> Search::best() {
  incumbent_.reset();
  if (loops_.empty()) return std::nullopt;
  OutputSearch const& leader = outputs_[lead()];
  ValueSet const& dividers = leader.values();

  // A good setting early makes the proof short: for each divider of the leader, the multipliers next to no error.
  for (Loop const& loop : loops_) {
    const int last = to_counter(leader.ideal(loop.m_high, loop.d)) + 1;
    for (int o = dividers.at_least(to_counter(leader.ideal(loop.m_low, loop.d))); o != ValueSet::kNone && o <= last;
         o = dividers.at_least(o + 1)) {
      const int aim = to_counter(leader.ideal_m(o, loop.d));
      for (int m : {multipliers_.at_most(aim), multipliers_.at_least(aim + 1)})
        if (m != ValueSet::kNone && m >= loop.m_low && m <= loop.m_high) consider(m, loop.d);
    }
  }

  // The proof: a setting as good as the incumbent has its multiplier within the incumbent's worst error of a divider of
  // the leader. Dividers ascend, and so do these intervals; no multiplier is visited twice.
  for (Loop const& loop : loops_) {
    int next = loop.m_low;
    const double first = leader.ideal(loop.m_low, loop.d) / (1 + with_doubt(cap()));
    for (int o = dividers.at_least(to_counter(first * (1 - kDoubt))); o != ValueSet::kNone && next <= loop.m_high;
         o = dividers.at_least(o + 1)) {
      const double slack = with_doubt(with_doubt(cap()));
      const double aim = leader.ideal_m(o, loop.d);
      const double from = aim * (1 - slack), to = aim * (1 + slack);
      if (from > loop.m_high + 1) break;
      next = std::max(next, to_counter(std::floor(from)));
      const int stop = std::min(loop.m_high, to_counter(std::ceil(to)));
      int m = multipliers_.at_least(next);
      for (; m != ValueSet::kNone && m <= stop; m = multipliers_.at_least(m + 1)) consider(m, loop.d);
      next = std::max(next, stop + 1);
    }
  }
  if (!incumbent_) return std::nullopt;
  return incumbent_->setting;
}

void Search::for_each(std::function<void(Setting const&)> const& visit) const {
  for (Loop const& loop : loops_)
    for (int m = loop.m_low; m != ValueSet::kNone && m <= loop.m_high; m = multipliers_.at_least(m + 1)) {
      Setting setting{m, loop.d, {}};
      bool is_valid = true;
      for (std::size_t i = 0; i < outputs_.size() && is_valid; ++i) {
        double error = 0;
        setting.o[i] = outputs_[i].pick(m, loop.d, kInfinity, error);
        is_valid = setting.o[i] != ValueSet::kNone;
      }
      if (is_valid) visit(setting);
    }
}

Quotient Search::worst_error(Setting const& setting) const { return weigh(setting, 0).worst; }

Figures Search::figures_of(Setting const& setting) const {
  constexpr double kHzPerMhz = 1e6, kHzPerGhz = 1e9;
  // Ratios of counters are rounded once, so that settings of the same frequencies have the same figures.
  const double input_hz = request_.input_hz.to_double(), pfd_hz = input_hz / setting.d;
  const double vco_hz = input_hz * (static_cast<double>(setting.m) / (kUnit * setting.d));
  Figures figures;
  if (device::LoopModel const* const loop = primitive_.loop(request_.bandwidth)) {
    figures.jitter_ps = jitter_ps(*loop, request_.input_jitter_ps, vco_hz / kHzPerMhz, request_.spread.has_value(),
                                  request_.fine_phase);
    figures.phase_error_ps = phase_error_ps(*loop, pfd_hz / kHzPerMhz);
  }
  if (!primitive_.power) return figures;
  double outputs_hz = 0;
  for (std::size_t i = 0; i < outputs_.size(); ++i)
    outputs_hz += input_hz * (setting.m / (static_cast<double>(setting.d) * setting.o[i]));
  figures.power_w = power_w(*primitive_.power, vco_hz / kHzPerGhz, outputs_hz / kHzPerGhz);
  return figures;
}

Solution Search::describe(Setting const& setting) const {
  Solution solution;
  solution.multiplier = Rational(setting.m, kUnit);
  solution.input_divider = setting.d;
  solution.pfd_hz = request_.input_hz / setting.d;
  solution.vco_hz = solution.pfd_hz * solution.multiplier;

  if (request_.spread) {
    SpreadMode const& mode = *primitive_.spread_mode(request_.spread->mode);
    solution.modulation_hz = actual_modulation(mode, solution.pfd_hz, request_.spread->modulation_hz);
  }
  const Figures figures = figures_of(setting);
  solution.jitter_ps = figures.jitter_ps;
  solution.phase_error_ps = figures.phase_error_ps;
  solution.power_w = figures.power_w;
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    const bool is_high_speed = i == request_.outputs.size();
    const int o = setting.o[i];
    OutputSolution output;
    output.divider = Rational(o, kUnit);
    output.frequency_hz = solution.vco_hz / output.divider;
    output.frequency_error = outputs_[i].error(setting.m, setting.d, o).reduced();
    if (is_high_speed) {
      output.duty = Rational(1, 2);
    } else {
      const Placement phase = outputs_[i].phase(o), duty = outputs_[i].duty(o);
      output.phase_deg = phase.actual * 360;
      output.phase_step = phase.step;
      output.phase_error = phase.error;
      output.duty = duty.actual;
      output.duty_error = duty.error;
    }
    solution.worst_error = std::max(solution.worst_error, output.frequency_error);
    if (!is_high_speed) {
      solution.outputs.push_back(output);
      continue;
    }
    solution.high_speed = output;
    for (auto const& mode : primitive_.high_speed_modes)
      if (solution.high_speed_mode.empty() && mode.factor * output.divider == 1) solution.high_speed_mode = mode.name;
  }
  return solution;
}

}  // namespace kdi::clocking
