#include "platform/cores/search/clock_ideal.h"

#include <algorithm>
#include <array>

namespace kdi::cores {

IdealRows::IdealRows(ClockProblem const& problem)
    : problem_(problem), alike_(problem.first_alike()), covers_(problem.choices.size()), ways_(problem.choices.size()) {
  for (std::size_t p = 0; p < covers_.size(); ++p)
    if (alike_[p] == p) covers_[p].resize(problem.choices[p].size());
  for (std::size_t i = 0; i < problem.demands.size(); ++i) read(i);
  list_ways();
}

// -------------------------------------------------------------------------------------------------- the least errors

void IdealRows::read(std::size_t demand) {
  const auto on_references = problem_.on_references(problem_.demands[demand]);
  if (on_references && on_references->division.error.key == 0)
    met_.add(demand);
  else if (!read_exact(demand))
    read_least(demand, on_references ? std::optional(on_references->division.error) : std::nullopt);
}

// The settings that meet the demand without error; false if there are none. They are told without a look at errors.
bool IdealRows::read_exact(std::size_t demand) {
  Demand const& asked = problem_.demands[demand];
  bool any = false;
  for (std::size_t p = 0; p < covers_.size(); ++p) {
    if (alike_[p] != p) continue;
    const auto note = [&](std::size_t choice, std::int64_t error) {
      if (error != 0) return;
      covers_[p][choice].add(demand);
      any = true;
    };
    for_each_setting(
        problem_, asked, p, [&](Frequency const& at) { return problem_.is_exact(asked, at) ? 0 : kNone; }, note);
  }
  if (!any) return false;
  met_.add(demand);
  wanted_.add(demand);
  return true;
}

// The settings with its least error, which is above none.
void IdealRows::read_least(std::size_t demand, std::optional<Error> const& on_references) {
  Demand const& asked = problem_.demands[demand];
  std::int64_t least = on_references ? on_references->key : kNone;
  struct Place {
    std::size_t pll, choice;
  };
  std::vector<Place> places;  // with that key
  for (std::size_t p = 0; p < covers_.size(); ++p) {
    if (alike_[p] != p) continue;
    for_each_setting(
        problem_, asked, p, [&](Frequency const& at) { return problem_.key(asked, at); },
        [&](std::size_t choice, std::int64_t key) {
          if (key >= kNone || key > least) return;
          if (key < least) places.clear();
          least = key;
          places.push_back({p, choice});
        });
  }
  if (least >= kNone) return;
  met_.add(demand);
  // Those with the same key are compared exactly.
  std::optional<Error> best = on_references && on_references->key == least ? on_references : std::nullopt;
  bool is_served = best.has_value();
  std::vector<Place> best_places;
  for (Place const& place : places) {
    const Error own = problem_.on_pll(asked, place.pll, problem_.choices[place.pll][place.choice])->division.error;
    if (best && is_less(*best, own)) continue;
    if (!best || is_less(own, *best)) {
      best_places.clear();
      is_served = false;
      best = own;
    }
    best_places.push_back(place);
  }
  if (is_served) return;
  wanted_.add(demand);
  for (Place const& place : best_places) covers_[place.pll][place.choice].add(demand);
}

// Settings are in the order of their power, then of rows: one that covers no more than one before it is of no use.
void IdealRows::list_ways() {
  for (std::size_t p = 0; p < covers_.size(); ++p) {
    std::vector<Way>& ways = ways_[p];
    for (std::uint32_t c = 0; c < covers_[p].size(); ++c) {
      Bits const& own = covers_[p][c];
      if (!own.empty() &&
          std::none_of(ways.begin(), ways.end(), [&](Way const& way) { return own.within(way.covers); }))
        ways.push_back({own, c});
    }
  }
}

// ------------------------------------------------------------------------------------------------------ the first row

std::optional<Choices> IdealRows::first() {
  made_.assign(covers_.size(), kUnused);
  for (int plls = 0; plls <= static_cast<int>(covers_.size()) && !best_ && steps_ < kMostSteps; ++plls)
    cover(wanted_, plls);
  return steps_ < kMostSteps ? best_ : std::nullopt;
}

// Covers what is open with so many PLLs that have no setting yet: the demand that the fewest ways serve is served in
// each of them.
void IdealRows::cover(Bits const& open, int plls) {
  if (open.empty()) return consider();
  if (++steps_ >= kMostSteps || plls == 0 || is_hopeless(open, plls)) return;
  const std::size_t demand = rarest(open);
  for (std::size_t p = 0; p < made_.size(); ++p) {
    if (made_[p] != kUnused || has_alike_before(p)) continue;
    for (Way const& way : ways_[alike_[p]]) {
      if (!way.covers.has(demand)) continue;
      const std::int64_t own = problem_.choices[p][way.choice].vco;
      made_[p] = way.choice;
      power_ += own;
      if (!best_ || power_ <= best_power_) cover(open - way.covers, plls - 1);
      power_ -= own;
      made_[p] = kUnused;
    }
  }
}

// Whether the PLLs left cannot cover all of it, whatever they are set to.
bool IdealRows::is_hopeless(Bits const& open, int plls) const {
  Bits reach;
  std::vector<int> most;  // that a PLL covers
  for (std::size_t p = 0; p < made_.size(); ++p) {
    if (made_[p] != kUnused) continue;
    int own = 0;
    for (Way const& way : ways_[alike_[p]]) {
      const Bits covered = open & way.covers;
      own = std::max(own, covered.count());
      reach = reach | covered;
    }
    most.push_back(own);
  }
  if (!open.within(reach)) return true;
  std::sort(most.begin(), most.end(), std::greater<>());
  int all = 0;
  for (std::size_t n = 0; n < std::min<std::size_t>(most.size(), static_cast<std::size_t>(plls)); ++n) all += most[n];
  return all < open.count();
}

std::size_t IdealRows::rarest(Bits const& open) const {
  std::array<int, kMostDemands> counts{};
  for (std::size_t p = 0; p < made_.size(); ++p)
    if (made_[p] == kUnused)
      for (Way const& way : ways_[alike_[p]]) (open & way.covers).for_each([&](std::size_t i) { ++counts[i]; });
  std::size_t best = kMostDemands;
  open.for_each([&](std::size_t i) {
    if (best == kMostDemands || counts[i] < counts[best]) best = i;
  });
  return best;
}

// Whether one that is like the PLL, and before it by name, has no setting yet either: then that one alone is looked at.
bool IdealRows::has_alike_before(std::size_t pll) const {
  for (const std::size_t other : problem_.by_name) {
    if (other == pll) return false;
    if (alike_[other] == alike_[pll] && made_[other] == kUnused) return true;
  }
  return false;
}

void IdealRows::consider() {
  if (best_ && power_ > best_power_) return;
  Choices row = in_order(problem_, alike_, made_);
  if (best_ && power_ == best_power_ && !is_first(problem_, row, *best_)) return;
  best_ = std::move(row);
  best_power_ = power_;
}

}  // namespace kdi::cores
