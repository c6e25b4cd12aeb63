#include "platform/cores/search/clock_problem.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <tuple>

#include "kdi/common/KdiWide.h"

namespace kdi::cores {
namespace {

constexpr int kPlaces = 9;  // of frequencies in MHz
constexpr std::int64_t kScale = 1'000'000'000;
constexpr std::int64_t kMostMegahertz = 1'000'000;
constexpr int kMostFeedback = 65535;
constexpr int kMostOutputDivider = 1024;
constexpr std::size_t kMostPlls = 8;
constexpr std::size_t kMostClocks = 256;
constexpr std::size_t kMostStages = 4;
constexpr std::size_t kMostTried = 1 << 24;   // settings of a PLL before its limits
constexpr std::size_t kMostChoices = 20'000;  // and behind them
// A frequency so many times above the request is no setting: what errors add up to fits its bounds.
constexpr Int128 kFar = Int128{1} << 19;

void check_dividers(std::vector<int> const& list, int most, std::string const& whose) {
  if (list.empty()) throw ClockError(whose + " has no values");
  for (std::size_t i = 0; i < list.size(); ++i)
    if (list[i] < 1 || list[i] > most || (i > 0 && list[i] <= list[i - 1]))
      throw ClockError(whose + ": values from 1 to " + std::to_string(most) + ", ascending, and none twice");
}

// Of numbers at least 0. Most fit a machine word, which divides many times faster.
Int128 quotient(Int128 a, Int128 b) {
  constexpr Int128 kWord = std::numeric_limits<std::int64_t>::max();
  return a <= kWord && b <= kWord ? Int128{static_cast<std::int64_t>(a) / static_cast<std::int64_t>(b)} : a / b;
}

std::int64_t quotient(std::int64_t a, std::int64_t b) { return a / b; }

int row_order(PllChoice const& a, PllChoice const& b) {
  const auto row = [](PllChoice const& choice) {
    return std::tuple(choice.reference, choice.feedback, choice.output_divider, choice.crossing);
  };
  return row(a) < row(b) ? -1 : row(b) < row(a) ? 1 : 0;
}

bool comes_before(PllChoice const& a, PllChoice const& b) {
  return a.vco != b.vco ? a.vco < b.vco : row_order(a, b) < 0;
}

Int128 greatest_divisor(Int128 a, Int128 b) {
  while (b != 0) std::swap(a %= b, b);
  return a;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------- fractions

Fraction Fraction::of(Int128 num, Int128 den) {
  const Int128 divisor = greatest_divisor(num, den);
  return {num / divisor, den / divisor};
}

Decimal Fraction::rounded(int places) const {
  Int128 scale = 1;
  for (int i = 0; i < places; ++i) scale *= 10;
  const Int128 whole = num / den, rest = num % den;  // so that what is scaled is small
  return Decimal::of(whole * scale + (rest * scale * 2 + den) / (den * 2), places);
}

// By whole parts, then by the reciprocals of what is left: as exact as products, and never too large.
std::strong_ordering operator<=>(Fraction const& a, Fraction const& b) {
  Fraction left = a, right = b;
  while (true) {
    const Int128 left_whole = left.num / left.den, right_whole = right.num / right.den;
    if (left_whole != right_whole) return left_whole <=> right_whole;
    const Int128 left_rest = left.num % left.den, right_rest = right.num % right.den;
    if (left_rest == 0 || right_rest == 0) return left_rest <=> right_rest;
    // a / b < c / d where d / c < b / a.
    const Fraction reciprocal{left.den, left_rest};
    left = {right.den, right_rest};
    right = reciprocal;
  }
}

bool is_less(Error const& a, Error const& b) {
  if (a.key != b.key) return a.key < b.key;
  if (a.key == 0) return false;
  // Of equal keys they differ by less than 2^-kKeyBits: so what the products differ by fits, if not the products.
  constexpr Int128 kShort = Int128{1} << 80;
  if (a.den < kShort && b.den < kShort) {
    const auto difference = static_cast<wide::Uint128>(a.num) * static_cast<wide::Uint128>(b.den) -
                            static_cast<wide::Uint128>(b.num) * static_cast<wide::Uint128>(a.den);
    return static_cast<Int128>(difference) < 0;
  }
  return Fraction{a.num, a.den} < Fraction{b.num, b.den};
}

// ----------------------------------------------------------------------------------------------------------- dividers

Dividers::Dividers(std::vector<std::vector<int>> stages) : stages_(std::move(stages)) {
  constexpr int kWord = 64;
  std::vector<int> products{1};
  std::int64_t most = 1;
  for (std::vector<int> const& stage : stages_) most *= stage.back();
  most_ = static_cast<int>(most);
  bits_.assign(static_cast<std::size_t>(most_) / kWord + 1, 0);
  for (std::vector<int> const& stage : stages_) {
    std::fill(bits_.begin(), bits_.end(), 0);
    for (const int product : products)
      for (const int divider : stage)
        bits_[static_cast<std::size_t>(product * divider) / kWord] |= std::uint64_t{1} << product * divider % kWord;
    products.clear();
    for (std::size_t word = 0; word < bits_.size(); ++word)
      for (std::uint64_t rest = bits_[word]; rest != 0; rest &= rest - 1)
        products.push_back(static_cast<int>(word) * kWord + std::countr_zero(rest));
  }
  if (stages_.empty()) bits_[0] = 2;
}

int Dividers::at_least(Int128 value) const {
  if (value > most_) return 0;
  const int from = static_cast<int>(std::max<Int128>(value, 1));
  std::size_t word = static_cast<std::size_t>(from) / 64;
  std::uint64_t rest = bits_[word] & ~std::uint64_t{0} << from % 64;
  while (rest == 0) rest = bits_[++word];  // `most_` is among them
  return static_cast<int>(word) * 64 + std::countr_zero(rest);
}

int Dividers::at_most(Int128 value) const {
  if (value < 1) return 0;
  const int from = static_cast<int>(std::min<Int128>(value, most_));
  std::size_t word = static_cast<std::size_t>(from) / 64;
  std::uint64_t rest = bits_[word] & ~std::uint64_t{0} >> (63 - from % 64);
  while (rest == 0) {
    if (word == 0) return 0;
    rest = bits_[--word];
  }
  return static_cast<int>(word) * 64 + 63 - std::countl_zero(rest);
}

std::vector<int> Dividers::written_out(int product) const {
  // What the stages from `stage` on can divide by is looked for in depth; a stage has few dividers of a number.
  std::vector<int> chosen;
  const auto fits = [&](auto const& self, std::size_t stage, int rest) -> bool {
    if (stage == stages_.size()) return rest == 1;
    for (const int divider : stages_[stage]) {
      if (divider > rest) return false;
      if (rest % divider != 0) continue;
      chosen.push_back(divider);
      if (self(self, stage + 1, rest / divider)) return true;
      chosen.pop_back();
    }
    return false;
  };
  fits(fits, 0, product);
  return chosen;
}

// ------------------------------------------------------------------------------------------------------- the request

std::optional<std::int64_t> Demand::ceiling() const {
  if (may_exceed) return limit;
  return limit ? std::min(*limit, requested) : requested;
}

ClockProblem::ClockProblem(ClockRequest const& asked) : request(asked) {
  find_unit();
  for (ClockReference const& reference : request.references) references.push_back(units(reference.mhz));
  read_plls();
  read_clocks();
}

// The greatest unit of which all frequencies are multiples: numbers stay small.
void ClockProblem::find_unit() {
  std::int64_t unit = 0;
  const auto add = [&](Decimal mhz, std::string const& whose) {
    if (mhz < Decimal() || mhz > Decimal(kMostMegahertz) || mhz.places() > kPlaces)
      throw ClockError(whose + ": frequencies from 0 to 1000000 MHz with at most 9 places, not " + mhz.text());
    unit = std::gcd(unit, units(mhz));
  };
  for (ClockReference const& reference : request.references) add(reference.mhz, reference.name);
  for (Pll const& pll : request.plls) {
    add(pll.vco_least, pll.name);
    add(pll.vco_most, pll.name);
    if (pll.most) add(*pll.most, pll.name);
    if (pll.crossing && pll.crossing->most) add(*pll.crossing->most, pll.crossing->name);
  }
  for (Clock const& clock : request.clocks) {
    add(clock.requested, clock.name);
    if (clock.requested == Decimal()) throw ClockError(clock.name + ": a frequency above 0 is to be requested");
    if (clock.most) add(*clock.most, clock.name);
  }
  if (unit != 0) unit_ = unit;
}

std::int64_t ClockProblem::units(Decimal mhz) const { return (mhz * Decimal(kScale)).mantissa() / unit_; }

Fraction ClockProblem::megahertz(Int128 num, Int128 den) const {
  const Fraction ratio = Fraction::of(num, den), unit = Fraction::of(unit_, kScale);
  const Fraction first = Fraction::of(ratio.num, unit.den), second = Fraction::of(unit.num, ratio.den);
  return {first.num * second.num, first.den * second.den};
}

namespace {

std::size_t index_of(std::vector<ClockReference> const& references, std::string const& name, std::string const& whose) {
  for (std::size_t i = 0; i < references.size(); ++i)
    if (references[i].name == name) return i;
  throw ClockError(whose + ": no reference " + name);
}

bool has_same_settings(Pll const& a, Pll const& b) {
  const auto crossing_of = [](Pll const& pll) {
    return pll.crossing ? std::tuple(true, pll.crossing->dividers, pll.crossing->most)
                        : std::tuple(false, std::vector<int>(), std::optional<Decimal>());
  };
  return a.references == b.references && a.feedback == b.feedback && a.output_dividers == b.output_dividers &&
         a.vco_least == b.vco_least && a.vco_most == b.vco_most && a.most == b.most && crossing_of(a) == crossing_of(b);
}

// An output frequency, reduced, and the crossing divider.
struct FrequencyKey {
  std::int64_t num, den;
  int crossing;
  friend bool operator==(FrequencyKey const&, FrequencyKey const&) = default;
};

FrequencyKey key_of(PllChoice const& choice) {
  const std::int64_t den = choice.output.den;
  const std::int64_t divisor = std::gcd(choice.output.num % den, den);
  return {choice.output.num / divisor, den / divisor, choice.crossing};
}

std::size_t hash_of(FrequencyKey const& key) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;
  std::uint64_t hash = static_cast<std::uint64_t>(key.num) * kFactor;
  hash = (hash ^ hash >> 32U ^ static_cast<std::uint64_t>(key.den)) * kFactor;
  hash = (hash ^ hash >> 32U ^ static_cast<std::uint64_t>(key.crossing)) * kFactor;
  return hash ^ hash >> 32U;
}

std::vector<PllChoice> first_of_each_frequency(std::vector<PllChoice> const& all) {
  std::vector<PllChoice> first;
  std::vector<FrequencyKey> keys;  // of these
  const std::size_t mask = std::bit_ceil(2 * all.size() + 1) - 1;
  std::vector<std::uint32_t> places(mask + 1, 0);  // numbers from 1 on
  for (PllChoice const& choice : all) {
    const FrequencyKey key = key_of(choice);
    std::size_t at = hash_of(key) & mask;
    while (places[at] != 0 && !(keys[places[at] - 1] == key)) at = (at + 1) & mask;
    if (places[at] != 0) continue;
    first.push_back(choice);
    keys.push_back(key);
    places[at] = static_cast<std::uint32_t>(first.size());
  }
  return first;
}

}  // namespace

void ClockProblem::read_plls() {
  if (request.plls.size() > kMostPlls) throw ClockError("at most 8 PLLs");
  choices.resize(request.plls.size());
  for (std::size_t p = 0; p < choices.size(); ++p) {
    std::size_t same = 0;
    while (same < p && !has_same_settings(request.plls[same], request.plls[p])) ++same;
    choices[p] = same < p ? choices[same] : settings_of(request.plls[p]);
  }
  by_name.resize(request.plls.size());
  std::iota(by_name.begin(), by_name.end(), std::size_t{0});
  std::sort(by_name.begin(), by_name.end(),
            [&](std::size_t a, std::size_t b) { return request.plls[a].name < request.plls[b].name; });
}

// By power, then by rows; of those with the same frequencies the first alone, which serves as well as any in all
// respects, and better in the last.
std::vector<PllChoice> ClockProblem::settings_of(Pll const& pll) const {
  check_dividers(pll.feedback, kMostFeedback, pll.name + ", feedback");
  check_dividers(pll.output_dividers, kMostOutputDivider, pll.name + ", output divider");
  if (pll.crossing) check_dividers(pll.crossing->dividers, kMostOutputDivider, pll.crossing->name);
  const std::vector<int> crossings = pll.crossing ? pll.crossing->dividers : std::vector<int>{0};
  if (pll.references.size() * pll.feedback.size() * pll.output_dividers.size() > kMostTried / crossings.size())
    throw ClockError(pll.name + ": too many settings");
  const std::int64_t least = units(pll.vco_least), most = units(pll.vco_most);
  const Int128 limit = pll.most ? units(*pll.most) : 0;
  const bool is_limited = pll.crossing && pll.crossing->most;
  const Int128 crossing_limit = is_limited ? units(*pll.crossing->most) : 0;
  constexpr std::size_t kMostly = 1024;
  std::vector<PllChoice> all;
  all.reserve(kMostly);
  for (std::size_t r = 0; r < pll.references.size(); ++r) {
    const std::int64_t reference = references[index_of(request.references, pll.references[r], pll.name)];
    for (const int feedback : pll.feedback) {
      if (Int128{reference} * feedback > most) break;
      const std::int64_t vco = reference * feedback;
      if (vco < least || vco == 0) continue;
      for (const int divider : pll.output_dividers) {
        if (pll.most && vco > limit * divider) continue;
        for (const int crossing : crossings) {
          PllChoice choice{r, feedback, divider, crossing, vco, {vco, divider}, std::nullopt};
          const std::int64_t den = std::int64_t{divider} * crossing;
          if (pll.crossing && (!is_limited || vco <= crossing_limit * den)) choice.crossed = Frequency{vco, den};
          all.push_back(choice);
          if (all.size() > kMostTried / crossings.size()) throw ClockError(pll.name + ": too many settings");
        }
      }
    }
  }
  if (!std::is_sorted(all.begin(), all.end(), comes_before)) std::sort(all.begin(), all.end(), comes_before);
  std::vector<PllChoice> first = first_of_each_frequency(all);
  if (first.size() > kMostChoices) throw ClockError(pll.name + ": too many settings");
  return first;
}

bool ClockProblem::are_alike(std::size_t a, std::size_t b) const {
  if (!has_same_settings(request.plls[a], request.plls[b])) return false;
  using Kind = Demand::Source::Kind;
  return std::all_of(demands.begin(), demands.end(), [&](Demand const& demand) {
    const auto takes = [&](Kind kind, std::size_t pll) {
      return std::any_of(demand.sources.begin(), demand.sources.end(),
                         [&](Demand::Source const& source) { return source.kind == kind && source.number == pll; });
    };
    return takes(Kind::output, a) == takes(Kind::output, b) && takes(Kind::crossing, a) == takes(Kind::crossing, b);
  });
}

std::vector<std::size_t> ClockProblem::first_alike() const {
  std::vector<std::size_t> first(request.plls.size());
  for (std::size_t n = 0; n < by_name.size(); ++n)
    first[by_name[n]] = *std::find_if(by_name.begin(), by_name.end(), [&](std::size_t known) {
      return known == by_name[n] || are_alike(known, by_name[n]);
    });
  return first;
}

void ClockProblem::read_clocks() {
  if (request.clocks.size() > kMostClocks) throw ClockError("at most 256 clocks");
  std::set<std::string> names;
  const auto claim = [&](std::string const& name) {
    if (!names.insert(name).second) throw ClockError("two things are called " + name);
  };
  for (ClockReference const& reference : request.references) claim(reference.name);
  for (Pll const& pll : request.plls) {
    claim(pll.name);
    if (pll.crossing) claim(pll.crossing->name);
  }
  std::map<std::string, std::size_t> clocks;
  for (std::size_t i = 0; i < request.clocks.size(); ++i)
    if (!clocks.emplace(request.clocks[i].name, i).second)
      throw ClockError("two clocks are called " + request.clocks[i].name);
  for (auto const& [name, number] : clocks) {
    Clock const& b = request.clocks[number];
    Demand added = demand(b);
    const auto same = std::find_if(demands.begin(), demands.end(), [this, &b](Demand const& known) {
      Clock const& a = request.clocks[known.clocks.front()];
      return a.requested == b.requested && a.most == b.most && a.may_exceed == b.may_exceed && a.sources == b.sources &&
             a.stages == b.stages;
    });
    Demand& place = same == demands.end() ? demands.emplace_back(std::move(added)) : *same;
    place.clocks.push_back(number);
  }
}

Demand ClockProblem::demand(Clock const& clock) {
  Demand demand{{},
                units(clock.requested),
                clock.most ? std::optional(units(*clock.most)) : std::nullopt,
                clock.may_exceed,
                &dividers_of(clock),
                {}};
  for (std::string const& source : clock.sources) {
    std::optional<Demand::Source> found;
    for (std::size_t p = 0; p < request.plls.size(); ++p) {
      if (request.plls[p].name == source) found = {Demand::Source::Kind::output, p};
      if (request.plls[p].crossing && request.plls[p].crossing->name == source)
        found = {Demand::Source::Kind::crossing, p};
    }
    for (std::size_t r = 0; r < request.references.size(); ++r)
      if (request.references[r].name == source) found = {Demand::Source::Kind::reference, r};
    if (!found) throw ClockError(clock.name + ": no source " + source);
    demand.sources.push_back(*found);
  }
  return demand;
}

// Most clocks have the same stages as others: they are looked at once.
Dividers const& ClockProblem::dividers_of(Clock const& clock) {
  for (Dividers const& known : dividers_)
    if (known.stages() == clock.stages) return known;
  if (clock.stages.size() > kMostStages) throw ClockError(clock.name + ": at most 4 dividers");
  std::int64_t most = 1;
  for (std::vector<int> const& stage : clock.stages) {
    check_dividers(stage, Dividers::kMost, clock.name + ", divider");
    most *= stage.back();
    if (most > Dividers::kMost) throw ClockError(clock.name + ": dividers of at most 1048576 in all");
  }
  return dividers_.emplace_back(clock.stages);
}

// --------------------------------------------------------------------------------------------------------- the errors

namespace {

// Of num / den, both above 0.
std::int64_t key_of(Int128 num, Int128 den) {
  return static_cast<std::int64_t>(quotient(num << Error::kKeyBits, den)) + 1;
}

Error error_of(Frequency frequency, std::int64_t requested, int divider) {
  const Int128 wanted = Int128{requested} * frequency.den * divider;
  const Int128 num = frequency.num > wanted ? frequency.num - wanted : wanted - frequency.num;
  if (num == 0) return {0, 0, 1};
  return {key_of(num, wanted), num, wanted};
}

// Whether all that is computed with a frequency is below 2^62: it is where the numbers of a request are not long.
bool fits_words(Demand const& demand, Frequency frequency) {
  const Int128 most = std::max(demand.requested, demand.limit.value_or(0));
  return most * frequency.den < (Int128{1} << 62) / Dividers::kMost;
}

// The dividers that come nearest to a request from below and from above it; 0: none.
struct Nearest {
  int high, low;
};

template <class Number>
Nearest nearest_of(Demand const& demand, Frequency frequency) {
  const Number num = frequency.num, den = frequency.den, wanted = demand.requested * den;
  const Number below = quotient(num, wanted);  // dividers up to here leave the frequency at or above the request
  const bool is_exact = num == below * wanted;
  Number least = 1;
  if (const auto ceiling = demand.ceiling()) {
    if (*ceiling == 0) return {0, 0};
    least = quotient(num + *ceiling * den - 1, *ceiling * den);
  }
  const int high = demand.dividers->at_least(std::max<Number>(least, is_exact ? below : below + 1));
  const int low = demand.dividers->at_most(below);
  const bool is_far = num > wanted * low * kFar;
  return {high, low == high || low < least || is_far ? 0 : low};
}

template <class Number>
std::int64_t least_key(Demand const& demand, Frequency frequency) {
  const Nearest nearest = nearest_of<Number>(demand, frequency);
  const Number num = frequency.num, wanted = Number{demand.requested} * frequency.den;
  std::int64_t least = kNone;
  for (const int divider : {nearest.high, nearest.low}) {
    if (divider == 0) continue;
    const Number at = wanted * divider, error = num > at ? num - at : at - num;
    least = std::min(least, error == 0 ? 0 : key_of(error, at));
  }
  return least;
}

}  // namespace

std::optional<Division> ClockProblem::divided(Demand const& demand, Frequency frequency) const {
  const Nearest nearest = nearest_of<Int128>(demand, frequency);
  std::optional<Division> best;
  // The lower frequency first: of equal errors it stays.
  if (nearest.high != 0) best = Division{nearest.high, error_of(frequency, demand.requested, nearest.high)};
  if (nearest.low != 0) {
    const Division other{nearest.low, error_of(frequency, demand.requested, nearest.low)};
    if (!best || is_less(other.error, best->error)) best = other;
  }
  return best;
}

std::int64_t ClockProblem::key(Demand const& demand, Frequency frequency) const {
  return fits_words(demand, frequency) ? least_key<std::int64_t>(demand, frequency)
                                       : least_key<Int128>(demand, frequency);
}

bool ClockProblem::is_exact(Demand const& demand, Frequency frequency) const {
  if (demand.limit && *demand.limit < demand.requested) return false;
  const Int128 wanted = Int128{demand.requested} * frequency.den;
  if (wanted > frequency.num) return false;
  const auto step = static_cast<std::int64_t>(wanted);
  return frequency.num % step == 0 && demand.dividers->has(frequency.num / step);
}

std::optional<Frequency> ClockProblem::at(Demand::Source source, PllChoice const* choice) const {
  if (source.kind == Demand::Source::Kind::output) return choice->output;
  if (source.kind == Demand::Source::Kind::crossing) return choice->crossed;
  if (references[source.number] == 0) return std::nullopt;
  return Frequency{references[source.number], 1};
}

std::optional<ClockProblem::Best> ClockProblem::on_pll(Demand const& demand, std::size_t pll,
                                                       PllChoice const& choice) const {
  std::optional<Best> best;
  for (std::size_t s = 0; s < demand.sources.size(); ++s) {
    Demand::Source const& source = demand.sources[s];
    if (source.kind == Demand::Source::Kind::reference || source.number != pll) continue;
    const std::optional<Frequency> frequency = at(source, &choice);
    if (!frequency) continue;
    const std::optional<Division> division = divided(demand, *frequency);
    if (division && (!best || is_less(division->error, best->division.error))) best = Best{s, *division};
  }
  return best;
}

std::optional<ClockProblem::Best> ClockProblem::on_references(Demand const& demand) const {
  std::optional<Best> best;
  for (std::size_t s = 0; s < demand.sources.size(); ++s) {
    if (demand.sources[s].kind != Demand::Source::Kind::reference) continue;
    const std::optional<Frequency> frequency = at(demand.sources[s], nullptr);
    if (!frequency) continue;
    const std::optional<Division> division = divided(demand, *frequency);
    if (division && (!best || is_less(division->error, best->division.error))) best = Best{s, *division};
  }
  return best;
}

}  // namespace kdi::cores
