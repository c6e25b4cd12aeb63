// Several controllers together. Each has a set of banks, and in it a frame: a span of lanes and a run of these for its
// addresses. Sets are tried by the sum of banks, and those of one sum by the least that each controller alone could do
// with them; frames by the sums of lanes and of distances. Whether frames go together is a matching of all groups and
// lanes for each choice of pads for the system clocks, since whether a group fits into a lane depends on no other.
#include "kdi/planning/Joint.h"

#include <algorithm>
#include <map>
#include <memory>
#include <queue>
#include <set>
#include <tuple>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "platform/planning/bank_rules.h"
#include "platform/planning/search.h"
#include "platform/planning/window.h"

namespace kdi::planning {
namespace {

constexpr int kMostFrames = 30000;       // tuples that one search looks at; they take some 50 microseconds each
constexpr int kFramesOfChoice = 200;     // what a set of banks for each takes, counted so where many are asked
constexpr int kMostFramesOfPads = 8000;  // of the search for the least pads

// Banks that a controller could have a signal in each of, and no placement there has less than this.
struct BankSet {
  std::vector<int> banks;  ///< numbers, in the order of the layout
  Objective best;
};

struct Frame {
  Run span, run;
  int lanes = 0;
  int off_centre = 0;
};

PlacementRequest within(PlacementRequest request, std::vector<int> const& banks) {
  request.banks = banks;
  return request;
}

std::vector<BankSet> bank_sets(PlacementRequest const& request) {
  const Problem problem(request);
  std::set<std::vector<int>> seen;
  std::vector<BankSet> sets;
  for (Window const& window : windows_of(problem))
    for (unsigned choice = 1; choice < 1u << window.banks.size(); choice += 2) {
      std::vector<int> banks;
      for (std::size_t i = 0; i < window.banks.size(); ++i)
        if ((choice >> i & 1u) != 0)
          banks.push_back(request.layout->banks[static_cast<std::size_t>(window.banks[i])].number);
      if (!seen.insert(banks).second) continue;
      const auto best = best_objective(within(request, banks));
      if (!best) continue;
      const int count = static_cast<int>(banks.size());
      // Alone it would do with fewer; what others take may make it use all of them.
      const Objective least{count, static_cast<int>(request.interface->units.size()) + 1, 0};
      sets.push_back({banks, best->banks == count ? *best : least});
    }
  std::sort(sets.begin(), sets.end(), [](BankSet const& a, BankSet const& b) {
    return std::tie(a.best.banks, a.best.lanes, a.best.off_centre, a.banks) <
           std::tie(b.best.banks, b.best.lanes, b.best.off_centre, b.banks);
  });
  return sets;
}

// One controller with its set of banks.
struct Seat {
  PlacementRequest request;
  Problem problem;
  std::vector<Window> windows;
  UnitFits units;
  std::vector<Frame> frames;

  explicit Seat(PlacementRequest made)
      : request(std::move(made)), problem(request), windows(windows_of(problem)), units(problem, window()) {
    list_frames();
  }
  Seat(Seat const&) = delete;
  Seat& operator=(Seat const&) = delete;

  Window const& window() const { return windows.front(); }
  int lane(int index) const { return window().lanes[static_cast<std::size_t>(index)]; }
  int bank(int index) const { return problem.layout().lanes[static_cast<std::size_t>(lane(index))].bank; }
  int position(int index) const { return problem.layout().lanes[static_cast<std::size_t>(lane(index))].position; }

 private:
  void list_frames() {
    const int count = static_cast<int>(window().lanes.size());
    for (int first = 0; first < count; ++first)
      for (int last = first; last < count; ++last) {
        const Run span{first, last};
        if (!units.all_fit(span.mask(), nullptr, 0)) continue;
        for (int from = first; from <= last; ++from)
          for (int to = from; to <= last && is_run(problem, window(), {from, to}, span.mask()); ++to) {
            const Run run{from, to};
            if (!run_fits(problem, window(), run, nullptr)) continue;
            if (!units.all_fit(span.mask() & ~run.mask(), nullptr, 0)) break;
            frames.push_back({span, run, position(last) - position(first) + 1,
                              std::abs(position(from) + position(to) - position(first) - position(last))});
          }
      }
    std::stable_sort(frames.begin(), frames.end(), [](Frame const& a, Frame const& b) {
      return std::tie(a.lanes, a.off_centre) < std::tie(b.lanes, b.off_centre);
    });
  }
};

using Seats = std::vector<std::unique_ptr<Seat>>;

// What is decided of a controller: its clock's pad and the lanes of its groups and addresses.
struct Arrangement {
  int clock = -1;
  std::vector<int> lane_of_unit;
  std::vector<int> run;
};

// Whether frames go together.
class Fitting {
 public:
  /// Of the first seats, as many as there are frames.
  Fitting(Seats const& seats, std::vector<Frame const*> frames) : frames_(std::move(frames)) {
    for (std::size_t c = 0; c < frames_.size(); ++c) seats_.push_back(seats[c].get());
    for (std::size_t c = 0; c < seats_.size(); ++c)
      for (int i = frames_[c]->run.first; i <= frames_[c]->run.last; ++i)
        are_apart_ = run_lanes_.insert(seats_[c]->lane(i)).second && are_apart_;
  }

  std::optional<std::vector<Arrangement>> find() {
    if (!are_apart_) return std::nullopt;
    clocks_.assign(seats_.size(), -1);
    // Without clocks first, which is quick where there is no room at all.
    if (!match(false)) return std::nullopt;
    if (!place_clock(0)) return std::nullopt;
    return arrangements_;
  }

 private:
  LaneMask span(std::size_t c) const { return frames_[c]->span.mask(); }

  bool place_clock(std::size_t c) {
    if (c == seats_.size()) return runs_fit() && match(true);
    Seat& seat = *seats_[c];
    if (!seat.problem.has_system_clock()) return place_clock(c + 1);
    const int signal = seat.problem.interface().system_clock[0];
    for (SystemClockSite const& site : clock_sites(seat.problem, seat.window(), span(c))) {
      const bool is_decided = seat.problem.pad_of(signal) >= 0;
      const int lane = seat.lane(site.lane);
      if (!is_decided && !seat.problem.pin(signal, site.pad)) continue;
      const PadMask pads = seat.problem.clock_mask(
          {site.pad, seat.problem.layout().pads[static_cast<std::size_t>(site.pad)].partner,
           seat.problem.bit_of(site.pad) |
               seat.problem.bit_of(seat.problem.layout().pads[static_cast<std::size_t>(site.pad)].partner)});
      bool is_free = true;
      for (std::size_t other = 0; other < seats_.size(); ++other)
        is_free = is_free && (other == c || seats_[other]->problem.is_free(lane, pads));
      bool found = false;
      if (is_free) {
        for (std::size_t other = 0; other < seats_.size(); ++other)
          if (other != c) seats_[other]->problem.block(lane, pads, true);
        clocks_[c] = site.pad;
        found = place_clock(c + 1);
        for (std::size_t other = 0; other < seats_.size(); ++other)
          if (other != c) seats_[other]->problem.block(lane, pads, false);
      }
      if (!is_decided) seat.problem.unpin(signal);
      if (found) return true;
    }
    return false;
  }

  bool runs_fit() const {
    for (std::size_t c = 0; c < seats_.size(); ++c)
      if (!run_fits(seats_[c]->problem, seats_[c]->window(), frames_[c]->run, nullptr)) return false;
    return true;
  }

  // A group to be matched: those of one strobe together.
  struct Set {
    std::size_t controller;
    std::vector<int> units;
  };

  bool match(bool with_clocks) {
    sets_.clear();
    arrangements_.assign(seats_.size(), {});
    for (std::size_t c = 0; c < seats_.size(); ++c) {
      arrangements_[c].clock = clocks_[c];
      arrangements_[c].lane_of_unit.assign(seats_[c]->problem.interface().units.size(), -1);
      for (int i = frames_[c]->run.first; i <= frames_[c]->run.last; ++i)
        arrangements_[c].run.push_back(seats_[c]->lane(i));
      for (std::vector<int> const& units : seats_[c]->units.sets()) {
        std::vector<int> ordered = units;
        std::stable_partition(ordered.begin(), ordered.end(), [&](int unit) {
          return seats_[c]->problem.interface().units[static_cast<std::size_t>(unit)].clocks_set;
        });
        sets_.push_back({c, std::move(ordered)});
      }
    }
    // Sets of several groups first: where they are, the others have to find room beside.
    std::stable_sort(sets_.begin(), sets_.end(),
                     [](Set const& a, Set const& b) { return a.units.size() > b.units.size(); });
    owner_.clear();
    failed_.clear();
    near_.assign(seats_.size(), {});
    if (with_clocks)
      for (std::size_t c = 0; c < seats_.size(); ++c) need_near(c);
    return place_set(0);
  }

  // Banks of which one has to have a group; none where the addresses are near the clock, or there is none.
  void need_near(std::size_t c) {
    Seat const& seat = *seats_[c];
    if (clocks_[c] < 0) return;
    Layout const& layout = seat.problem.layout();
    const int row = layout.banks[static_cast<std::size_t>(layout.bank_of_pad(clocks_[c]))].row;
    for (int i = frames_[c]->run.first; i <= frames_[c]->run.last; ++i)
      if (std::abs(layout.banks[static_cast<std::size_t>(seat.bank(i))].row - row) <= 1) return;
    for (const int bank : seat.window().banks)
      if (std::abs(layout.banks[static_cast<std::size_t>(bank)].row - row) <= 1) near_[c].insert(bank);
    if (near_[c].empty()) near_[c].insert(-1);  // none will do
  }

  std::vector<int> lanes_of(Set const& set, int unit, int clocking_lane) const {
    Seat const& seat = *seats_[set.controller];
    Layout const& layout = seat.problem.layout();
    std::vector<int> lanes;
    for (std::size_t i = 0; i < seat.window().lanes.size(); ++i) {
      const int lane = seat.lane(static_cast<int>(i));
      if ((span(set.controller) >> i & 1) == 0 || run_lanes_.contains(lane) || !seat.problem.fits(unit, lane)) continue;
      if (clocking_lane >= 0 && !reaches(layout, clocking_lane, lane)) continue;
      lanes.push_back(lane);
    }
    return lanes;
  }

  static bool reaches(Layout const& layout, int from, int to) {
    PlacedLane const &a = layout.lanes[static_cast<std::size_t>(from)], &b = layout.lanes[static_cast<std::size_t>(to)];
    if (a.bank != b.bank) return false;
    const device::StrobeReach reach = layout.banks[static_cast<std::size_t>(a.bank)].reach;
    const int distance = std::abs(a.position - b.position);
    return reach == device::StrobeReach::bank || distance == 0 ||
           (reach == device::StrobeReach::neighbours && distance == 1);
  }

  bool place_set(std::size_t at) {
    if (at == sets_.size()) return all_near() || bind_near();
    if (sets_[at].units.size() == 1) return match_singles(at) && (all_near() || bind_near());
    std::vector<int> used;
    for (auto const& [lane, unit] : owner_) used.push_back(lane);
    for (std::size_t c = 0; c < seats_.size(); ++c) used.push_back(is_near(c) ? 1 : 0);
    if (failed_.contains({at, used})) return false;
    if (place_units(at, 0, -1)) return true;
    failed_.insert({at, std::move(used)});
    return false;
  }

  bool place_units(std::size_t at, std::size_t index, int clocking_lane) {
    Set const& set = sets_[at];
    if (index == set.units.size()) return place_set(at + 1);
    for (const int lane : lanes_of(set, set.units[index], clocking_lane)) {
      if (owner_.contains(lane)) continue;
      own(lane, set.controller, set.units[index]);
      if (place_units(at, index + 1, index == 0 ? lane : clocking_lane)) return true;
      disown(lane);
    }
    return false;
  }

  void own(int lane, std::size_t c, int unit) {
    owner_[lane] = {c, unit};
    arrangements_[c].lane_of_unit[static_cast<std::size_t>(unit)] = lane;
  }
  void disown(int lane) {
    auto const [c, unit] = owner_.at(lane);
    arrangements_[c].lane_of_unit[static_cast<std::size_t>(unit)] = -1;
    owner_.erase(lane);
  }

  // Augmenting paths over the sets of one group, the last ones.
  bool match_singles(std::size_t first) {
    const auto fixed = owner_;
    for (std::size_t at = first; at < sets_.size(); ++at) {
      std::set<int> seen;
      for (auto const& [lane, unit] : fixed) seen.insert(lane);
      if (augment(at, first, seen)) continue;
      while (owner_.size() > fixed.size())
        for (auto const& [lane, unit] : owner_)
          if (!fixed.contains(lane)) {
            disown(lane);
            break;
          }
      return false;
    }
    return true;
  }

  bool augment(std::size_t at, std::size_t first, std::set<int>& seen) {
    Set const& set = sets_[at];
    for (const int lane : lanes_of(set, set.units[0], -1)) {
      if (bound_.contains({set.controller, set.units[0]}) &&
          !near_[set.controller].contains(seats_[0]->problem.layout().lanes[static_cast<std::size_t>(lane)].bank))
        continue;
      if (!seen.insert(lane).second) continue;
      if (const auto taken = owner_.find(lane); taken != owner_.end()) {
        const auto other =
            std::find_if(sets_.begin() + static_cast<std::ptrdiff_t>(first), sets_.end(), [&](Set const& one) {
              return one.controller == taken->second.first && one.units[0] == taken->second.second;
            });
        if (!augment(static_cast<std::size_t>(other - sets_.begin()), first, seen)) continue;
      }
      own(lane, set.controller, set.units[0]);
      return true;
    }
    return false;
  }

  bool is_near(std::size_t c) const {
    if (near_[c].empty()) return true;
    return std::any_of(owner_.begin(), owner_.end(), [&](auto const& one) {
      return one.second.first == c &&
             near_[c].contains(seats_[c]->problem.layout().lanes[static_cast<std::size_t>(one.first)].bank);
    });
  }
  bool all_near() const {
    for (std::size_t c = 0; c < seats_.size(); ++c)
      if (!is_near(c)) return false;
    return true;
  }

  // With one group of each such controller held to a lane near its clock, each choice of these. Of groups that share a
  // strobe each placement comes by, so there is nothing to be held.
  bool bind_near() {
    const std::size_t first = static_cast<std::size_t>(
        std::find_if(sets_.begin(), sets_.end(), [](Set const& set) { return set.units.size() == 1; }) - sets_.begin());
    if (first == sets_.size() || !bound_.empty()) return false;
    const auto before = owner_;
    const bool found = bind(0, first);
    bound_.clear();
    if (!found) {
      std::vector<int> lanes;
      for (auto const& [lane, unit] : owner_) lanes.push_back(lane);
      for (const int lane : lanes) disown(lane);
      for (auto const& [lane, unit] : before) own(lane, unit.first, unit.second);
    }
    return found;
  }

  bool bind(std::size_t c, std::size_t first) {
    if (c == seats_.size()) {
      std::vector<int> singles;
      for (auto const& [lane, unit] : owner_)
        if (is_single(unit, first)) singles.push_back(lane);
      for (const int lane : singles) disown(lane);
      return match_singles(first) && all_near();
    }
    if (near_[c].empty()) return bind(c + 1, first);
    for (std::size_t at = first; at < sets_.size(); ++at) {
      if (sets_[at].controller != c) continue;
      const std::pair<std::size_t, int> one(c, sets_[at].units[0]);
      bound_.insert(one);
      if (bind(c + 1, first)) return true;
      bound_.erase(one);
    }
    return false;
  }
  bool is_single(std::pair<std::size_t, int> const& unit, std::size_t first) const {
    return std::any_of(sets_.begin() + static_cast<std::ptrdiff_t>(first), sets_.end(),
                       [&](Set const& one) { return one.controller == unit.first && one.units[0] == unit.second; });
  }

  std::vector<Seat*> seats_;
  std::vector<Frame const*> frames_;
  std::set<int> run_lanes_;
  bool are_apart_ = true;
  std::vector<int> clocks_;
  std::vector<Set> sets_;
  std::map<int, std::pair<std::size_t, int>> owner_;  // by lane: controller and group
  std::set<std::pair<std::size_t, std::vector<int>>> failed_;
  std::vector<std::set<int>> near_;
  std::set<std::pair<std::size_t, int>> bound_;
  std::vector<Arrangement> arrangements_;
};

struct Found {
  Objective sum;
  std::vector<Plan> plans;  ///< where they are known already, of controllers one after the other
  std::vector<Arrangement> arrangements;
  std::vector<PlacementRequest> requests;
};

bool is_better(Objective const& a, Objective const& b) {
  return std::tie(a.banks, a.lanes, a.off_centre) < std::tie(b.banks, b.lanes, b.off_centre);
}

class Joint {
 public:
  explicit Joint(std::vector<PlacementRequest> const& requests) : requests_(requests) {
    for (PlacementRequest const& request : requests) sets_.push_back(bank_sets(request));
  }
  /// Of requests that ask for more than those of another search, which no more banks do for.
  Joint(std::vector<PlacementRequest> const& requests, Joint const& wider) : requests_(requests), sets_(wider.sets_) {}

  JointPlan plan() {
    JointPlan result;
    take_sequence();
    if (!best_ && !any_room()) {
      result.is_exact = is_exact_;
      return result;
    }
    int least = 0, most = 0;
    for (std::vector<BankSet> const& sets : sets_) {
      if (sets.empty()) return result;
      least += sets.front().best.banks;
      most += sets.back().best.banks;
    }
    for (int banks = least; banks <= (best_ ? best_->sum.banks : most) && is_exact_; ++banks) try_sum(banks);
    result.is_exact = is_exact_;
    if (!best_) return result;
    result.plans = best_->plans.empty() ? pads() : best_->plans;
    for (Plan const& one : result.plans) {
      result.sum.banks += one.objective.banks;
      result.sum.lanes += one.objective.lanes;
      result.sum.off_centre += one.objective.off_centre;
    }
    if (is_exact_ && !result.plans.empty()) LeastPads(*this, result).find();
    return result;
  }

 private:
  // Of all placements of the least sum the one with the least pads: signal by signal the first pad with which the
  // controllers still come to it, beside those that are decided.
  class LeastPads {
   public:
    LeastPads(Joint const& joint, JointPlan& result) : joint_(joint), result_(result), wanted_(joint.requests_) {
      for (PlacementRequest& request : wanted_)
        if (request.pad_of_signal.empty()) request.pad_of_signal.assign(request.interface->signals.size(), -1);
      for (PlacementRequest const& request : wanted_) alone_.push_back(*best_objective(request));
    }

    void find() {
      for (std::size_t c = 0; c < wanted_.size(); ++c) {
        for (std::size_t signal = 0; signal < wanted_[c].pad_of_signal.size(); ++signal) {
          if (!decide(c, static_cast<int>(signal))) return;
          ++result_.pads_proven;
        }
        alone_[c] = result_.plans[c].objective;
      }
      result_.has_least_pads = true;
    }

   private:
    int& pad(std::size_t c, int signal) { return wanted_[c].pad_of_signal[static_cast<std::size_t>(signal)]; }

    // False where the search is cut short.
    bool decide(std::size_t c, int signal) {
      if (pad(c, signal) >= 0) return true;
      const auto index = static_cast<std::size_t>(signal);
      const int now = result_.plans[c].pad_of_signal[index];
      for (int at = 0; at < now; ++at) {
        if (!could_be(c, signal, at)) continue;
        std::vector<PlacementRequest> attempt = wanted_;
        attempt[c].pad_of_signal[index] = at;
        steps_ += kStepsOfProbe;
        if (const auto best = best_objective(attempt[c]); !best || !reaches(c, *best)) continue;
        Joint probe(attempt, joint_);
        probe.frames_ = steps_;
        const bool is_found = probe.comes_to(result_.sum);
        steps_ = probe.frames_;
        if (!probe.is_exact_ || steps_ > kMostFramesOfPads) return false;
        if (!is_found) continue;
        std::vector<Plan> plans = probe.pads();
        if (plans.empty()) return false;
        result_.plans = std::move(plans);
        break;
      }
      pad(c, signal) = result_.plans[c].pad_of_signal[index];
      return true;
    }

    // What needs no search: the pad itself, and the lane of what is decided of the group.
    bool could_be(std::size_t c, int signal, int at) {
      Layout const& layout = *wanted_[c].layout;
      PlacedPad const& there = layout.pads[static_cast<std::size_t>(at)];
      Signal const& one = wanted_[c].interface->signals[static_cast<std::size_t>(signal)];
      if (there.ball.empty() || there.configuration) return false;
      if (one.partner >= 0 && (there.partner < 0 || there.positive == one.negative)) return false;
      if (one.partner >= 0 && pad(c, one.partner) >= 0 && there.partner != pad(c, one.partner)) return false;
      if (one.unit == Signal::kSystem && !there.clock) return false;
      for (std::size_t other = 0; other < wanted_.size(); ++other)
        for (std::size_t i = 0; i < wanted_[other].pad_of_signal.size(); ++i) {
          const int taken = wanted_[other].pad_of_signal[i];
          if (taken < 0) continue;
          if (taken == at) return false;
          const int unit = wanted_[other].interface->signals[i].unit;
          if (unit == Signal::kSystem || one.unit == Signal::kSystem) continue;
          const bool is_same_lane = layout.pads[static_cast<std::size_t>(taken)].lane == there.lane;
          const bool is_same = other == c && unit == one.unit;
          if (is_same ? unit >= 0 && !is_same_lane : is_same_lane) return false;
        }
      return true;
    }

    // Whether with this of one controller the sum could still be reached.
    bool reaches(std::size_t c, Objective const& best) const {
      Objective sum = best;
      for (std::size_t other = 0; other < alone_.size(); ++other) {
        if (other == c) continue;
        sum.banks += alone_[other].banks;
        sum.lanes += alone_[other].lanes;
        sum.off_centre += alone_[other].off_centre;
      }
      return !is_better(result_.sum, sum);
    }

    static constexpr int kStepsOfProbe = 40;
    Joint const& joint_;
    JointPlan& result_;
    std::vector<PlacementRequest> wanted_;
    std::vector<Objective> alone_;
    int steps_ = 0;
  };

  // Whether there is a placement of the sum, which is the least that there can be.
  bool comes_to(Objective const& sum) {
    most_ = sum;
    try_sum(sum.banks);
    return best_.has_value();
  }

  using Choice = std::vector<BankSet const*>;

  static Objective bound_of(Choice const& choice) {
    Objective sum;
    for (BankSet const* const one : choice) {
      sum.banks += one->best.banks;
      sum.lanes += one->best.lanes;
      sum.off_centre += one->best.off_centre;
    }
    return sum;
  }

  void list(Choice& choice, int banks, std::vector<Choice>& all) const {
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

  void try_sum(int banks) {
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

  // The requests with what sharing banks means: pads that another needs for its impedances and references are no
  // one's. Nothing where two cannot share a bank.
  std::optional<std::vector<PlacementRequest>> sharing(Choice const& choice) const {
    std::vector<PlacementRequest> requests;
    for (std::size_t c = 0; c < choice.size(); ++c) requests.push_back(within(requests_[c], choice[c]->banks));
    Layout const& layout = *requests.front().layout;
    for (std::size_t a = 0; a < choice.size(); ++a)
      for (std::size_t b = 0; b < choice.size(); ++b) {
        if (a == b) continue;
        for (const int number : choice[a]->banks) {
          if (std::find(choice[b]->banks.begin(), choice[b]->banks.end(), number) == choice[b]->banks.end()) continue;
          const int bank = layout.bank_of_number(number);
          if (!share(requests_[a], requests_[b], bank)) return std::nullopt;
          keep_free(requests_[a], requests[b], bank);
        }
      }
    return requests;
  }

  static bool share(PlacementRequest const& a, PlacementRequest const& b, int bank) {
    std::string const& kind = a.layout->banks[static_cast<std::size_t>(bank)].kind;
    StandardSet const *x = standards_for(a, kind), *y = standards_for(b, kind);
    const auto same = [](std::string const& one, std::string const& other) {
      return number::whole<double>(one) == number::whole<double>(other);
    };
    if (!same(x->voltage_v, y->voltage_v)) return false;
    const std::string p = needs_of(a, *x).input_reference, q = needs_of(b, *y).input_reference;
    return p.empty() || q.empty() || same(p, q);
  }

  static void keep_free(PlacementRequest const& needing, PlacementRequest& other, int bank) {
    Layout const& layout = *needing.layout;
    PlacedBank const& placed = layout.banks[static_cast<std::size_t>(bank)];
    const BankNeeds needs = needs_of(needing, *standards_for(needing, placed.kind));
    const BankNeeds own = needs_of(other, *standards_for(other, placed.kind));
    const auto wants_reference = [](PlacementRequest const& one, BankNeeds const& its) {
      return !its.input_reference.empty() && !one.internal_reference;
    };
    for (int lane = placed.first; lane < placed.first + placed.lanes; ++lane) {
      PlacedLane const& at = layout.lanes[static_cast<std::size_t>(lane)];
      for (int index = at.first; index < at.first + at.pads; ++index) {
        PlacedPad const& pad = layout.pads[static_cast<std::size_t>(index)];
        if ((pad.impedance && needs.controlled && !own.controlled) ||
            (pad.reference && wants_reference(needing, needs) && !wants_reference(other, own)))
          other.taken.push_back({index, "another", "", false, false});
      }
    }
  }

  // One after the other, in the first order that goes: no more than a beginning, but it bounds the search.
  void take_sequence() {
    std::vector<std::size_t> order;
    for (std::size_t c = 0; c < requests_.size(); ++c) order.push_back(c);
    do {
      std::vector<PlacementRequest> ordered;
      for (const std::size_t c : order) ordered.push_back(requests_[c]);
      std::vector<Plan> plans = place_in_sequence(ordered);
      if (plans.size() < requests_.size()) continue;
      best_.emplace();
      best_->plans.resize(plans.size());
      for (std::size_t i = 0; i < plans.size(); ++i) {
        best_->sum.banks += plans[i].objective.banks;
        best_->sum.lanes += plans[i].objective.lanes;
        best_->sum.off_centre += plans[i].objective.off_centre;
        best_->plans[order[i]] = std::move(plans[i]);
      }
      return;
    } while (std::next_permutation(order.begin(), order.end()));
  }

  // Lanes that there have to be: one for each group, and the shortest runs.
  static bool has_lanes(Seats const& seats, std::vector<std::vector<Frame>> const& frames) {
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

  // Whether there could be room at all: each controller with all banks of a window, whoever it shares them with. More
  // banks never hurt.
  bool any_room() {
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

  bool any_room(std::vector<std::vector<std::vector<int>>> const& wide, std::vector<PlacementRequest>& chosen) {
    if (chosen.size() == requests_.size()) return is_possible(seats_of(chosen));
    for (std::vector<int> const& banks : wide[chosen.size()]) {
      chosen.push_back(within(requests_[chosen.size()], banks));
      const bool found = any_room(wide, chosen);
      chosen.pop_back();
      if (found || !is_exact_) return true;
    }
    return false;
  }

  static Seats seats_of(std::vector<PlacementRequest> const& requests) {
    Seats seats;
    for (PlacementRequest const& request : requests) seats.push_back(std::make_unique<Seat>(request));
    return seats;
  }

  // Whether the controllers fit with all their banks as spans; a run that has a shorter one in it is no better.
  bool is_possible(Seats const& seats) {
    std::vector<std::vector<Frame>> shortest;
    for (auto const& seat : seats) {
      std::vector<Frame> frames;
      const Run all{0, static_cast<int>(seat->window().lanes.size()) - 1};
      std::set<std::pair<int, int>> runs;
      for (Frame const& frame : seat->frames) runs.emplace(frame.run.first, frame.run.last);
      for (auto const& [first, last] : runs)
        if (!runs.contains({first + 1, last}) && !runs.contains({first, last - 1}))
          frames.push_back({all, {first, last}, 0, 0});
      shortest.push_back(std::move(frames));
    }
    if (!has_lanes(seats, shortest)) return false;
    std::vector<Frame const*> chosen;
    return is_possible(seats, shortest, chosen);
  }

  bool is_possible(Seats const& seats, std::vector<std::vector<Frame>> const& frames,
                   std::vector<Frame const*>& chosen) {
    if (++frames_ > kMostFrames) is_exact_ = false;
    if (!is_exact_) return false;
    if (!chosen.empty() && !Fitting(seats, chosen).find()) return false;
    if (chosen.size() == seats.size()) return true;
    for (Frame const& frame : frames[chosen.size()]) {
      chosen.push_back(&frame);
      const bool found = is_possible(seats, frames, chosen);
      chosen.pop_back();
      if (found) return true;
    }
    return false;
  }

  void try_choice(Choice const& choice) {
    frames_ += most_ ? kFramesOfChoice : 0;
    const auto requests = sharing(choice);
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
      if (auto found = Fitting(seats, frames).find()) {
        best_ = Found{sum, {}, std::move(*found), *requests};
        return;
      }
      for (std::size_t c = 0; c < indices.size(); ++c) {
        Indices next = indices;
        if (++next[c] < seats[c]->frames.size() && seen.insert(next).second) open.push(std::move(next));
      }
    }
  }

  // The lanes are decided; of the pads in them each controller has the least.
  std::vector<Plan> pads() const {
    std::vector<Plan> plans;
    Layout const& layout = *requests_.front().layout;
    for (std::size_t c = 0; c < requests_.size(); ++c) {
      PlacementRequest request = best_->requests[c];
      Arrangement const& own = best_->arrangements[c];
      request.lane_of_unit = own.lane_of_unit;
      if (request.pad_of_signal.empty()) request.pad_of_signal.assign(request.interface->signals.size(), -1);
      if (own.clock >= 0)
        request.pad_of_signal[static_cast<std::size_t>(request.interface->system_clock[0])] = own.clock;
      for (std::size_t other = 0; other < requests_.size(); ++other)
        if (other != c) leave_lanes(layout, best_->arrangements[other], own, *requests_[other].interface, request);
      PlacementResult result = place(request);
      if (!result.plan) return {};
      plans.push_back(std::move(*result.plan));
    }
    return plans;
  }

  void leave_lanes(Layout const& layout, Arrangement const& other, Arrangement const& own, Interface const& interface,
                   PlacementRequest& request) const {
    const auto clock_pads = [&](Arrangement const& one, Interface const& its) {
      std::set<int> pads;
      if (one.clock >= 0) pads.insert(one.clock);
      if (one.clock >= 0 && its.system_clock.size() > 1)
        pads.insert(layout.pads[static_cast<std::size_t>(one.clock)].partner);
      return pads;
    };
    for (const int pad : clock_pads(other, interface)) request.taken.push_back({pad, "another", "", false, false});
    const std::set<int> kept = clock_pads(own, *request.interface);
    std::vector<int> lanes = other.lane_of_unit;
    lanes.insert(lanes.end(), other.run.begin(), other.run.end());
    for (const int lane : lanes) {
      int pad = layout.lanes[static_cast<std::size_t>(lane)].first;
      while (kept.contains(pad)) ++pad;
      request.taken.push_back({pad, "another", "", false, true});
    }
  }

  std::vector<PlacementRequest> const& requests_;
  std::vector<std::vector<BankSet>> sets_;
  std::optional<Found> best_;
  std::optional<Objective> most_;  ///< nothing beyond this is of use
  bool is_exact_ = true;
  int frames_ = 0;
};

}  // namespace

JointPlan place_jointly(std::vector<PlacementRequest> const& requests) { return Joint(requests).plan(); }

std::vector<TakenPad> taken_by_plan(PlacementRequest const& request, std::vector<int> const& pads,
                                    std::string const& by) {
  std::vector<TakenPad> taken;
  for (std::size_t i = 0; i < pads.size(); ++i) {
    if (pads[i] < 0) continue;
    Signal const& signal = request.interface->signals[i];
    taken.push_back({pads[i], by, standard_of(request, static_cast<int>(i), request.layout->bank_of_pad(pads[i])),
                     signal.direction != "out", signal.unit != Signal::kSystem});
  }
  return taken;
}

std::vector<Plan> place_in_sequence(std::vector<PlacementRequest> const& requests) {
  std::vector<Plan> plans;
  std::vector<TakenPad> taken;
  for (PlacementRequest request : requests) {
    request.taken.insert(request.taken.end(), taken.begin(), taken.end());
    PlacementResult result = place(request);
    if (!result.plan) break;
    const auto more =
        taken_by_plan(request, result.plan->pad_of_signal, "controller " + std::to_string(plans.size() + 1));
    taken.insert(taken.end(), more.begin(), more.end());
    plans.push_back(std::move(*result.plan));
  }
  return plans;
}

}  // namespace kdi::planning
