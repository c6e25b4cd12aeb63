// The rules of docs/placement-rules.md for buses, asked of pads that signals are on.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

#include "platform/planning/bus_facts.h"

namespace kdi::planning {
namespace {

using Role = BusSignal::Role;

class Rules {
 public:
  Rules(BusRequest const& request, BusInterface const& wanted, std::vector<int> const& pads)
      : request_(request), layout_(*request.layout), map_(*request.nibbles), wanted_(wanted), pads_(pads) {
    for (std::size_t signal = 0; signal < pads.size(); ++signal)
      if (pads[signal] >= 0) placed_.push_back(static_cast<int>(signal));
    is_whole_ = placed_.size() == wanted.signals.size();
  }

  std::vector<Violation> all() {
    banks();
    single_pads();
    pairs();
    wishes();
    nibbles();
    strobes();
    system_clock();
    whole();
    return std::move(found_);
  }

 private:
  int pad(int signal) const { return pads_[static_cast<std::size_t>(signal)]; }
  PlacedPad const& placed(int signal) const { return layout_.pads[static_cast<std::size_t>(pad(signal))]; }
  BusSignal const& signal(int index) const { return wanted_.signals[static_cast<std::size_t>(index)]; }
  Bus const& bus(int index) const { return request_.buses[static_cast<std::size_t>(index)]; }
  int bank(int signal) const { return layout_.bank_of_pad(pad(signal)); }
  int nibble(int signal) const { return map_.nibble_of_pad[static_cast<std::size_t>(pad(signal))]; }
  PlacedBank const& bank_at(int index) const { return layout_.banks[static_cast<std::size_t>(index)]; }

  void breach(std::string const& rule, std::vector<int> signals, std::string const& what) {
    found_.push_back(
        violation_of(rule, std::move(signals), what, layout_, pads_, [this](int each) { return signal(each).name; }));
  }

  // Each bus in each bank by itself, then those of a bank with each other.
  void banks() {
    const BankNeeds needs = bus_needs(request_, wanted_);
    const auto taken = taken_by_bank(request_);
    std::map<int, std::map<int, std::vector<int>>> in_bank;  // bank, bus
    for (const int each : placed_) in_bank[bank(each)][signal(each).bus].push_back(each);
    for (auto const& [index, buses] : in_bank)
      for (auto const& [one, signals] : buses) {
        const BankFault fault = bus_bank_fault(request_, needs, one, index, taken[static_cast<std::size_t>(index)]);
        if (!fault.rule.empty()) breach(fault.rule, signals, fault.text);
        for (auto const& [other, others] : buses) {
          if (other <= one) continue;
          const BankFault conflict = bus_conflict(request_, one, other);
          if (!conflict.rule.empty()) breach(conflict.rule, {signals[0], others[0]}, conflict.text);
        }
      }
  }

  void single_pads() {
    const BankNeeds needs = bus_needs(request_, wanted_);
    std::map<int, TakenPad const*> taken;
    for (TakenPad const& one : request_.taken) taken.emplace(one.pad, &one);
    std::map<int, int> by_pad;
    for (const int each : placed_) {
      if (const auto other = taken.find(pad(each)); other != taken.end())
        breach("pad-free", {each}, "the pad is taken by " + other->second->by);
      if (const auto [at, is_new] = by_pad.emplace(pad(each), each); !is_new)
        breach("pad-free", {at->second, each}, "two signals have one pad");
      const std::string rule = pad_fault(placed(each), needs, request_.internal_reference);
      if (!rule.empty()) breach(rule, {each}, "the pad is for no signal of the interface");
    }
  }

  static char const* pair_rule(Role role) {
    if (role == Role::data) return "data-pair";
    return role == Role::strobe ? "strobe-pair" : "clock-pair";
  }

  void pairs() {
    for (const int each : placed_) {
      BusSignal const& one = signal(each);
      if (one.partner < 0) continue;
      PlacedPad const& at = placed(each);
      const int other = pad(one.partner);
      if (one.negative && other >= 0) continue;  // told of the positive one
      // Of a pair that is on its way, the half that is there must be on the right half.
      if (at.positive == one.negative || at.partner < 0 || (other >= 0 && at.partner != other))
        breach(pair_rule(one.role), {each}, "the two signals are no differential pair of pads");
    }
  }

  void wishes() {
    for (std::size_t i = 0; i < request_.pad_of_signal.size(); ++i)
      if (request_.pad_of_signal[i] >= 0 && pads_[i] >= 0 && pads_[i] != request_.pad_of_signal[i])
        breach("as-asked", {static_cast<int>(i)}, "the signal is asked for on another pad");
  }

  void nibbles() {
    std::map<int, TakenPad const*> owned;
    for (TakenPad const& one : request_.taken)
      if (one.owns_lane)
        for (const int nibble : nibbles_owned(request_, one)) owned.emplace(nibble, &one);
    std::map<int, int> first_in_nibble, first_of_bus;
    std::set<std::pair<int, int>> told;
    for (const int each : placed_) {
      const int of = signal(each).bus;
      if (of == kSystemClockBus || nibble(each) < 0) continue;
      if (const auto other = owned.find(nibble(each)); other != owned.end())
        breach("nibble-owner", {each}, "the nibble is that of " + other->second->by);
      const auto [first, is_new] = first_in_nibble.emplace(nibble(each), each);
      if (!is_new && signal(first->second).bus != of && told.insert({nibble(each), of}).second)
        breach("nibble-owner", {first->second, each}, "one nibble is for two buses");
      const auto [begin, starts] = first_of_bus.emplace(of, each);
      if (!starts && bank(begin->second) != bank(each) && told.insert({-1, of}).second)
        breach("bus-in-bank", {begin->second, each}, "a bus is in two banks");
    }
  }

  void strobes() {
    for (const int each : placed_) {
      BusSignal const& one = signal(each);
      if (one.role != Role::strobe || one.negative || nibble(each) < 0) continue;
      const bool is_site = placed(each).strobe && placed(each).positive;
      if (!is_site) breach("strobe-site", {each}, "the pad takes no strobe");
      NibbleBank const& home = *map_.of_bank(bank(each));
      for (const int other : placed_) {
        if (signal(other).bus != one.bus || signal(other).role != Role::data || bank(other) != bank(each)) continue;
        reach(home, each, other);
      }
    }
  }

  void reach(NibbleBank const& home, int strobe, int data) {
    const int from = map_.nibbles[static_cast<std::size_t>(nibble(strobe))].index;
    const int to = map_.nibbles[static_cast<std::size_t>(nibble(data))].index;
    const int hops = home.hops[static_cast<std::size_t>(from)][static_cast<std::size_t>(to)];
    Bus const& of = bus(signal(data).bus);
    if (hops < 0 || hops > home.most_hops) {
      breach("strobe-hops", {strobe, data}, "the strobe does not reach the nibble");
      return;
    }
    const int slip = bit_slip(of, home, hops);
    if (slip >= of.ratio)
      breach("bit-slip", {strobe, data},
             "the strobe comes " + std::to_string(slip) + " bits later, and a word of " + std::to_string(of.ratio) +
                 " is aligned by fewer");
  }

  void system_clock() {
    for (const int each : placed_) {
      BusSignal const& one = signal(each);
      if (one.role != Role::system_clock || one.negative || nibble(each) < 0) continue;
      PlacedPad const& at = placed(each);
      if (!at.clock || !at.positive) breach("system-clock-site", {each}, "the pad takes no clock");
      NibbleBank const& home = *map_.of_bank(bank(each));
      const bool is_master = map_.banks[static_cast<std::size_t>(home.master)].bank == bank(each);
      const bool has_bus = std::any_of(placed_.begin(), placed_.end(), [&](int other) {
        if (signal(other).bus == kSystemClockBus || nibble(other) < 0) return false;
        return map_.of_bank(bank(other))->triplet == home.triplet;
      });
      if (!is_master || (is_whole_ && !has_bus))
        breach("system-clock-master", {each}, "the bank is no master of a triplet with a bus");
    }
  }

  void whole() {
    std::map<int, std::set<int>> of_triplet;
    std::map<int, int> used;  // bank, a signal
    for (const int each : placed_) used.emplace(bank(each), each);
    for (auto const& [index, each] : used) {
      if (bank_at(index).column != bank_at(used.begin()->first).column)
        breach("one-column", {used.begin()->second, each}, "the interface is in two columns of banks");
      else if (bank_at(index).slr != bank_at(used.begin()->first).slr)
        breach("one-slr", {used.begin()->second, each}, "the interface is on two dies");
      if (NibbleBank const* const home = map_.of_bank(index)) of_triplet[home->triplet].insert(index);
    }
    if (request_.most_banks > 0 && used.size() > static_cast<std::size_t>(request_.most_banks))
      breach("bank-limit", {}, "the interface is in " + std::to_string(used.size()) + " banks");
    for (auto const& [triplet, banks] : of_triplet)
      if (banks.size() > static_cast<std::size_t>(request_.most_banks_of_triplet))
        breach("triplet-banks", {}, "the interface is in " + std::to_string(banks.size()) + " banks of a triplet");
  }

  BusRequest const& request_;
  Layout const& layout_;
  NibbleMap const& map_;
  BusInterface const& wanted_;
  std::vector<int> const& pads_;
  std::vector<int> placed_;
  bool is_whole_ = false;
  std::vector<Violation> found_;
};

}  // namespace

std::vector<Violation> bus_violations(BusRequest const& request, BusInterface const& wanted,
                                      std::vector<int> const& pad_of_signal) {
  return Rules(request, wanted, pad_of_signal).all();
}

std::vector<std::pair<int, std::vector<CapturedNibble>>> captures_of(BusRequest const& request,
                                                                     BusInterface const& wanted,
                                                                     std::vector<int> const& pads) {
  NibbleMap const& map = *request.nibbles;
  std::vector<std::pair<int, std::vector<CapturedNibble>>> captures;
  for (std::size_t strobe = 0; strobe < wanted.signals.size(); ++strobe) {
    BusSignal const& one = wanted.signals[strobe];
    if (one.role != Role::strobe || one.negative) continue;
    const int from = map.nibble_of_pad[static_cast<std::size_t>(pads[strobe])];
    NibbleBank const& bank = *map.of_bank(map.nibbles[static_cast<std::size_t>(from)].bank);
    std::set<std::pair<int, int>> reached;
    for (std::size_t data = 0; data < wanted.signals.size(); ++data) {
      if (wanted.signals[data].bus != one.bus || wanted.signals[data].role != Role::data) continue;
      const int to = map.nibble_of_pad[static_cast<std::size_t>(pads[data])];
      reached.insert(
          {bank.hops[static_cast<std::size_t>(from - bank.first)][static_cast<std::size_t>(to - bank.first)], to});
    }
    captures.push_back({static_cast<int>(strobe), {}});
    for (auto const& [hops, nibble] : reached)
      captures.back().second.push_back(
          {nibble, hops, bit_slip(request.buses[static_cast<std::size_t>(one.bus)], bank, hops)});
  }
  return captures;
}

BusObjective bus_objective_of(BusRequest const& request, BusInterface const& wanted, std::vector<int> const& pads) {
  BusObjective objective;
  std::set<int> banks, positions;
  int clock = -1;
  for (std::size_t i = 0; i < pads.size(); ++i) {
    PlacedLane const& lane = request.layout->lane_of_pad(pads[i]);
    banks.insert(lane.bank);
    positions.insert(lane.position);
    if (wanted.signals[i].role == Role::system_clock) clock = lane.position;
  }
  objective.banks = static_cast<int>(banks.size());
  for (auto const& [strobe, nibbles] : captures_of(request, wanted, pads))
    for (CapturedNibble const& one : nibbles) objective.crossings += one.hops;
  objective.lanes = *positions.rbegin() - *positions.begin() + 1;
  if (clock >= 0) objective.off_centre = std::abs(2 * clock - *positions.begin() - *positions.rbegin());
  return objective;
}

}  // namespace kdi::planning
