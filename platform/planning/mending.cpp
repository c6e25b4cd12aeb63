// The fewest swaps after which a board breaks the rules as little as swaps permit.
//
// Whatever order swaps come in, those of larger things can be made first and those of bits in them after, as many as
// before. What changes places among themselves comes to an arrangement with as many swaps as it has things less its
// cycles. So a mending is an arrangement of each class, bits within larger things, and costs add up: of a thing at a
// place what is asked for elsewhere, of two nibbles of a byte what their places break together. All else that the
// rules ask is the same for whatever may change places.
#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <set>

#include "kdi/planning/Board.h"

namespace kdi::planning {
namespace {

using Cost = std::int64_t;
constexpr Cost kBreach = 1 << 20;  ///< a signal in breach, against one swap; even
constexpr int kMostSteps = 300'000;

using Table = std::vector<std::vector<Cost>>;

/// What an arrangement of things on as many places costs beside its swaps.
struct Costs {
  Table at;        ///< by thing and place
  Table together;  ///< by places of two things that belong together, 2k and 2k + 1; empty: none do
  std::vector<std::vector<bool>> elsewhere;  ///< by such two, and place: it is not where they are asked for
};

struct Arranged {
  std::vector<int> place_of;
  Cost cost = 0;
  Cost at_least = 0;  ///< no arrangement costs less
};

// Thing by thing, the cheapest place first; a branch ends where the least that it can come to is no better.
class Arranger {
 public:
  explicit Arranger(Costs const& costs)
      : costs_(costs),
        count_(costs.at.size()),
        place_of_(count_, -1),
        is_taken_(count_),
        start_of_(count_),
        end_of_(count_) {
    std::iota(start_of_.begin(), start_of_.end(), std::size_t{0});
    std::iota(end_of_.begin(), end_of_.end(), std::size_t{0});
    if (!costs_.together.empty()) least_together();
  }

  Arranged arrange() {
    best_.place_of.resize(count_);
    std::iota(best_.place_of.begin(), best_.place_of.end(), 0);
    for (std::size_t thing = 0; thing < count_; ++thing) best_.cost += costs_.at[thing][thing];
    for (std::size_t thing = 1; thing < count_ && !costs_.together.empty(); thing += 2)
      best_.cost += pair_cost(thing, thing - 1, thing);
    order();
    best_.at_least = least_of_rest(0);
    go(0, 0);
    if (steps_ <= kMostSteps) best_.at_least = best_.cost;
    return std::move(best_);
  }

 private:
  void least_together() {
    half_.assign(count_, 0);
    for (std::size_t place = 0; place < count_; ++place) {
      Cost least = INT64_MAX;
      for (std::size_t other = 0; other < count_; ++other)
        if (other != place) least = std::min(least, costs_.together[place][other]);
      half_[place] = least / 2;
      open_ += half_[place];
    }
  }

  Cost pair_cost(std::size_t thing, std::size_t first, std::size_t second) const {
    auto const& elsewhere = costs_.elsewhere[thing / 2];
    return costs_.together[first][second] + (elsewhere[first] || elsewhere[second] ? kBreach : 0);
  }

  // Things that care the most where they are come first; two that belong together follow each other.
  void order() {
    order_.resize(count_);
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    if (!costs_.together.empty()) return;
    std::vector<Cost> regret(count_, 0);
    for (std::size_t thing = 0; thing < count_ && count_ > 1; ++thing) {
      std::vector<Cost> row = costs_.at[thing];
      std::nth_element(row.begin(), row.begin() + 1, row.end());
      regret[thing] = row[1] - *std::min_element(row.begin(), row.end());
    }
    std::stable_sort(order_.begin(), order_.end(), [&](std::size_t a, std::size_t b) { return regret[a] > regret[b]; });
  }

  Cost least_of_rest(std::size_t from) const {
    Cost sum = open_;
    for (std::size_t i = from; i < count_; ++i) {
      Cost least = INT64_MAX;
      for (std::size_t place = 0; place < count_; ++place)
        if (!is_taken_[place]) least = std::min(least, costs_.at[order_[i]][place]);
      sum += least;
    }
    return sum;
  }

  // What is arranged so far are cycles and open paths, and a path is closed by no swap of its own.
  bool closes(std::size_t thing, std::size_t place) const { return start_of_[thing] == place; }

  void go(std::size_t at, Cost cost) {
    if (++steps_ > kMostSteps || cost + least_of_rest(at) >= best_.cost) return;
    if (at == count_) {
      best_.cost = cost;
      best_.place_of = place_of_;
      return;
    }
    const std::size_t thing = order_[at];
    std::vector<std::pair<Cost, std::size_t>> places;
    for (std::size_t place = 0; place < count_; ++place)
      if (!is_taken_[place]) places.emplace_back(step_cost(thing, place), place);
    std::sort(places.begin(), places.end());
    for (auto const& [more, place] : places) put(at, thing, place, cost + more);
  }

  Cost step_cost(std::size_t thing, std::size_t place) const {
    Cost cost = costs_.at[thing][place] + (closes(thing, place) ? 0 : 1);
    if (!costs_.together.empty() && thing % 2 == 1)
      cost += pair_cost(thing, static_cast<std::size_t>(place_of_[thing - 1]), place);
    return cost;
  }

  void put(std::size_t at, std::size_t thing, std::size_t place, Cost cost) {
    const bool is_closed = closes(thing, place);
    const std::size_t start = start_of_[thing], end = end_of_[place];
    const Cost open = open_;
    if (!is_closed) {
      end_of_[start] = end;
      start_of_[end] = start;
    }
    if (!costs_.together.empty() && thing % 2 == 1)
      open_ -= half_[place] + half_[static_cast<std::size_t>(place_of_[thing - 1])];
    place_of_[thing] = static_cast<int>(place);
    is_taken_[place] = true;
    go(at + 1, cost);
    is_taken_[place] = false;
    place_of_[thing] = -1;
    open_ = open;
    if (!is_closed) {
      end_of_[start] = thing;
      start_of_[end] = place;
    }
  }

  Costs const& costs_;
  std::size_t count_;
  std::vector<std::size_t> order_;
  std::vector<int> place_of_;
  std::vector<bool> is_taken_;
  std::vector<std::size_t> start_of_, end_of_;  ///< of the path that ends at a thing, or starts at a place
  std::vector<Cost> half_;                      ///< of the least that a place costs with another
  Cost open_ = 0;                               ///< the sum of these where the two are not known yet
  Arranged best_;
  int steps_ = 0;
};

Arranged arranged(Costs const& costs) { return Arranger(costs).arrange(); }

// ------------------------------------------------------------------------------------------------------------- classes

class Mender {
 public:
  Mender(PlacementRequest const& request, std::vector<int> pads, std::vector<SwapClass> const& classes)
      : request_(request), wanted_(*request.interface) {
    done_.pads = std::move(pads);
    for (SwapClass const& one : classes) {
      SwapClass kept{one.what, {}};
      for (SwapItem const& item : one.items)
        if (is_placed(one.what == "nibble" ? unit(item).signals : item.signals)) kept.items.push_back(item);
      if (kept.items.size() > 1) (one.what == "bit" ? bits_ : larger_).push_back(std::move(kept));
    }
    for (SwapClass const& one : larger_)
      for (SwapItem const& item : one.items) within_.insert(item.signals.begin(), item.signals.end());
    for (SwapClass const& one : bits_)
      for (SwapItem const& item : one.items) bit_signals_.insert(item.signals.begin(), item.signals.end());
  }

  Mending mend() {
    for (SwapClass const& one : larger_) count(mend(one));
    // Of things that moved the bits are where the thing is now; what they cost has been counted with it.
    for (SwapClass const& one : bits_) {
      const Arranged found = mend(one);
      if (!within_.contains(one.items[0].signals[0])) count(found);
    }
    done_.left = violations(request_, done_.pads);
    done_.is_fewest = is_proven_ && total_ == at_least_;
    done_.at_least = is_proven_ && total_ / kBreach == at_least_ / kBreach ? static_cast<int>(at_least_ % kBreach) : 0;
    return std::move(done_);
  }

 private:
  int pad(int signal) const { return done_.pads[static_cast<std::size_t>(signal)]; }
  int lane(int signal) const { return request_.layout->pads[static_cast<std::size_t>(pad(signal))].lane; }
  int unit_of(int signal) const { return wanted_.signals[static_cast<std::size_t>(signal)].unit; }

  Unit const& unit(SwapItem const& item) const {
    return wanted_.units[static_cast<std::size_t>(unit_of(item.signals[0]))];
  }
  bool is_placed(std::vector<int> const& signals) const {
    return std::all_of(signals.begin(), signals.end(), [&](int signal) { return pad(signal) >= 0; });
  }

  void count(Arranged const& found) {
    total_ += found.cost;
    at_least_ += found.at_least;
  }

  bool is_wrong(int signal, int at) const {
    const auto index = static_cast<std::size_t>(signal);
    return index < request_.pad_of_signal.size() && request_.pad_of_signal[index] >= 0 &&
           request_.pad_of_signal[index] != at;
  }

  // Whether one of the signals of a place is in another lane than a group is asked for.
  bool is_elsewhere(int unit, SwapItem const& place) const {
    const auto index = static_cast<std::size_t>(unit);
    if (unit < 0 || index >= request_.lane_of_unit.size() || request_.lane_of_unit[index] < 0) return false;
    return std::any_of(place.signals.begin(), place.signals.end(),
                       [&](int signal) { return lane(signal) != request_.lane_of_unit[index]; });
  }

  Arranged mend(SwapClass const& one) {
    Costs costs;
    for (SwapItem const& item : one.items) {
      std::vector<Cost> row;
      for (SwapItem const& place : one.items)
        row.push_back(one.what == "bit" ? cost_of_bit(item, place) : cost_of_larger(one, item, place));
      costs.at.push_back(std::move(row));
    }
    if (one.what == "nibble") add_pairs(one, costs);
    Arranged found = arranged(costs);
    swap(one, found.place_of);
    return found;
  }

  Cost cost_of_bit(SwapItem const& item, SwapItem const& place) const {
    Cost cost = 0;
    for (std::size_t i = 0; i < item.signals.size(); ++i)
      cost += is_wrong(item.signals[i], pad(place.signals[i])) ? kBreach : 0;
    return cost;
  }

  Cost cost_of_larger(SwapClass const& one, SwapItem const& item, SwapItem const& place) {
    Cost cost = one.what == "byte" && is_elsewhere(unit_of(item.signals[0]), place) ? kBreach : 0;
    for (std::size_t i = 0; i < item.signals.size(); ++i)
      if (!bit_signals_.contains(item.signals[i]))
        cost += is_wrong(item.signals[i], pad(place.signals[i])) ? kBreach : 0;
    for (SwapClass const& bits : bits_) cost += cost_inside(bits, item, place);
    return cost;
  }

  // Of the bits of one class that an item has, where those of another item are.
  Cost cost_inside(SwapClass const& bits, SwapItem const& item, SwapItem const& place) {
    std::vector<std::pair<int, int>> own;
    bool is_asked = false;
    for (std::size_t i = 0; i < item.signals.size(); ++i)
      for (SwapItem const& bit : bits.items)
        if (bit.signals[0] == item.signals[i]) {
          own.emplace_back(item.signals[i], pad(place.signals[i]));
          is_asked = is_asked || is_wrong(item.signals[i], -1);
        }
    if (!is_asked) return 0;
    Costs costs;
    for (auto const& [signal, mine] : own) {
      std::vector<Cost> row;
      for (auto const& [other, at] : own) row.push_back(is_wrong(signal, at) ? kBreach : 0);
      costs.at.push_back(std::move(row));
    }
    const Arranged found = arranged(costs);
    is_proven_ = is_proven_ && found.cost == found.at_least;
    return found.cost;
  }

  // Two nibbles make a byte: what their places break together, and for each lane that they should have to themselves
  // one of the two signals that break the rule.
  void add_pairs(SwapClass const& one, Costs& costs) const {
    const std::size_t count = one.items.size();
    std::vector<int> shared(count, 0);
    std::map<std::pair<std::size_t, std::size_t>, int> both;
    for (auto const& [lane, places] : lanes_of_two(one)) {
      ++shared[places[0]];
      ++shared[places[1]];
      ++both[{places[0], places[1]}];
    }
    costs.together.assign(count, std::vector<Cost>(count, 0));
    for (std::size_t a = 0; a < count; ++a)
      for (std::size_t b = a + 1; b < count; ++b) {
        const int apart = shared[a] + shared[b] - 2 * both[{a, b}];
        costs.together[a][b] = costs.together[b][a] = kBreach * (breaches_of_byte(one, a, b) + apart);
      }
    for (std::size_t first = 0; first < count; first += 2) {
      std::vector<bool> elsewhere;
      for (SwapItem const& place : one.items)
        elsewhere.push_back(is_elsewhere(unit_of(one.items[first].signals[0]), place));
      costs.elsewhere.push_back(std::move(elsewhere));
    }
  }

  // Lanes in which two items are and nothing else of a controller, and these two.
  std::map<int, std::vector<std::size_t>> lanes_of_two(SwapClass const& one) const {
    std::map<int, std::size_t> item_of;
    for (std::size_t i = 0; i < one.items.size(); ++i)
      for (const int signal : one.items[i].signals) item_of[signal] = i;
    std::map<int, std::set<std::size_t>> places;
    std::set<int> others;
    for (TakenPad const& taken : request_.taken)
      if (taken.owns_lane) others.insert(request_.layout->pads[static_cast<std::size_t>(taken.pad)].lane);
    for (std::size_t i = 0; i < wanted_.signals.size(); ++i) {
      const int signal = static_cast<int>(i);
      if (pad(signal) < 0 || unit_of(signal) == Signal::kSystem) continue;
      if (const auto item = item_of.find(signal); item != item_of.end())
        places[lane(signal)].insert(item->second);
      else
        others.insert(lane(signal));
    }
    std::map<int, std::vector<std::size_t>> found;
    for (auto const& [at, items] : places)
      if (items.size() == 2 && !others.contains(at)) found[at].assign(items.begin(), items.end());
    return found;
  }

  // Signals in breach where the places of two items are those of one byte.
  int breaches_of_byte(SwapClass const& one, std::size_t a, std::size_t b) const {
    PlacementRequest alone = request_;
    alone.taken.clear();
    alone.pad_of_signal.clear();
    alone.lane_of_unit.clear();
    std::vector<int> pads(done_.pads.size(), -1);
    for (const auto& [item, place] : {std::pair(std::size_t{0}, a), std::pair(std::size_t{1}, b)})
      for (std::size_t i = 0; i < one.items[item].signals.size(); ++i)
        pads[static_cast<std::size_t>(one.items[item].signals[i])] = pad(one.items[place].signals[i]);
    int sum = 0;
    for (Violation const& found : violations(alone, pads))
      if (found.rule == "byte-in-lane" || found.rule == "strobe-site" || found.rule == "nibble")
        sum += static_cast<int>(found.signals.size());
    return sum;
  }

  // The swaps that bring things to their places: each brings one there for good.
  void swap(SwapClass const& one, std::vector<int> const& place_of) {
    std::vector<int> at(one.items.size());
    std::iota(at.begin(), at.end(), 0);
    for (std::size_t i = 0; i < at.size(); ++i) {
      if (at[i] == place_of[i]) continue;
      const auto other = static_cast<std::size_t>(std::find(at.begin(), at.end(), place_of[i]) - at.begin());
      std::swap(at[i], at[other]);
      done_.swaps.push_back({one.what, one.items[i].name, one.items[other].name, {}});
      for (std::size_t k = 0; k < one.items[i].signals.size(); ++k) {
        const int a = one.items[i].signals[k], b = one.items[other].signals[k];
        done_.swaps.back().signals.emplace_back(a, b);
        std::swap(done_.pads[static_cast<std::size_t>(a)], done_.pads[static_cast<std::size_t>(b)]);
      }
    }
  }

  PlacementRequest const& request_;
  Interface const& wanted_;
  std::vector<SwapClass> larger_, bits_;
  std::set<int> within_;       ///< signals that larger things have
  std::set<int> bit_signals_;  ///< those that bits have
  Mending done_;
  Cost total_ = 0, at_least_ = 0;
  bool is_proven_ = true;
};

}  // namespace

Mending mend(PlacementRequest const& request, std::vector<int> const& pads, std::vector<SwapClass> const& classes) {
  return Mender(request, pads, classes).mend();
}

}  // namespace kdi::planning
