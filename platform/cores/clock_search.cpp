// The clock search. Its steps: the least worst error (by asking for a bound whether
// settings cover all clocks within it), the least sum (branch and bound; the bound is a relaxation in which every clock
// offers a price, and every PLL takes the setting that the prices favour), then among equal sums the fewest PLLs, power
// and row. Bounds are integers, rounded so that they stay bounds; what they leave open is compared exactly.
#include <algorithm>
#include <array>
#include <bit>
#include <functional>
#include <limits>

#include "kdi/common/KdiWide.h"
#include "platform/cores/clock_problem.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostDemands = 256;
constexpr std::int64_t kNone = std::int64_t{1} << 60;  // the key of an error where there is no setting

// A set of demands.
class Bits {
 public:
  void add(std::size_t i) { words_[i / 64] |= std::uint64_t{1} << i % 64; }
  bool has(std::size_t i) const { return (words_[i / 64] >> i % 64 & 1) != 0; }
  bool empty() const { return (words_[0] | words_[1] | words_[2] | words_[3]) == 0; }
  int count() const {
    int total = 0;
    for (const std::uint64_t word : words_)
      if (word != 0) total += std::popcount(word);
    return total;
  }
  bool within(Bits const& other) const { return (*this - other).empty(); }
  template <class Use>
  void for_each(Use use) const {
    for (std::size_t i = 0; i < words_.size(); ++i)
      for (std::uint64_t rest = words_[i]; rest != 0; rest &= rest - 1)
        use(i * 64 + static_cast<std::size_t>(std::countr_zero(rest)));
  }
  friend Bits operator-(Bits const& a, Bits const& b) {
    return combined(a, b, [](std::uint64_t x, std::uint64_t y) { return x & ~y; });
  }
  friend Bits operator|(Bits const& a, Bits const& b) {
    return combined(a, b, [](std::uint64_t x, std::uint64_t y) { return x | y; });
  }
  friend Bits operator&(Bits const& a, Bits const& b) {
    return combined(a, b, [](std::uint64_t x, std::uint64_t y) { return x & y; });
  }
  friend bool operator==(Bits const& a, Bits const& b) = default;

 private:
  template <class Operation>
  static Bits combined(Bits const& a, Bits const& b, Operation operation) {
    Bits result;
    for (std::size_t i = 0; i < a.words_.size(); ++i) result.words_[i] = operation(a.words_[i], b.words_[i]);
    return result;
  }
  std::array<std::uint64_t, 4> words_{};
};

// ---------------------------------------------------------------------------------------------------------- coverage

// What each setting of each PLL covers, and what is covered whatever they are.
struct Cover {
  Bits always;
  std::vector<std::vector<Bits>> plls;
};

// A setting and what it covers.
struct Covered {
  Bits set;
  std::uint32_t choice;
  int count;
};

// Each set that no other holds, the largest first, with the first setting that has it.
std::vector<Covered> greatest(std::vector<Bits> const& sets) {
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

using Choices = std::vector<std::uint32_t>;  // by PLL: a setting, or kUnused
constexpr std::uint32_t kUnused = ~0U;

// Whether one setting for each PLL covers all that is wanted.
class Covering {
 public:
  explicit Covering(Cover const& cover) : always_(cover.always), choices_(cover.plls.size(), kUnused) {
    for (std::vector<Bits> const& sets : cover.plls) {
      plls_.push_back(greatest(sets));
      std::vector<std::uint32_t>& counts = counts_.emplace_back(kMostDemands, 0);
      for (Covered const& one : plls_.back()) one.set.for_each([&](std::size_t demand) { ++counts[demand]; });
    }
  }

  /// The settings that do; nothing if none do.
  std::optional<Choices> covers(Bits const& wanted) {
    std::vector<std::size_t> left(plls_.size());
    for (std::size_t p = 0; p < left.size(); ++p) left[p] = p;
    choices_.assign(plls_.size(), kUnused);
    return can(wanted - always_, left) ? std::optional(choices_) : std::nullopt;
  }

 private:
  bool can(Bits const& open, std::vector<std::size_t> const& left) {
    if (open.empty()) return true;
    if (left.empty()) return false;
    if (left.size() == 1) return covers_alone(open, left[0]);
    int most = 0;
    for (const std::size_t p : left) {
      int best = 0;
      for (Covered const& one : plls_[p]) {
        if (one.count <= best) break;  // the largest come first
        best = std::max(best, (one.set & open).count());
      }
      most += best;
    }
    return most >= open.count() && branch(open, left);
  }

  bool covers_alone(Bits const& open, std::size_t p) {
    for (Covered const& one : plls_[p])
      if (open.within(one.set)) {
        choices_[p] = one.choice;
        return true;
      }
    return false;
  }

  // Tries all that covers the demand that the fewest settings cover.
  bool branch(Bits const& open, std::vector<std::size_t> const& left) {
    std::size_t rarest = kMostDemands;
    std::uint32_t fewest = ~0U;
    open.for_each([&](std::size_t demand) {
      std::uint32_t count = 0;
      for (const std::size_t p : left) count += counts_[p][demand];
      if (count >= fewest) return;
      fewest = count;
      rarest = demand;
    });
    struct Way {
      Bits rest;
      int count;
      std::uint32_t choice;
    };
    for (const std::size_t p : left) {
      std::vector<std::size_t> others = left;
      others.erase(std::find(others.begin(), others.end(), p));
      std::vector<Way> ways;
      for (Covered const& one : plls_[p])
        if (one.set.has(rarest)) ways.push_back({open - one.set, (open - one.set).count(), one.choice});
      std::sort(ways.begin(), ways.end(), [](Way const& a, Way const& b) {
        return a.count != b.count ? a.count < b.count : a.choice < b.choice;
      });
      for (Way const& way : ways) {
        choices_[p] = way.choice;
        if (can(way.rest, others)) return true;
      }
      choices_[p] = kUnused;
    }
    return false;
  }

  Bits always_;
  std::vector<std::vector<Covered>> plls_;
  std::vector<std::vector<std::uint32_t>> counts_;  // by PLL and demand: how many settings cover it
  Choices choices_;
};

// ------------------------------------------------------------------------------------------------------------- tables

// The error of each demand on each setting, as keys.
struct Table {
  std::size_t demands = 0;
  std::vector<std::vector<std::int64_t>> keys;  ///< by PLL: demand by demand for each setting
  std::vector<std::int64_t> base;               ///< by demand: on references

  std::int64_t const* row(std::size_t pll, std::size_t choice) const { return keys[pll].data() + choice * demands; }
  std::size_t choices(std::size_t pll) const { return demands == 0 ? 0 : keys[pll].size() / demands; }
};

Table table_of(ClockProblem const& problem) {
  Table table;
  table.demands = problem.demands.size();
  for (Demand const& demand : problem.demands) {
    const auto best = problem.on_references(demand);
    table.base.push_back(best ? best->division.error.key : kNone);
  }
  for (std::size_t p = 0; p < problem.choices.size(); ++p) {
    std::vector<std::int64_t>& keys = table.keys.emplace_back();
    keys.reserve(problem.choices[p].size() * table.demands);
    for (PllChoice const& choice : problem.choices[p])
      for (Demand const& demand : problem.demands) {
        const auto best = problem.on_pll(demand, p, choice);
        keys.push_back(best ? best->division.error.key : kNone);
      }
  }
  return table;
}

// Which errors are at most so much.
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

// ------------------------------------------------------------------------------------------------------- least sums

// Sums of errors, of which each counts as often as clocks ask for the same.
class Sums {
 public:
  Sums(ClockProblem const& problem, Table const& table, std::vector<int> const& weights)
      : problem_(problem), table_(table), weights_(weights) {
    for (const int weight : weights_) margin_ += weight;
  }

  std::int64_t keys(std::vector<std::int64_t> const& errors) const {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < errors.size(); ++i) sum += weights_[i] * errors[i];
    return sum;
  }

  /// Sums of keys that are at most this may be equal to or below one whose keys add up to `keys`. A key is above its
  /// error by at most 1, and by nothing where there is no error.
  std::int64_t most_equal(std::int64_t keys) const { return keys == 0 ? 0 : keys + margin_; }

  /// Of two rows of settings, whose keys add up to `a_keys` and `b_keys`; exact.
  std::strong_ordering order(Choices const& a, std::int64_t a_keys, Choices const& b, std::int64_t b_keys) const {
    if (a_keys > most_equal(b_keys)) return std::strong_ordering::greater;
    if (b_keys > most_equal(a_keys)) return std::strong_ordering::less;
    if (a_keys == 0 && b_keys == 0) return std::strong_ordering::equal;
    return exact(a, b);
  }

 private:
  // What both have is left out first, and is mostly all.
  std::strong_ordering exact(Choices const& a, Choices const& b) const {
    std::map<std::pair<Int128, Int128>, int> counts;
    const auto add = [&](Choices const& choices, int sign) {
      for (std::size_t i = 0; i < weights_.size(); ++i) {
        const Error error = error_of(i, choices);
        const Fraction reduced = Fraction::of(error.num, error.den);
        counts[{reduced.num, reduced.den}] += sign * weights_[i];
      }
    };
    add(a, 1);
    add(b, -1);
    wide::FractionSum left, right;
    for (auto const& [error, count] : counts) {
      const auto [num, den] = std::pair(wide::limbs(static_cast<wide::Uint128>(error.first)),
                                        wide::limbs(static_cast<wide::Uint128>(error.second)));
      for (int n = 0; n < count; ++n) left.add(num, den);
      for (int n = 0; n > count; --n) right.add(num, den);
    }
    return left <=> right;
  }

  Error error_of(std::size_t demand, Choices const& choices) const {
    std::int64_t least = table_.base[demand];
    std::vector<std::size_t> on;
    for (std::size_t p = 0; p < choices.size(); ++p)
      if (choices[p] != kUnused) least = std::min(least, table_.row(p, choices[p])[demand]);
    std::optional<Error> best;
    const auto consider = [&](std::optional<ClockProblem::Best> const& found) {
      if (found && (!best || is_less(found->division.error, *best))) best = found->division.error;
    };
    Demand const& asked = problem_.demands[demand];
    if (table_.base[demand] == least) consider(problem_.on_references(asked));
    for (std::size_t p = 0; p < choices.size(); ++p)
      if (choices[p] != kUnused && table_.row(p, choices[p])[demand] == least)
        consider(problem_.on_pll(asked, p, problem_.choices[p][choices[p]]));
    return *best;
  }

  ClockProblem const& problem_;
  Table const& table_;
  std::vector<int> const& weights_;
  std::int64_t margin_ = 0;
};

// Branch and bound over settings of some PLLs. Errors in the table are those that may be, all others kNone.
//
// The bound: let demand i offer v[i]. Whatever the settings, the sum of errors is at least
//   sum of v[i] - sum over PLLs of the most that one setting saves, sum over i of max(0, v[i] - error of i on it),
// v[i] being at most the error that i has already. What a setting saves less than the best of its PLL adds to the bound
// of all rows with it. Good v are sought by subgradient steps; any v gives a bound.
class Branching {
 public:
  Branching(ClockProblem const& problem, Table const& table, std::vector<int> const& weights, std::int64_t most_key)
      : problem_(problem), table_(table), weights_(weights), sums_(problem, table, weights) {
    while (most_key >> shift_ >= kCoarse) ++shift_;
    stride_ = (table.demands + kLanes - 1) / kLanes * kLanes;
    const Cover cover = cover_of(table, most_key);
    covers_ = cover.plls;
    for (std::size_t p = 0; p < table.keys.size(); ++p) {
      std::vector<std::int32_t>& coarse = coarse_.emplace_back(table.choices(p) * stride_, kCoarseNone);
      for (std::size_t c = 0; c < table.choices(p); ++c)
        for (std::size_t i = 0; i < table.demands; ++i) coarse[c * stride_ + i] = coarse_of(i, table.row(p, c)[i]);
    }
    prices_.assign(stride_, 0);
  }

  /// Finds the least sum. `covering` is a row of settings that covers all.
  void least_sum(Choices const& covering) {
    ties_ = false;
    best_ = covering;
    best_keys_ = sums_.keys(errors_of(covering));
    start_from(covering);
    const std::vector<std::int64_t> errors = errors_of(best_);
    for (std::size_t i = 0; i < errors.size(); ++i) prices_[i] = coarse_of(i, errors[i]) + weights_[i];
    run(all());
    sum_ = best_;
    sum_keys_ = best_keys_;
  }

  /// Of the rows that use these PLLs alone and whose sum is the least that least_sum() found: the one with the least
  /// power, then the first. Nothing if there is none.
  std::optional<Choices> first_with(std::vector<std::size_t> const& plls) {
    ties_ = true;
    found_ = false;
    best_keys_ = sum_keys_;
    best_ = sum_;
    run(plls);
    return found_ ? std::optional(tied_) : std::nullopt;
  }

  /// Whether there is such a row.
  bool is_enough(std::vector<std::size_t> const& plls) {
    only_whether_ = true;
    const bool is = first_with(plls).has_value();
    only_whether_ = false;
    return is;
  }

  Int128 power(Choices const& choices) const {
    Int128 total = 0;
    for (std::size_t p = 0; p < choices.size(); ++p)
      if (choices[p] != kUnused) total += problem_.choices[p][choices[p]].vco;
    return total;
  }

  /// Whether `a` comes before `b` as rows of settings.
  bool is_first(Choices const& a, Choices const& b) const {
    for (const std::size_t p : problem_.by_name) {
      if (a[p] == b[p]) continue;
      if (a[p] == kUnused || b[p] == kUnused) return b[p] == kUnused;
      const auto row = [&](std::uint32_t number) {
        PllChoice const& choice = problem_.choices[p][number];
        return std::tuple(choice.reference, choice.feedback, choice.output_divider, choice.crossing);
      };
      return row(a[p]) < row(b[p]);
    }
    return false;
  }

  std::vector<std::size_t> all() const {
    std::vector<std::size_t> plls;
    for (std::size_t p = 0; p < table_.keys.size(); ++p)
      if (table_.choices(p) != 0) plls.push_back(p);
    return plls;
  }

 private:
  static constexpr std::int32_t kCoarse = 1 << 20;
  static constexpr std::int32_t kCoarseNone = 1 << 30;
  static constexpr std::int32_t kMostPrice = 1 << 29;
  static constexpr std::size_t kLanes = 8;  // that a processor may take at once

  struct Node {
    std::vector<std::int64_t> errors;                 // by demand: so far
    std::vector<std::size_t> left;                    // PLLs without a setting yet
    std::vector<std::vector<std::uint32_t>> choices;  // by PLL: those that are not ruled out
    std::vector<std::int32_t> prices;
    Choices made;
    Int128 power = 0;
  };

  // The errors of all clocks of a demand.
  std::int32_t coarse_of(std::size_t demand, std::int64_t key) const {
    return key >= kNone ? kCoarseNone : weights_[demand] * static_cast<std::int32_t>(key >> shift_);
  }

  void run(std::vector<std::size_t> const& plls) {
    Node node{table_.base, plls, {}, prices_, Choices(table_.keys.size(), kUnused), 0};
    node.choices.resize(table_.keys.size());
    for (const std::size_t p : plls)
      for (std::uint32_t c = 0; c < table_.choices(p); ++c) node.choices[p].push_back(c);
    descend(std::move(node), kRootSteps);
  }

  // Each PLL in turn takes what is best beside the others, until nothing changes.
  void start_from(Choices made) {
    bool changed = true;
    for (int round = 0; changed && round < kMostRounds; ++round) {
      changed = false;
      for (const std::size_t p : all()) {
        Choices without = made;
        without[p] = kUnused;
        const std::vector<std::int64_t> others = errors_of(without);
        std::uint32_t best = made[p];
        std::pair<int, std::int64_t> least = {std::numeric_limits<int>::max(), 0};
        if (best != kUnused) least = cost(others, table_.row(p, best));
        for (std::uint32_t c = 0; c < table_.choices(p); ++c) {
          const auto costs = cost(others, table_.row(p, c));
          if (costs < least) {
            least = costs;
            best = c;
          }
        }
        changed = changed || best != made[p];
        made[p] = best;
      }
    }
    consider(made, errors_of(made));
  }

  // How many have no error that may be, and the sum of the others.
  std::pair<int, std::int64_t> cost(std::vector<std::int64_t> const& errors, std::int64_t const* row) const {
    int open = 0;
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < errors.size(); ++i) {
      const std::int64_t key = std::min(errors[i], row[i]);
      if (key >= kNone)
        ++open;
      else
        sum += weights_[i] * key;
    }
    return {open, sum};
  }

  std::vector<std::int64_t> errors_of(Choices const& made) const {
    std::vector<std::int64_t> errors = table_.base;
    for (std::size_t p = 0; p < made.size(); ++p)
      if (made[p] != kUnused) lower(errors, table_.row(p, made[p]));
    return errors;
  }

  static void lower(std::vector<std::int64_t>& errors, std::int64_t const* row) {
    for (std::size_t i = 0; i < errors.size(); ++i) errors[i] = std::min(errors[i], row[i]);
  }

  // --- the search

  // Sums of coarse keys above this cannot be among the answers.
  std::int64_t most_coarse() const { return sums_.most_equal(best_keys_) >> shift_; }

  void descend(Node node, int steps) {
    if ((only_whether_ && found_) || (!ties_ && best_keys_ == 0)) return;
    if (node.left.empty()) {
      consider(node.made, node.errors);
      return;
    }
    if (!narrow(node, steps)) return;
    const auto fewest = std::min_element(node.left.begin(), node.left.end(), [&](std::size_t a, std::size_t b) {
      return node.choices[a].size() < node.choices[b].size();
    });
    const std::size_t pll = *fewest;
    node.left.erase(fewest);
    std::vector<std::uint32_t> const candidates = std::move(node.choices[pll]);
    if (node.left.empty()) {
      finish(node, pll, candidates);
      return;
    }
    for (const std::uint32_t choice : candidates) {
      Node child = node;
      lower(child.errors, table_.row(pll, choice));
      child.made[pll] = choice;
      child.power += problem_.choices[pll][choice].vco;
      descend(std::move(child), kSteps);
    }
  }

  // The last PLL: each of its settings is an answer or none.
  void finish(Node& node, std::size_t pll, std::vector<std::uint32_t> const& candidates) {
    for (const std::uint32_t choice : candidates) {
      const auto [open, sum] = cost(node.errors, table_.row(pll, choice));
      if (open != 0 || sum > sums_.most_equal(best_keys_)) continue;
      std::vector<std::int64_t> errors = node.errors;
      lower(errors, table_.row(pll, choice));
      node.made[pll] = choice;
      consider(node.made, errors);
    }
  }

  void consider(Choices const& made, std::vector<std::int64_t> const& errors) {
    if (std::any_of(errors.begin(), errors.end(), [](std::int64_t key) { return key >= kNone; })) return;
    const std::int64_t keys = sums_.keys(errors);
    if (keys > sums_.most_equal(best_keys_)) return;
    if (!ties_) {
      if (sums_.order(made, keys, best_, best_keys_) >= 0) return;
      best_ = made;
      best_keys_ = keys;
      return;
    }
    if (found_) {
      const Int128 own = power(made), known = power(tied_);
      if (own > known || (own == known && !is_first(made, tied_))) return;
    }
    if (sums_.order(made, keys, sum_, sum_keys_) != 0) return;
    found_ = true;
    tied_ = made;
  }

  // Rules out settings with which no answer can be; false if that leaves none.
  bool narrow(Node& node, int steps) {
    if (!narrow_by_power(node) || !narrow_by_cover(node)) return false;
    drop_alike(node);
    std::vector<std::int32_t> errors(stride_, 0);
    for (std::size_t i = 0; i < node.errors.size(); ++i) errors[i] = coarse_of(i, node.errors[i]);
    std::vector<std::int32_t> best_prices;
    std::int64_t best_bound = std::numeric_limits<std::int64_t>::min();
    std::int64_t step = std::max<std::int64_t>(1, kCoarse / 4);
    int patience = kPatience;
    for (int n = 0; n <= steps; ++n) {
      for (std::size_t i = 0; i < stride_; ++i) node.prices[i] = std::min(node.prices[i], errors[i]);
      const std::int64_t bound = judge(node);
      if (bound > most_coarse()) return false;
      if (!rule_out(node, bound)) return false;
      if (bound > best_bound) {
        best_bound = bound;
        best_prices = node.prices;
        patience = kPatience;
      } else if (--patience == 0) {
        step = std::max<std::int64_t>(1, step / 2);
        patience = kPatience;
      }
      if (n == steps || !step_prices(node, errors, bound, step)) break;
    }
    if (steps == kRootSteps && !ties_) prices_ = best_prices;
    node.prices = std::move(best_prices);
    return true;
  }

  bool narrow_by_power(Node& node) const {
    if (!ties_ || !found_) return true;
    const Int128 most = power(tied_);
    Int128 least = node.power;
    for (const std::size_t p : node.left) least += problem_.choices[p][node.choices[p].front()].vco;
    if (least > most) return false;
    // Choices are in the order of their power.
    for (const std::size_t p : node.left) {
      std::vector<std::uint32_t>& choices = node.choices[p];
      const Int128 own = problem_.choices[p][choices.front()].vco;
      while (problem_.choices[p][choices.back()].vco - own > most - least) choices.pop_back();
    }
    return true;
  }

  // The sum of what prices are above errors. Sums of prices fit: the least of 256 clocks is at most kCoarse each.
  std::int32_t saving(std::int32_t const* prices, std::int32_t const* row) const {
    std::array<std::int32_t, kLanes> saved{};
    for (std::size_t i = 0; i < stride_; i += kLanes)
      for (std::size_t k = 0; k < kLanes; ++k) saved[k] += std::max(0, prices[i + k] - row[i + k]);
    std::int32_t total = 0;
    for (const std::int32_t each : saved) total += each;
    return total;
  }

  // What one PLL alone can still cover, it has to.
  bool narrow_by_cover(Node& node) const {
    Bits open;
    for (std::size_t i = 0; i < node.errors.size(); ++i)
      if (node.errors[i] >= kNone) open.add(i);
    for (bool changed = true; changed && !open.empty();) {
      changed = false;
      Bits once, twice;
      std::vector<Bits> reach;
      for (const std::size_t p : node.left) {
        Bits& own = reach.emplace_back();
        for (const std::uint32_t choice : node.choices[p]) own = own | covers_[p][choice];
        twice = twice | (once & own);
        once = once | own;
      }
      if (!open.within(once)) return false;
      for (std::size_t n = 0; n < node.left.size(); ++n) {
        const Bits needed = (open & reach[n]) - twice;
        std::vector<std::uint32_t>& choices = node.choices[node.left[n]];
        if (needed.empty()) continue;
        changed =
            std::erase_if(choices,
                          [&](std::uint32_t choice) { return !needed.within(covers_[node.left[n]][choice]); }) != 0 ||
            changed;
        if (choices.empty()) return false;
      }
    }
    return true;
  }

  // Whether a demand's error is the same with either setting; keys that are equal are looked at exactly.
  bool is_alike_for(std::int64_t error, std::size_t demand, std::size_t p, std::uint32_t a, std::uint32_t b) const {
    const std::int64_t a_key = table_.row(p, a)[demand], b_key = table_.row(p, b)[demand];
    if (error < a_key && error < b_key) return true;
    if (a_key != b_key || a_key >= kNone) return a_key == b_key;
    if (a_key == 0) return true;
    Demand const& asked = problem_.demands[demand];
    const Error a_error = problem_.on_pll(asked, p, problem_.choices[p][a])->division.error;
    const Error b_error = problem_.on_pll(asked, p, problem_.choices[p][b])->division.error;
    return !is_less(a_error, b_error) && !is_less(b_error, a_error);
  }

  // Of settings that come to the same beside what is decided, the first is as good as any: they are in the order of
  // their power, then of rows.
  void drop_alike(Node& node) const {
    for (const std::size_t p : node.left) {
      std::vector<std::uint32_t>& choices = node.choices[p];
      const auto is_alike = [&](std::uint32_t a, std::uint32_t b) {
        for (std::size_t i = 0; i < node.errors.size(); ++i)
          if (!is_alike_for(node.errors[i], i, p, a, b)) return false;
        return true;
      };
      std::vector<std::pair<std::uint64_t, std::uint32_t>> hashed;  // of equal ones the first setting comes first
      hashed.reserve(choices.size());
      for (const std::uint32_t choice : choices) {
        std::int64_t const* const row = table_.row(p, choice);
        std::uint64_t hash = 0;
        for (std::size_t i = 0; i < node.errors.size(); ++i)
          hash = hash * 0x9E3779B97F4A7C15U + static_cast<std::uint64_t>(std::min(node.errors[i], row[i]));
        hashed.emplace_back(hash, choice);
      }
      std::sort(hashed.begin(), hashed.end());
      choices.clear();
      std::vector<std::uint32_t> same;
      for (std::size_t n = 0; n < hashed.size(); ++n) {
        if (n == 0 || hashed[n].first != hashed[n - 1].first) same.clear();
        const std::uint32_t choice = hashed[n].second;
        if (std::any_of(same.begin(), same.end(), [&](std::uint32_t other) { return is_alike(choice, other); }))
          continue;
        same.push_back(choice);
        choices.push_back(choice);
      }
      std::sort(choices.begin(), choices.end());
    }
  }

  // What each setting saves at the prices; the bound.
  std::int64_t judge(Node const& node) {
    savings_.resize(table_.keys.size());
    std::int64_t bound = 0;
    for (const std::int32_t price : node.prices) bound += price;
    for (const std::size_t p : node.left) {
      savings_[p].clear();
      std::int32_t most = 0;
      for (const std::uint32_t choice : node.choices[p]) {
        const std::int32_t saved = saving(node.prices.data(), coarse_[p].data() + choice * stride_);
        savings_[p].push_back(saved);
        most = std::max(most, saved);
      }
      bound -= most;
    }
    return bound;
  }

  bool rule_out(Node& node, std::int64_t bound) {
    const std::int64_t most = most_coarse();
    for (const std::size_t p : node.left) {
      const std::int32_t best = *std::max_element(savings_[p].begin(), savings_[p].end());
      std::size_t kept = 0;
      for (std::size_t c = 0; c < savings_[p].size(); ++c) {
        if (bound + best - savings_[p][c] > most) continue;
        node.choices[p][kept] = node.choices[p][c];
        savings_[p][kept++] = savings_[p][c];
      }
      if (kept == 0) return false;
      node.choices[p].resize(kept);
      savings_[p].resize(kept);
    }
    return true;
  }

  // Raises the prices of demands that no favoured setting serves, and lowers those of demands that several serve. False
  // if there is nothing to change.
  bool step_prices(Node& node, std::vector<std::int32_t> const& errors, std::int64_t bound, std::int64_t largest) {
    std::vector<int> slope(table_.demands, 1);
    for (const std::size_t p : node.left) {
      const auto best = std::max_element(savings_[p].begin(), savings_[p].end()) - savings_[p].begin();
      std::int32_t const* const row = coarse_[p].data() + node.choices[p][static_cast<std::size_t>(best)] * stride_;
      for (std::size_t i = 0; i < slope.size(); ++i) slope[i] -= node.prices[i] > row[i] ? 1 : 0;
    }
    std::int64_t norm = 0;
    for (std::size_t i = 0; i < slope.size(); ++i) {
      if (slope[i] > 0 && node.prices[i] >= errors[i]) slope[i] = 0;
      norm += std::int64_t{slope[i]} * slope[i];
    }
    if (norm == 0) return false;
    const std::int64_t gap = std::min<std::int64_t>(most_coarse() - bound + 1, std::int64_t{1} << 40);
    const std::int64_t step = std::clamp<std::int64_t>(gap * largest / (kCoarse / 4) / norm, 1, kMostPrice);
    for (std::size_t i = 0; i < slope.size(); ++i)
      node.prices[i] = static_cast<std::int32_t>(
          std::clamp<std::int64_t>(node.prices[i] + step * slope[i], 0, kMostPrice / static_cast<int>(stride_)));
    return true;
  }

  static constexpr int kRootSteps = 400;
  static constexpr int kSteps = 20;
  static constexpr int kPatience = 6;
  static constexpr int kMostRounds = 20;

  ClockProblem const& problem_;
  Table const& table_;
  std::vector<int> const& weights_;
  Sums sums_;
  int shift_ = 0;
  std::size_t stride_ = 0;                         // of rows, a multiple of kLanes
  std::vector<std::vector<Bits>> covers_;          // by PLL and setting
  std::vector<std::vector<std::int32_t>> coarse_;  // as the table's keys, rounded down
  std::vector<std::int32_t> prices_;
  std::vector<std::vector<std::int32_t>> savings_;  // by PLL: of the choices of the node that was judged last
  bool ties_ = false, only_whether_ = false, found_ = false;
  Choices best_, sum_, tied_;
  std::int64_t best_keys_ = 0, sum_keys_ = 0;
};

// -------------------------------------------------------------------------------------------------------- the answer

class ClockSearch {
 public:
  explicit ClockSearch(ClockRequest const& request) : problem_(request), table_(table_of(problem_)) {
    for (Demand const& demand : problem_.demands) weights_.push_back(static_cast<int>(demand.clocks.size()));
    answer_.plls.resize(request.plls.size());
    answer_.clocks.resize(request.clocks.size());
  }

  ClockAnswer answer() {
    const Bits met = all_met();
    tell_unmet(met);
    keep_only(met);
    if (table_.demands != 0) {
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

  // With every PLL at its lowest, whatever can be met at all is met: clocks have limits above them alone. So none keeps
  // another from being met.
  Bits all_met() const {
    Bits met;
    const std::vector<std::int64_t> best = best_keys();
    for (std::size_t i = 0; i < best.size(); ++i)
      if (best[i] < kNone) met.add(i);
    return met;
  }

  void tell_unmet(Bits const& met) {
    for (std::size_t i = 0; i < table_.demands; ++i)
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
    if (met == all()) return;
    std::vector<Demand> demands;
    std::vector<int> weights;
    for (std::size_t i = 0; i < table_.demands; ++i) {
      if (!met.has(i)) continue;
      demands.push_back(problem_.demands[i]);
      weights.push_back(weights_[i]);
    }
    problem_.demands = std::move(demands);
    weights_ = std::move(weights);
    table_ = table_of(problem_);
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
          sum += std::bit_width(static_cast<std::uint64_t>(std::min(errors[i], row[i])));
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
    Branching branching(problem_, table_, weights_, worst);
    branching.least_sum(*Covering(cover_of(table_, worst)).covers(all()));
    const std::vector<std::size_t> plls = branching.all();
    std::vector<std::size_t> needed, others;
    for (const std::size_t p : plls) {
      std::vector<std::size_t> without = plls;
      without.erase(std::find(without.begin(), without.end(), p));
      (branching.is_enough(without) ? others : needed).push_back(p);
    }
    for (std::size_t count = 0; count <= others.size(); ++count) {
      std::optional<Choices> best;
      for (std::uint32_t set = 0; set < 1U << others.size(); ++set) {
        if (static_cast<std::size_t>(std::popcount(set)) != count) continue;
        std::vector<std::size_t> chosen = needed;
        for (std::size_t i = 0; i < others.size(); ++i)
          if ((set >> i & 1) != 0) chosen.push_back(others[i]);
        const std::optional<Choices> found = branching.first_with(chosen);
        if (!found) continue;
        const auto precedes = [&] {
          const Int128 own = branching.power(*found), known = branching.power(*best);
          return own != known ? own < known : branching.is_first(*found, *best);
        };
        if (!best || precedes()) best = found;
      }
      if (best) return *best;
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
};

}  // namespace

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
