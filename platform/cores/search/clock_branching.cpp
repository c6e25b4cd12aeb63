#include "platform/cores/search/clock_branching.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <map>
#include <numeric>

#include "kdi/common/KdiWide.h"

namespace kdi::cores {

// ------------------------------------------------------------------------------------------------------- exact errors

Error const* ExactErrors::known(std::size_t demand, Error const& error) {
  std::deque<Error>& alike = known_[{demand, error.key}];
  for (Error const& one : alike)
    if (!is_less(one, error) && !is_less(error, one)) return &one;
  return &alike.emplace_back(error);
}

Error const* ExactErrors::on_pll(std::size_t demand, std::size_t pll, std::uint32_t choice) {
  if (on_plls_.empty()) on_plls_.resize(table_.keys.size());
  if (on_plls_[pll].empty()) on_plls_[pll].resize(table_.keys[pll].size());
  Error const*& place = on_plls_[pll][choice * table_.demands + demand];
  if (place == nullptr)
    place =
        known(demand, problem_.on_pll(problem_.demands[demand], pll, problem_.choices[pll][choice])->division.error);
  return place;
}

Error const* ExactErrors::on_references(std::size_t demand) {
  return known(demand, problem_.on_references(problem_.demands[demand])->division.error);
}

Error const* ExactErrors::least(std::size_t demand, Choices const& choices) {
  std::int64_t key = table_.base[demand];
  for (std::size_t p = 0; p < choices.size(); ++p)
    if (choices[p] != kUnused) key = std::min(key, table_.row(p, choices[p])[demand]);
  Error const* best = table_.base[demand] == key ? on_references(demand) : nullptr;
  for (std::size_t p = 0; p < choices.size(); ++p) {
    if (choices[p] == kUnused || table_.row(p, choices[p])[demand] != key) continue;
    Error const* const own = on_pll(demand, p, choices[p]);
    if (best == nullptr || (own != best && is_less(*own, *best))) best = own;
  }
  return best;
}

ErrorSums::ErrorSums(ExactErrors& exact, std::vector<int> const& weights) : exact_(exact), weights_(weights) {
  for (const int weight : weights_) margin_ += weight;
}

std::int64_t ErrorSums::keys(std::vector<std::int64_t> const& errors) const {
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < errors.size(); ++i) sum += weights_[i] * errors[i];
  return sum;
}

std::strong_ordering ErrorSums::order(Choices const& a, std::int64_t a_keys, Choices const& b,
                                      std::int64_t b_keys) const {
  if (a_keys > most_equal(b_keys)) return std::strong_ordering::greater;
  if (b_keys > most_equal(a_keys)) return std::strong_ordering::less;
  if (a_keys == 0 && b_keys == 0) return std::strong_ordering::equal;
  return exact(a, b);
}

// What both have is left out first, and is mostly all.
std::strong_ordering ErrorSums::exact(Choices const& a, Choices const& b) const {
  std::map<std::pair<Int128, Int128>, int> counts;
  const auto add = [&](Error const& error, int count) {
    const Fraction reduced = Fraction::of(error.num, error.den);
    counts[{reduced.num, reduced.den}] += count;
  };
  for (std::size_t i = 0; i < weights_.size(); ++i) {
    Error const *const in_a = exact_.least(i, a), *const in_b = exact_.least(i, b);
    if (in_a == in_b) continue;
    add(*in_a, weights_[i]);
    add(*in_b, -weights_[i]);
  }
  wide::FractionSum left, right;
  for (auto const& [error, count] : counts) {
    const auto [num, den] = std::pair(wide::limbs(static_cast<wide::Uint128>(error.first)),
                                      wide::limbs(static_cast<wide::Uint128>(error.second)));
    for (int n = 0; n < count; ++n) left.add(num, den);
    for (int n = 0; n > count; --n) right.add(num, den);
  }
  return left <=> right;
}

namespace {

template <class Number>
void lower(std::vector<Number>& errors, Number const* row) {
  for (std::size_t i = 0; i < errors.size(); ++i) errors[i] = std::min(errors[i], row[i]);
}

// Of what the errors become with the row.
std::uint64_t hash_of(std::vector<std::int64_t> const& errors, std::int64_t const* row) {
  std::uint64_t hash = 0, factor = 0x9E3779B97F4A7C15U;
  for (std::size_t i = 0; i < errors.size(); ++i) {
    hash += factor * static_cast<std::uint64_t>(std::min(errors[i], row[i]));
    factor += 0xBF58476D1CE4E5B8U;  // even: all factors stay odd
  }
  return hash ^ hash >> 32;
}

}  // namespace

// ------------------------------------------------------------------------------------------------- the sort of answer

ClockBranching::ClockBranching(ClockProblem const& problem, Table const& table, std::vector<int> const& weights)
    : problem_(problem), table_(table), weights_(weights), exact_(problem, table), sums_(exact_, weights) {
  stride_ = (table.demands + kLanes - 1) / kLanes * kLanes;
  covers_.resize(table.keys.size());
  coarse_.resize(table.keys.size());
  for (std::size_t p = 0; p < table.keys.size(); ++p) {
    std::vector<std::int64_t>& least = least_keys_.emplace_back(table.demands, kNone);
    for (std::size_t c = 0; c < table.choices(p); ++c) lower(least, table.row(p, c));
  }
  nodes_.resize(table.keys.size() + 1);
  alike_ = problem.first_alike();
  ranks_.resize(problem.by_name.size());
  for (std::size_t rank = 0; rank < ranks_.size(); ++rank) ranks_[problem.by_name[rank]] = rank;
}

void ClockBranching::least_sum(Choices const& covering) {
  ties_ = false;
  best_ = tied_ = covering;
  best_keys_ = sums_.keys(errors_of(best_));
  has_spare_ = has_spare(best_);
  scale(all());
  consider_improved(covering, all());
  const std::vector<std::int64_t> errors = errors_of(best_);
  prices_.resize(errors.size());
  for (std::size_t i = 0; i < errors.size(); ++i) prices_[i] = weights_[i] * (errors[i] + 1);
  run(all());
  if (best_keys_ == 0) has_all_ties_ = false;  // it ended at a sum below which there is none
  sum_ = best_;
  sum_keys_ = best_keys_;
  first_of_all_ = tied_;
}

std::optional<Choices> ClockBranching::first_with(std::vector<std::size_t> const& plls) {
  if (plls == all() && has_all_ties_) return first_of_all_;
  ties_ = true;
  found_ = false;
  best_keys_ = sum_keys_;
  best_ = sum_;
  if (!scale(plls)) return std::nullopt;
  // One that is not far is mostly there, and a bound for the power of all others.
  Choices near(sum_.size(), kUnused);
  for (const std::size_t p : plls) near[p] = sum_[p];
  consider_improved(std::move(near), plls);
  if (!is_done()) run(plls);
  return found_ ? std::optional(tied_) : std::nullopt;
}

bool ClockBranching::is_enough(std::vector<std::size_t> const& plls) {
  // Each demand's least, whichever setting that takes.
  std::vector<std::int64_t> errors = table_.base;
  for (const std::size_t p : plls)
    for (std::size_t i = 0; i < errors.size(); ++i) errors[i] = std::min(errors[i], least_keys_[p][i]);
  const bool is_open = std::any_of(errors.begin(), errors.end(), [](std::int64_t key) { return key >= kNone; });
  if (is_open || sums_.keys(errors) > sums_.most_equal(sum_keys_)) return false;
  only_whether_ = true;
  const bool is = first_with(plls).has_value();
  only_whether_ = false;
  return is;
}

std::vector<std::size_t> ClockBranching::all() const {
  std::vector<std::size_t> plls;
  for (std::size_t p = 0; p < table_.keys.size(); ++p)
    if (table_.choices(p) != 0) plls.push_back(p);
  return plls;
}

std::uint64_t ClockBranching::steps() const {
  return std::accumulate(nodes_.begin(), nodes_.end(), steps_,
                         [](std::uint64_t sum, Node const& node) { return sum + node.parts.steps(); });
}

// Of all clocks of a demand, what is above its least error.
std::int32_t ClockBranching::coarse_of(std::size_t demand, std::int64_t key) const {
  if (key >= kNone) return kCoarse;
  return static_cast<std::int32_t>(
      std::min<std::int64_t>(weights_[demand] * (key - least_[demand]) >> shift_, kCoarse));
}

// Makes the most of what the best sum leaves above the least errors; false if it leaves nothing.
bool ClockBranching::scale(std::vector<std::size_t> const& plls) {
  least_ = table_.base;
  for (const std::size_t p : plls) lower(least_, least_keys_[p].data());
  if (std::any_of(least_.begin(), least_.end(), [](std::int64_t key) { return key >= kNone; })) return false;
  offset_ = sums_.keys(least_);
  if (slack() < 0) return false;
  shift_ = 0;
  while (slack() >> shift_ >= kCoarse) ++shift_;
  std::vector<std::int64_t> most(table_.demands);  // that the errors may be
  for (std::size_t i = 0; i < most.size(); ++i) most[i] = least_[i] + slack() / weights_[i];
  base_.assign(stride_, 0);
  for (std::size_t i = 0; i < most.size(); ++i)
    base_[i] = table_.base[i] > most[i] ? kCoarse : coarse_of(i, table_.base[i]);
  for (const std::size_t p : plls) {
    coarse_[p].assign(table_.choices(p) * stride_, kCoarse);
    covers_[p].assign(table_.choices(p), Bits());
    for (std::size_t c = 0; c < table_.choices(p); ++c) {
      std::int64_t const* const row = table_.row(p, c);
      for (std::size_t i = 0; i < table_.demands; ++i) {
        if (row[i] > most[i]) continue;
        coarse_[p][c * stride_ + i] = coarse_of(i, row[i]);
        covers_[p][c].add(i);
      }
    }
  }
  return true;
}

// The demands that have no error yet with which the sum may be the best.
Bits ClockBranching::open_of(Node const& node) const {
  Bits open;
  for (std::size_t i = 0; i < table_.demands; ++i)
    if (node.limits[i] >= kCoarse) open.add(i);
  return open;
}

std::int32_t const* ClockBranching::coarse_row(std::size_t pll, std::uint32_t choice) const {
  return coarse_[pll].data() + choice * stride_;
}

// --------------------------------------------------------------------------------------------------------- whole rows

// Each PLL in turn takes what is best beside the others, until nothing changes.
Choices ClockBranching::improved(Choices made, std::vector<std::size_t> const& plls) {
  bool changed = true;
  for (int round = 0; changed && round < kMostRounds; ++round) {
    changed = false;
    for (const std::size_t p : plls) {
      std::vector<std::int32_t> others = base_;
      for (const std::size_t other : plls)
        if (other != p && made[other] != kUnused) lower(others, coarse_row(other, made[other]));
      std::uint32_t best = made[p];
      std::int64_t most = best == kUnused ? -1 : saving(others, p, best);
      for (std::uint32_t c = 0; c < table_.choices(p); ++c) {
        const std::int64_t saved = saving(others, p, c);
        if (saved <= most) continue;
        most = saved;
        best = c;
      }
      changed = changed || best != made[p];
      made[p] = best;
    }
  }
  return made;
}

void ClockBranching::consider_improved(Choices made, std::vector<std::size_t> const& plls) {
  made = improved(std::move(made), plls);
  consider(made, errors_of(made));
}

// How many have no error that may be, and the sum of the others.
std::pair<int, std::int64_t> ClockBranching::cost(std::vector<std::int64_t> const& errors,
                                                  std::int64_t const* row) const {
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

std::vector<std::int64_t> ClockBranching::errors_of(Choices const& made) const {
  std::vector<std::int64_t> errors = table_.base;
  for (std::size_t p = 0; p < made.size(); ++p)
    if (made[p] != kUnused) lower(errors, table_.row(p, made[p]));
  return errors;
}

void ClockBranching::consider(Choices const& made, std::vector<std::int64_t> const& errors) {
  if (std::any_of(errors.begin(), errors.end(), [](std::int64_t key) { return key >= kNone; })) return;
  const std::int64_t keys = sums_.keys(errors);
  if (keys > sums_.most_equal(best_keys_)) return;
  const std::strong_ordering order = sums_.order(made, keys, best_, best_keys_);
  if (order > 0 || (ties_ && order != 0)) return;
  if (order < 0) {
    best_ = made;
    best_keys_ = keys;
    has_spare_ = has_spare(best_);
  } else if (found_) {
    const Int128 own = power_of(problem_, made), known = power_of(problem_, tied_);
    if (own > known) return;
    Choices ordered = in_order(problem_, alike_, made);
    if (own == known && !is_first(problem_, ordered, tied_)) return;
    tied_ = std::move(ordered);
    return;
  }
  found_ = true;
  tied_ = in_order(problem_, alike_, made);
}

// The settings that the prices favour, and what can be made of them.
void ClockBranching::consider_favoured(Node const& node) {
  Choices made = node.made;
  for (const std::size_t p : node.left) made[p] = node.candidates[p][node.favoured[p]].choice;
  if (made == favoured_) return;
  favoured_ = made;
  consider_improved(std::move(made), all());
}

// Rows with the settings that cost least by the parts that they may have.
void ClockBranching::consider_promising(Node const& node, std::vector<Promising> promising) {
  const std::size_t count = std::min(kPromising, promising.size());
  std::partial_sort(promising.begin(), promising.begin() + static_cast<std::ptrdiff_t>(count), promising.end());
  for (std::size_t n = 0; n < count; ++n) {
    const auto [bound, pll, choice] = promising[n];
    std::vector<std::size_t> plls = node.left;
    std::swap(*std::find(plls.begin(), plls.end(), pll), plls.back());
    Choices made = node.made;
    made[pll] = choice;
    consider_improved(std::move(made), plls);
  }
}

// Whether one of the PLLs could be left out.
bool ClockBranching::has_spare(Choices const& made) {
  const std::vector<std::int64_t> errors = errors_of(made);
  for (std::size_t p = 0; p < made.size(); ++p) {
    if (made[p] == kUnused) continue;
    Choices without = made;
    without[p] = kUnused;
    if (errors_of(without) != errors) continue;
    std::size_t same = 0;
    while (same < errors.size() && exact_.least(same, without) == exact_.least(same, made)) ++same;
    if (same == errors.size()) return true;
  }
  return false;
}

// Whether some row of the node may have a smaller sum than the best one. It cannot where each demand's error is at
// least what it is there already, whichever settings serve it: so ties, of which there may be thousands, are told at
// once.
bool ClockBranching::may_be_less(Node const& node) {
  std::vector<std::int64_t> least = node.errors;
  for (const std::size_t p : node.left)
    for (Candidate const& candidate : node.candidates[p]) lower(least, table_.row(p, candidate.choice));
  const std::vector<std::int64_t> known = errors_of(best_);
  for (std::size_t i = 0; i < least.size(); ++i) {
    if (least[i] < known[i]) return true;
    if (least[i] > known[i] || least[i] == 0) continue;
    Error const* const error = exact_.least(i, best_);
    const auto is_below = [&](Error const* other) { return other != error && is_less(*other, *error); };
    if (node.errors[i] == least[i] && is_below(exact_.least(i, node.made))) return true;
    for (const std::size_t p : node.left)
      for (Candidate const& candidate : node.candidates[p])
        if (table_.row(p, candidate.choice)[i] == least[i] && is_below(exact_.on_pll(i, p, candidate.choice)))
          return true;
  }
  return false;
}

// --------------------------------------------------------------------------------------------------------- the search

void ClockBranching::run(std::vector<std::size_t> const& plls) {
  for (int scales = 0; scale(plls); ++scales) {
    const std::int64_t slack_before = slack();
    open_root(plls);
    if (plls.empty()) {
      consider(nodes_.front().made, nodes_.front().errors);
      return;
    }
    if (!narrow(nodes_.front(), kRootSteps)) return;
    if (slack() > slack_before / 2 || scales == kMostScales) {
      branch(0);
      return;
    }
  }
}

void ClockBranching::open_root(std::vector<std::size_t> const& plls) {
  Node& root = nodes_.front();
  root.errors = table_.base;
  root.limits = base_;
  root.prices.assign(stride_, 0);
  for (std::size_t i = 0; i < root.errors.size(); ++i) {
    const std::int64_t price = (prices_[i] - weights_[i] * least_[i]) >> shift_;
    root.prices[i] = static_cast<std::int32_t>(std::clamp<std::int64_t>(price + 1, 0, root.limits[i]));
  }
  root.risen = 0;
  root.left = plls;
  root.made.assign(table_.keys.size(), kUnused);
  root.power = 0;
  for (Node& node : nodes_) {
    node.candidates.resize(table_.keys.size());
    node.favoured.assign(table_.keys.size(), 0);
    node.saved.assign(table_.keys.size(), 0);
  }
  for (const std::size_t p : plls) {
    root.candidates[p].clear();
    for (std::uint32_t c = 0; c < table_.choices(p); ++c) root.candidates[p].push_back({saving(root.prices, p, c), c});
  }
  root.is_exact = true;
}

void ClockBranching::descend(std::size_t depth) {
  Node& node = nodes_[depth];
  if (is_done()) return;
  if (node.left.empty()) {
    consider(node.made, node.errors);
    return;
  }
  if (narrow(node, kSteps)) branch(depth);
}

void ClockBranching::branch(std::size_t depth) {
  Node& node = nodes_[depth];
  if (is_done()) return;
  if (node.left.size() == 1) {
    finish(node, node.left.front());
    return;
  }
  for (const std::size_t p : node.left)
    std::sort(node.candidates[p].begin(), node.candidates[p].end(), [](Candidate const& a, Candidate const& b) {
      return a.most != b.most ? a.most > b.most : a.choice < b.choice;
    });
  const std::size_t pll = fewest(node);
  const auto [demand, count] = rarest(node);
  if (count < node.candidates[pll].size()) {
    serve(depth, demand);
    return;
  }
  for (Candidate const& candidate : node.candidates[pll])
    if (enter(node, nodes_[depth + 1], pll, candidate.choice)) descend(depth + 1);
}

// One of the PLLs serves the demand: each way in turn, and what was looked at is none any more.
void ClockBranching::serve(std::size_t depth, std::size_t demand) {
  Node& node = nodes_[depth];
  for (const std::size_t p : node.left) {
    const auto serves = [&](Candidate const& candidate) { return covers_[p][candidate.choice].has(demand); };
    for (Candidate const& candidate : node.candidates[p])
      if (serves(candidate) && enter(node, nodes_[depth + 1], p, candidate.choice)) descend(depth + 1);
    std::erase_if(node.candidates[p], serves);
    if (node.candidates[p].empty()) return;
  }
}

std::size_t ClockBranching::fewest(Node const& node) const {
  return *std::min_element(node.left.begin(), node.left.end(), [&](std::size_t a, std::size_t b) {
    return node.candidates[a].size() < node.candidates[b].size();
  });
}

// The demand without an error yet that the fewest candidates serve, and their number.
std::pair<std::size_t, std::size_t> ClockBranching::rarest(Node const& node) const {
  std::vector<std::size_t> counts(table_.demands, 0);
  const Bits open = open_of(node);
  for (const std::size_t p : node.left)
    for (Candidate const& candidate : node.candidates[p])
      (covers_[p][candidate.choice] & open).for_each([&](std::size_t i) { ++counts[i]; });
  std::pair<std::size_t, std::size_t> best{0, std::numeric_limits<std::size_t>::max()};
  open.for_each([&](std::size_t i) {
    if (counts[i] < best.second) best = {i, counts[i]};
  });
  return best;
}

// Makes the child in which the PLL is set so; false if its prices alone rule it out.
bool ClockBranching::enter(Node& parent, Node& child, std::size_t pll, std::uint32_t choice) {
  child.errors = parent.errors;
  lower(child.errors, table_.row(pll, choice));
  std::int32_t const* const row = coarse_row(pll, choice);
  child.limits = parent.limits;
  child.prices = parent.prices;
  for (std::size_t i = 0; i < stride_; ++i) {
    child.limits[i] = std::min(child.limits[i], row[i]);
    child.prices[i] = std::min(child.prices[i], row[i]);
  }
  child.risen = 0;
  child.left = parent.left;
  child.left.erase(std::find(child.left.begin(), child.left.end(), pll));
  child.made = parent.made;
  child.made[pll] = choice;
  child.power = parent.power + problem_.choices[pll][choice].vco;
  return take_candidates(parent, child, pll);
}

// Leaves PLLs that are like the one that was set only what is in order with its setting; false if that is nothing.
bool ClockBranching::keep_order(Node& child, std::size_t pll) const {
  const std::uint32_t choice = child.made[pll];
  for (const std::size_t p : child.left) {
    if (alike_[p] != alike_[pll]) continue;
    const bool is_before = ranks_[p] < ranks_[pll];
    std::erase_if(child.candidates[p], [&](Candidate const& candidate) {
      return is_before ? candidate.choice > choice : candidate.choice < choice;
    });
    if (child.candidates[p].empty()) return false;
  }
  return true;
}

// Of the parent's candidates, which come in the order of what they saved at most, the greatest first.
bool ClockBranching::take_candidates(Node& parent, Node& child, std::size_t pll) {
  for (const std::size_t p : child.left) child.candidates[p] = parent.candidates[p];
  if (!keep_order(child, pll) || !narrow_by_cover(child)) return false;
  const std::int64_t most = most_coarse();
  const auto most_of = [&](std::size_t p) {
    return std::max<std::int64_t>(0, child.candidates[p].front().most + parent.risen);
  };
  std::int64_t bound = 0;
  for (const std::int32_t price : child.prices) bound += price;
  for (const std::size_t p : child.left) bound -= most_of(p);
  if (bound > most) return false;
  for (const std::size_t p : child.left) {
    std::int64_t& saved = child.saved[p] = 0;
    for (Candidate const& candidate : child.candidates[p]) {
      if (candidate.most + parent.risen <= saved) break;
      saved = std::max(saved, saving(child.prices, p, candidate.choice));
    }
    bound += most_of(p) - saved;
    if (bound > most) return false;
  }
  for (const std::size_t p : child.left) {
    std::vector<Candidate>& candidates = child.candidates[p];
    std::size_t kept = 0;
    for (std::size_t n = 0; n < candidates.size(); ++n) {
      if (bound + child.saved[p] - (candidates[n].most + parent.risen) > most) break;
      const std::int64_t saved = saving(child.prices, p, candidates[n].choice);
      if (bound + child.saved[p] - saved <= most) candidates[kept++] = {saved, candidates[n].choice};
    }
    candidates.resize(kept);
    child.favoured[p] = 0;
  }
  child.is_exact = true;
  return keep_by_parts(parent, child, pll);
}

// The last PLL: each of its settings is an answer or none.
void ClockBranching::finish(Node& node, std::size_t pll) {
  for (Candidate const& candidate : node.candidates[pll]) {
    const auto [open, sum] = cost(node.errors, table_.row(pll, candidate.choice));
    if (open != 0 || sum > sums_.most_equal(best_keys_)) continue;
    std::vector<std::int64_t> errors = node.errors;
    lower(errors, table_.row(pll, candidate.choice));
    node.made[pll] = candidate.choice;
    consider(node.made, errors);
  }
}

// --------------------------------------------------------------------------------------------------------- ruling out

// Rules out settings with which no answer can be; false if that leaves none.
bool ClockBranching::narrow(Node& node, int steps) {
  node.in_parts.clear();
  if (!narrow_by_power(node) || !narrow_by_cover(node) || !narrow_by_pairs(node)) return false;
  const bool is_root = steps == kRootSteps;
  if (!ties_ && (is_root || has_spare_) && !may_be_less(node)) {
    has_all_ties_ = false;
    return false;
  }
  if (!is_root && rarest(node).second <= kFew) steps = 0;
  if (is_root) drop_alike(node);
  std::vector<std::int32_t> best_prices;
  std::int64_t best_bound = std::numeric_limits<std::int64_t>::min();
  std::int64_t step = std::max<std::int64_t>(1, kCoarse / 4);
  int patience = kPatience;
  for (int n = 0; n <= steps; ++n) {
    const std::int64_t bound = judge(node);
    if (bound > most_coarse()) return false;
    if (n % kStepsToSettle == 0 && !rule_out(node, bound)) return false;
    if (is_root && !ties_ && n % kStepsToImprove == 0) consider_favoured(node);
    if (bound > best_bound) {
      best_bound = bound;
      best_prices = node.prices;
      patience = kPatience;
    } else if (--patience == 0) {
      step = std::max<std::int64_t>(1, step / 2);
      patience = kPatience;
    }
    if (n == steps || !step_prices(node, bound, step)) break;
  }
  if (is_root && !ties_)
    for (std::size_t i = 0; i < prices_.size(); ++i)
      prices_[i] = weights_[i] * least_[i] + (std::int64_t{best_prices[i]} << shift_);
  set_prices(node, best_prices);
  const std::int64_t bound = judge(node);
  if (bound > most_coarse() || !rule_out(node, bound)) return false;
  // To look for settings that are alike takes longer than to rule out most of them. The last PLL tries each but once.
  if (!is_root && node.left.size() > 1) drop_alike(node);
  if (!is_root) return narrow_by_parts(node, kParted);
  for (const std::size_t parted : {kParted, kPartedAtRoot}) {
    if (!narrow_by_parts(node, parted)) return false;
    drop_alike(node);
  }
  return true;
}

bool ClockBranching::narrow_by_power(Node& node) const {
  if (!ties_ || !found_) return true;
  const auto vco = [&](std::size_t p, Candidate const& candidate) {
    return Int128{problem_.choices[p][candidate.choice].vco};
  };
  const auto lowest = [&](std::size_t p) {
    Int128 least = vco(p, node.candidates[p].front());
    for (Candidate const& candidate : node.candidates[p]) least = std::min(least, vco(p, candidate));
    return least;
  };
  Int128 least = node.power;
  for (const std::size_t p : node.left) least += lowest(p);
  const Int128 most = power_of(problem_, tied_);
  if (least > most) return false;
  for (const std::size_t p : node.left) {
    const Int128 own = lowest(p);
    std::erase_if(node.candidates[p],
                  [&](Candidate const& candidate) { return vco(p, candidate) - own > most - least; });
    node.favoured[p] = 0;
  }
  return true;
}

// What one PLL alone can still cover, it has to.
bool ClockBranching::narrow_by_cover(Node& node) const {
  const Bits open = open_of(node);
  for (bool changed = true; changed && !open.empty();) {
    changed = false;
    Bits once, twice;
    std::vector<Bits> reach;
    for (const std::size_t p : node.left) {
      Bits& own = reach.emplace_back();
      for (Candidate const& candidate : node.candidates[p]) own = own | covers_[p][candidate.choice];
      twice = twice | (once & own);
      once = once | own;
    }
    if (!open.within(once)) return false;
    for (std::size_t n = 0; n < node.left.size(); ++n) {
      const std::size_t p = node.left[n];
      const Bits needed = (open & reach[n]) - twice;
      if (needed.empty()) continue;
      const auto misses = [&](Candidate const& one) { return !needed.within(covers_[p][one.choice]); };
      changed = std::erase_if(node.candidates[p], misses) != 0 || changed;
      if (node.candidates[p].empty()) return false;
      node.favoured[p] = 0;
    }
  }
  return true;
}

// What two PLLs alone can still cover, they have to cover between them. Of the demands that they share one word is
// looked at, which mostly holds them all.
bool ClockBranching::narrow_by_pairs(Node& node) const {
  const Bits open = open_of(node);
  const std::size_t plls = node.left.size();
  std::vector<Bits> reach(plls);
  for (std::size_t n = 0; n < plls; ++n)
    for (Candidate const& one : node.candidates[node.left[n]]) reach[n] = reach[n] | covers_[node.left[n]][one.choice];
  for (std::size_t n = 0; n < plls; ++n)
    for (std::size_t m = 0; m < plls; ++m) {
      if (m == n) continue;
      Bits shared = open & reach[n] & reach[m];
      for (std::size_t other = 0; other < plls; ++other)
        if (other != n && other != m) shared = shared - reach[other];
      if (!shared.empty() && !narrow_beside(node, node.left[n], node.left[m], shared)) return false;
    }
  return true;
}

// Rules out by which PLL serves which of so many demands with the highest prices. Of PLLs that are alike, and of which
// nothing is known apart, one is looked at.
bool ClockBranching::narrow_by_parts(Node& node, std::size_t parted) {
  const double few = parted == kParted ? kFewRows : kManyRows;
  double rows = 1;
  for (const std::size_t p : node.left) rows *= static_cast<double>(node.candidates[p].size());
  if (node.left.size() < 2 || rows < few) return true;
  std::vector<std::vector<std::size_t>> same;
  node.in_parts.assign(table_.keys.size(), 0);
  for (const std::size_t p : node.left) {
    const auto is_same = [&](std::vector<std::size_t> const& known) {
      return alike_[known.front()] == alike_[p] && has_same_candidates(node, known.front(), p);
    };
    const auto known = std::find_if(same.begin(), same.end(), is_same);
    node.in_parts[p] = static_cast<std::size_t>(known - same.begin());
    (known == same.end() ? same.emplace_back() : *known).push_back(p);
  }
  PartedBound& parts = node.parts;
  parts.begin(node.prices, node.limits, parted);
  for (std::vector<std::size_t> const& plls : same) {
    parts.add_plls(static_cast<int>(plls.size()));
    for (Candidate const& one : node.candidates[plls.front()]) parts.add_setting(coarse_row(plls.front(), one.choice));
  }
  const std::int64_t most = most_coarse();
  if (parts.bound() > most) return false;
  const bool is_promising_asked = &node == &nodes_.front() && !ties_;
  std::vector<Promising> promising;
  for (std::size_t n = 0; n < same.size(); ++n) {
    std::vector<Candidate>& candidates = node.candidates[same[n].front()];
    std::size_t kept = 0;
    for (std::size_t c = 0; c < candidates.size(); ++c) {
      const std::int64_t bound = parts.bound_with(n, c);
      if (bound > most) continue;
      candidates[kept++] = candidates[c];
      if (is_promising_asked) promising.emplace_back(bound, same[n].front(), candidates[c].choice);
    }
    if (kept == 0) return false;
    candidates.resize(kept);
    for (const std::size_t p : same[n]) {
      if (p != same[n].front()) node.candidates[p] = candidates;
      node.favoured[p] = 0;
    }
  }
  consider_promising(node, std::move(promising));
  return true;
}

// Leaves what may be beside the setting of the PLL, by the parts of the parent.
bool ClockBranching::keep_by_parts(Node& parent, Node& child, std::size_t pll) {
  if (parent.in_parts.empty() || parent.parts.parted() > kParted || child.left.size() < 2) return true;
  const std::int64_t most = most_coarse();
  parent.parts.set(parent.in_parts[pll], coarse_row(pll, child.made[pll]), child.prices);
  for (const std::size_t p : child.left) {
    std::erase_if(child.candidates[p], [&](Candidate const& one) {
      return parent.parts.bound_beside(parent.in_parts[p], coarse_row(p, one.choice), one.most + child.risen) > most;
    });
    if (child.candidates[p].empty()) return false;
  }
  return true;
}

// Leaves only settings of `p` that some setting of `q` complements.
bool ClockBranching::narrow_beside(Node& node, std::size_t p, std::size_t q, Bits const& shared) const {
  const std::size_t word = shared.fullest_word();
  const std::uint64_t wanted = shared.word(word);
  // Most offers are alike: those that came lately are not taken again.
  constexpr std::size_t kLately = 64;
  std::array<std::uint64_t, kLately> lately{};
  std::vector<std::uint64_t> offered;
  std::uint64_t any = 0;
  for (Candidate const& one : node.candidates[q]) {
    const std::uint64_t offer = covers_[q][one.choice].word(word) & wanted;
    std::uint64_t& known = lately[(offer * 0x9E3779B97F4A7C15U) >> 58];
    if (known == offer && offer != 0) continue;
    known = offer;
    any |= offer;
    offered.push_back(offer);
  }
  std::size_t likely = 0;  // what complemented the one before
  const auto is_alone = [&](Candidate const& one) {
    const std::uint64_t needed = wanted & ~covers_[p][one.choice].word(word);
    if ((needed & ~any) != 0) return true;
    if ((needed & ~offered[likely]) == 0) return false;
    const auto found =
        std::find_if(offered.begin(), offered.end(), [&](std::uint64_t offer) { return (needed & ~offer) == 0; });
    if (found == offered.end()) return true;
    likely = static_cast<std::size_t>(found - offered.begin());
    return false;
  };
  if (std::erase_if(node.candidates[p], is_alone) != 0) node.favoured[p] = 0;
  return !node.candidates[p].empty();
}

// Whether a demand's error is the same with either setting; keys that are equal are looked at exactly.
bool ClockBranching::is_alike_for(std::int64_t error, std::size_t demand, std::size_t p, std::uint32_t a,
                                  std::uint32_t b) {
  const std::int64_t a_key = table_.row(p, a)[demand], b_key = table_.row(p, b)[demand];
  if (error < a_key && error < b_key) return true;
  if (a_key != b_key || a_key >= kNone) return a_key == b_key;
  return a_key == 0 || exact_.on_pll(demand, p, a) == exact_.on_pll(demand, p, b);
}

// Of settings that come to the same beside what is decided, the first is as good as any: they are in the order of
// their power, then of rows. One that comes to no less for any demand than one before it is of no use either; to look
// for these takes as many steps as there are pairs.
//
// Where settings of PLLs that are alike are kept in order, one may be as good as another and out of order: where what
// is left of the one is not what is left of the other, they are left alone.
void ClockBranching::drop_alike(Node& node) {
  std::vector<std::size_t> plls;
  std::copy_if(node.left.begin(), node.left.end(), std::back_inserter(plls),
               [&](std::size_t p) { return has_same_left(node, p); });
  for (const std::size_t p : plls) {
    const auto like = std::find_if(plls.begin(), plls.end(), [&](std::size_t q) { return alike_[q] == alike_[p]; });
    if (*like == p) {
      drop_same(node, p);
      if (node.candidates[p].size() <= kMostCompared) drop_worse(node, p);
    } else {
      node.candidates[p] = node.candidates[*like];
    }
    node.favoured[p] = 0;
  }
}

void ClockBranching::drop_same(Node& node, std::size_t p) {
  std::vector<Candidate>& candidates = node.candidates[p];
  const std::size_t mask = std::bit_ceil(2 * candidates.size()) - 1;
  places_.assign(mask + 1, 0);  // numbers from 1 on of those that are kept
  hashes_.clear();
  std::size_t kept = 0;
  for (std::size_t n = 0; n < candidates.size(); ++n) {
    const Candidate one = candidates[n];
    const std::uint64_t hash = hash_of(node.errors, table_.row(p, one.choice));
    std::size_t at = hash & mask;
    while (places_[at] != 0 && (hashes_[places_[at] - 1] != hash ||
                                !is_alike(node.errors, p, candidates[places_[at] - 1].choice, one.choice)))
      at = (at + 1) & mask;
    if (places_[at] != 0) {
      Candidate& same = candidates[places_[at] - 1];
      if (one.choice < same.choice) same = one;
      continue;
    }
    candidates[kept++] = one;
    hashes_.push_back(hash);
    places_[at] = static_cast<std::uint32_t>(kept);
  }
  candidates.resize(kept);
}

void ClockBranching::drop_worse(Node& node, std::size_t p) {
  std::vector<Candidate>& candidates = node.candidates[p];
  const auto is_worse = [&](Candidate const& one) {
    return std::any_of(candidates.begin(), candidates.end(), [&](Candidate const& other) {
      return other.choice < one.choice && is_no_less(node.errors, p, one.choice, other.choice);
    });
  };
  std::vector<Candidate> kept;
  std::remove_copy_if(candidates.begin(), candidates.end(), std::back_inserter(kept), is_worse);
  candidates = std::move(kept);
}

// Whether what is left of all PLLs that are like it is the same.
bool ClockBranching::has_same_left(Node const& node, std::size_t pll) const {
  return std::all_of(node.left.begin(), node.left.end(), [&](std::size_t other) {
    return alike_[other] != alike_[pll] || has_same_candidates(node, pll, other);
  });
}

bool ClockBranching::has_same_candidates(Node const& node, std::size_t a, std::size_t b) {
  return std::equal(node.candidates[a].begin(), node.candidates[a].end(), node.candidates[b].begin(),
                    node.candidates[b].end(),
                    [](Candidate const& x, Candidate const& y) { return x.choice == y.choice; });
}

// Whether no demand's error is less with the one setting than with the other.
bool ClockBranching::is_no_less(std::vector<std::int64_t> const& errors, std::size_t p, std::uint32_t one,
                                std::uint32_t other) {
  std::int64_t const *const a = table_.row(p, one), *const b = table_.row(p, other);
  for (std::size_t i = 0; i < errors.size(); ++i)
    if (std::min(errors[i], a[i]) < std::min(errors[i], b[i])) return false;
  for (std::size_t i = 0; i < errors.size(); ++i)
    if (std::min(errors[i], a[i]) == std::min(errors[i], b[i]) && !is_alike_for(errors[i], i, p, one, other))
      return false;
  return true;
}

bool ClockBranching::is_alike(std::vector<std::int64_t> const& errors, std::size_t p, std::uint32_t a,
                              std::uint32_t b) {
  for (std::size_t i = 0; i < errors.size(); ++i)
    if (!is_alike_for(errors[i], i, p, a, b)) return false;
  return true;
}

// ------------------------------------------------------------------------------------------------------------- prices

namespace {

// Of so many numbers, a multiple of `Lanes`. It is most of the work: where the processor has wider words than all of
// its kind do, they are worth a way of their own.
template <std::size_t Lanes>
[[gnu::always_inline]] inline std::int32_t sum_above(std::int32_t const* prices, std::int32_t const* row,
                                                     std::size_t count) {
  std::array<std::int32_t, Lanes> saved{};
  for (std::size_t i = 0; i < count; i += Lanes)
    for (std::size_t k = 0; k < Lanes; ++k) saved[k] += std::max(0, prices[i + k] - row[i + k]);
  std::int32_t total = 0;
  for (const std::int32_t each : saved) total += each;
  return total;
}

#if defined(__x86_64__)
template <std::size_t Lanes>
[[gnu::target("avx2")]] std::int32_t wide_sum_above(std::int32_t const* prices, std::int32_t const* row,
                                                    std::size_t count) {
  return sum_above<Lanes>(prices, row, count);
}
bool has_wide_words() { return __builtin_cpu_supports("avx2") != 0; }
#else
template <std::size_t Lanes>
std::int32_t wide_sum_above(std::int32_t const* prices, std::int32_t const* row, std::size_t count) {
  return sum_above<Lanes>(prices, row, count);
}
bool has_wide_words() { return false; }
#endif

}  // namespace

// The sum of what prices are above errors. Sums of prices fit: the least of 256 clocks is at most kCoarse each.
std::int64_t ClockBranching::saving(std::vector<std::int32_t> const& prices, std::size_t pll, std::uint32_t choice) {
  steps_ += stride_ / kLanes;
  static const bool is_wide = has_wide_words();
  std::int32_t const* const row = coarse_row(pll, choice);
  return is_wide ? wide_sum_above<kLanes>(prices.data(), row, stride_) : sum_above<kLanes>(prices.data(), row, stride_);
}

// The bound; the setting that saves the most is then known of each PLL.
std::int64_t ClockBranching::judge(Node& node) {
  std::int64_t bound = 0;
  for (const std::int32_t price : node.prices) bound += price;
  for (const std::size_t p : node.left) {
    std::vector<Candidate>& candidates = node.candidates[p];
    std::int64_t most = -1;
    const auto look = [&](std::size_t n) {
      const std::int64_t saved = saved_by(node, p, candidates[n]);
      candidates[n].most = saved - node.risen;
      if (saved <= most) return;
      most = saved;
      node.favoured[p] = n;
    };
    const std::size_t likely = node.favoured[p];
    look(likely);
    for (std::size_t n = 0; n < candidates.size(); ++n)
      if (n != likely && candidates[n].most + node.risen > most) look(n);
    node.saved[p] = most;
    bound -= most;
  }
  return bound;
}

// Candidates with which the sum is above the best are none any more. What is left is known exactly.
bool ClockBranching::rule_out(Node& node, std::int64_t bound) {
  const std::int64_t most = most_coarse();
  for (const std::size_t p : node.left) {
    std::vector<Candidate>& candidates = node.candidates[p];
    std::size_t kept = 0;
    for (std::size_t n = 0; n < candidates.size(); ++n) {
      Candidate one = candidates[n];
      if (bound + node.saved[p] - (one.most + node.risen) > most) continue;
      const std::int64_t saved = saved_by(node, p, one);
      if (bound + node.saved[p] - saved > most) continue;
      one.most = saved - node.risen;
      if (n == node.favoured[p]) node.favoured[p] = kept;
      candidates[kept++] = one;
    }
    if (kept == 0) return false;
    candidates.resize(kept);
  }
  node.is_exact = true;
  return true;
}

std::int64_t ClockBranching::saved_by(Node const& node, std::size_t pll, Candidate const& candidate) {
  return node.is_exact ? candidate.most + node.risen : saving(node.prices, pll, candidate.choice);
}

// Raises the prices of demands that no favoured setting serves, and lowers those of demands that several serve. False
// if there is nothing to change.
bool ClockBranching::step_prices(Node& node, std::int64_t bound, std::int64_t largest) const {
  std::vector<int> slope(table_.demands, 1);
  for (const std::size_t p : node.left) {
    std::int32_t const* const row = coarse_row(p, node.candidates[p][node.favoured[p]].choice);
    for (std::size_t i = 0; i < slope.size(); ++i) slope[i] -= node.prices[i] > row[i] ? 1 : 0;
  }
  std::int64_t norm = 0;
  for (std::size_t i = 0; i < slope.size(); ++i) {
    if (slope[i] > 0 && node.prices[i] >= node.limits[i]) slope[i] = 0;
    norm += std::int64_t{slope[i]} * slope[i];
  }
  if (norm == 0) return false;
  const std::int64_t gap = std::min<std::int64_t>(most_coarse() - bound + 1, std::int64_t{1} << 40);
  const std::int64_t step = std::clamp<std::int64_t>(gap * largest / (kCoarse / 4) / norm, 1, kCoarse);
  std::vector<std::int32_t> prices = node.prices;
  for (std::size_t i = 0; i < slope.size(); ++i)
    prices[i] = static_cast<std::int32_t>(std::clamp<std::int64_t>(prices[i] + step * slope[i], 0, node.limits[i]));
  set_prices(node, prices);
  return true;
}

void ClockBranching::set_prices(Node& node, std::vector<std::int32_t> const& prices) {
  node.is_exact = node.is_exact && prices == node.prices;
  for (std::size_t i = 0; i < prices.size(); ++i) node.risen += std::max(0, prices[i] - node.prices[i]);
  node.prices = prices;
}

}  // namespace kdi::cores
