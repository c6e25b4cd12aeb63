#include "platform/planning/section.h"

#include <algorithm>
#include <cstdlib>

namespace kdi::planning {

Sections::Sections(PlacementRequest const& request, Layout const& layout)
    : request_(request), layout_(layout), interface_(*request.interface), taken_(layout.banks.size()) {
  for (Signal& signal : interface_.signals) {
    signal.name.clear();
    signal.port.clear();
  }
  for (Unit& unit : interface_.units) unit.group.clear();
  for (TakenPad const& one : request.taken)
    taken_[static_cast<std::size_t>(layout.bank_of_pad(one.pad))].push_back(&one);
}

std::vector<std::vector<int>> Sections::rows() const {
  std::vector<std::vector<int>> all;
  const int count = static_cast<int>(layout_.banks.size());
  int end = 0;
  for (int first = 0; first < count; ++first) {
    PlacedBank const& base = layout_.banks[static_cast<std::size_t>(first)];
    int last = first;
    while (last < count && layout_.banks[static_cast<std::size_t>(last)].column == base.column &&
           layout_.banks[static_cast<std::size_t>(last)].row < base.row + kMostRows)
      ++last;
    if (last == end) continue;
    end = last;
    std::vector<int> banks;
    for (int bank = first; bank < last; ++bank) banks.push_back(bank);
    all.push_back(std::move(banks));
  }
  return all;
}

std::vector<int> Sections::around(int bank) const {
  PlacedBank const& centre = layout_.banks[static_cast<std::size_t>(bank)];
  std::vector<int> banks;
  for (std::size_t i = 0; i < layout_.banks.size(); ++i)
    if (layout_.banks[i].column == centre.column && std::abs(layout_.banks[i].row - centre.row) < kMostRows)
      banks.push_back(static_cast<int>(i));
  return banks;
}

std::unique_ptr<Section> Sections::of(std::vector<int> const& banks) const {
  std::unique_ptr<Section> section(new Section);
  section->lanes_.assign(layout_.lanes.size(), -1);
  std::vector<int> pads(layout_.pads.size(), -1);
  for (const int bank : banks) take_bank(*section, bank, pads);
  for (PlacedPad& pad : section->layout_.pads)
    if (pad.partner >= 0) pad.partner = pads[static_cast<std::size_t>(pad.partner)];
  ask(*section, pads);
  return section;
}

void Sections::take_bank(Section& section, int index, std::vector<int>& pads) const {
  Layout& own = section.layout_;
  PlacedBank const& bank = layout_.banks[static_cast<std::size_t>(index)];
  own.banks.push_back(bank);
  own.banks.back().first = static_cast<int>(own.lanes.size());
  own.banks.back().ways = {};
  for (int at = bank.first; at < bank.first + bank.lanes; ++at) {
    PlacedLane const& lane = layout_.lanes[static_cast<std::size_t>(at)];
    section.lanes_[static_cast<std::size_t>(at)] = static_cast<int>(own.lanes.size());
    own.lanes.push_back(
        {{}, static_cast<int>(own.banks.size()) - 1, lane.position, static_cast<int>(own.pads.size()), lane.pads});
    for (int pad = lane.first; pad < lane.first + lane.pads; ++pad) {
      PlacedPad const& from = layout_.pads[static_cast<std::size_t>(pad)];
      pads[static_cast<std::size_t>(pad)] = static_cast<int>(own.pads.size());
      PlacedPad& to = own.pads.emplace_back();
      to.ball = from.ball.empty() ? "" : "ball";
      to.lane = static_cast<int>(own.lanes.size()) - 1;
      to.nibble = from.nibble;
      to.partner = from.partner;
      to.positive = from.positive;
      to.strobe = from.strobe;
      to.clock = from.clock;
      to.impedance = from.impedance;
      to.reference = from.reference;
      to.configuration = from.configuration;
    }
  }
  for (TakenPad const* const one : taken_[static_cast<std::size_t>(index)]) {
    section.request_.taken.push_back(*one);
    section.request_.taken.back().pad = pads[static_cast<std::size_t>(one->pad)];
  }
}

void Sections::ask(Section& section, std::vector<int> const& pads) const {
  PlacementRequest& own = section.request_;
  own.layout = &section.layout_;
  own.interface = &interface_;
  own.standards = request_.standards;
  own.rate_mbps = request_.rate_mbps;
  own.grade = request_.grade;
  own.internal_reference = request_.internal_reference;
  own.banks = request_.banks;
  for (const int lane : request_.lane_of_unit) {
    const int away = static_cast<int>(section.layout_.lanes.size());
    const int inside = lane < 0 ? -1 : section.lane(lane);
    own.lane_of_unit.push_back(lane >= 0 && inside < 0 ? away : inside);
  }
  for (std::size_t signal = 0; signal < request_.pad_of_signal.size(); ++signal) {
    const int pad = request_.pad_of_signal[signal];
    const int inside = pad < 0 ? -1 : pads[static_cast<std::size_t>(pad)];
    own.pad_of_signal.push_back(inside);
    if (pad >= 0 && inside < 0) section.away_.push_back(interface_.signals[signal].unit);
  }
}

}  // namespace kdi::planning
