#include "platform/planning/relaxed.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/planning/Standards.h"
#include "platform/planning/bank_rules.h"

namespace kdi::planning {
namespace {

bool any_pad(Layout const& layout, bool PlacedPad::*property) {
  return std::any_of(layout.pads.begin(), layout.pads.end(), [&](PlacedPad const& pad) { return pad.*property; });
}

bool any_signal(Interface const& interface, auto is_it) {
  return std::any_of(interface.signals.begin(), interface.signals.end(), is_it);
}

// Elements by what there is to be waived; a rule that binds nothing is none of them.
class Lister {
 public:
  explicit Lister(PlacementRequest const& request)
      : request_(request), layout_(*request.layout), wanted_(*request.interface) {}

  std::vector<Element> list() {
    wishes();
    if (!request_.banks.empty()) add(Waiver::selection, "bank-selection", "only selected banks may be used");
    pads_of_others();
    rules();
    return std::move(elements_);
  }

 private:
  void add(Waiver waiver, char const* rule, std::string text) {
    elements_.push_back({waiver, {rule, std::move(text)}, 0, {}, -1});
  }

  bool is_wished(int unit) const {
    if (unit >= 0 && static_cast<std::size_t>(unit) < request_.lane_of_unit.size() &&
        request_.lane_of_unit[static_cast<std::size_t>(unit)] >= 0)
      return true;
    for (std::size_t i = 0; i < request_.pad_of_signal.size(); ++i)
      if (request_.pad_of_signal[i] >= 0 && wanted_.signals[i].unit == unit) return true;
    return false;
  }

  void wish(int unit, std::string const& what) {
    if (!is_wished(unit)) return;
    add(Waiver::wish, "as-asked", what + " is asked for where it is");
    elements_.back().unit = unit;
  }

  void wishes() {
    for (std::size_t unit = 0; unit < wanted_.units.size() && elements_.size() + 1 < kMostElements / 2; ++unit)
      wish(static_cast<int>(unit), wanted_.units[unit].group);
    wish(Signal::kAddress, "the address block");
    wish(Signal::kSystem, "the system clock");
  }

  // By owner and bank; where these are too many, by owner.
  void pads_of_others() {
    std::map<std::pair<std::string, int>, int> pads;
    for (TakenPad const& one : request_.taken) ++pads[{one.by, layout_.bank_of_pad(one.pad)}];
    const bool by_bank = pads.size() <= kMostElements / 2 - 20;
    if (!by_bank) {
      pads.clear();
      for (TakenPad const& one : request_.taken) ++pads[{one.by, -1}];
    }
    for (auto const& [key, count] : pads) {
      auto const& [by, bank] = key;
      if (elements_.size() + 20 >= kMostElements) return;
      std::string text = by + " has " + std::to_string(count) + (count == 1 ? " pad" : " pads");
      if (bank >= 0) text += " in bank " + std::to_string(layout_.banks[static_cast<std::size_t>(bank)].number);
      add(Waiver::pads, "pad-free", std::move(text));
      elements_.back().by = by;
      elements_.back().bank = bank;
    }
  }

  void rules() {
    const auto taken = [&](auto is_it) { return std::any_of(request_.taken.begin(), request_.taken.end(), is_it); };
    if (taken([](TakenPad const& one) { return one.owns_lane; }))
      add(Waiver::owners, "lane-owner", "a lane is for one controller");
    if (taken([](TakenPad const& one) { return one.is_input && !one.standard.empty(); }))
      add(Waiver::reference, "bank-reference", "a bank has one reference voltage");
    add(Waiver::voltage, "bank-voltage", "a bank has one Vcco, in its range");
    if (!request_.standards.empty())
      add(Waiver::kind, "bank-kind",
          "banks are of one kind, whose standards reach " + std::to_string(request_.rate_mbps) + " Mb/s");
    if (any_pad(layout_, &PlacedPad::configuration))
      add(Waiver::configuration_pad, "configuration-pad", "pads of configuration are for no signal");
    if (any_pad(layout_, &PlacedPad::impedance))
      add(Waiver::impedance_pad, "impedance-pad", "impedance pads are for no signal");
    if (any_pad(layout_, &PlacedPad::reference) && !request_.internal_reference)
      add(Waiver::reference_pad, "reference-pad", "reference pads are for no signal");
    if (std::any_of(layout_.pads.begin(), layout_.pads.end(), [](PlacedPad const& pad) { return pad.ball.empty(); }))
      add(Waiver::bonded, "pad-bonded", "the package leaves pads out");
    strobe_rules();
    clock_rules();
    if (wanted_.address.size() > 1) {
      add(Waiver::address_adjacent, "address-adjacent", "the lanes of the address block follow each other");
      elements_.back().parts = address_parts();
    }
    std::set<int> columns, dies;
    for (PlacedBank const& bank : layout_.banks) {
      columns.insert(bank.column);
      dies.insert(bank.slr);
    }
    if (dies.size() > 1) add(Waiver::one_slr, "one-slr", "the interface is on one die");
    if (columns.size() > 1 || layout_.banks.size() > static_cast<std::size_t>(kMostRows))
      add(Waiver::one_column, columns.size() > 1 ? "one-column" : "banks-near",
          columns.size() > 1 ? "the interface is in one column of banks" : "the interface is in five rows");
  }

  int address_parts() const {
    int most = 1;
    for (PlacedLane const& lane : layout_.lanes) most = std::max(most, lane.pads - 1);
    return (static_cast<int>(wanted_.address.size()) + most - 1) / most;
  }

  void strobe_rules() {
    bool needs_site = false, has_pair = false, is_shared = false;
    for (Unit const& unit : wanted_.units) {
      is_shared = is_shared || !unit.clocks_set;
      for (Cell const& cell : unit.cells) {
        needs_site = needs_site || (cell.strobe_site && cell.positive >= 0);
        has_pair = has_pair || cell.positive >= 0;
      }
    }
    if (needs_site) add(Waiver::strobe_site, "strobe-site", "strobes are on strobe sites");
    if (has_pair) add(Waiver::strobe_pair, "strobe-pair", "strobes are on pairs of pads");
    if (is_shared) add(Waiver::strobe_reach, "strobe-reach", "groups are within reach of their strobe");
  }

  void clock_rules() {
    if (any_signal(wanted_, [](Signal const& one) { return one.unit == Signal::kAddress && one.partner >= 0; }))
      add(Waiver::clock_pair, "clock-pair", "clocks of the memory are on pairs of pads");
    if (wanted_.system_clock.empty()) return;
    add(Waiver::clock_site, "system-clock-site", "the system clock is on a clock site");
    add(Waiver::clock_near, "system-clock-near", "the system clock enters in a bank of the interface or beside one");
  }

  PlacementRequest const& request_;
  Layout const& layout_;
  Interface const& wanted_;
  std::vector<Element> elements_;
};

}  // namespace

std::vector<Element> elements_of(PlacementRequest const& request) { return Lister(request).list(); }

Relaxed::Relaxed(PlacementRequest const& request, std::vector<Element> const& elements, ElementSet without)
    : layout_(*request.layout), interface_(*request.interface), request_(request) {
  request_.layout = &layout_;
  request_.interface = &interface_;
  // The kind of the banks first: what voltage a bank has to have depends on it.
  for (const bool of_kind : {true, false})
    for (std::size_t i = 0; i < elements.size(); ++i)
      if (without[i] && (elements[i].waiver == Waiver::kind) == of_kind) waive(elements[i], request);
}

void Relaxed::waive(Element const& element, PlacementRequest const& asked) {
  switch (element.waiver) {
    case Waiver::wish:
      return free_wish(element.unit);
    case Waiver::selection:
      return request_.banks.clear();
    case Waiver::pads:
      std::erase_if(request_.taken, [&](TakenPad const& one) {
        return one.by == element.by && (element.bank < 0 || layout_.bank_of_pad(one.pad) == element.bank);
      });
      return;
    case Waiver::owners:
      for (TakenPad& one : request_.taken) one.owns_lane = false;
      return;
    case Waiver::reference:
      for (TakenPad& one : request_.taken) one.is_input = false;
      return;
    case Waiver::voltage:
      return level_voltages();
    case Waiver::kind:
      return one_kind();
    case Waiver::address_adjacent:
      return split_address(*asked.interface, element.parts);
    case Waiver::one_column:
      return join_columns(asked);
    default:
      waive_in_layout(element.waiver);
      waive_in_interface(element.waiver);
  }
}

void Relaxed::waive_in_layout(Waiver waiver) {
  for (PlacedBank& bank : layout_.banks) {
    if (waiver == Waiver::one_slr) bank.slr = 0;
    if (waiver == Waiver::strobe_reach) bank.reach = device::StrobeReach::bank;
  }
  for (PlacedPad& pad : layout_.pads) {
    if (waiver == Waiver::configuration_pad) pad.configuration = false;
    if (waiver == Waiver::impedance_pad) pad.impedance = false;
    if (waiver == Waiver::reference_pad) pad.reference = false;
    if (waiver == Waiver::bonded && pad.ball.empty()) pad.ball = "none";
    if (waiver == Waiver::clock_site) pad.clock = true;
  }
}

void Relaxed::waive_in_interface(Waiver waiver) {
  if (waiver == Waiver::strobe_site)
    for (Unit& unit : interface_.units)
      for (Cell& cell : unit.cells) cell.strobe_site = false;
  if (waiver == Waiver::strobe_reach) {  // each group by itself
    interface_.sets = static_cast<int>(interface_.units.size());
    for (std::size_t i = 0; i < interface_.units.size(); ++i) interface_.units[i].set = static_cast<int>(i);
    for (Unit& unit : interface_.units) unit.clocks_set = true;
  }
  if (waiver == Waiver::strobe_pair) part_pairs(true);
  if (waiver == Waiver::clock_pair) part_pairs(false);
  if (waiver == Waiver::clock_near) drop_system_clock();
}

void Relaxed::free_wish(int unit) {
  if (unit >= 0 && static_cast<std::size_t>(unit) < request_.lane_of_unit.size())
    request_.lane_of_unit[static_cast<std::size_t>(unit)] = -1;
  for (std::size_t i = 0; i < request_.pad_of_signal.size(); ++i)
    if (interface_.signals[i].unit == unit) request_.pad_of_signal[i] = -1;
}

// Pads of another voltage stay taken, but no more is known of them. Where they are inputs by another reference voltage
// as well, the bank is as barred as before.
void Relaxed::level_voltages() {
  for (PlacedBank& bank : layout_.banks) bank.vcco_v = {0, 100};
  const auto same = [](std::string const& a, std::string const& b) {
    return a == b || number::whole<double>(a) == number::whole<double>(b);
  };
  for (TakenPad& one : request_.taken) {
    PlacedBank& bank = layout_.banks[static_cast<std::size_t>(layout_.bank_of_pad(one.pad))];
    IoStandard const* const standard = find_standard(one.standard);
    StandardSet const* const own = standards_for(request_, bank.kind);
    if (standard == nullptr || own == nullptr || same(standard->vcco_v, own->voltage_v)) continue;
    const std::string reference = needs_of(request_, *own).input_reference;
    if (one.is_input && !standard->differential && !standard->vref_v.empty() && !reference.empty() &&
        !same(standard->vref_v, reference))
      bank.vcco_v = {0, 0};
    else
      one.standard.clear();
  }
}

void Relaxed::one_kind() {
  request_.rate_mbps = 0;
  for (PlacedBank& bank : layout_.banks) bank.kind = request_.standards.front().bank_kinds.front();
}

// Banks behind each other, those that have the most room first, and lanes adjacent where they are. The room is that of
// the request as it is asked: what else is waived must not put them in another order.
void Relaxed::join_columns(PlacementRequest const& asked) {
  const std::vector<BankUse> uses = bank_uses(asked, std::vector<int>(asked.interface->signals.size(), -1));
  std::vector<std::size_t> order(layout_.banks.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    PlacedBank const &x = layout_.banks[a], &y = layout_.banks[b];
    return std::tie(x.slr, x.kind, uses[b].free_lanes, uses[b].address) <
           std::tie(y.slr, y.kind, uses[a].free_lanes, uses[a].address);
  });
  std::vector<PlacedBank> banks;
  int position = 0, row = 0;
  PlacedBank const* before = nullptr;
  for (const std::size_t index : order) {
    PlacedBank const& bank = layout_.banks[index];
    if (before != nullptr && (bank.column != before->column || bank.row != before->row + 1)) ++position;
    before = &bank;
    for (int lane = bank.first; lane < bank.first + bank.lanes; ++lane) {
      layout_.lanes[static_cast<std::size_t>(lane)].bank = static_cast<int>(banks.size());
      layout_.lanes[static_cast<std::size_t>(lane)].position = position++;
    }
    banks.push_back(bank);
    banks.back().column = 0;
    banks.back().row = row++;
  }
  layout_.banks = std::move(banks);
}

// Each signal of a pair by itself; cells with a strobe have it among their other signals.
void Relaxed::part_pairs(bool of_strobes) {
  for (Signal& one : interface_.signals) {
    const bool is_meant =
        of_strobes ? one.what == SignalClass::strobe : one.unit == Signal::kAddress && one.partner >= 0;
    if (!is_meant) continue;
    one.partner = -1;
    one.negative = false;
  }
  if (!of_strobes) return;
  for (Unit& unit : interface_.units)
    for (Cell& cell : unit.cells) {
      if (cell.positive < 0) continue;
      cell.singles.insert(cell.singles.begin(), {cell.positive, cell.negative});
      cell.positive = cell.negative = -1;
    }
}

// Its signals are the last ones.
void Relaxed::drop_system_clock() {
  interface_.signals.resize(interface_.signals.size() - interface_.system_clock.size());
  interface_.system_clock.clear();
  if (!request_.pad_of_signal.empty()) request_.pad_of_signal.resize(interface_.signals.size());
}

// Parts of the block that go each to a lane of its own, as groups do; the last part stays the block. What was asked for
// as pairs is in it whether or not pairs are waived: with more waived the parts must not be others.
void Relaxed::split_address(Interface const& asked, int parts) {
  const int count = static_cast<int>(interface_.address.size());
  std::vector<std::vector<int>> blocks(static_cast<std::size_t>(parts));
  for (int i = 0, part = 0; i < count; ++i) {
    const int signal = interface_.address[static_cast<std::size_t>(i)];
    if (asked.signals[static_cast<std::size_t>(signal)].partner >= 0)
      blocks.back().push_back(signal);  // which only a block has several of
    else
      blocks[static_cast<std::size_t>(part++ % parts)].push_back(signal);
  }
  interface_.address = blocks.back();
  blocks.pop_back();
  for (std::vector<int> const& block : blocks) {
    Unit unit;
    unit.group = "Address";
    unit.signals = block;
    unit.cells.resize(1);
    unit.cells[0].singles = block;
    unit.set = interface_.sets++;
    unit.clocks_set = true;
    for (const int signal : block)
      interface_.signals[static_cast<std::size_t>(signal)].unit = static_cast<int>(interface_.units.size());
    interface_.units.push_back(std::move(unit));
  }
  if (!request_.lane_of_unit.empty()) request_.lane_of_unit.resize(interface_.units.size(), -1);
}

}  // namespace kdi::planning
