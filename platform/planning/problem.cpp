#include "platform/planning/problem.h"

#include <algorithm>
#include <bit>

#include "platform/planning/bank_rules.h"

namespace kdi::planning {

PadMask Problem::bit_of(int pad) const {
  PlacedPad const& placed = layout().pads[static_cast<std::size_t>(pad)];
  return PadMask{1} << (pad - layout().lanes[static_cast<std::size_t>(placed.lane)].first);
}

Problem::Problem(PlacementRequest const& request)
    : request_(request),
      lanes_(request.layout->lanes.size()),
      pinned_(request.layout->lanes.size()),
      address_in_lane_(request.layout->lanes.size()),
      pad_of_signal_(request.interface->signals.size(), -1),
      lane_of_unit_(request.interface->units.size(), -1),
      pinned_in_unit_(request.interface->units.size()),
      unit_was_pinned_(request.interface->units.size()) {
  read_lanes();
  take_wishes();
}

void Problem::read_lanes() {
  std::vector<std::vector<TakenPad const*>> taken(layout().banks.size());
  std::vector<bool> is_taken(layout().pads.size());
  for (TakenPad const& one : request_.taken) {
    taken[static_cast<std::size_t>(layout().bank_of_pad(one.pad))].push_back(&one);
    is_taken[static_cast<std::size_t>(one.pad)] = true;
    if (one.owns_lane)
      lanes_[static_cast<std::size_t>(layout().pads[static_cast<std::size_t>(one.pad)].lane)].owned = true;
  }
  for (std::size_t bank = 0; bank < layout().banks.size(); ++bank) {
    const bool fits = bank_fault(request_, static_cast<int>(bank), taken[bank]).rule.empty();
    bank_standards_.push_back(fits ? standards_for(request_, layout().banks[bank].kind) : nullptr);
  }
  BankNeeds needs;
  int last_bank = -1;
  for (std::size_t i = 0; i < lanes_.size(); ++i) {
    PlacedLane const& placed = layout().lanes[i];
    if (standards(placed.bank) == nullptr) continue;
    LaneView& view = lanes_[i];
    if (placed.bank != last_bank) needs = needs_of(request_, *standards(placed.bank));
    last_bank = placed.bank;
    for (int pad = placed.first; pad < placed.first + placed.pads; ++pad) {
      PlacedPad const& one = layout().pads[static_cast<std::size_t>(pad)];
      if (is_taken[static_cast<std::size_t>(pad)] || !pad_fault(one, needs, request_.internal_reference).empty())
        continue;
      view.usable |= bit_of(pad);
      if (static_cast<std::size_t>(one.nibble) >= view.nibbles.size())
        view.nibbles.resize(static_cast<std::size_t>(one.nibble) + 1);
      view.nibbles[static_cast<std::size_t>(one.nibble)] |= bit_of(pad);
    }
    for (int pad = placed.first; pad < placed.first + placed.pads; ++pad) {
      PlacedPad const& one = layout().pads[static_cast<std::size_t>(pad)];
      if (!one.positive || one.partner < 0) continue;
      PlacedPad const& other = layout().pads[static_cast<std::size_t>(one.partner)];
      const PadPair pair{pad, one.partner, bit_of(pad) | bit_of(one.partner)};
      const bool both = (view.usable & pair.mask) == pair.mask;
      if (both) view.pairs.push_back(pair);
      if (both && one.strobe && other.strobe) view.strobes.push_back(pair);
      const bool is_clock = one.clock && (other.clock || interface().system_clock.size() == 1);
      if (is_clock && (view.usable & clock_mask(pair)) == clock_mask(pair)) view.clocks.push_back(pair);
    }
  }
}

void Problem::take_wishes() {
  Interface const& wanted = interface();
  for (std::size_t unit = 0; unit < request_.lane_of_unit.size(); ++unit)
    if (request_.lane_of_unit[unit] >= 0) pin_unit(static_cast<int>(unit), request_.lane_of_unit[unit]);
  for (std::size_t signal = 0; signal < request_.pad_of_signal.size(); ++signal) {
    const int pad = request_.pad_of_signal[signal];
    if (pad < 0 || pad_of_signal_[signal] == pad) continue;
    if (pad_of_signal_[signal] < 0 && pin(static_cast<int>(signal), pad)) continue;
    fault_ = wanted.signals[signal].name + " cannot be on " + layout().pads[static_cast<std::size_t>(pad)].name;
    return;
  }
}

PadMask Problem::clock_mask(PadPair const& pair) const {
  return interface().system_clock.size() == 1 ? bit_of(pair.positive) : pair.mask;
}

bool Problem::pin(int signal, int pad) {
  Signal const& wanted = interface().signals[static_cast<std::size_t>(signal)];
  PlacedPad const& placed = layout().pads[static_cast<std::size_t>(pad)];
  const auto lane = static_cast<std::size_t>(placed.lane);
  PadMask mask = bit_of(pad);
  if (wanted.partner >= 0) {
    if (placed.partner < 0 || placed.positive == wanted.negative) return false;
    mask |= bit_of(placed.partner);
  }
  if ((lanes_[lane].usable & mask) != mask || (pinned_[lane] & mask) != 0) return false;
  if (wanted.unit >= 0 && lane_of(wanted.unit) >= 0 && lane_of(wanted.unit) != placed.lane) return false;
  if (wanted.unit >= 0) {
    const auto unit = static_cast<std::size_t>(wanted.unit);
    if (pinned_in_unit_[unit]++ == 0) unit_was_pinned_[unit] = lane_of_unit_[unit] >= 0;
    lane_of_unit_[unit] = placed.lane;
  }
  if (wanted.unit == Signal::kAddress) ++address_in_lane_[lane];
  pinned_[lane] |= mask;
  pad_of_signal_[static_cast<std::size_t>(signal)] = pad;
  if (wanted.partner >= 0) pad_of_signal_[static_cast<std::size_t>(wanted.partner)] = placed.partner;
  return true;
}

void Problem::unpin(int signal) {
  Signal const& wanted = interface().signals[static_cast<std::size_t>(signal)];
  const int pad = pad_of(signal);
  PlacedPad const& placed = layout().pads[static_cast<std::size_t>(pad)];
  const auto lane = static_cast<std::size_t>(placed.lane);
  PadMask mask = bit_of(pad);
  if (wanted.partner >= 0) mask |= bit_of(placed.partner);
  if (wanted.unit >= 0) {
    const auto unit = static_cast<std::size_t>(wanted.unit);
    if (--pinned_in_unit_[unit] == 0 && !unit_was_pinned_[unit]) lane_of_unit_[unit] = -1;
  }
  if (wanted.unit == Signal::kAddress) --address_in_lane_[lane];
  pinned_[lane] &= ~mask;
  pad_of_signal_[static_cast<std::size_t>(signal)] = -1;
  if (wanted.partner >= 0) pad_of_signal_[static_cast<std::size_t>(wanted.partner)] = -1;
}

bool Problem::cell_fits(Cell const& cell, int lane, PadMask pads, PadMask pinned) const {
  int open = 0;
  for (const int signal : cell.singles) {
    const int pad = pad_of(signal);
    if (pad < 0)
      ++open;
    else if ((pads & bit_of(pad)) == 0)
      return false;  // in another nibble
  }
  const PadMask free = pads & ~pinned;
  if (cell.positive < 0) return std::popcount(free) >= open;
  LaneView const& view = lanes_[static_cast<std::size_t>(lane)];
  for (PadPair const& pair : cell.strobe_site ? view.strobes : view.pairs) {
    const int pad = pad_of(cell.positive);
    if (pad >= 0 ? pad != pair.positive || (pads & pair.mask) != pair.mask : (free & pair.mask) != pair.mask) continue;
    if (std::popcount(free & ~pair.mask) >= open) return true;
  }
  return false;
}

bool Problem::cells_fit(Unit const& unit, std::size_t cell, int lane, PadMask pads, PadMask pinned,
                        unsigned used) const {
  if (cell == unit.cells.size()) return true;
  LaneView const& view = lanes_[static_cast<std::size_t>(lane)];
  for (std::size_t nibble = 0; nibble < view.nibbles.size(); ++nibble)
    if ((used >> nibble & 1u) == 0 && cell_fits(unit.cells[cell], lane, pads & view.nibbles[nibble], pinned) &&
        cells_fit(unit, cell + 1, lane, pads, pinned, used | 1u << nibble))
      return true;
  return false;
}

bool Problem::fits(int index, int lane, PadMask without) const {
  const auto at = static_cast<std::size_t>(lane);
  LaneView const& view = lanes_[at];
  Unit const& unit = interface().units[static_cast<std::size_t>(index)];
  if (view.owned || view.usable == 0 || address_in_lane_[at] > 0) return false;
  if (lane_of(index) >= 0 && lane_of(index) != lane) return false;
  const PadMask pads = view.usable & ~without;
  if (unit.cells.size() == 1) return cell_fits(unit.cells[0], lane, pads, pinned_[at]);
  return cells_fit(unit, 0, lane, pads, pinned_[at], 0);
}

bool Problem::address_fits(std::vector<int> const& run, int without_lane, PadMask without) const {
  int pairs = 0, singles = 0, decided = 0;
  for (const int signal : interface().address) {
    Signal const& one = interface().signals[static_cast<std::size_t>(signal)];
    if (one.negative) continue;
    if (pad_of(signal) >= 0)
      ++decided;
    else
      ++(one.partner >= 0 ? pairs : singles);
  }
  int free_pads = 0, free_pairs = 0, bare_lanes = 0, bare_with_pair = 0;
  for (const int lane : run) {
    LaneView const& view = lanes_[static_cast<std::size_t>(lane)];
    if (view.owned) return false;
    decided -= address_in_lane_[static_cast<std::size_t>(lane)];
    PadMask free = view.usable & ~pinned_[static_cast<std::size_t>(lane)];
    if (lane == without_lane) free &= ~without;
    int pairs_here = 0;
    for (PadPair const& pair : view.pairs) pairs_here += (free & pair.mask) == pair.mask ? 1 : 0;
    free_pads += std::popcount(free);
    free_pairs += pairs_here;
    if (address_in_lane_[static_cast<std::size_t>(lane)] > 0) continue;
    if (free == 0) return false;
    ++bare_lanes;
    bare_with_pair += pairs_here > 0 ? 1 : 0;
  }
  return decided == 0 && free_pairs >= pairs && free_pads >= 2 * pairs + singles &&
         bare_lanes - std::min(pairs, bare_with_pair) <= singles;
}

}  // namespace kdi::planning
