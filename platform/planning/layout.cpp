#include "kdi/planning/Layout.h"

#include <algorithm>
#include <tuple>

#include "kdi/device/Device.h"

namespace kdi::planning {
namespace {

void add_lane(Layout& layout, device::ByteLane const& lane, int number, int position) {
  if (lane.pads.size() > static_cast<std::size_t>(kMostPadsOfLane))
    throw "the lane " + lane.name + " of bank " + std::to_string(number) + " has more than " +
        std::to_string(kMostPadsOfLane) + " pads";
  const int first = static_cast<int>(layout.pads.size());
  const int index = static_cast<int>(layout.lanes.size());
  layout.lanes.push_back(
      {lane.name, static_cast<int>(layout.banks.size()) - 1, position, first, static_cast<int>(lane.pads.size())});
  for (std::size_t i = 0; i < lane.pads.size(); ++i) {
    device::Pad const& pad = lane.pads[i];
    layout.pads.push_back({pad.name, pad.pin, pad.site, index, pad.nibble, pad.partner < 0 ? -1 : first + pad.partner,
                           pad.positive, pad.strobe, pad.clock, pad.impedance, pad.reference, pad.configuration,
                           pad.delay_ps});
  }
}

template <class Items, class Key>
int index_of(Items const& items, Key is_it) {
  const auto at = std::find_if(items.begin(), items.end(), is_it);
  return at == items.end() ? -1 : static_cast<int>(at - items.begin());
}

}  // namespace

int Layout::bank_of_number(int number) const {
  return index_of(banks, [&](PlacedBank const& bank) { return bank.number == number; });
}

int Layout::lane_of(int bank, std::string_view name) const {
  return index_of(lanes, [&](PlacedLane const& lane) { return lane.bank == bank && lane.name == name; });
}

int Layout::pad_of_name(std::string_view name) const {
  return index_of(pads, [&](PlacedPad const& pad) { return pad.name == name; });
}

int Layout::pad_of_ball(std::string_view ball) const {
  if (ball.empty()) return -1;
  return index_of(pads, [&](PlacedPad const& pad) { return pad.ball == ball; });
}

Layout layout_of(device::Part const& part) {
  std::vector<device::IoBank const*> of_die;  // also those without pins, which keep their place
  for (device::IoBank const& bank : part.device->banks)
    if (bank.column >= 0) of_die.push_back(&bank);
  std::sort(of_die.begin(), of_die.end(),
            [](auto const* a, auto const* b) { return std::tie(a->column, a->row) < std::tie(b->column, b->row); });
  Layout layout;
  int column = -1, position = 0;
  for (device::IoBank const* const die : of_die) {
    if (die->column != column)
      position = 0;
    else if (!layout.banks.empty() && layout.banks.back().row + 1 != die->row)
      ++position;  // so that lanes on both sides of a gap do not follow each other
    column = die->column;
    device::IoBank const* const bonded = part.package->bank(die->number);
    layout.banks.push_back({die->number, die->kind, die->column, die->row, die->slr, die->vcco_v, die->strobe_reach,
                            static_cast<int>(layout.lanes.size()), static_cast<int>(die->lanes.size()), die->triplet,
                            die->master, die->strobe_ways});
    if (die->lanes.size() > static_cast<std::size_t>(kMostLanesOfBank))
      throw "bank " + std::to_string(die->number) + " has more than " + std::to_string(kMostLanesOfBank) + " lanes";
    for (std::size_t lane = 0; lane < die->lanes.size(); ++lane)
      add_lane(layout, (bonded != nullptr ? bonded : die)->lanes[lane], die->number, position++);
  }
  return layout;
}

}  // namespace kdi::planning
