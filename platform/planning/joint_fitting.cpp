#include "platform/planning/joint_fitting.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <utility>

namespace kdi::planning::joint {
namespace {

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

}  // namespace

std::optional<std::vector<Arrangement>> arrange(Seats const& seats, std::vector<Frame const*> frames) {
  return Fitting(seats, std::move(frames)).find();
}

}  // namespace kdi::planning::joint
