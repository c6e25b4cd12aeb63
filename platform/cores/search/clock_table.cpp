#include "platform/cores/search/clock_table.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace kdi::cores {

Table table_of(ClockProblem const& problem) {
  Table table;
  table.demands = problem.demands.size();
  for (Demand const& demand : problem.demands) {
    const auto best = problem.on_references(demand);
    table.base.push_back(best ? best->division.error.key : kNone);
  }
  const std::vector<std::size_t> first = problem.first_alike();
  table.keys.resize(problem.choices.size());
  for (const std::size_t p : problem.by_name) {
    if (first[p] != p) {
      table.keys[p] = table.keys[first[p]];
      continue;
    }
    std::vector<std::int64_t>& keys = table.keys[p];
    keys.assign(problem.choices[p].size() * table.demands, kNone);
    for (std::size_t i = 0; i < table.demands; ++i) {
      Demand const& demand = problem.demands[i];
      for_each_setting(
          problem, demand, p, [&](Frequency const& frequency) { return problem.key(demand, frequency); },
          [&](std::size_t choice, std::int64_t key) { keys[choice * table.demands + i] = key; });
    }
  }
  return table;
}

// -------------------------------------------------------------------------------------------------- rows of settings

Int128 power_of(ClockProblem const& problem, Choices const& made) {
  Int128 total = 0;
  for (std::size_t p = 0; p < made.size(); ++p)
    if (made[p] != kUnused) total += problem.choices[p][made[p]].vco;
  return total;
}

bool is_first(ClockProblem const& problem, Choices const& a, Choices const& b) {
  for (const std::size_t p : problem.by_name) {
    if (a[p] == b[p]) continue;
    if (a[p] == kUnused || b[p] == kUnused) return b[p] == kUnused;
    const auto row = [&](std::uint32_t number) {
      PllChoice const& choice = problem.choices[p][number];
      return std::tuple(choice.reference, choice.feedback, choice.output_divider, choice.crossing);
    };
    return row(a[p]) < row(b[p]);
  }
  return false;
}

Choices in_order(ClockProblem const& problem, std::vector<std::size_t> const& alike, Choices made) {
  for (std::size_t n = 0; n < made.size(); ++n) {
    const std::size_t p = problem.by_name[n];
    for (std::size_t m = n + 1; m < made.size(); ++m) {
      const std::size_t q = problem.by_name[m];
      if (alike[p] != alike[q] || made[p] == made[q]) continue;
      Choices swapped = made;
      std::swap(swapped[p], swapped[q]);
      if (is_first(problem, swapped, made)) made = std::move(swapped);
    }
  }
  return made;
}

Cover cover_of(Table const& table, std::int64_t most) {
  const auto set_of = [&](std::int64_t const* keys) {
    Bits set;
    for (std::size_t i = 0; i < table.demands; ++i)
      if (keys[i] <= most) set.add(i);
    return set;
  };
  Cover cover{set_of(table.base.data()), {}};
  for (std::size_t p = 0; p < table.keys.size(); ++p) {
    std::vector<Bits>& sets = cover.plls.emplace_back();
    for (std::size_t c = 0; c < table.choices(p); ++c) sets.push_back(set_of(table.row(p, c)));
  }
  return cover;
}

// ---------------------------------------------------------------------------------------------------------- coverage

// Each set that no other holds, the largest first, with the first setting that has it.
std::vector<Covering::Covered> Covering::greatest(std::vector<Bits> const& sets) {
  std::vector<Covered> all;
  for (std::uint32_t choice = 0; choice < sets.size(); ++choice)
    all.push_back({sets[choice], choice, sets[choice].count()});
  std::stable_sort(all.begin(), all.end(), [](Covered const& a, Covered const& b) { return a.count > b.count; });
  std::vector<Covered> kept;
  for (Covered const& one : all)
    if (std::none_of(kept.begin(), kept.end(), [&](Covered const& other) { return one.set.within(other.set); }))
      kept.push_back(one);
  return kept;
}

Covering::Covering(Cover const& cover) : always_(cover.always), choices_(cover.plls.size(), kUnused) {
  for (std::vector<Bits> const& sets : cover.plls) plls_.push_back(greatest(sets));
  levels_.resize(plls_.size() + 1);
  for (Level& level : levels_) level.sets.resize(plls_.size());
}

std::optional<Choices> Covering::covers(Bits const& wanted) {
  Level& first = levels_.front();
  first.left.resize(plls_.size());
  std::iota(first.left.begin(), first.left.end(), std::size_t{0});
  for (std::size_t p = 0; p < plls_.size(); ++p) {
    first.sets[p].resize(plls_[p].size());
    std::iota(first.sets[p].begin(), first.sets[p].end(), 0U);
  }
  choices_.assign(plls_.size(), kUnused);
  return can(0, wanted - always_) ? std::optional(choices_) : std::nullopt;
}

bool Covering::can(std::size_t depth, Bits const& open) {
  if (open.empty()) return true;
  Level& level = levels_[depth];
  std::uint32_t left = 0;
  for (const std::size_t p : level.left) left |= 1U << p;
  if (left == 0 || failed_.contains({left, open})) return false;
  if (propagate(level, open) && branch(depth, open)) return true;
  failed_.emplace(left, open);
  return false;
}

// What one PLL alone can still cover, it has to; false if something cannot be covered at all.
bool Covering::propagate(Level& level, Bits const& open) const {
  std::vector<Bits> reach(level.left.size());
  for (bool changed = true; changed;) {
    changed = false;
    Bits once, twice;
    for (std::size_t n = 0; n < level.left.size(); ++n) {
      Bits own;
      for (const std::uint32_t set : level.sets[level.left[n]]) own = own | plls_[level.left[n]][set].set;
      twice = twice | (once & own);
      once = once | own;
      reach[n] = own;
    }
    if (!open.within(once)) return false;
    for (std::size_t n = 0; n < level.left.size(); ++n) {
      const std::size_t p = level.left[n];
      const Bits needed = (open & reach[n]) - twice;
      if (needed.empty()) continue;
      const auto misses = [&](std::uint32_t set) { return !needed.within(plls_[p][set].set); };
      changed = std::erase_if(level.sets[p], misses) != 0 || changed;
      if (level.sets[p].empty()) return false;
    }
  }
  return true;
}

// Tries all that covers the demand that the fewest settings cover. What was tried for one PLL is ruled out beside the
// next.
bool Covering::branch(std::size_t depth, Bits const& open) {
  Level& level = levels_[depth];
  const std::size_t demand = rarest(level, open);
  for (const std::size_t p : level.left) {
    for (const std::uint32_t way : ways(level, p, demand, open)) {
      Level& next = levels_[depth + 1];
      next.left = level.left;
      next.left.erase(std::find(next.left.begin(), next.left.end(), p));
      for (const std::size_t other : next.left) next.sets[other] = level.sets[other];
      choices_[p] = plls_[p][way].choice;
      if (can(depth + 1, open - plls_[p][way].set)) return true;
    }
    choices_[p] = kUnused;
    std::erase_if(level.sets[p], [&](std::uint32_t set) { return plls_[p][set].set.has(demand); });
  }
  return false;
}

std::size_t Covering::rarest(Level const& level, Bits const& open) const {
  std::vector<int> counts(kMostDemands, 0);
  for (const std::size_t p : level.left)
    for (const std::uint32_t set : level.sets[p])
      (plls_[p][set].set & open).for_each([&](std::size_t i) { ++counts[i]; });
  std::size_t best = kMostDemands;
  open.for_each([&](std::size_t i) {
    if (best == kMostDemands || counts[i] < counts[best]) best = i;
  });
  return best;
}

// The settings of the PLL that cover the demand, those first that leave the least open.
std::vector<std::uint32_t> Covering::ways(Level const& level, std::size_t p, std::size_t demand,
                                          Bits const& open) const {
  std::vector<std::pair<int, std::uint32_t>> ordered;
  for (const std::uint32_t set : level.sets[p])
    if (plls_[p][set].set.has(demand)) ordered.emplace_back(-(plls_[p][set].set & open).count(), set);
  std::sort(ordered.begin(), ordered.end());
  std::vector<std::uint32_t> numbers;
  for (auto const& [count, set] : ordered) numbers.push_back(set);
  return numbers;
}

}  // namespace kdi::cores
