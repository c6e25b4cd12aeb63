#include "platform/planning/joint_search.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <queue>
#include <set>
#include <tuple>
#include <utility>

#include "kdi/planning/Joint.h"

namespace kdi::planning::joint {
namespace {

void add(Objective& sum, Objective const& one) {
  sum.banks += one.banks;
  sum.lanes += one.lanes;
  sum.off_centre += one.off_centre;
}

Objective bound_of(Choice const& choice) {
  Objective sum;
  for (BankSet const* const one : choice) add(sum, one->best);
  return sum;
}

// Lanes that there have to be: one for each group, and the shortest runs.
bool has_lanes(Seats const& seats, std::vector<std::vector<Frame>> const& frames) {
  std::set<int> lanes;
  std::size_t needed = 0;
  for (std::size_t c = 0; c < seats.size(); ++c) {
    lanes.insert(seats[c]->window().lanes.begin(), seats[c]->window().lanes.end());
    int shortest = kMostLanesOfWindow;
    for (Frame const& one : frames[c]) shortest = std::min(shortest, one.run.last - one.run.first + 1);
    needed += seats[c]->problem.interface().units.size() + static_cast<std::size_t>(shortest);
  }
  return lanes.size() >= needed;
}

Seats seats_of(std::vector<PlacementRequest> const& requests) {
  Seats seats;
  for (PlacementRequest const& request : requests) seats.push_back(std::make_unique<Seat>(request));
  return seats;
}

// By lane the pads that system clocks might have.
std::map<int, PadMask> clock_pads(Seats const& seats) {
  std::map<int, PadMask> pads;
  for (auto const& seat : seats)
    for (SystemClockSite const& site : clock_sites(seat->problem, seat->window(), ~LaneMask{0}))
      pads[seat->lane(site.lane)] |= site.pads;
  return pads;
}

// Whether the addresses fit into a run wherever the clocks are.
bool fits_beside_all(Seat& seat, Run run, std::map<int, PadMask> const& clocks) {
  std::vector<std::pair<int, PadMask>> blocked;
  for (int i = run.first; i <= run.last; ++i) {
    const auto at = clocks.find(seat.lane(i));
    if (at == clocks.end()) continue;
    for (PadMask left = at->second; left != 0; left &= left - 1)
      if (const PadMask pad = left & (~left + 1); seat.problem.is_free(at->first, pad))
        blocked.emplace_back(at->first, pad);
  }
  for (auto const& [lane, pad] : blocked) seat.problem.block(lane, pad, true);
  const bool fits = run_fits(seat.problem, seat.window(), run, nullptr);
  for (auto const& [lane, pad] : blocked) seat.problem.block(lane, pad, false);
  return fits;
}

// Runs for the addresses, with all lanes as the span. One that has a shorter one in it is no better, but where the
// shorter one has no room beside some clock, or leaves out a bank that the clock is near to.
std::vector<Frame> needed_runs(Seat& seat, std::map<int, PadMask> const& clocks) {
  std::set<std::pair<int, int>> runs;
  for (Frame const& frame : seat.frames) runs.emplace(frame.run.first, frame.run.last);
  const auto does = [&](int first, int last, int left_out) {
    if (!runs.contains({first, last})) return false;
    if (seat.problem.has_system_clock() && seat.bank(left_out) != seat.bank(left_out < first ? first : last))
      return false;
    return fits_beside_all(seat, {first, last}, clocks);
  };
  std::vector<Frame> frames;
  const Run all{0, static_cast<int>(seat.window().lanes.size()) - 1};
  for (auto const& [first, last] : runs)
    if (!does(first + 1, last, first) && !does(first, last - 1, last)) frames.push_back({all, {first, last}, 0, 0});
  return frames;
}

}  // namespace

Objective sum_of(std::vector<Plan> const& plans) {
  Objective sum;
  for (Plan const& one : plans) add(sum, one.objective);
  return sum;
}

Search::Search(std::vector<PlacementRequest> const& requests) : requests_(requests) {
  for (PlacementRequest const& request : requests) sets_.push_back(bank_sets(request));
}

Search::Search(std::vector<PlacementRequest> const& requests, Search const& wider, int steps)
    : requests_(requests), sets_(wider.sets_), frames_(steps) {}

std::vector<Plan> Search::least() {
  take_sequence();
  if (!best_ && !any_room()) return {};
  int least = 0, most = 0;
  for (std::vector<BankSet> const& sets : sets_) {
    if (sets.empty()) return {};
    least += sets.front().best.banks;
    most += sets.back().best.banks;
  }
  for (int banks = least; banks <= (best_ ? best_->sum.banks : most) && is_exact_; ++banks) try_sum(banks);
  return best_ ? plans() : std::vector<Plan>();
}

std::vector<Plan> Search::plans() const {
  return best_->plans.empty() ? plans_in(best_->arrangements, best_->requests) : best_->plans;
}

bool Search::comes_to(Objective const& sum) {
  most_ = sum;
  try_sum(sum.banks);
  return best_.has_value();
}

void Search::list(Choice& choice, int banks, std::vector<Choice>& all) const {
  if (choice.size() == sets_.size()) {
    if (banks == 0) all.push_back(choice);
    return;
  }
  for (BankSet const& set : sets_[choice.size()]) {
    if (set.best.banks > banks) break;
    choice.push_back(&set);
    list(choice, banks - set.best.banks, all);
    choice.pop_back();
  }
}

void Search::try_sum(int banks) {
  std::vector<Choice> all;
  Choice none;
  list(none, banks, all);
  std::stable_sort(all.begin(), all.end(),
                   [](Choice const& a, Choice const& b) { return is_better(bound_of(a), bound_of(b)); });
  for (Choice const& choice : all) {
    if (!is_exact_ || (best_ && !is_better(bound_of(choice), best_->sum))) return;
    if (most_ && is_better(*most_, bound_of(choice))) return;
    try_choice(choice);
  }
}

// One after the other, in the first order that goes: no more than a beginning, but it bounds the search.
void Search::take_sequence() {
  std::vector<std::size_t> order;
  for (std::size_t c = 0; c < requests_.size(); ++c) order.push_back(c);
  do {
    std::vector<PlacementRequest> ordered;
    for (const std::size_t c : order) ordered.push_back(requests_[c]);
    std::vector<Plan> plans = place_in_sequence(ordered);
    if (plans.size() < requests_.size()) continue;
    best_.emplace();
    best_->plans.resize(plans.size());
    best_->sum = sum_of(plans);
    for (std::size_t i = 0; i < plans.size(); ++i) best_->plans[order[i]] = std::move(plans[i]);
    return;
  } while (std::next_permutation(order.begin(), order.end()));
}

// Whether there could be room at all: each controller with all banks of a window, whoever it shares them with. More
// banks never hurt.
bool Search::any_room() {
  std::vector<std::vector<std::vector<int>>> wide(requests_.size());
  for (std::size_t c = 0; c < requests_.size(); ++c) {
    const Problem problem(requests_[c]);
    for (Window const& window : windows_of(problem)) {
      std::vector<int> banks;
      for (const int bank : window.banks)
        banks.push_back(requests_[c].layout->banks[static_cast<std::size_t>(bank)].number);
      const bool is_part = std::any_of(wide[c].begin(), wide[c].end(), [&](std::vector<int> const& other) {
        return std::all_of(banks.begin(), banks.end(),
                           [&](int bank) { return std::find(other.begin(), other.end(), bank) != other.end(); });
      });
      if (!is_part && can_place(within(requests_[c], banks))) wide[c].push_back(std::move(banks));
    }
  }
  std::vector<PlacementRequest> chosen;
  return any_room(wide, chosen);
}

bool Search::any_room(std::vector<std::vector<std::vector<int>>> const& wide, std::vector<PlacementRequest>& chosen) {
  if (chosen.size() == requests_.size()) return is_possible(seats_of(chosen));
  for (std::vector<int> const& banks : wide[chosen.size()]) {
    chosen.push_back(within(requests_[chosen.size()], banks));
    const bool found = any_room(wide, chosen);
    chosen.pop_back();
    if (found || !is_exact_) return true;
  }
  return false;
}

// Whether the controllers fit with all their banks as spans.
bool Search::is_possible(Seats const& seats) {
  std::vector<std::vector<Frame>> frames;
  const std::map<int, PadMask> clocks = clock_pads(seats);
  for (auto const& seat : seats) frames.push_back(needed_runs(*seat, clocks));
  if (!has_lanes(seats, frames)) return false;
  std::vector<Frame const*> chosen;
  return is_possible(seats, frames, chosen);
}

bool Search::is_possible(Seats const& seats, std::vector<std::vector<Frame>> const& frames,
                         std::vector<Frame const*>& chosen) {
  if (++frames_ > kMostFrames) is_exact_ = false;
  if (!is_exact_) return false;
  if (!chosen.empty() && !arrange(seats, chosen)) return false;
  if (chosen.size() == seats.size()) return true;
  for (Frame const& frame : frames[chosen.size()]) {
    chosen.push_back(&frame);
    const bool found = is_possible(seats, frames, chosen);
    chosen.pop_back();
    if (found) return true;
  }
  return false;
}

void Search::try_choice(Choice const& choice) {
  frames_ += most_ ? kFramesOfChoice : 0;
  const auto requests = sharing(requests_, choice);
  if (!requests) return;
  for (PlacementRequest const& request : *requests)
    if (!can_place(request)) return;
  Seats seats = seats_of(*requests);
  if (!is_possible(seats)) return;
  using Indices = std::vector<std::size_t>;
  const auto sum_of = [&](Indices const& indices) {
    Objective sum{bound_of(choice).banks, 0, 0};
    for (std::size_t c = 0; c < indices.size(); ++c) {
      sum.lanes += seats[c]->frames[indices[c]].lanes;
      sum.off_centre += seats[c]->frames[indices[c]].off_centre;
    }
    return sum;
  };
  const auto is_later = [&](Indices const& a, Indices const& b) {
    const Objective x = sum_of(a), y = sum_of(b);
    return std::tie(x.lanes, x.off_centre, a) > std::tie(y.lanes, y.off_centre, b);
  };
  std::priority_queue<Indices, std::vector<Indices>, decltype(is_later)> open(is_later);
  std::set<Indices> seen;
  open.push(Indices(seats.size(), 0));
  while (!open.empty()) {
    const Indices indices = open.top();
    open.pop();
    const Objective sum = sum_of(indices);
    if (best_ && !is_better(sum, best_->sum)) return;
    if (most_ && is_better(*most_, sum)) return;
    if (++frames_ > kMostFrames) {
      is_exact_ = false;
      return;
    }
    std::vector<Frame const*> frames;
    for (std::size_t c = 0; c < indices.size(); ++c) frames.push_back(&seats[c]->frames[indices[c]]);
    if (auto found = arrange(seats, frames)) {
      best_ = Found{sum, {}, std::move(*found), *requests};
      return;
    }
    for (std::size_t c = 0; c < indices.size(); ++c) {
      Indices next = indices;
      if (++next[c] < seats[c]->frames.size() && seen.insert(next).second) open.push(std::move(next));
    }
  }
}

}  // namespace kdi::planning::joint
