// Branch and bound: places have prices; every choice takes the option that is cheapest at the prices of its places;
// what that costs in all, less the prices, is a bound below all plans. Prices are set by linear programming to those of
// the highest bound, which is computed again in whole numbers. Options that another serves for are left out, and of the
// choices that the program decides least the one is decided whose options raise the bound most.
#include "platform/cores/search/pad_choices.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <utility>

#include "platform/cores/search/pad_prices.h"

namespace kdi::cores {
namespace {

constexpr int kScale = 1 << 12;  // prices are fractions of a cost
constexpr int kSimplexSteps = 5000;
constexpr int kStepsOfTrial = 20;
constexpr std::size_t kTried = 2;  // choices, to find the one to be decided
constexpr double kLess = 4;        // the logarithm of how much less there is to do if the gap is closed
constexpr int kMostRounds = 10;
constexpr double kShareOfNone = 1e-6;

using Chosen = std::vector<std::size_t>;  // by choice: an option
using Number = std::uint32_t;             // of an option among those of all choices

// A set of options.
class Bits {
 public:
  explicit Bits(std::size_t count = 0) : words_((count + 63) / 64) {}
  bool has(Number i) const { return (words_[i / 64] >> i % 64 & 1) != 0; }
  void add(Number i) { words_[i / 64] |= std::uint64_t{1} << i % 64; }
  void drop(Number i) { words_[i / 64] &= ~(std::uint64_t{1} << i % 64); }
  void add(Bits const& other) {
    for (std::size_t w = 0; w < words_.size(); ++w) words_[w] |= other.words_[w];
  }
  /// Whether what it has of `live` is in the other.
  bool within(Bits const& other, Bits const& live) const {
    for (std::size_t w = 0; w < words_.size(); ++w)
      if ((words_[w] & live.words_[w] & ~other.words_[w]) != 0) return false;
    return true;
  }
  template <class Each>
  void for_each(Each each) const {
    for (std::size_t w = 0; w < words_.size(); ++w)
      for (std::uint64_t rest = words_[w]; rest != 0; rest &= rest - 1)
        each(static_cast<Number>(w * 64 + static_cast<std::size_t>(std::countr_zero(rest))));
  }

 private:
  std::vector<std::uint64_t> words_;
};

class Search {
 public:
  Search(PadChoices const& choices, PadEffort& effort)
      : options_(choices.options), budget_(choices.budget), effort_(effort) {
    best_cost_ = 1;
    for (std::vector<PadOption> const& list : options_) {
      first_number_.push_back(static_cast<Number>(all_.size()));
      int most = 0;
      for (PadOption const& option : list) {
        all_.push_back(&option);
        choice_of_.push_back(first_number_.size() - 1);
        most = std::max(most, option.cost);
      }
      best_cost_ += most;
    }
    first_number_.push_back(static_cast<Number>(all_.size()));
    find_conflicts();
    if (choices.known) take(*choices.known);
  }

  /// A plan of the least cost; nothing if there is none. Of a spent effort: the best so far.
  std::optional<Chosen> least() {
    Node root = whole();
    is_root_ = true;
    if (reduce(root, Order::any)) {
      set_limits(root);
      descend(std::move(root));
    } else {
      bound_ = best_cost_;
    }
    if (!effort_.is_spent()) bound_ = best_cost_;
    bound_ = std::clamp(bound_, 0, best_cost_);
    return best_;
  }

  /// After least(): of the plans with that cost the first. Of a spent effort: one that was found.
  Chosen first() {
    Chosen found = *best_;
    if (effort_.is_spent()) return found;
    any_ = true;
    best_cost_ = bound_ + 1;
    best_.reset();
    Node node = whole();
    reduce(node, Order::kept);
    set_limits(node);
    for (std::size_t c = 0; c < choices(); ++c) {
      tighten(node);
      while (front(node, c) < first_number_[c] + found[c]) {
        Node child = node;
        decide(child, front(node, c));
        best_.reset();
        descend(std::move(child));
        best_cost_ = bound_ + 1;
        if (best_) found = *best_;
        if (effort_.is_spent()) return found;
        if (best_) break;
        drop(node, front(node, c));
      }
      best_.reset();
      decide(node, first_number_[c] + static_cast<Number>(found[c]));
    }
    return found;
  }

  int bound() const { return bound_; }

 private:
  struct Node {
    Bits live;                      // options
    std::vector<std::size_t> left;  // by choice: how many
    std::vector<int> prices{};      // by limit
    std::optional<PadPrices> program{};
  };
  struct Child {
    std::int64_t bound;
    Node node;
  };
  // Whether the first plan has to be kept, or any of the least cost.
  enum class Order : std::uint8_t { kept, any };

  std::size_t choices() const { return options_.size(); }
  bool is_done() const { return effort_.is_spent() || (any_ && best_); }

  // ---- options

  void find_conflicts() {
    std::map<std::uint32_t, Bits> by_place;
    for (Number i = 0; i < all_.size(); ++i)
      for (const std::uint32_t place : all_[i]->places) by_place.try_emplace(place, all_.size()).first->second.add(i);
    conflicts_.assign(all_.size(), Bits(all_.size()));
    for (auto const& [place, takers] : by_place) {
      takers.for_each([&, &those = takers](Number i) { conflicts_[i].add(those); });
      places_.push_back(takers);
    }
    for (std::size_t c = 0; c < choices(); ++c)
      for (Number i = first_number_[c]; i < first_number_[c + 1]; ++i)
        for (Number other = first_number_[c]; other < first_number_[c + 1]; ++other) conflicts_[i].drop(other);
  }

  Node whole() const {
    Node node{Bits(all_.size()), {}};
    for (Number i = 0; i < all_.size(); ++i) node.live.add(i);
    for (std::vector<PadOption> const& list : options_) node.left.push_back(list.size());
    return node;
  }

  template <class Each>
  void for_each_live(Node const& node, std::size_t choice, Each each) const {
    for (Number i = first_number_[choice]; i < first_number_[choice + 1]; ++i)
      if (node.live.has(i)) each(i);
  }

  // The first option that is left.
  Number front(Node const& node, std::size_t choice) const {
    Number i = first_number_[choice];
    while (!node.live.has(i)) ++i;
    return i;
  }

  void drop(Node& node, Number i) const {
    if (!node.live.has(i)) return;
    node.live.drop(i);
    --node.left[choice_of_[i]];
  }

  void decide(Node& node, Number chosen) const {
    for_each_live(node, choice_of_[chosen], [&](Number i) {
      if (i != chosen) drop(node, i);
    });
  }

  // Places of what is decided are nobody else's; false if that leaves a choice without any option.
  bool propagate(Node& node) const {
    std::vector<char> is_decided(choices());
    for (bool changed = true; changed;) {
      changed = false;
      for (std::size_t c = 0; c < choices(); ++c) {
        if (node.left[c] == 0) return false;
        if (is_decided[c] != 0 || node.left[c] != 1) continue;
        is_decided[c] = 1;
        conflicts_[front(node, c)].for_each([&](Number i) { drop(node, i); });
        changed = true;
      }
    }
    return true;
  }

  // Whether `one` can be taken in place of `other` in each plan of the node.
  bool serves(Node const& node, Number one, Number other, Order order) const {
    PadOption const &a = *all_[one], &b = *all_[other];
    if (a.cost > b.cost || (a.counts && !b.counts) || !conflicts_[one].within(conflicts_[other], node.live))
      return false;
    if (one < other) return true;
    if (order == Order::kept) return false;
    return a.cost < b.cost || a.counts != b.counts || !conflicts_[other].within(conflicts_[one], node.live);
  }

  // Leaves out options that others serve for.
  bool reduce(Node& node, Order order) const {
    for (bool changed = true; changed;) {
      if (!propagate(node)) return false;
      changed = false;
      for (std::size_t c = 0; c < choices(); ++c) {
        if (node.left[c] < 2) continue;
        for_each_live(node, c, [&](Number other) {
          bool is_served = false;
          for_each_live(
              node, c, [&](Number one) { is_served = is_served || (one != other && serves(node, one, other, order)); });
          if (is_served) drop(node, other);
          changed = changed || is_served;
        });
      }
    }
    return true;
  }

  // A limit for each place that several choices want, unless all who want it want another as well.
  void set_limits(Node const& node) {
    std::vector<Bits const*> wanted;
    for (Bits const& place : places_) {
      std::size_t last = choices();
      bool is_wanted = false;
      place.for_each([&](Number i) {
        if (!node.live.has(i)) return;
        is_wanted = is_wanted || (last != choices() && last != choice_of_[i]);
        last = choice_of_[i];
      });
      if (is_wanted) wanted.push_back(&place);
    }
    limits_.clear();
    limits_of_.assign(all_.size(), {});
    const auto add_limit = [&](int most, auto const& is_in) {
      for (Number i = 0; i < all_.size(); ++i)
        if (node.live.has(i) && is_in(i)) limits_of_[i].push_back(static_cast<std::uint32_t>(limits_.size()));
      limits_.push_back(most);
    };
    for (std::size_t a = 0; a < wanted.size(); ++a) {
      bool is_needed = true;
      for (std::size_t b = 0; b < wanted.size() && is_needed; ++b)
        is_needed =
            a == b || !wanted[a]->within(*wanted[b], node.live) || (a < b && wanted[b]->within(*wanted[a], node.live));
      if (is_needed) add_limit(1, [&](Number i) { return wanted[a]->has(i); });
    }
    if (budget_) add_limit(*budget_, [&](Number i) { return all_[i]->counts; });
  }

  // ---- the tree

  // Leaves only what plans of the least cost have.
  void tighten(Node& node) {
    if (!propagate(node)) return;
    solve(node);
    while (rule_out(node, judge(node))) propagate(node);
  }

  void descend(Node node) {
    if (is_done() || !narrow(node)) return;
    for (Child& child : branch(node)) {
      if (is_done()) return;
      if (child.bound <= most()) descend(std::move(child.node));
    }
  }

  // Rules out options that no plan below the best has; false if that leaves a choice without any.
  bool narrow(Node& node) {
    if (!reduce(node, Order::any)) return false;
    solve(node);
    if (!settle(node)) return false;
    repair(node);
    const std::int64_t bound = judge(node);
    if (std::exchange(is_root_, false)) bound_ = static_cast<int>((bound + kScale - 1) / kScale);
    return bound <= most() && !is_done();
  }

  // What the prices say of the options.
  bool settle(Node& node) {
    while (true) {
      const std::int64_t bound = judge(node);
      take_if_plan();
      if (bound > most() || is_done()) return false;
      if (!rule_out(node, bound)) return true;
      if (!propagate(node)) return false;
    }
  }

  // The node with each option of one choice, the most promising first. What turns out to be in no plan is dropped.
  std::vector<Child> branch(Node& node) {
    const std::vector<std::size_t> undecided = least_decided(node);
    shrink(node);
    std::vector<Child> best;
    double least = std::numeric_limits<double>::max();
    for (const std::size_t choice : undecided) {
      double work = 0;
      std::vector<Child> children = trials(node, choice, least, work);
      if (is_done() || node.left[choice] == 0) return {};
      if (work >= least) continue;
      least = work;
      best = std::move(children);
    }
    if (!propagate(node)) return {};
    for (Child& child : best)
      for (Number i = 0; i < all_.size(); ++i)
        if (!node.live.has(i)) drop(child.node, i);
    std::stable_sort(best.begin(), best.end(), [](Child const& a, Child const& b) { return a.bound < b.bound; });
    return best;
  }

  // Choices that the solution of the program decides the least.
  std::vector<std::size_t> least_decided(Node const& node) const {
    std::vector<std::pair<double, std::size_t>> order;  // by the greatest share
    for (std::size_t c = 0; c < choices(); ++c)
      if (node.left[c] > 1) order.emplace_back(greatest_share(node, c), c);
    std::sort(order.begin(), order.end());
    std::vector<std::size_t> all;
    for (auto const& [share, choice] : order)
      if (all.size() < kTried) all.push_back(choice);
    return all;
  }

  // Stops when the work that they leave is more than `least`.
  std::vector<Child> trials(Node& node, std::size_t choice, double least, double& work) {
    const std::int64_t bound = judge(node);
    const double gap = static_cast<double>(std::max<std::int64_t>(1, most() + 1 - bound));
    std::vector<Child> children;
    for_each_live(node, choice, [&](Number option) {
      if (is_done() || work >= least || !effort_.spend()) return;
      Child child{bound, {node.live, node.left, node.prices}};
      decide(child.node, option);
      bool is_alive = propagate(child.node);
      if (is_alive && node.program) {
        child.node.program = node.program;
        take_solution(child.node, kStepsOfTrial);
        child.bound = std::max(bound, judge(child.node));
        take_if_plan();
        is_alive = child.bound <= most();
      }
      if (!is_alive) {
        drop(node, option);
        return;
      }
      work += std::exp(-kLess * static_cast<double>(child.bound - bound) / gap);
      children.push_back(std::move(child));
    });
    return children;
  }

  // ---- prices

  // The best prices.
  void solve(Node& node) {
    const bool is_new = !node.program;
    if (is_new) start_program(node);
    take_solution(node, kSimplexSteps);
    if (!node.program->is_without_plan() || judge(node) > most()) return;
    // The prices do not prove that there is none: what was carried from program to program has lost its digits.
    if (!is_new) {
      start_program(node);
      take_solution(node, kSimplexSteps);
    }
    if (node.program->is_without_plan()) node.program.reset();
  }

  void start_program(Node& node) const {
    std::vector<PadPrices::Option> live;
    for (Number i = 0; i < all_.size(); ++i)
      if (node.live.has(i)) live.push_back({i, choice_of_[i], all_[i]->cost, &limits_of_[i]});
    node.program.emplace(live, all_.size(), choices(), limits_);
  }

  // Leaves out of the program what is decided.
  void shrink(Node& node) const {
    if (!node.program) return;
    constexpr std::size_t kNobody = ~std::size_t{0};
    std::vector<std::size_t> taker(limits_.size(), kNobody);
    std::vector<char> is_needed(limits_.size());
    for (Number i = 0; i < all_.size(); ++i) {
      if (!node.live.has(i)) continue;
      for (const std::uint32_t limit : limits_of_[i]) {
        if (taker[limit] != kNobody && taker[limit] != choice_of_[i]) is_needed[limit] = 1;
        taker[limit] = choice_of_[i];
      }
    }
    if (budget_) is_needed.back() = 1;
    node.program->forget(is_needed);
  }

  void take_solution(Node& node, int steps) {
    for (int round = 0; round < kMostRounds; ++round) {
      for (Number i = 0; i < all_.size(); ++i)
        if (!node.live.has(i) && node.program->has(i)) node.program->remove(i);
      node.program->solve(steps);
      shares_ = node.program->shares();
      // What could not be removed before may be in the way now.
      bool is_whole = true;
      for (Number i = 0; i < all_.size(); ++i) is_whole = is_whole && (node.live.has(i) || shares_[i] < kShareOfNone);
      if (is_whole || node.program->is_without_plan() || steps < kSimplexSteps) break;
    }
    const std::vector<double> prices = node.program->prices();
    node.prices.resize(prices.size());
    std::transform(prices.begin(), prices.end(), node.prices.begin(), [](double price) {
      return static_cast<int>(std::lround(std::min(price, PadPrices::kMost) * kScale));
    });
  }

  // What a better plan may cost, in the scale of prices.
  std::int64_t most() const { return std::int64_t{best_cost_ - 1} * kScale; }

  // The bound at the prices, and who wants what.
  std::int64_t judge(Node const& node) {
    std::int64_t bound = 0;
    for (std::size_t limit = 0; limit < node.prices.size(); ++limit)
      bound -= std::int64_t{node.prices[limit]} * limits_[limit];
    priced_.resize(all_.size());
    wanted_.resize(choices());
    least_.resize(choices());
    for (std::size_t c = 0; c < choices(); ++c) {
      least_[c] = std::numeric_limits<std::int64_t>::max();
      for_each_live(node, c, [&](Number i) {
        priced_[i] = std::int64_t{all_[i]->cost} * kScale;
        if (!node.prices.empty())
          for (const std::uint32_t limit : limits_of_[i]) priced_[i] += node.prices[limit];
        if (priced_[i] >= least_[c]) return;
        least_[c] = priced_[i];
        wanted_[c] = i - first_number_[c];
      });
      bound += least_[c];
    }
    return bound;
  }

  bool rule_out(Node& node, std::int64_t bound) const {
    bool any = false;
    for (std::size_t c = 0; c < choices(); ++c)
      if (node.left[c] > 1)
        for_each_live(node, c, [&](Number i) {
          if (bound + priced_[i] - least_[c] <= most()) return;
          drop(node, i);
          any = true;
        });
    return any;
  }

  // ---- plans

  double greatest_share(Node const& node, std::size_t choice) const {
    double greatest = 0;
    for_each_live(node, choice, [&](Number i) { greatest = std::max(greatest, shares_[i]); });
    return greatest;
  }

  void take_if_plan() {
    Bits taken(all_.size());
    int counted = 0;
    for (std::size_t c = 0; c < choices(); ++c) {
      const Number i = first_number_[c] + static_cast<Number>(wanted_[c]);
      if (taken.has(i)) return;
      taken.add(conflicts_[i]);
      counted += all_[i]->counts ? 1 : 0;
    }
    if (!budget_ || counted <= *budget_) take(wanted_);
  }

  void take(Chosen const& chosen) {
    int total = 0;
    for (std::size_t c = 0; c < choices(); ++c) total += options_[c][chosen[c]].cost;
    if (total >= best_cost_) return;
    best_cost_ = total;
    best_ = chosen;
  }

  // The plan in which one after the other takes what is left of the solution.
  void repair(Node const& node) {
    judge(node);
    std::vector<std::pair<double, std::size_t>> order;
    for (std::size_t c = 0; c < choices(); ++c)
      order.emplace_back(node.left[c] == 1 ? -2 : -greatest_share(node, c), c);
    std::sort(order.begin(), order.end());
    Bits taken(all_.size());
    Chosen chosen(choices());
    int counted = 0;
    for (auto const& [share, c] : order) {
      std::optional<Number> best;
      std::pair<double, std::int64_t> least;
      for_each_live(node, c, [&](Number i) {
        const std::pair price{-shares_[i], priced_[i]};
        if (taken.has(i) || (best && price >= least)) return;
        least = price;
        best = i;
      });
      if (!best) return;
      chosen[c] = *best - first_number_[c];
      taken.add(conflicts_[*best]);
      counted += all_[*best]->counts ? 1 : 0;
    }
    if (!budget_ || counted <= *budget_) take(chosen);
  }

  std::vector<std::vector<PadOption>> const& options_;
  std::optional<int> budget_;
  PadEffort& effort_;
  std::vector<PadOption const*> all_;
  std::vector<Number> first_number_;                   // by choice, and one behind the last
  std::vector<std::size_t> choice_of_;                 // by option
  std::vector<Bits> places_;                           // by place: the options that want it
  std::vector<Bits> conflicts_;                        // by option: those of other choices that want one of its places
  std::vector<int> limits_;                            // how many may have it
  std::vector<std::vector<std::uint32_t>> limits_of_;  // by option
  bool is_root_ = false;
  bool any_ = false;  // plan as good as the best will do
  int bound_ = 0, best_cost_ = 0;
  std::optional<Chosen> best_;
  std::vector<double> shares_;  // of the program that was solved last
  // Of the latest judgement:
  Chosen wanted_;
  std::vector<std::int64_t> least_, priced_;
};

}  // namespace

PadChosen least_of(PadChoices const& choices, PadEffort& effort) {
  Search search(choices, effort);
  std::optional<Chosen> plan = search.least();
  return {std::move(plan), search.bound()};
}

PadChosen first_least_of(PadChoices const& choices, PadEffort& effort) {
  Search search(choices, effort);
  if (!search.least()) return {std::nullopt, search.bound()};
  return {search.first(), search.bound()};
}

}  // namespace kdi::cores
