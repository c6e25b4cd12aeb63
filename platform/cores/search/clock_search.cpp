// The clock search. Where settings give every demand the least error that it has on any, they are the answer
// (clock_ideal.h). Otherwise its steps are: the least worst error (by asking for a bound whether settings cover all
// clocks within it), the least sum (branch and bound, clock_branching.h), then among equal sums the fewest PLLs, power
// and row. Bounds are integers, rounded so that they stay bounds; what they leave open is compared exactly.
#include "platform/cores/search/clock_search.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "platform/cores/search/clock_branching.h"
#include "platform/cores/search/clock_ideal.h"
#include "platform/cores/search/clock_problem.h"
#include "platform/cores/search/clock_table.h"

namespace kdi::cores {
namespace {

class ClockSearch {
 public:
  explicit ClockSearch(ClockRequest const& request) : problem_(request) {
    for (Demand const& demand : problem_.demands) weights_.push_back(static_cast<int>(demand.clocks.size()));
    answer_.plls.resize(request.plls.size());
    answer_.clocks.resize(request.clocks.size());
  }

  std::uint64_t steps() const { return steps_; }

  ClockAnswer answer() {
    std::optional<IdealRows> ideal(problem_);
    // With every PLL at its lowest, whatever can be met at all is met: clocks have limits above them alone. So none
    // keeps another from being met.
    if (const Bits met = ideal->met(); met.count() != static_cast<int>(problem_.demands.size())) {
      tell_unmet(met);
      keep_only(met);
      ideal.emplace(problem_);
    }
    if (problem_.demands.empty()) return std::move(answer_);
    if (const auto choices = ideal->first()) {
      tell(*choices);
    } else {
      table_ = table_of(problem_);
      const std::int64_t worst = keep_least_worst();
      tell(best_choices(worst));
    }
    return std::move(answer_);
  }

 private:
  Bits all() const {
    Bits set;
    for (std::size_t i = 0; i < table_.demands; ++i) set.add(i);
    return set;
  }

  // --- clocks that cannot be met

  void tell_unmet(Bits const& met) {
    for (std::size_t i = 0; i < problem_.demands.size(); ++i)
      if (!met.has(i))
        for (const std::size_t clock : problem_.demands[i].clocks)
          answer_.unmet.push_back(reason(problem_.demands[i], clock));
    std::sort(answer_.unmet.begin(), answer_.unmet.end(),
              [](UnmetClock const& a, UnmetClock const& b) { return a.clock < b.clock; });
  }

  UnmetClock reason(Demand const& demand, std::size_t clock) const {
    const std::optional<Fraction> lowest = lowest_of(demand);
    if (!lowest) return {clock, ClockObstacle::no_source, std::nullopt, std::nullopt};
    if (demand.limit && *lowest > problem_.megahertz(*demand.limit, 1))
      return {clock, ClockObstacle::limit, lowest, std::nullopt};
    return {clock, ClockObstacle::request, lowest, lowest};
  }

  // The lowest frequency of all that its sources give.
  std::optional<Fraction> lowest_of(Demand const& demand) const {
    std::optional<Fraction> lowest;
    const auto consider = [&](std::optional<Frequency> const& frequency) {
      if (!frequency) return;
      const Fraction mhz = problem_.megahertz(frequency->num, Int128{frequency->den} * demand.dividers->most());
      if (!lowest || mhz < *lowest) lowest = mhz;
    };
    for (Demand::Source const& source : demand.sources) {
      if (source.kind == Demand::Source::Kind::reference)
        consider(problem_.at(source, nullptr));
      else
        for (PllChoice const& choice : problem_.choices[source.number]) consider(problem_.at(source, &choice));
    }
    return lowest;
  }

  void keep_only(Bits const& met) {
    std::vector<Demand> demands;
    std::vector<int> weights;
    for (std::size_t i = 0; i < problem_.demands.size(); ++i) {
      if (!met.has(i)) continue;
      demands.push_back(problem_.demands[i]);
      weights.push_back(weights_[i]);
    }
    problem_.demands = std::move(demands);
    weights_ = std::move(weights);
  }

  // --- the least worst error

  // Leaves in the table only what is at most the least worst error, which this gives.
  std::int64_t keep_least_worst() {
    const std::int64_t key = least_worst_key();
    keep_least_worst_of(key);
    return key;
  }

  // What each demand has at best.
  std::vector<std::int64_t> best_keys() const {
    std::vector<std::int64_t> best = table_.base;
    for (std::size_t p = 0; p < table_.keys.size(); ++p)
      for (std::size_t c = 0; c < table_.choices(p); ++c)
        for (std::size_t i = 0; i < best.size(); ++i) best[i] = std::min(best[i], table_.row(p, c)[i]);
    return best;
  }

  // A worst error that settings do come to, or the greatest: each PLL in turn takes what helps most beside those before
  // it. Numbers of bits weigh many middling errors above one large one, which a later PLL may serve.
  std::int64_t greedy_worst_key() const {
    std::vector<std::int64_t> errors = table_.base;
    for (std::size_t p = 0; p < table_.keys.size(); ++p) {
      int least = std::numeric_limits<int>::max();
      std::size_t best = 0;
      for (std::size_t c = 0; c < table_.choices(p); ++c) {
        std::int64_t const* const row = table_.row(p, c);
        int sum = 0;
        for (std::size_t i = 0; i < errors.size(); ++i)
          sum += static_cast<int>(std::bit_width(static_cast<std::uint64_t>(std::min(errors[i], row[i]))));
        if (sum >= least) continue;
        least = sum;
        best = c;
      }
      if (table_.choices(p) == 0) continue;
      for (std::size_t i = 0; i < errors.size(); ++i) errors[i] = std::min(errors[i], table_.row(p, best)[i]);
    }
    return std::min(kNone - 1, *std::max_element(errors.begin(), errors.end()));
  }

  std::int64_t least_worst_key() const {
    const std::vector<std::int64_t> best = best_keys();
    const std::int64_t least = *std::max_element(best.begin(), best.end());
    const auto covers = [&](std::int64_t most) { return Covering(cover_of(table_, most)).covers(all()).has_value(); };
    if (covers(least)) return least;
    const std::int64_t enough = greedy_worst_key();
    std::vector<std::int64_t> keys;
    const auto add = [&](std::int64_t key) {
      if (key > least && key <= enough) keys.push_back(key);
    };
    std::for_each(table_.base.begin(), table_.base.end(), add);
    for (auto const& list : table_.keys) std::for_each(list.begin(), list.end(), add);
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    return *std::partition_point(keys.begin(), keys.end(), [&](std::int64_t most) { return !covers(most); });
  }

  struct Place {
    Error error;
    std::int64_t* key;
  };

  // Errors with that key are compared exactly.
  void keep_least_worst_of(std::int64_t key) {
    std::vector<Place> doubtful;
    for (std::size_t i = 0; i < table_.demands; ++i) {
      std::int64_t& own = table_.base[i];
      if (own == key) doubtful.push_back({problem_.on_references(problem_.demands[i])->division.error, &own});
      if (own > key) own = kNone;
    }
    for (std::size_t p = 0; p < table_.keys.size(); ++p)
      for (std::size_t c = 0; c < table_.choices(p); ++c)
        for (std::size_t i = 0; i < table_.demands; ++i) {
          std::int64_t& own = table_.keys[p][c * table_.demands + i];
          if (own == key)
            doubtful.push_back({problem_.on_pll(problem_.demands[i], p, problem_.choices[p][c])->division.error, &own});
          if (own > key) own = kNone;
        }
    if (key == 0) return;  // no error: they are equal
    std::sort(doubtful.begin(), doubtful.end(),
              [](Place const& a, Place const& b) { return is_less(a.error, b.error); });
    // The steps at which the error grows; the first of them with which all are covered.
    std::vector<std::size_t> ends;
    for (std::size_t n = 0; n < doubtful.size(); ++n)
      if (n + 1 == doubtful.size() || is_less(doubtful[n].error, doubtful[n + 1].error)) ends.push_back(n + 1);
    const auto covers = [&](std::size_t count) {
      for (std::size_t n = 0; n < doubtful.size(); ++n) *doubtful[n].key = n < count ? key : kNone;
      return Covering(cover_of(table_, key)).covers(all()).has_value();
    };
    const auto count = std::partition_point(ends.begin(), ends.end(), [&](std::size_t end) { return !covers(end); });
    covers(*count);
  }

  // --- sum, PLLs, power, row

  Choices best_choices(std::int64_t worst) {
    ClockBranching branching(problem_, table_, weights_);
    branching.least_sum(*Covering(cover_of(table_, worst)).covers(all()));
    const std::vector<std::size_t> plls = branching.all();
    std::vector<std::size_t> needed, others;
    const std::vector<std::size_t> alike = branching.first_alike();
    std::vector<std::optional<bool>> is_needed(problem_.choices.size());  // by the first of those that are alike
    for (const std::size_t p : plls) {
      std::optional<bool>& known = is_needed[alike[p]];
      if (!known) {
        std::vector<std::size_t> without = plls;
        without.erase(std::find(without.begin(), without.end(), p));
        known = !branching.is_enough(without);
      }
      (*known ? needed : others).push_back(p);
    }
    // Of PLLs that are alike, those in use come first.
    const auto is_in_order = [&](std::vector<std::size_t> const& chosen) {
      const auto is_used = [&](std::size_t p) { return std::find(chosen.begin(), chosen.end(), p) != chosen.end(); };
      for (std::size_t n = 0; n < problem_.by_name.size(); ++n)
        for (std::size_t m = 0; m < n; ++m) {
          const std::size_t p = problem_.by_name[n], before = problem_.by_name[m];
          if (alike[p] == alike[before] && is_used(p) && !is_used(before)) return false;
        }
      return true;
    };
    for (std::size_t count = 0; count <= others.size(); ++count) {
      std::optional<Choices> best;
      for (std::uint32_t set = 0; set < 1U << others.size(); ++set) {
        if (static_cast<std::size_t>(std::popcount(set)) != count) continue;
        std::vector<std::size_t> chosen = needed;
        for (std::size_t i = 0; i < others.size(); ++i)
          if ((set >> i & 1) != 0) chosen.push_back(others[i]);
        if (!is_in_order(chosen)) continue;
        const std::optional<Choices> found = branching.first_with(chosen);
        if (!found) continue;
        const auto precedes = [&] {
          const Int128 own = power_of(problem_, *found), known = power_of(problem_, *best);
          return own != known ? own < known : is_first(problem_, *found, *best);
        };
        if (!best || precedes()) best = found;
      }
      if (!best) continue;
      steps_ = branching.steps();
      return *best;
    }
    throw std::logic_error("the least sum has no settings");
  }

  void tell(Choices const& choices) {
    for (std::size_t p = 0; p < choices.size(); ++p) {
      if (choices[p] == kUnused) continue;
      PllChoice const& choice = problem_.choices[p][choices[p]];
      answer_.plls[p] = {true,
                         choice.reference,
                         choice.feedback,
                         choice.output_divider,
                         0,
                         problem_.megahertz(choice.vco, 1),
                         problem_.megahertz(choice.output.num, choice.output.den)};
    }
    for (Demand const& demand : problem_.demands) {
      std::optional<ClockProblem::Best> best;
      for (std::size_t s = 0; s < demand.sources.size(); ++s) {
        const auto division = divided(demand, demand.sources[s], choices);
        if (division && (!best || is_less(division->error, best->division.error)))
          best = ClockProblem::Best{s, *division};
      }
      tell(demand, *best, choices);
    }
  }

  std::optional<Frequency> at(Demand::Source const& source, Choices const& choices) const {
    if (source.kind == Demand::Source::Kind::reference) return problem_.at(source, nullptr);
    if (choices[source.number] == kUnused) return std::nullopt;
    return problem_.at(source, &problem_.choices[source.number][choices[source.number]]);
  }

  std::optional<Division> divided(Demand const& demand, Demand::Source const& source, Choices const& choices) const {
    const auto frequency = at(source, choices);
    return frequency ? problem_.divided(demand, *frequency) : std::nullopt;
  }

  Fraction frequency_of(Demand::Source const& source, Choices const& choices, int divider) const {
    const auto frequency = *at(source, choices);
    return problem_.megahertz(frequency.num, Int128{frequency.den} * divider);
  }

  void tell(Demand const& demand, ClockProblem::Best const& best, Choices const& choices) {
    Demand::Source const& source = demand.sources[best.source];
    if (source.kind == Demand::Source::Kind::crossing)
      answer_.plls[source.number].crossing = problem_.choices[source.number][choices[source.number]].crossing;
    for (const std::size_t clock : demand.clocks)
      answer_.clocks[clock] = {true, best.source, demand.dividers->written_out(best.division.divider),
                               frequency_of(source, choices, best.division.divider),
                               Fraction::of(best.division.error.num, best.division.error.den)};
  }

  ClockProblem problem_;
  Table table_;
  std::vector<int> weights_;
  ClockAnswer answer_;
  std::uint64_t steps_ = 0;
};

}  // namespace

CountedClocks count_clocks(ClockRequest const& request) {
  ClockSearch search(request);
  ClockAnswer answer = search.answer();
  return {std::move(answer), search.steps()};
}

ClockAnswer search_clocks(ClockRequest const& request) { return ClockSearch(request).answer(); }

std::string text_of(UnmetClock const& unmet, ClockRequest const& request) {
  constexpr int kPlaces = 6;
  Clock const& clock = request.clocks[unmet.clock];
  const auto mhz = [](Fraction const& frequency) { return frequency.rounded(kPlaces).text() + " MHz"; };
  std::string text = clock.name + " at " + clock.requested.text() + " MHz cannot be made: ";
  switch (unmet.obstacle) {
    case ClockObstacle::no_source:
      text += "none of its sources runs within its limits";
      break;
    case ClockObstacle::limit:
      text +=
          "the lowest that its sources give is " + mhz(*unmet.lowest) + ", its limit is " + clock.most->text() + " MHz";
      break;
    case ClockObstacle::request:
      text += "the lowest that its sources give is " + mhz(*unmet.lowest);
      break;
  }
  if (unmet.nearest) text += "; from " + mhz(*unmet.nearest) + " on it can";
  return text;
}

}  // namespace kdi::cores
