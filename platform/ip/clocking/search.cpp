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
  turns_double_ = turns_.to_double();
  duty_double_ = duty_.to_double();
  is_restricted_ = !is_plain_ && (phase_tolerance_ || duty_tolerance_);
  if (!is_restricted_) return;
  for (int o = values_.at_least(1); o != ValueSet::kNone; o = values_.at_least(o + 1))
    if (keeps_phase(o) && keeps_duty(o)) placed_.push_back(o);
}

int OutputSearch::at_least(int value) const {
  if (!is_restricted_) return values_.at_least(value);
  const auto found = std::ranges::lower_bound(placed_, value);
  return found == placed_.end() ? ValueSet::kNone : *found;
}

int OutputSearch::at_most(int value) const {
  if (!is_restricted_) return values_.at_most(value);
  const auto after = std::ranges::upper_bound(placed_, value);
  return after == placed_.begin() ? ValueSet::kNone : *std::prev(after);
}

int OutputSearch::count(int low, int high) const {
  if (!is_restricted_) return values_.count(low, high);
  return static_cast<int>(std::ranges::upper_bound(placed_, high) - std::ranges::lower_bound(placed_, low));
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
  return !tolerance_ || error(m, d, o) <= Quotient{tolerance_->num(), tolerance_->den()};
}

namespace {

// Whether an error is within its tolerance, where double precision tells.
enum class Told { yes, no, doubtful };
Told is_within(double error, double tolerance) {
  constexpr double kUnsure = 1e-9;  // errors of placements are good to 10^-12
  if (std::abs(error - tolerance) <= kUnsure) return Told::doubtful;
  return error < tolerance ? Told::yes : Told::no;
}

}  // namespace

// What place_phase finds, in double precision first: thousands of dividers are asked.
bool OutputSearch::keeps_phase(int o) const {
  if (!phase_tolerance_) return true;
  const int eighths = phase_steps_ * o;
  const double steps = static_cast<double>(eighths) / kUnit;
  const int last = max_phase_step_ > 0 ? max_phase_step_ : (eighths + kUnit - 1) / kUnit - 1;
  const int below = static_cast<int>(turns_double_ * steps);
  double least = 1;
  for (int step : {0, std::min(below, last), std::min(below + 1, last)}) {
    const double actual = step / steps;
    const double distance = std::abs(actual - std::floor(actual) - turns_double_);
    least = std::min({least, distance, std::abs(1 - distance)});
  }
  const Told told = is_within(least, phase_tolerance_->to_double());
  return told == Told::doubtful ? phase(o).error <= *phase_tolerance_ : told == Told::yes;
}

// What place_duty finds, likewise.
bool OutputSearch::keeps_duty(int o) const {
  if (!duty_tolerance_) return true;
  const int steps = primitive_->duty_steps * o / kUnit;
  double least = std::abs(duty_double_ - 0.5);
  if (o % kUnit == 0 && steps >= 2) {
    const int longest = primitive_->max_high_steps > 0 ? std::min(primitive_->max_high_steps, steps - 1) : steps - 1;
    const auto bounds = std::minmax({steps - longest, longest});
    const int below = static_cast<int>(duty_double_ * steps);
    least = 1;
    for (int step : {below, below + 1})
      least = std::min(
          least, std::abs(static_cast<double>(std::clamp(step, bounds.first, bounds.second)) / steps - duty_double_));
  }
  const Told told = is_within(least, duty_tolerance_->to_double());
  return told == Told::doubtful ? duty(o).error <= *duty_tolerance_ : told == Told::yes;
}

OutputSearch::Gains OutputSearch::gains() const {
  Gains gains{0, kInfinity};
  if (!over_max_.is_zero()) gains.to = 1 / over_max_double_;
  if (!limits_.min.is_zero()) gains.from = 1 / over_min_double_;
  gains.to = std::min(gains.to, (1 + tolerance_double_) / scale_);
  gains.from = std::max(gains.from, (1 - tolerance_double_) / scale_);
  return gains;
}

bool OutputSearch::has_divider(int m, int d) const {
  // Between these the frequency is as it should be, but for the tolerance at the ends.
  const int low = lowest(m, d), high = highest(m, d);
  const double at = ideal(m, d);
  int first = low;
  if (tolerance_) first = std::max(first, to_counter(at / (1 + tolerance_double_) - 1));
  for (int o = at_least(first); o != ValueSet::kNone && o <= high; o = at_least(o + 1)) {
    if (is_within_tolerance(m, d, o)) return true;
    if (o > at) return false;
  }
  return false;
}

namespace {

// The dividers of an output between two bounds, from the ideal one outwards: those of the least error first.
class Outwards {
 public:
  Outwards(OutputSearch const& output, int m, int d, int low, int high)
      : output_(output), m_(m), d_(d), low_(low), high_(high), ideal_(output.ideal(m, d)) {
    go_below(std::min(to_counter(ideal_), high));
    go_above(std::max(to_counter(ideal_) + 1, low));
    choose();
  }

  bool is_done() const { return divider() == ValueSet::kNone; }
  int divider() const { return is_below_ ? below_ : above_; }
  double error() const { return is_below_ ? error_below_ : error_above_; }
  double error_on_other_side() const { return is_below_ ? error_above_ : error_below_; }
  void advance() {
    if (is_below_)
      go_below(below_ - 1);
    else
      go_above(above_ + 1);
    choose();
  }

 private:
  void go_below(int most) {
    below_ = output_.at_most(most);
    if (below_ < low_) below_ = ValueSet::kNone;
    error_below_ = error_of(below_);
  }
  void go_above(int least) {
    above_ = output_.at_least(least);
    if (above_ > high_) above_ = ValueSet::kNone;
    error_above_ = error_of(above_);
  }
  double error_of(int divider) const { return divider == ValueSet::kNone ? kInfinity : std::abs(ideal_ / divider - 1); }
  void choose() {
    is_below_ = error_below_ < error_above_;
    if (std::abs(error_below_ - error_above_) < with_doubt(0))
      is_below_ = output_.error(m_, d_, below_) <= output_.error(m_, d_, above_);
  }

  OutputSearch const& output_;
  int m_, d_, low_, high_;
  double ideal_;
  int below_ = ValueSet::kNone, above_ = ValueSet::kNone;
  double error_below_ = kInfinity, error_above_ = kInfinity;
  bool is_below_ = false;  // the side of the current divider
};

}  // namespace

// False only if the error of every divider is above `error`. Most settings of M and D end here.
bool OutputSearch::may_come_near(double ideal, double error) const {
  const int candidate = at_least(to_counter(ideal * (1 - error)));  // which is below ideal / (1 + error)
  return candidate != ValueSet::kNone && candidate * (1 - error) <= (1 + kDoubt) * ideal;
}

int OutputSearch::pick(int m, int d, double cap, double& best_error) const {
  const double stop = with_doubt(std::min(cap, tolerance_double_));
  if (!may_come_near(ideal(m, d), stop)) return ValueSet::kNone;
  const int low = lowest(m, d), high = highest(m, d);
  if (low > high) return ValueSet::kNone;
  int best = ValueSet::kNone;
  for (Outwards at(*this, m, d, low, high); !at.is_done() && at.error() <= stop; at.advance()) {
    if (best != ValueSet::kNone && error(m, d, at.divider()) > error(m, d, best)) break;
    if (!is_within_tolerance(m, d, at.divider())) continue;
    if (best != ValueSet::kNone) return better_placed(best, at.divider());
    best = at.divider();
    best_error = at.error();
    // Only the other side can hold a divider with the same error.
    if (at.error_on_other_side() > with_doubt(best_error)) break;
  }
  return best;
}

int OutputSearch::better_placed(int a, int b) const {
  const Rational at_a = misplacement(a), at_b = misplacement(b);
  if (at_a == at_b) return std::min(a, b);
  return at_a < at_b ? a : b;
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

  collect_loops();
}

void Search::collect_loops() {
  const Range limits = input_limits(primitive_, request_);
  const Rational second = request_.second_input_hz.value_or(request_.input_hz);
  const Range inputs{std::min(request_.input_hz, second), std::max(request_.input_hz, second)};
  if (inputs.min < limits.min || inputs.max > limits.max) return;
  const Range loop_inputs = effective_input(primitive_, request_);
  const ValueSet dividers(primitive_.input_divider, true);
  for (int value = dividers.at_least(1); value != ValueSet::kNone; value = dividers.at_least(value + 1)) {
    const int d = value / kUnit;
    if (!is_input_divider(d, inputs)) continue;
    if (const auto loop = loop_of(d, loop_inputs)) loops_.push_back(*loop);
  }
}

// Whether the PFD, and the modulation that divides its frequency, work with this D.
bool Search::is_input_divider(int d, Range const& inputs) const {
  Range const& pfd = pfd_range(primitive_, request_);
  if (is_below(inputs.min, 1, pfd.min, d) || is_below(pfd.max, d, inputs.max, 1)) return false;
  return !request_.spread || actual_modulation(*primitive_.spread_mode(request_.spread->mode), request_.input_hz / d,
                                               request_.spread->modulation_hz);
}

// m >= kUnit d vco_min / slowest input, m <= kUnit d vco_max / fastest input
std::optional<Search::Loop> Search::loop_of(int d, Range const& input) const {
  Range const& vco = primitive_.vco_hz;
  const int least = saturate(ceil_div(static_cast<Int128>(vco.min.num()) * input.min.den() * kUnit * d,
                                      static_cast<Int128>(vco.min.den()) * input.min.num()));
  const int most = saturate(floor_div(static_cast<Int128>(vco.max.num()) * input.max.den() * kUnit * d,
                                      static_cast<Int128>(vco.max.den()) * input.max.num()));
  const int m_low = multipliers_.at_least(least), m_high = multipliers_.at_most(most);
  if (m_low == ValueSet::kNone || m_high == ValueSet::kNone || m_low > m_high) return std::nullopt;
  return Loop{d, m_low, m_high};
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

std::strong_ordering Search::compare_errors(Candidate const& a, Candidate const& b) const {
  const std::size_t count = outputs_.size();
  const auto total = [count](Candidate const& candidate) {
    double sum = 0;
    for (std::size_t i = 0; i < count; ++i)
      sum += static_cast<double>(candidate.errors[i].num) / static_cast<double>(candidate.errors[i].den);
    return sum;
  };
  const double left = total(a), right = total(b);
  if (std::abs(left - right) > kDoubt * (1 + left))
    return left < right ? std::strong_ordering::less : std::strong_ordering::greater;
  std::array<Rational, kMaxOutputs> exact_a, exact_b;
  for (std::size_t i = 0; i < count; ++i) {
    exact_a[i] = a.errors[i].reduced();
    exact_b[i] = b.errors[i].reduced();
  }
  return compare_sums(std::span(exact_a).first(count), std::span(exact_b).first(count));
}

std::strong_ordering Search::compare_misplacements(Candidate& a, Candidate& b) const {
  const std::size_t count = outputs_.size();
  for (Candidate* candidate : {&a, &b}) {
    if (candidate->misplaced) continue;
    candidate->misplaced.emplace();
    for (std::size_t i = 0; i < count; ++i)
      (*candidate->misplaced)[i] = outputs_[i].misplacement(candidate->setting.o[i]);
  }
  return compare_sums(std::span(*a.misplaced).first(count), std::span(*b.misplaced).first(count));
}

// The objective, level by level. The dividers of the outputs need no level: each pair of M and D comes with its best.
bool Search::is_better(Candidate& challenger, Candidate& incumbent) const {
  if (const auto order = challenger.worst <=> incumbent.worst; std::is_neq(order)) return std::is_lt(order);
  if (challenger.worst.num != 0)
    if (const auto order = compare_errors(challenger, incumbent); std::is_neq(order)) return std::is_lt(order);
  if (!std::ranges::all_of(outputs_, &OutputSearch::is_plain))
    if (const auto order = compare_misplacements(challenger, incumbent); std::is_neq(order)) return std::is_lt(order);
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
      dividers += outputs_[i].count(to_counter(outputs_[i].ideal(loop.m_low, loop.d)),
                                    to_counter(outputs_[i].ideal(loop.m_high, loop.d)) + 1);
    if (dividers < fewest) {
      fewest = dividers;
      best = i;
    }
  }
  return best;
}

// For each divider of the leader, the multipliers next to no error. A good setting early makes the proof short.
void Search::try_likely(OutputSearch const& leader) {
  for (Loop const& loop : loops_) {
    const int last = to_counter(leader.ideal(loop.m_high, loop.d)) + 1;
    for (int o = leader.at_least(to_counter(leader.ideal(loop.m_low, loop.d))); o != ValueSet::kNone && o <= last;
         o = leader.at_least(o + 1)) {
      const int aim = to_counter(leader.ideal_m(o, loop.d));
      for (int m : {multipliers_.at_most(aim), multipliers_.at_least(aim + 1)})
        if (m != ValueSet::kNone && m >= loop.m_low && m <= loop.m_high) consider(m, loop.d);
    }
  }
}

// The proof: a setting as good as the incumbent has its multiplier within the incumbent's worst error of a divider of
// the leader. Dividers ascend, and so do these intervals; no multiplier is visited twice.
void Search::try_all_that_may_be_better(OutputSearch const& leader) {
  for (Loop const& loop : loops_) {
    int next = loop.m_low;
    const double first = leader.ideal(loop.m_low, loop.d) / (1 + with_doubt(cap()));
    for (int o = leader.at_least(to_counter(first * (1 - kDoubt))); o != ValueSet::kNone && next <= loop.m_high;
         o = leader.at_least(o + 1)) {
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
}

std::optional<Setting> Search::best() {
  incumbent_.reset();
  if (loops_.empty()) return std::nullopt;
  OutputSearch const& leader = outputs_[lead()];
  try_likely(leader);
  try_all_that_may_be_better(leader);
  if (!incumbent_) return std::nullopt;
  return incumbent_->setting;
}

namespace {

// Gains m / d, a few ranges in ascending order, that do not touch.
struct GainRange {
  double from;
  double to;
};
using GainRanges = std::vector<GainRange>;

constexpr double kGainDoubt = 1e-11;  // of the bounds in double precision: what is found within is looked at exactly

// Those of `within` at which some divider of the output keeps its limits and tolerances.
GainRanges gains_with_divider(OutputSearch const& output, GainRanges const& within) {
  const OutputSearch::Gains gains = output.gains();
  const double from = gains.from * (1 - kGainDoubt), to = gains.to * (1 + kGainDoubt);
  GainRanges ranges;
  if (from > to) return ranges;
  for (GainRange const& part : within) {
    const double first = to == kInfinity ? 0 : part.from / to - 1;
    for (int o = output.at_least(to_counter(first)); o != ValueSet::kNone && o * from <= part.to;
         o = output.at_least(o + 1)) {
      const GainRange range{std::max(part.from, o * from), std::min(part.to, o * to)};
      if (range.from > range.to) continue;
      if (!ranges.empty() && range.from <= ranges.back().to)
        ranges.back().to = std::max(ranges.back().to, range.to);
      else
        ranges.push_back(range);
    }
  }
  return ranges;
}

}  // namespace

bool Search::is_valid(int m, int d) const {
  return std::ranges::all_of(outputs_, [m, d](OutputSearch const& output) { return output.has_divider(m, d); });
}

// What the outputs ask of M and D is asked of their quotient alone, so the quotients that all outputs agree on are
// found first; then a D with an M among them.
bool Search::has_any() const {
  if (loops_.empty()) return false;
  GainRange all{kInfinity, 0};
  for (Loop const& loop : loops_) {
    all.from = std::min(all.from, static_cast<double>(loop.m_low) / loop.d);
    all.to = std::max(all.to, static_cast<double>(loop.m_high) / loop.d);
  }
  GainRanges gains{all};
  for (OutputSearch const& output : outputs_) gains = gains_with_divider(output, gains);
  for (Loop const& loop : loops_) {
    int next = loop.m_low;
    for (GainRange const& range : gains) {
      next = std::max(next, to_counter(std::ceil(range.from * loop.d * (1 - kGainDoubt))));
      if (next > loop.m_high) break;
      const int last = std::min(loop.m_high, to_counter(range.to * loop.d * (1 + kGainDoubt)));
      for (int m = multipliers_.at_least(next); m != ValueSet::kNone && m <= last; m = multipliers_.at_least(m + 1))
        if (is_valid(m, loop.d)) return true;
    }
  }
  return false;
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

OutputSolution Search::describe_output(std::size_t index, Setting const& setting, Rational const& vco_hz) const {
  const int o = setting.o[index];
  OutputSolution output;
  output.divider = Rational(o, kUnit);
  output.frequency_hz = vco_hz / output.divider;
  output.frequency_error = outputs_[index].error(setting.m, setting.d, o).reduced();
  if (is_high_speed(index)) {
    output.duty = Rational(1, 2);
    return output;
  }
  const Placement phase = outputs_[index].phase(o), duty = outputs_[index].duty(o);
  output.phase_deg = phase.actual * 360;
  output.phase_step = phase.step;
  output.phase_error = phase.error;
  output.duty = duty.actual;
  output.duty_error = duty.error;
  return output;
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
  solution.outputs.reserve(request_.outputs.size());
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    const OutputSolution output = describe_output(i, setting, solution.vco_hz);
    solution.worst_error = std::max(solution.worst_error, output.frequency_error);
    if (is_high_speed(i)) {
      solution.high_speed = output;
      solution.high_speed_mode = mode_of(output.divider);
    } else {
      solution.outputs.push_back(output);
    }
  }
  return solution;
}

std::string Search::mode_of(Rational const& divider) const {
  const auto found = std::ranges::find_if(primitive_.high_speed_modes,
                                          [&](HighSpeedMode const& mode) { return mode.factor * divider == 1; });
  return found == primitive_.high_speed_modes.end() ? std::string() : found->name;
}

}  // namespace kdi::clocking
