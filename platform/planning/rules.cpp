// The rules of docs/placement-rules.md, asked of pads that signals are on.
#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "kdi/planning/Placement.h"
#include "platform/planning/bank_rules.h"

namespace kdi::planning {
namespace {

class Rules {
 public:
  Rules(PlacementRequest const& request, std::vector<int> const& pads)
      : request_(request), layout_(*request.layout), wanted_(*request.interface), pads_(pads) {
    for (std::size_t signal = 0; signal < pads.size(); ++signal)
      if (pads[signal] >= 0) placed_.push_back(static_cast<int>(signal));
  }

  std::vector<Violation> all() {
    banks();
    single_pads();
    pairs();
    wishes();
    for (std::size_t unit = 0; unit < wanted_.units.size(); ++unit) unit_in_lane(static_cast<int>(unit));
    lane_owners();
    strobe_reach();
    address_block();
    system_clock();
    whole();
    return std::move(found_);
  }

 private:
  int pad(int signal) const { return pads_[static_cast<std::size_t>(signal)]; }
  PlacedPad const& placed(int signal) const { return layout_.pads[static_cast<std::size_t>(pad(signal))]; }
  Signal const& signal(int index) const { return wanted_.signals[static_cast<std::size_t>(index)]; }
  int lane(int signal) const { return placed(signal).lane; }
  int bank(int signal) const { return layout_.lanes[static_cast<std::size_t>(lane(signal))].bank; }
  PlacedBank const& bank_at(int index) const { return layout_.banks[static_cast<std::size_t>(index)]; }
  PlacedLane const& lane_at(int index) const { return layout_.lanes[static_cast<std::size_t>(index)]; }

  void breach(std::string const& rule, std::vector<int> signals, std::string const& what) {
    found_.push_back(
        violation_of(rule, std::move(signals), what, layout_, pads_, [this](int each) { return signal(each).name; }));
  }

  std::vector<int> signals_in_bank(int bank_index) const {
    std::vector<int> signals;
    for (const int each : placed_)
      if (bank(each) == bank_index) signals.push_back(each);
    return signals;
  }

  // Each bank by itself, then each pad by the needs of its bank.
  void banks() {
    std::map<int, std::vector<TakenPad const*>> taken;
    for (TakenPad const& one : request_.taken) taken[layout_.bank_of_pad(one.pad)].push_back(&one);
    std::set<int> used;
    for (const int each : placed_) used.insert(bank(each));
    for (const int index : used) {
      const BankFault fault = bank_fault(request_, index, taken[index]);
      if (!fault.rule.empty()) breach(fault.rule, signals_in_bank(index), fault.text);
    }
  }

  void single_pads() {
    std::map<int, TakenPad const*> taken;
    for (TakenPad const& one : request_.taken) taken.emplace(one.pad, &one);
    std::map<int, int> by_pad;
    std::map<std::string, BankNeeds> needs;
    for (const int each : placed_) {
      if (const auto other = taken.find(pad(each)); other != taken.end())
        breach("pad-free", {each}, "the pad is taken by " + other->second->by);
      if (const auto [at, is_new] = by_pad.emplace(pad(each), each); !is_new)
        breach("pad-free", {at->second, each}, "two signals have one pad");
      std::string const& kind = bank_at(bank(each)).kind;
      StandardSet const* const standards = standards_for(request_, kind);
      if (standards == nullptr) continue;  // the bank's fault
      const auto [need, is_new] = needs.try_emplace(kind);
      if (is_new) need->second = needs_of(request_, *standards);
      const std::string rule = pad_fault(placed(each), need->second, request_.internal_reference);
      if (!rule.empty()) breach(rule, {each}, "the pad is for no signal of the interface");
    }
  }

  void pairs() {
    for (const int each : placed_) {
      Signal const& one = signal(each);
      if (one.partner < 0 || one.negative) continue;
      const bool is_strobe = one.what == SignalClass::strobe;
      PlacedPad const& at = placed(each);
      const int other = pad(one.partner);
      // Of a pair that is on its way, the half that is there must be on the right half.
      if (!at.positive || at.partner < 0 || (other >= 0 && at.partner != other))
        breach(is_strobe ? "strobe-pair" : "clock-pair", {each}, "the two signals are no differential pair of pads");
    }
    for (const int each : placed_) {
      Signal const& one = signal(each);
      if (!one.negative || pad(one.partner) >= 0) continue;
      if (placed(each).positive || placed(each).partner < 0)
        breach(one.what == SignalClass::strobe ? "strobe-pair" : "clock-pair", {each},
               "the negative signal is on no negative pad of a pair");
    }
  }

  void wishes() {
    for (std::size_t i = 0; i < request_.pad_of_signal.size(); ++i)
      if (request_.pad_of_signal[i] >= 0 && pads_[i] >= 0 && pads_[i] != request_.pad_of_signal[i])
        breach("as-asked", {static_cast<int>(i)}, "the signal is asked for on another pad");
    for (std::size_t unit = 0; unit < request_.lane_of_unit.size(); ++unit)
      for (const int each : wanted_.units[unit].signals)
        if (request_.lane_of_unit[unit] >= 0 && pad(each) >= 0 && lane(each) != request_.lane_of_unit[unit]) {
          breach("as-asked", {each}, "the group is asked for in another lane");
          break;
        }
  }

  void unit_in_lane(int index) {
    Unit const& unit = wanted_.units[static_cast<std::size_t>(index)];
    std::vector<int> there;
    for (const int each : unit.signals)
      if (pad(each) >= 0) there.push_back(each);
    if (there.empty()) return;
    for (const int each : there)
      if (lane(each) != lane(there.front())) {
        breach("byte-in-lane", {there.front(), each}, unit.group + " is in two lanes");
        return;
      }
    strobe_sites(unit);
    if (unit.cells.size() > 1) nibbles(unit);
  }

  void strobe_sites(Unit const& unit) {
    for (Cell const& cell : unit.cells) {
      if (!cell.strobe_site || cell.positive < 0) continue;
      for (const int each : {cell.positive, cell.negative})
        if (pad(each) >= 0 && !placed(each).strobe) {
          breach("strobe-site", {each}, "the pad takes no strobe");
          break;
        }
    }
  }

  void nibbles(Unit const& unit) {
    std::map<int, std::size_t> cell_of_nibble;
    for (std::size_t i = 0; i < unit.cells.size(); ++i) {
      Cell const& cell = unit.cells[i];
      std::vector<int> all = cell.singles;
      if (cell.positive >= 0) all.insert(all.begin(), {cell.positive, cell.negative});
      for (const int each : all) {
        if (pad(each) < 0) continue;
        const auto [at, is_new] = cell_of_nibble.emplace(placed(each).nibble, i);
        const bool other_nibble = nibble_of_cell(all) != placed(each).nibble;
        if (at->second == i && !other_nibble) continue;
        breach("nibble", {each}, "four bits and their strobe are not in a nibble of their own");
        return;
      }
    }
  }
  int nibble_of_cell(std::vector<int> const& signals) const {
    for (const int each : signals)
      if (pad(each) >= 0) return placed(each).nibble;
    return -1;
  }

  void lane_owners() {
    std::map<int, std::pair<int, int>> owner;  // lane to what it is for and a signal of that
    std::set<int> foreign;
    for (TakenPad const& one : request_.taken)
      if (one.owns_lane) foreign.insert(layout_.pads[static_cast<std::size_t>(one.pad)].lane);
    std::set<int> told;
    for (const int each : placed_) {
      const int unit = signal(each).unit;
      if (unit == Signal::kSystem) continue;
      const auto [at, is_new] = owner.emplace(lane(each), std::pair(unit, each));
      if (at->second.first != unit && told.insert(lane(each)).second)
        breach("lane-owner", {at->second.second, each}, "one lane is for two groups");
      if (foreign.contains(lane(each)) && told.insert(lane(each)).second)
        breach("lane-owner", {each}, "the lane is another controller's");
    }
  }

  void strobe_reach() {
    std::map<int, int> clocking;  // set to the unit with the strobe
    for (std::size_t i = 0; i < wanted_.units.size(); ++i)
      if (wanted_.units[i].clocks_set) clocking.emplace(wanted_.units[i].set, static_cast<int>(i));
    for (Unit const& unit : wanted_.units) {
      const auto other = clocking.find(unit.set);
      if (unit.clocks_set || other == clocking.end()) continue;
      const int here = first_placed(unit);
      const int there = first_placed(wanted_.units[static_cast<std::size_t>(other->second)]);
      if (here >= 0 && there >= 0 && !reaches(lane(there), lane(here)))
        breach("strobe-reach", {there, here}, "the strobe does not reach the lane");
    }
  }
  int first_placed(Unit const& unit) const {
    for (const int each : unit.signals)
      if (pad(each) >= 0) return each;
    return -1;
  }
  bool reaches(int from, int to) const {
    if (lane_at(from).bank != lane_at(to).bank) return false;
    const device::StrobeReach reach = bank_at(lane_at(from).bank).reach;
    const int distance = std::abs(lane_at(from).position - lane_at(to).position);
    return reach == device::StrobeReach::bank || distance == 0 ||
           (reach == device::StrobeReach::neighbours && distance == 1);
  }

  // A block that is there in part may still get its missing lanes.
  void address_block() {
    std::map<int, int> lanes;  // position to a signal
    std::set<int> columns;
    bool all = true;
    for (const int each : wanted_.address) {
      if (pad(each) < 0)
        all = false;
      else
        lanes.emplace(lane_at(lane(each)).position, each);
      if (pad(each) >= 0) columns.insert(bank_at(bank(each)).column);
    }
    if (!all || columns.size() != 1) return;
    const int span = lanes.rbegin()->first - lanes.begin()->first + 1;
    if (span != static_cast<int>(lanes.size()))
      breach("address-adjacent", {lanes.begin()->second, lanes.rbegin()->second},
             "lanes between those of the address block have none of it");
  }

  void system_clock() {
    for (const int each : wanted_.system_clock)
      if (pad(each) >= 0 && !placed(each).clock) {
        breach("system-clock-site", {each}, "the pad is no clock site");
        break;
      }
    if (wanted_.system_clock.size() == 1 && pad(wanted_.system_clock[0]) >= 0) {
      PlacedPad const& at = placed(wanted_.system_clock[0]);
      if (!at.positive || at.partner < 0)
        breach("system-clock-site", {wanted_.system_clock[0]}, "a single clock enters at the positive pad of a pair");
    }
    if (wanted_.system_clock.empty() || !is_whole(pads_)) return;
    const int own = bank(wanted_.system_clock[0]);
    for (const int each : placed_)
      if (signal(each).unit != Signal::kSystem && bank_at(bank(each)).column == bank_at(own).column &&
          std::abs(bank_at(bank(each)).row - bank_at(own).row) <= 1)
        return;
    breach("system-clock-near", {wanted_.system_clock[0]}, "no bank of the interface is beside that of its clock");
  }

  void whole() {
    if (placed_.empty()) return;
    const auto differ = [&](auto property) {
      for (const int each : placed_)
        if (property(bank_at(bank(each))) != property(bank_at(bank(placed_.front())))) return each;
      return -1;
    };
    if (const int other = differ([](PlacedBank const& one) { return one.column; }); other >= 0)
      return breach("one-column", {placed_.front(), other}, "the interface is in two columns of banks");
    if (const int other = differ([](PlacedBank const& one) { return one.slr; }); other >= 0)
      return breach("one-slr", {placed_.front(), other}, "the interface is on two dies");
    if (const int other = differ([](PlacedBank const& one) { return one.kind; }); other >= 0)
      return breach("bank-kind", {placed_.front(), other}, "the interface is in banks of two kinds");
    const auto [low, high] = std::minmax_element(
        placed_.begin(), placed_.end(), [&](int a, int b) { return bank_at(bank(a)).row < bank_at(bank(b)).row; });
    if (bank_at(bank(*high)).row - bank_at(bank(*low)).row >= kMostRows)
      breach("banks-near", {*low, *high}, "the interface is in more than " + std::to_string(kMostRows) + " rows");
  }

  PlacementRequest const& request_;
  Layout const& layout_;
  Interface const& wanted_;
  std::vector<int> const& pads_;
  std::vector<int> placed_;
  std::vector<Violation> found_;
};

}  // namespace

std::vector<Violation> violations(PlacementRequest const& request, std::vector<int> const& pads) {
  return Rules(request, pads).all();
}

namespace {

// What any pad must be for a signal beside the others, by rules that need no look at all of these: the rest is few.
class PadSieve {
 public:
  PadSieve(PlacementRequest const& request, std::vector<int> const& pads, int index)
      : layout_(*request.layout),
        signal_(request.interface->signals[static_cast<std::size_t>(index)]),
        busy_(layout_.pads.size()) {
    for (TakenPad const& one : request.taken) busy_[static_cast<std::size_t>(one.pad)] = true;
    for (std::size_t other = 0; other < pads.size(); ++other) {
      if (pads[other] < 0 || static_cast<int>(other) == index || static_cast<int>(other) == signal_.partner) continue;
      busy_[static_cast<std::size_t>(pads[other])] = true;
      const int unit = request.interface->signals[other].unit;
      const int lane = layout_.pads[static_cast<std::size_t>(pads[other])].lane;
      if (first_bank_ < 0) first_bank_ = layout_.bank_of_pad(pads[other]);
      if (unit == signal_.unit && unit >= 0) lane_ = lane;
      if (unit != Signal::kSystem && unit != signal_.unit) foreign_.insert(lane);
    }
  }

  bool lets_through(int pad) const {
    PlacedPad const& at = layout_.pads[static_cast<std::size_t>(pad)];
    if (at.ball.empty() || at.configuration || busy_[static_cast<std::size_t>(pad)]) return false;
    if (signal_.partner >= 0 && (at.partner < 0 || at.positive == signal_.negative)) return false;
    if (signal_.unit == Signal::kSystem && !at.clock) return false;
    if (lane_ >= 0 && at.lane != lane_) return false;
    if (signal_.unit != Signal::kSystem && foreign_.contains(at.lane)) return false;
    if (first_bank_ < 0) return true;
    PlacedBank const& one = layout_.banks[static_cast<std::size_t>(first_bank_)];
    PlacedBank const& other = layout_.banks[static_cast<std::size_t>(layout_.bank_of_pad(pad))];
    return one.column == other.column && one.slr == other.slr && std::abs(one.row - other.row) < kMostRows;
  }

 private:
  Layout const& layout_;
  Signal const& signal_;
  std::vector<bool> busy_;
  std::set<int> foreign_;  ///< lanes of other groups
  int lane_ = -1;          ///< of the signal's group
  int first_bank_ = -1;
};

}  // namespace

std::vector<int> pads_for(PlacementRequest const& request, std::vector<int> const& pads, int signal) {
  const PadSieve sieve(request, pads, signal);
  const int partner = request.interface->signals[static_cast<std::size_t>(signal)].partner;
  std::vector<int> good, trial = pads;
  for (std::size_t pad = 0; pad < request.layout->pads.size(); ++pad) {
    if (!sieve.lets_through(static_cast<int>(pad))) continue;
    trial[static_cast<std::size_t>(signal)] = static_cast<int>(pad);
    if (partner >= 0) trial[static_cast<std::size_t>(partner)] = request.layout->pads[pad].partner;
    if (violations(request, trial).empty()) good.push_back(static_cast<int>(pad));
  }
  return good;
}

bool is_whole(std::vector<int> const& pads) {
  return std::none_of(pads.begin(), pads.end(), [](int pad) { return pad < 0; });
}

Objective objective_of(PlacementRequest const& request, std::vector<int> const& pads) {
  Layout const& layout = *request.layout;
  std::set<int> banks, lanes, addresses;
  for (std::size_t signal = 0; signal < pads.size(); ++signal) {
    PlacedLane const& lane = layout.lane_of_pad(pads[signal]);
    banks.insert(lane.bank);
    lanes.insert(lane.position);
    if (request.interface->signals[signal].unit == Signal::kAddress) addresses.insert(lane.position);
  }
  Objective objective;
  objective.banks = static_cast<int>(banks.size());
  objective.lanes = *lanes.rbegin() - *lanes.begin() + 1;
  objective.off_centre = std::abs(*addresses.begin() + *addresses.rbegin() - *lanes.begin() - *lanes.rbegin());
  return objective;
}

std::string standard_of(PlacementRequest const& request, int signal, int bank) {
  StandardSet const* const set = standards_for(request, request.layout->banks[static_cast<std::size_t>(bank)].kind);
  return set == nullptr ? std::string() : set->of(request.interface->signals[static_cast<std::size_t>(signal)].what);
}

}  // namespace kdi::planning
