// The seats of functions on pads. Each peripheral is one decision among its options; options exclude one another by the
// pads that they share. Branch and bound: pads have prices; every peripheral takes the option that is cheapest at the
// prices of its pads; what that costs in all, less the prices, is a bound below all plans. Prices are raised where an
// option is wanted twice, and then set by linear programming to those of the highest bound; that bound is computed
// again in whole numbers. Peripherals that have no pads in common are decided apart.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <utility>

#include "kdi/cores/Pads.h"
#include "platform/cores/search/pad_prices.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostPads = 256;
constexpr std::size_t kMostFunctions = 1000;
constexpr std::size_t kMostOptions = 4096;  // of a peripheral

class PadSet {
 public:
  void add(std::uint32_t pad) { words_[pad / 64] |= std::uint64_t{1} << pad % 64; }
  void add(PadSet const& other) {
    for (std::size_t i = 0; i < words_.size(); ++i) words_[i] |= other.words_[i];
  }
  bool meets(PadSet const& other) const { return !common(other).empty(); }
  bool within(PadSet const& other) const { return common(other) == *this; }
  bool empty() const { return (words_[0] | words_[1] | words_[2] | words_[3]) == 0; }
  PadSet common(PadSet const& other) const {
    PadSet result;
    for (std::size_t i = 0; i < words_.size(); ++i) result.words_[i] = words_[i] & other.words_[i];
    return result;
  }
  std::vector<std::uint32_t> pads() const {
    std::vector<std::uint32_t> all;
    for (std::uint32_t i = 0; i < words_.size(); ++i)
      for (std::uint64_t rest = words_[i]; rest != 0; rest &= rest - 1)
        all.push_back(i * 64 + static_cast<std::uint32_t>(std::countr_zero(rest)));
    return all;
  }
  friend bool operator==(PadSet const&, PadSet const&) = default;

 private:
  std::array<std::uint64_t, kMostPads / 64> words_{};
};

PadSet set_of(PadGroup const& group) {
  PadSet set;
  for (const std::uint32_t pad : group.pads) {
    if (pad >= kMostPads) throw PadError("pads are numbered from 0 to 255");
    set.add(pad);
  }
  return set;
}

// A way to seat a peripheral, or to give it up.
struct Option {
  enum class Kind : std::uint8_t { stay, move, give_up } kind;
  PadSet pads;
  std::vector<std::uint32_t> pad_list;
  std::vector<std::size_t> groups;  // by function of the peripheral
};

struct Peripheral {
  std::string name;
  std::vector<std::size_t> functions;  // by name
  std::vector<Option> options;         // the preferred first
};

// ------------------------------------------------------------------------------------------------------------ options

void check(std::vector<PadFunction> const& functions) {
  if (functions.size() > kMostFunctions) throw PadError("at most 1000 functions");
  std::set<std::string> names;
  for (PadFunction const& function : functions) {
    if (!names.insert(function.name).second) throw PadError("two functions are called " + function.name);
    if (function.present >= function.groups.size()) throw PadError(function.name + " sits on none of its groups");
  }
}

// A way to move serves as well as one behind it that takes at least the same pads.
void drop_needless(std::vector<Option>& options) {
  std::vector<Option> kept;
  for (Option& option : options) {
    const auto serves = [&](Option const& before) { return before.pads.within(option.pads); };
    if (std::any_of(kept.begin(), kept.end(), serves)) continue;
    if (kept.size() == kMostOptions) throw PadError("too many ways");
    kept.push_back(std::move(option));
  }
  options = std::move(kept);
}

// The groups of a function that may be taken, the present one first.
std::vector<std::size_t> groups_of(PadFunction const& function) {
  std::vector<std::size_t> order{function.present};
  for (std::size_t g = 0; g < function.groups.size(); ++g)
    if (g != function.present) order.push_back(g);
  std::erase_if(order, [&](std::size_t g) { return function.groups[g].closed; });
  return order;
}

// All ways to seat the functions beside one another, the preferred first, without those that another serves as well as:
// what is needless of the first functions is needless whatever the next ones take.
void seat(std::vector<PadFunction> const& functions, Peripheral& peripheral) {
  std::vector<Option> ways{{Option::Kind::stay, {}, {}, {}}};
  for (const std::size_t number : peripheral.functions) {
    PadFunction const& function = functions[number];
    const std::vector<std::size_t> groups = groups_of(function);
    std::vector<PadSet> own;  // by group, closed ones too: their numbers are checked
    std::transform(function.groups.begin(), function.groups.end(), std::back_inserter(own), set_of);
    std::vector<Option> longer;
    for (Option const& way : ways)
      for (const std::size_t g : groups) {
        if (own[g].meets(way.pads)) continue;
        Option& option = longer.emplace_back(way);
        option.pads.add(own[g]);
        option.groups.push_back(g);
        if (g != function.present) option.kind = Option::Kind::move;
      }
    try {
      drop_needless(longer);
    } catch (PadError const& error) {
      throw PadError(peripheral.name + " has " + error.what() + " to be seated");
    }
    ways = std::move(longer);
  }
  for (Option& way : ways) way.pad_list = way.pads.pads();
  peripheral.options = std::move(ways);
}

std::vector<Peripheral> peripherals_of(std::vector<PadFunction> const& functions) {
  std::map<std::string, std::map<std::string, std::size_t>> by_name;
  for (std::size_t f = 0; f < functions.size(); ++f) by_name[functions[f].peripheral].emplace(functions[f].name, f);
  std::vector<Peripheral> all;
  for (auto const& [name, own] : by_name) {
    Peripheral& peripheral = all.emplace_back(Peripheral{name, {}, {}});
    for (auto const& [function, number] : own) peripheral.functions.push_back(number);
    seat(functions, peripheral);
  }
  return all;
}

// ---------------------------------------------------------------------------------------------------- branch and bound

constexpr int kInfinite = std::numeric_limits<int>::max() / 4;

// What is to be least, beside how much of what.
struct Aim {
  std::array<int, 3> cost;  ///< by kind of option
  int budget = kInfinite;   ///< of those given up
};

using Chosen = std::vector<std::size_t>;  // by peripheral: an option

// How many decisions a call may try, so that it ends.
class Effort {
 public:
  explicit Effort(int steps) : steps_(steps), left_(steps) {}

  /// One more; false if there is none left.
  bool spend() {
    is_spent_ = left_ <= 0;
    if (!is_spent_) --left_;
    return !is_spent_;
  }
  /// Whether one was asked for in vain.
  bool is_spent() const { return is_spent_; }
  int steps() const { return steps_; }

 private:
  int steps_, left_;
  bool is_spent_ = false;
};

// The least cost of peripherals with these options, one of each, none of which share a pad.
class Seating {
 public:
  Seating(std::vector<std::vector<Option const*>> options, Aim aim, Effort& effort)
      : options_(std::move(options)), aim_(aim), effort_(effort) {
    std::size_t number = 0;
    for (std::vector<Option const*> const& list : options_) {
      root_.allowed.emplace_back(list.size());
      std::iota(root_.allowed.back().begin(), root_.allowed.back().end(), std::size_t{0});
      first_number_.push_back(number);
      number += list.size();
    }
    is_there_.assign(number, 1);
  }

  /// A plan that is known already.
  void know(Chosen const& chosen) {
    best_ = chosen;
    best_cost_ = cost(chosen);
  }

  /// A plan of the least cost; nothing if there is none. Of a spent effort: the best so far.
  std::optional<Chosen> least() {
    if (!best_) best_cost_ = static_cast<int>(options_.size()) + 1;
    is_root_ = true;
    descend(root_, kRootSteps);
    is_root_ = false;
    bound_ = effort_.is_spent() ? std::min(bound_, best_cost_) : best_cost_;
    return best_;
  }

  /// After least(): of the plans with that cost the first. Of a spent effort: one that was found.
  Chosen first() {
    Chosen found = *best_;
    if (effort_.is_spent()) return found;
    any_ = true;
    best_cost_ = bound_ + 1;
    for (std::size_t p = 0; p < options_.size() && !effort_.is_spent(); ++p) {
      tighten_root();
      while (root_.allowed[p].front() < found[p]) {
        Node node = root_;
        node.allowed[p] = {root_.allowed[p].front()};
        best_.reset();
        descend(std::move(node), kSteps);
        best_cost_ = bound_ + 1;
        if (best_) found = *best_;
        if (best_ || effort_.is_spent()) break;
        root_.allowed[p].erase(root_.allowed[p].begin());
      }
      root_.allowed[p] = {found[p]};
    }
    return found;
  }

  /// No plan costs less.
  int bound() const { return std::max(0, bound_); }

  int cost(Chosen const& chosen) const {
    int total = 0;
    for (std::size_t p = 0; p < chosen.size(); ++p) total += cost(p, chosen[p]);
    return total;
  }

 private:
  static constexpr int kScale = 1 << 12;  // prices are fractions of a cost
  static constexpr int kMostPrice = static_cast<int>(PadPrices::kMost) * kScale;
  static constexpr int kRootSteps = 150;
  static constexpr int kSteps = 0;
  static constexpr int kSimplexSteps = 5000;

  struct Node {
    std::vector<std::vector<std::size_t>> allowed;
    std::array<int, kMostPads> prices{};
    int budget_price = 0;
    std::optional<PadPrices> program{};
    std::vector<char> in_program{};  // by option
    Node const* above = nullptr;     // whose program this one goes on with: many end before they need it
  };

  int cost(std::size_t p, std::size_t option) const {
    return aim_.cost[static_cast<std::size_t>(options_[p][option]->kind)];
  }
  bool is_given_up(std::size_t p, std::size_t option) const {
    return options_[p][option]->kind == Option::Kind::give_up;
  }

  // Leaves only what plans of the least cost have.
  void tighten_root() {
    propagate(root_);
    solve(root_);
    while (rule_out(root_, judge(root_))) propagate(root_);
  }

  void descend(Node node, int steps) {
    if (any_ && best_) return;
    if (!is_root_ && !effort_.spend()) return;  // of each part the root is looked at: it gives a bound and a plan
    if (!narrow(node, steps)) return;
    if (std::exchange(is_root_, false)) root_.prices = node.prices;
    const std::size_t p = branching(node);
    if (p == options_.size()) return;  // everything is decided, and was taken as a plan
    std::vector<std::size_t> ways = std::move(node.allowed[p]);
    std::stable_sort(ways.begin(), ways.end(), [&](std::size_t a, std::size_t b) { return share(p, a) > share(p, b); });
    for (const std::size_t way : ways) {
      Node child{node.allowed, node.prices, node.budget_price};
      child.above = &node;
      child.allowed[p] = {way};
      descend(std::move(child), kSteps);
    }
  }

  double share(std::size_t p, std::size_t option) const { return shares_[first_number_[p] + option]; }

  // Whoever the solution of the program decides the least.
  std::size_t branching(Node const& node) const {
    std::size_t best = options_.size();
    double least = 0;
    for (std::size_t p = 0; p < options_.size(); ++p) {
      if (node.allowed[p].size() < 2) continue;
      double most = 0;
      for (const std::size_t option : node.allowed[p]) most = std::max(most, share(p, option));
      if (best != options_.size() && most >= least) continue;
      least = most;
      best = p;
    }
    return best;
  }

  // Rules out options that no plan below the best has; false if that leaves a peripheral without any.
  bool narrow(Node& node, int steps) {
    if (!propagate(node)) return false;
    if (!try_prices(node, steps) || !settle(node)) return false;
    solve(node);
    if (!settle(node)) return false;
    repair(node);
    const std::int64_t bound = judge(node);
    if (is_root_) bound_ = static_cast<int>((bound + kScale - 1) / kScale);
    return bound <= most() && !(any_ && best_);
  }

  // Prices step by step; the best of them are left in the node.
  bool try_prices(Node& node, int steps) {
    if (steps == 0) return true;
    std::int64_t best_bound = std::numeric_limits<std::int64_t>::min();
    std::array<int, kMostPads> best_prices = node.prices;
    int best_budget_price = node.budget_price;
    int largest = kScale / 2;
    int patience = 3;
    for (int n = 0; n <= steps; ++n) {
      const std::int64_t bound = judge(node);
      take_if_plan();
      if (bound > most()) return false;
      if (bound > best_bound) {
        best_bound = bound;
        best_prices = node.prices;
        best_budget_price = node.budget_price;
        patience = 3;
      } else if (--patience == 0) {
        largest = std::max(1, largest / 2);
        patience = 3;
      }
      if (n == steps || !step_prices(node, largest)) break;
    }
    node.prices = best_prices;
    node.budget_price = best_budget_price;
    return true;
  }

  // What the prices say of the options.
  bool settle(Node& node) {
    while (true) {
      const std::int64_t bound = judge(node);
      take_if_plan();
      if (bound > most() || (any_ && best_)) return false;
      if (!rule_out(node, bound)) return true;
      if (!propagate(node)) return false;
    }
  }

  // The best prices.
  void solve(Node& node) {
    if (!node.program && node.above != nullptr) {
      node.program = node.above->program;
      node.in_program = node.above->in_program;
    }
    const bool is_new = !node.program;
    if (is_new) start_program(node);
    take_solution(node);
    if (!node.program->is_without_plan() || judge(node) > most()) return;
    // The prices do not prove that there is none: what was carried from program to program has lost its digits.
    if (!is_new) {
      start_program(node);
      take_solution(node);
    }
    if (node.program->is_without_plan()) node.program.reset();
  }

  void take_solution(Node& node) {
    is_there_.assign(is_there_.size(), 0);
    for (std::size_t p = 0; p < options_.size(); ++p)
      for (const std::size_t option : node.allowed[p]) is_there_[first_number_[p] + option] = 1;
    for (std::size_t number = 0; number < is_there_.size(); ++number) {
      if (is_there_[number] != 0 || node.in_program[number] == 0) continue;
      node.in_program[number] = 0;
      node.program->remove(number);
    }
    node.program->solve(kSimplexSteps);
    const auto scaled = [](double price) {
      return static_cast<int>(std::lround(std::min(price, PadPrices::kMost) * kScale));
    };
    const std::vector<double> prices = node.program->prices(kMostPads);
    std::transform(prices.begin(), prices.end(), node.prices.begin(), scaled);
    node.budget_price = scaled(node.program->budget_price());
    shares_ = node.program->shares();
  }

  void start_program(Node& node) const {
    std::vector<PadPrices::Option> all;
    for (std::size_t p = 0; p < options_.size(); ++p)
      for (std::size_t option = 0; option < options_[p].size(); ++option)
        all.push_back({p, &options_[p][option]->pad_list, cost(p, option), is_given_up(p, option)});
    node.program.emplace(all, options_.size(), aim_.budget == kInfinite ? std::nullopt : std::optional(aim_.budget));
    node.in_program.assign(all.size(), 1);
  }

  // What a better plan may cost, in the scale of prices.
  std::int64_t most() const { return std::int64_t{best_cost_ - 1} * kScale; }

  // Pads of what is decided are nobody else's.
  bool propagate(Node& node) const {
    std::vector<std::size_t> decided;
    std::vector<char> is_done(options_.size());
    for (bool changed = true; changed;) {
      changed = false;
      for (std::size_t p = 0; p < options_.size(); ++p) {
        if (is_done[p] != 0 || node.allowed[p].size() != 1) continue;
        is_done[p] = 1;
        PadSet const& taken = options_[p][node.allowed[p].front()]->pads;
        for (std::size_t q = 0; q < options_.size(); ++q) {
          if (q == p) continue;
          const std::size_t gone = std::erase_if(
              node.allowed[q], [&](std::size_t option) { return options_[q][option]->pads.meets(taken); });
          if (node.allowed[q].empty()) return false;
          changed = changed || gone != 0;
        }
        changed = true;
      }
    }
    return true;
  }

  int priced(Node const& node, std::size_t p, std::size_t option) const {
    int price = cost(p, option) * kScale + (is_given_up(p, option) ? node.budget_price : 0);
    for (const std::uint32_t pad : options_[p][option]->pad_list) price += node.prices[pad];
    return price;
  }

  // The bound at the prices, and who wants what.
  std::int64_t judge(Node const& node) {
    std::int64_t bound = aim_.budget == kInfinite ? 0 : -std::int64_t{node.budget_price} * aim_.budget;
    for (const int price : node.prices) bound -= price;
    wanted_.resize(options_.size());
    least_.resize(options_.size());
    use_.fill(0);
    given_up_ = 0;
    for (std::size_t p = 0; p < options_.size(); ++p) {
      least_[p] = std::numeric_limits<int>::max();
      for (const std::size_t option : node.allowed[p]) {
        const int price = priced(node, p, option);
        if (price >= least_[p]) continue;
        least_[p] = price;
        wanted_[p] = option;
      }
      bound += least_[p];
      for (const std::uint32_t pad : options_[p][wanted_[p]]->pad_list) ++use_[pad];
      given_up_ += is_given_up(p, wanted_[p]) ? 1 : 0;
    }
    return bound;
  }

  void take_if_plan() {
    if (given_up_ > aim_.budget || std::any_of(use_.begin(), use_.end(), [](int n) { return n > 1; })) return;
    take(wanted_);
  }

  void take(Chosen const& chosen) {
    const int total = cost(chosen);
    if (total >= best_cost_) return;
    best_cost_ = total;
    best_ = chosen;
  }

  // The plan in which one after the other takes what is left of the solution.
  void repair(Node const& node) {
    judge(node);
    std::vector<std::size_t> order(options_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto most = [&](std::size_t p) {
      double share_of_best = node.allowed[p].size() == 1 ? 2 : 0;
      for (const std::size_t option : node.allowed[p]) share_of_best = std::max(share_of_best, share(p, option));
      return share_of_best;
    };
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return most(a) > most(b); });
    PadSet taken;
    Chosen chosen(options_.size());
    int given_up = 0;
    for (const std::size_t p : order) {
      std::size_t best = options_[p].size();
      std::pair<double, int> least;
      for (const std::size_t option : node.allowed[p]) {
        if (options_[p][option]->pads.meets(taken)) continue;
        const std::pair price{-share(p, option), priced(node, p, option)};
        if (best != options_[p].size() && price >= least) continue;
        least = price;
        best = option;
      }
      if (best == options_[p].size()) return;
      chosen[p] = best;
      taken.add(options_[p][best]->pads);
      given_up += is_given_up(p, best) ? 1 : 0;
    }
    if (given_up <= aim_.budget) take(chosen);
  }

  bool rule_out(Node& node, std::int64_t bound) const {
    bool any = false;
    for (std::size_t p = 0; p < options_.size(); ++p)
      if (node.allowed[p].size() > 1)
        any = std::erase_if(node.allowed[p],
                            [&](std::size_t option) { return bound + priced(node, p, option) - least_[p] > most(); }) !=
                  0 ||
              any;
    return any;
  }

  bool step_prices(Node& node, int largest) const {
    bool changed = false;
    for (std::size_t pad = 0; pad < kMostPads; ++pad) {
      const int slope = use_[pad] - 1;
      if (slope == 0 || (slope < 0 && node.prices[pad] == 0)) continue;
      const int price = std::clamp(node.prices[pad] + slope * largest, 0, kMostPrice);
      changed = changed || price != node.prices[pad];
      node.prices[pad] = price;
    }
    if (aim_.budget != kInfinite) {
      const int price = std::clamp(node.budget_price + (given_up_ - aim_.budget) * largest, 0, kMostPrice);
      changed = changed || price != node.budget_price;
      node.budget_price = price;
    }
    return changed;
  }

  std::vector<std::vector<Option const*>> options_;
  Aim aim_;
  Effort& effort_;
  std::vector<std::size_t> first_number_;  // by peripheral: of its options among all
  Node root_;
  bool is_root_ = false;
  int bound_ = 0;
  int best_cost_ = 0;
  std::optional<Chosen> best_;
  bool any_ = false;
  std::vector<char> is_there_;  // by option
  std::vector<double> shares_;  // of the program that was solved last
  // Of the latest judgement:
  Chosen wanted_;
  std::vector<int> least_;
  std::array<int, kMostPads> use_{};
  int given_up_ = 0;
};

// ------------------------------------------------------------------------------------------------------------- plans

constexpr Aim kGiveUpFewest{{0, 0, 1}, kInfinite};
constexpr Aim kMoveFewest{{0, 1, 0}, kInfinite};

class Planner {
 public:
  Planner(std::vector<PadFunction> const& functions, int steps) : functions_(functions), effort_(std::max(1, steps)) {
    check(functions);
    peripherals_ = peripherals_of(functions);
    chosen_.resize(peripherals_.size());
  }

  // Without giving up; false if that cannot be.
  bool seat_all() {
    for (std::vector<std::size_t> const& part : parts())
      if (!decide(part, kMoveFewest)) return false;
    return true;
  }

  void give_up_only() {
    for (Peripheral& peripheral : peripherals_) {
      std::erase_if(peripheral.options, [](Option const& option) { return option.kind == Option::Kind::move; });
      peripheral.options.push_back({Option::Kind::give_up, {}, {}, {}});
    }
    for (std::vector<std::size_t> const& part : parts())
      least_given_up_ += *decide(part, kGiveUpFewest, all_given_up(part));
  }

  void give_up_fewest() {
    for (Peripheral& peripheral : peripherals_) peripheral.options.push_back({Option::Kind::give_up, {}, {}, {}});
    for (std::vector<std::size_t> const& part : parts()) {
      Seating seating(options_of(part), kGiveUpFewest, effort_);
      seating.know(all_given_up(part));
      const Chosen known = *seating.least();
      least_given_up_ += seating.bound();
      Aim aim = kMoveFewest;
      aim.budget = seating.cost(known);
      decide(part, aim, known);
    }
  }

  PadPlan plan() const {
    PadPlan plan;
    plan.groups.resize(functions_.size());
    plan.unproven_within = effort_.is_spent() ? effort_.steps() : 0;
    plan.least_given_up = static_cast<std::size_t>(least_given_up_);
    for (std::size_t p = 0; p < peripherals_.size(); ++p) {
      Option const& option = *chosen_[p];
      if (option.kind == Option::Kind::give_up) plan.given_up.push_back(peripherals_[p].name);
      if (option.kind == Option::Kind::move) plan.moved.push_back(peripherals_[p].name);
      for (std::size_t i = 0; i < option.groups.size(); ++i)
        plan.groups[peripherals_[p].functions[i]] = option.groups[i];
    }
    return plan;
  }

 private:
  std::vector<std::vector<Option const*>> options_of(std::vector<std::size_t> const& part) const {
    std::vector<std::vector<Option const*>> options;
    for (const std::size_t p : part) {
      options.emplace_back();
      for (Option const& option : peripherals_[p].options) options.back().push_back(&option);
    }
    return options;
  }

  // To be given up is everybody's last option.
  Chosen all_given_up(std::vector<std::size_t> const& part) const {
    Chosen chosen;
    for (const std::size_t p : part) chosen.push_back(peripherals_[p].options.size() - 1);
    return chosen;
  }

  // The first of the plans of the least cost, and that cost; nothing if there is none.
  std::optional<int> decide(std::vector<std::size_t> const& part, Aim aim, std::optional<Chosen> const& known = {}) {
    const auto options = options_of(part);
    if (std::any_of(options.begin(), options.end(), [](auto const& list) { return list.empty(); })) return std::nullopt;
    Seating seating(options, aim, effort_);
    if (known) seating.know(*known);
    if (!seating.least()) {
      if (effort_.is_spent())
        throw PadEffortError("no free assignment was found, nor proven not to be, within " +
                             std::to_string(effort_.steps()) + " steps");
      return std::nullopt;
    }
    const Chosen chosen = seating.first();
    for (std::size_t i = 0; i < part.size(); ++i) chosen_[part[i]] = options[i][chosen[i]];
    return seating.bound();
  }

  // Peripherals that some pad may bring together, by way of others or not.
  std::vector<std::vector<std::size_t>> parts() const {
    std::vector<std::size_t> head(peripherals_.size());
    std::iota(head.begin(), head.end(), std::size_t{0});
    const auto find = [&](std::size_t p) {
      while (head[p] != p) p = head[p] = head[head[p]];
      return p;
    };
    std::array<std::size_t, kMostPads> first{};
    first.fill(peripherals_.size());
    for (std::size_t p = 0; p < peripherals_.size(); ++p)
      for (Option const& option : peripherals_[p].options)
        for (const std::uint32_t pad : option.pad_list) {
          if (first[pad] == peripherals_.size()) first[pad] = p;
          const std::size_t a = find(first[pad]), b = find(p);
          head[std::max(a, b)] = std::min(a, b);
        }
    std::map<std::size_t, std::vector<std::size_t>> by_head;
    for (std::size_t p = 0; p < peripherals_.size(); ++p) by_head[find(p)].push_back(p);
    std::vector<std::vector<std::size_t>> all;
    for (auto& [number, part] : by_head) all.push_back(std::move(part));
    return all;
  }

  std::vector<PadFunction> const& functions_;
  std::vector<Peripheral> peripherals_;
  std::vector<Option const*> chosen_;
  Effort effort_;
  int least_given_up_ = 0;
};

}  // namespace

std::string text_of(PadPlan const& plan) {
  if (plan.unproven_within == 0) return {};
  return "not proven within " + std::to_string(plan.unproven_within) + " steps: gives up " +
         std::to_string(plan.given_up.size()) + ", at least " + std::to_string(plan.least_given_up) +
         " have to be given up; moves " + std::to_string(plan.moved.size());
}

std::vector<PadConflict> conflicts(std::vector<PadFunction> const& functions) {
  check(functions);
  std::vector<PadSet> seats;
  for (PadFunction const& function : functions) seats.push_back(set_of(function.groups[function.present]));
  std::vector<PadConflict> all;
  for (std::size_t a = 0; a < functions.size(); ++a)
    for (std::size_t b = a + 1; b < functions.size(); ++b)
      if (seats[a].meets(seats[b])) all.push_back({a, b, seats[a].common(seats[b]).pads()});
  return all;
}

std::optional<PadPlan> free_assignment(std::vector<PadFunction> const& functions, int steps) {
  Planner planner(functions, steps);
  return planner.seat_all() ? std::optional(planner.plan()) : std::nullopt;
}

PadPlan nearest_repair(std::vector<PadFunction> const& functions, PadRepair repair, int steps) {
  Planner planner(functions, steps);
  if (repair == PadRepair::fewest_moved)
    planner.give_up_only();
  else
    planner.give_up_fewest();
  return planner.plan();
}

}  // namespace kdi::cores
