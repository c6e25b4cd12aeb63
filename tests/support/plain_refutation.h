// Whether a proof that an interface has no placement is one. Shares no code with the planner: what fits where is found
// anew, by trying.
#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/random_boards.h"

namespace test_support::board {

class RefutationCheck {
 public:
  explicit RefutationCheck(Question const& question)
      : question_(question), layout_(question.layout), wanted_(question.wanted) {
    for (std::size_t bank = 0; bank < layout_.banks.size(); ++bank) banks_.push_back(bank_may(static_cast<int>(bank)));
    for (std::size_t pad = 0; pad < layout_.pads.size(); ++pad) pads_.push_back(pad_may(static_cast<int>(pad)));
    for (planning::TakenPad const& one : question_.request.taken)
      if (one.owns_lane) owned_.insert(pad(one.pad).lane);
  }

  /// Empty if the proof holds; else what is wrong with it.
  std::string fault(planning::Refutation const& root) {
    fault_.clear();
    if (root.kind == Kind::empty) return root.what == "interface" && windows().empty() ? "" : "banks there are";
    if (root.kind != Kind::window) return "no question for the window first";
    for (auto const& [first, last] : windows()) {
      bool is_there = false;
      for (auto const& branch : root.branches) is_there = is_there || (branch.first == first && branch.last == last);
      if (!is_there) return "a window is missing";
    }
    for (auto const& branch : root.branches) {
      Path path;
      for (int bank = branch.first; bank <= branch.last; ++bank) {
        if (!same_window(branch.first, bank)) continue;
        path.banks.push_back(bank);
        planning::PlacedBank const& at = layout_.banks[static_cast<std::size_t>(bank)];
        for (int lane = at.first; lane < at.first + at.lanes; ++lane) path.lanes.push_back(lane);
      }
      check(branch.why, path);
    }
    return fault_;
  }

 protected:
  using Kind = planning::Refutation::Kind;

  struct Path {
    std::vector<int> banks, lanes;
    std::set<int> run;
    bool has_run = false;
    int clock = -1;                         // its positive pad
    std::vector<std::pair<int, int>> sets;  // set, bank
    int bound_unit = -1, bound_lane = -1;
  };

  planning::PlacedPad const& pad(int index) const { return layout_.pads[static_cast<std::size_t>(index)]; }
  planning::PlacedLane const& lane(int index) const { return layout_.lanes[static_cast<std::size_t>(index)]; }
  planning::PlacedBank const& bank(int index) const { return layout_.banks[static_cast<std::size_t>(index)]; }
  void wrong(std::string const& what) {
    if (fault_.empty()) fault_ = what;
  }

  // ----------------------------------------------------------------------------------------------- banks and pads
  planning::StandardSet const* set_of(int index) const {
    for (planning::StandardSet const& set : question_.request.standards)
      for (std::string const& kind : set.bank_kinds)
        if (kind == bank(index).kind) return &set;
    return nullptr;
  }
  bool controlled(planning::StandardSet const& set) const {
    for (planning::Signal const& signal : wanted_.signals)
      if (question_.facts.standards.at(set.of(signal.what)).controlled) return true;
    return false;
  }
  double reference(planning::StandardSet const& set) const {
    double vref = 0;
    for (planning::Signal const& signal : wanted_.signals) {
      Standard const& standard = question_.facts.standards.at(set.of(signal.what));
      if (signal.direction != "out" && !standard.differential && standard.vref > 0) vref = standard.vref;
    }
    return vref;
  }

  bool bank_may(int index) const {
    planning::StandardSet const* const set = set_of(index);
    if (set == nullptr) return false;
    for (std::size_t what = 0; what < set->standards.size(); ++what) {
      Standard const& standard = question_.facts.standards.at(set->standards[what]);
      const bool full = what <= 2, half = what == 3 || what == 4;
      const int needed = full ? question_.facts.rate : half ? question_.facts.rate / 2 : 0;
      if (standard.rates.count(bank(index).kind) == 0 || standard.rates.at(bank(index).kind) < needed) return false;
      if (standard.vcco < bank(index).vcco_v.min || standard.vcco > bank(index).vcco_v.max) return false;
    }
    const double vref = reference(*set), vcco = question_.facts.standards.at(set->standards[0]).vcco;
    for (planning::TakenPad const& one : question_.request.taken) {
      if (layout_.bank_of_pad(one.pad) != index) continue;
      if (pad(one.pad).impedance && controlled(*set)) return false;
      if (pad(one.pad).reference && vref > 0 && !question_.facts.internal_reference) return false;
      if (one.standard.empty()) continue;
      Standard const& theirs = question_.facts.standards.at(one.standard);
      if (theirs.vcco != vcco) return false;
      if (one.is_input && !theirs.differential && theirs.vref > 0 && vref > 0 && theirs.vref != vref) return false;
    }
    return true;
  }

  bool pad_may(int index) const {
    const int of = layout_.bank_of_pad(index);
    if (!banks_[static_cast<std::size_t>(of)] || pad(index).ball.empty() || pad(index).configuration) return false;
    planning::StandardSet const& set = *set_of(of);
    if (pad(index).impedance && controlled(set)) return false;
    if (pad(index).reference && reference(set) > 0 && !question_.facts.internal_reference) return false;
    for (planning::TakenPad const& one : question_.request.taken)
      if (one.pad == index) return false;
    return true;
  }

  bool same_window(int first, int other) const {
    return banks_[static_cast<std::size_t>(other)] && bank(first).column == bank(other).column &&
           bank(first).slr == bank(other).slr && bank(first).kind == bank(other).kind &&
           bank(other).row >= bank(first).row && bank(other).row < bank(first).row + 5;
  }
  std::vector<std::pair<int, int>> windows() const {
    std::vector<std::pair<int, int>> all;
    for (std::size_t first = 0; first < layout_.banks.size(); ++first) {
      if (!banks_[first]) continue;
      int last = static_cast<int>(first);
      for (std::size_t other = first; other < layout_.banks.size(); ++other)
        if (same_window(static_cast<int>(first), static_cast<int>(other))) last = static_cast<int>(other);
      all.emplace_back(static_cast<int>(first), last);
    }
    return all;
  }

  // --------------------------------------------------------------------------------------------------- what fits
  bool is_free(int index, Path const& path) const {
    if (index < 0 || !pads_[static_cast<std::size_t>(index)]) return false;
    if (path.clock < 0) return true;
    return index != path.clock && !(wanted_.system_clock.size() == 2 && index == pad(path.clock).partner);
  }

  bool cells_fit(planning::Unit const& unit, std::size_t cell, int at, std::set<int> used, std::set<int> nibbles,
                 Path const& path) const {
    if (cell == unit.cells.size()) return true;
    const bool by_nibble = unit.cells.size() > 1;
    planning::Cell const& one = unit.cells[cell];
    for (int nibble = 0; nibble < (by_nibble ? 8 : 1); ++nibble) {
      if (by_nibble && nibbles.count(nibble) != 0) continue;
      std::vector<int> free;
      for (int i = lane(at).first; i < lane(at).first + lane(at).pads; ++i)
        if (is_free(i, path) && used.count(i) == 0 && (!by_nibble || pad(i).nibble == nibble)) free.push_back(i);
      const auto rest = [&](std::set<int> taken) {
        std::vector<int> left;
        for (const int i : free)
          if (taken.count(i) == 0) left.push_back(i);
        if (left.size() < one.singles.size()) return false;
        for (std::size_t i = 0; i < one.singles.size(); ++i) taken.insert(left[i]);
        taken.insert(used.begin(), used.end());
        std::set<int> with = nibbles;
        with.insert(nibble);
        return cells_fit(unit, cell + 1, at, taken, with, path);
      };
      if (one.positive < 0) {
        if (rest({})) return true;
        continue;
      }
      for (const int p : free) {
        const int n = pad(p).partner;
        if (!pad(p).positive || n < 0 || std::find(free.begin(), free.end(), n) == free.end()) continue;
        if (one.strobe_site && !(pad(p).strobe && pad(n).strobe)) continue;
        if (rest({p, n})) return true;
      }
    }
    return false;
  }

  bool fits(int unit, int at, Path const& path) const {
    if (owned_.count(at) != 0 || path.run.count(at) != 0) return false;
    if (unit == path.bound_unit && at != path.bound_lane) return false;
    return cells_fit(wanted_.units[static_cast<std::size_t>(unit)], 0, at, {}, {}, path);
  }

  bool run_holds(std::set<int> const& run, Path const& path) const {
    int pairs = 0, singles = 0, free_pairs = 0, free_pads = 0, lanes_with_pair = 0;
    for (const int signal : wanted_.address) {
      planning::Signal const& one = wanted_.signals[static_cast<std::size_t>(signal)];
      if (!one.negative) ++(one.partner >= 0 ? pairs : singles);
    }
    for (const int at : run) {
      if (owned_.count(at) != 0) return false;
      int pads = 0, here = 0;
      for (int i = lane(at).first; i < lane(at).first + lane(at).pads; ++i) {
        if (!is_free(i, path)) continue;
        ++pads;
        if (pad(i).positive && pad(i).partner >= 0 && is_free(pad(i).partner, path)) ++here;
      }
      if (pads == 0) return false;
      free_pads += pads;
      free_pairs += here;
      lanes_with_pair += here > 0;
    }
    // A lane has a pair or a single at least; pairs reach no more lanes than there are of either.
    const int reached = std::min(pairs, lanes_with_pair);
    return free_pairs >= pairs && free_pads >= 2 * pairs + singles && static_cast<int>(run.size()) - reached <= singles;
  }

  bool follow(int first, int last) const {
    for (int i = first + 1; i <= last; ++i)
      if (lane(i).position != lane(i - 1).position + 1) return false;
    return true;
  }

  // -------------------------------------------------------------------------------------------------- the tree
  void check(planning::Refutation const& node, Path const& path) {
    switch (node.kind) {
      case Kind::window:
        return wrong("a window within a window");
      case Kind::address:
        return address(node, path);
      case Kind::system_clock:
        return system_clock(node, path);
      case Kind::sets:
        return sets(node, path);
      case Kind::near:
        return near(node, path);
      case Kind::overfull:
        return overfull(node, path);
      case Kind::empty:
        return empty(node, path);
      case Kind::bank_overfull:
        return bank_overfull(node, path);
      case Kind::far_clock:
        for (auto const& [unit, at] : near_places(path))
          return wrong("a unit fits near the clock " + std::to_string(unit + at));
        return;
      case Kind::pinned:
        return wrong("nothing is asked for");
    }
  }

  std::vector<std::set<int>> runs(Path const& path) const {
    std::vector<std::set<int>> all;
    for (const int first : path.lanes)
      for (const int last : path.lanes) {
        if (last < first || lane(first).bank > lane(last).bank) continue;
        std::set<int> run;
        for (const int at : path.lanes)
          if (at >= first && at <= last) run.insert(at);
        if (static_cast<int>(run.size()) == last - first + 1 && follow(first, last) && run_holds(run, path))
          all.push_back(run);
      }
    return all;
  }

  void address(planning::Refutation const& node, Path const& path) {
    if (path.has_run) return wrong("the address block twice");
    for (std::set<int> const& run : runs(path)) {
      bool is_there = false;
      for (auto const& branch : node.branches) {
        const bool exact = branch.first == *run.begin() && branch.last == *run.rbegin();
        const bool within = branch.first >= *run.begin() && branch.last <= *run.rbegin();
        const bool by_units = branch.why.kind == Kind::overfull || branch.why.kind == Kind::sets;
        is_there = is_there || exact || (within && by_units);  // less is left beside more lanes
      }
      if (!is_there) wrong("lanes of the address block are missing");
    }
    for (auto const& branch : node.branches) {
      Path with = path;
      with.has_run = true;
      for (int at = branch.first; at <= branch.last; ++at) with.run.insert(at);
      check(branch.why, with);
    }
  }

  void system_clock(planning::Refutation const& node, Path const& path) {
    for (const int at : path.lanes)
      for (int i = lane(at).first; i < lane(at).first + lane(at).pads; ++i) {
        if (!clock_site(i)) continue;
        bool is_there = false;
        for (auto const& branch : node.branches) is_there = is_there || branch.first == i;
        if (!is_there) wrong("a site of the system clock is missing");
      }
    for (auto const& branch : node.branches) {
      Path with = path;
      with.clock = branch.first;
      check(branch.why, with);
    }
  }
  bool clock_site(int i) const {
    if (!pads_[static_cast<std::size_t>(i)] || !pad(i).positive || pad(i).partner < 0 || !pad(i).clock) return false;
    if (wanted_.system_clock.size() == 1) return true;
    return pads_[static_cast<std::size_t>(pad(i).partner)] && pad(pad(i).partner).clock;
  }

  void sets(planning::Refutation const& node, Path const& path) {
    for (const int each : path.banks) {
      bool is_there = false;
      for (auto const& branch : node.branches) is_there = is_there || branch.first == each;
      if (!is_there) wrong("a bank of a set is missing");
    }
    for (auto const& branch : node.branches) {
      Path with = path;
      with.sets.emplace_back(node.set, branch.first);
      check(branch.why, with);
    }
  }

  std::vector<std::pair<int, int>> near_places(Path const& path) const {
    std::vector<std::pair<int, int>> places;
    const int row = bank(layout_.bank_of_pad(path.clock)).row;
    for (const int at : path.lanes) {
      if (std::abs(bank(lane(at).bank).row - row) > 1) continue;
      if (path.run.count(at) != 0) places.emplace_back(-1, at);  // the addresses are near
      for (std::size_t unit = 0; unit < wanted_.units.size(); ++unit)
        if (fits(static_cast<int>(unit), at, path)) places.emplace_back(static_cast<int>(unit), at);
    }
    return places;
  }
  void near(planning::Refutation const& node, Path const& path) {
    for (auto const& place : near_places(path)) {
      bool is_there = false;
      for (auto const& branch : node.branches) is_there = is_there || std::pair(branch.first, branch.last) == place;
      if (!is_there) wrong("a place near the clock is missing");
    }
    for (auto const& branch : node.branches) {
      Path with = path;
      with.bound_unit = branch.first;
      with.bound_lane = branch.last;
      check(branch.why, with);
    }
  }

  void overfull(planning::Refutation const& node, Path const& path) {
    const std::set<int> units(node.units.begin(), node.units.end()), lanes(node.lanes.begin(), node.lanes.end());
    if (units.size() <= lanes.size()) wrong("lanes enough");
    for (const int unit : units)
      for (const int at : path.lanes)
        if (lanes.count(at) == 0 && fits(unit, at, path)) wrong("a unit fits into another lane");
  }

  void empty(planning::Refutation const& node, Path const& path) {
    if (node.what == "address") {
      if (path.has_run ? run_holds(path.run, path) : !runs(path).empty()) wrong("the addresses fit");
    } else if (node.what == "clock") {
      for (const int at : path.lanes)
        for (int i = lane(at).first; i < lane(at).first + lane(at).pads; ++i)
          if (clock_site(i)) wrong("the clock has a site");
    } else {
      wrong("nothing of " + node.what);
    }
  }

  void bank_overfull(planning::Refutation const& node, Path const& path) {
    if (path.sets.empty()) return wrong("no set is in a bank");
    const int in = path.sets.back().second;
    std::vector<int> lanes;
    for (const int at : path.lanes)
      if (lane(at).bank == in) lanes.push_back(at);
    for (const int unit : node.units) {
      bool is_there = false;
      for (auto const& [set, of] : path.sets)
        is_there = is_there || (of == in && wanted_.units[static_cast<std::size_t>(unit)].set == set);
      if (!is_there) return wrong("a unit is in another bank");
    }
    std::vector<int> at(node.units.size(), -1);
    if (packs(node.units, 0, lanes, at, path)) wrong("the bank holds the sets");
  }
  bool packs(std::vector<int> const& units, std::size_t index, std::vector<int> const& lanes, std::vector<int>& at,
             Path const& path) const {
    if (index == units.size()) {
      for (std::size_t a = 0; a < units.size(); ++a)
        for (std::size_t b = 0; b < units.size(); ++b) {
          planning::Unit const& from = wanted_.units[static_cast<std::size_t>(units[a])];
          if (from.set != wanted_.units[static_cast<std::size_t>(units[b])].set || !from.clocks_set) continue;
          const int distance = std::abs(lane(at[a]).position - lane(at[b]).position);
          const auto reach = bank(lane(at[a]).bank).reach;
          if (distance > 0 && reach == kdi::device::StrobeReach::lane) return false;
          if (distance > 1 && reach == kdi::device::StrobeReach::neighbours) return false;
        }
      return true;
    }
    for (const int one : lanes) {
      if (std::find(at.begin(), at.begin() + static_cast<long>(index), one) != at.begin() + static_cast<long>(index))
        continue;
      if (!fits(units[index], one, path)) continue;
      at[index] = one;
      if (packs(units, index + 1, lanes, at, path)) return true;
    }
    return false;
  }

  Question const& question_;
  planning::Layout const& layout_;
  planning::Interface const& wanted_;
  std::vector<bool> banks_, pads_;
  std::set<int> owned_;
  std::string fault_;
};

// The best that any lanes for groups, addresses and clock give, as far as lanes go: all of them are tried.
class AllLanes : private RefutationCheck {
 public:
  explicit AllLanes(Question const& question) : RefutationCheck(question) {
    for (auto const& [first, last] : windows()) {
      Path path;
      for (int at = first; at <= last; ++at) {
        if (!same_window(first, at)) continue;
        path.banks.push_back(at);
        for (int l = bank(at).first; l < bank(at).first + bank(at).lanes; ++l) path.lanes.push_back(l);
      }
      for (std::set<int> const& run : runs(path)) {
        Path with = path;
        with.run = run;
        with.has_run = true;
        if (wanted_.system_clock.empty()) units_into(with);
        for (const int at : with.lanes)
          for (int i = lane(at).first; !wanted_.system_clock.empty() && i < lane(at).first + lane(at).pads; ++i) {
            if (!clock_site(i)) continue;
            with.clock = i;
            if (run_holds(run, with)) units_into(with);
          }
      }
    }
  }

  bool found() const { return found_; }
  std::tuple<int, int, int> objective() const { return best_; }

 private:
  void units_into(Path const& path) {
    fits_.assign(wanted_.units.size(), {});
    for (std::size_t unit = 0; unit < fits_.size(); ++unit)
      for (const int at : path.lanes)
        if (fits(static_cast<int>(unit), at, path)) fits_[unit].push_back(at);
    std::vector<int> lanes;
    put(lanes, path);
  }

  void put(std::vector<int>& lanes, Path const& path) {
    if (lanes.size() == wanted_.units.size()) return judge(lanes, path);
    for (const int at : fits_[lanes.size()]) {
      if (std::find(lanes.begin(), lanes.end(), at) != lanes.end()) continue;
      lanes.push_back(at);
      put(lanes, path);
      lanes.pop_back();
    }
  }

  void judge(std::vector<int> const& lanes, Path const& path) {
    for (std::size_t a = 0; a < lanes.size(); ++a)
      for (std::size_t b = 0; b < lanes.size(); ++b) {
        if (wanted_.units[a].set != wanted_.units[b].set || !wanted_.units[a].clocks_set || a == b) continue;
        const int distance = std::abs(lane(lanes[a]).position - lane(lanes[b]).position);
        const auto reach = bank(lane(lanes[a]).bank).reach;
        if (lane(lanes[a]).bank != lane(lanes[b]).bank || reach == kdi::device::StrobeReach::lane ||
            (reach == kdi::device::StrobeReach::neighbours && distance > 1))
          return;
      }
    std::set<int> used(lanes.begin(), lanes.end());
    used.insert(path.run.begin(), path.run.end());
    if (path.clock >= 0) {
      const int own = bank(layout_.bank_of_pad(path.clock)).row;
      const auto is_near = [&](int at) { return std::abs(bank(lane(at).bank).row - own) <= 1; };
      if (std::none_of(used.begin(), used.end(), is_near)) return;
      used.insert(pad(path.clock).lane);
    }
    std::set<int> banks, places, addresses;
    for (const int at : used) {
      banks.insert(lane(at).bank);
      places.insert(lane(at).position);
    }
    for (const int at : path.run) addresses.insert(lane(at).position);
    const std::tuple value(static_cast<int>(banks.size()), *places.rbegin() - *places.begin() + 1,
                           std::abs(*addresses.begin() + *addresses.rbegin() - *places.begin() - *places.rbegin()));
    if (found_ && value >= best_) return;
    found_ = true;
    best_ = value;
  }

  std::vector<std::vector<int>> fits_;
  std::tuple<int, int, int> best_;
  bool found_ = false;
};

}  // namespace test_support::board
