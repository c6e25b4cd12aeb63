#include "platform/planning/bank_rules.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/planning/Standards.h"

namespace kdi::planning {
namespace {

bool same_volts(std::string const& a, std::string const& b) {
  return a == b || number::whole<double>(a) == number::whole<double>(b);
}

template <class Items, class Item>
bool has(Items const& items, Item const& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

int rate_needed(PlacementRequest const& request, SignalClass what) {
  switch (what) {
    case SignalClass::data:
    case SignalClass::mask:
    case SignalClass::strobe:
      return request.rate_mbps;
    case SignalClass::address:
    case SignalClass::clock:
      return request.rate_mbps / 2;
    default:
      return 0;  // slow, or as the user makes it
  }
}

}  // namespace

StandardSet const* standards_for(PlacementRequest const& request, std::string const& bank_kind) {
  for (StandardSet const& set : request.standards)
    if (has(set.bank_kinds, bank_kind)) return &set;
  return nullptr;
}

BankNeeds needs_of(PlacementRequest const& request, StandardSet const& standards) {
  BankNeeds needs;
  std::array<std::array<bool, 2>, kSignalClasses> seen = {};  // of a class, whether outputs or others
  for (Signal const& signal : request.interface->signals) {
    if (std::exchange(seen[static_cast<std::size_t>(signal.what)][signal.direction == "out" ? 1 : 0], true)) continue;
    IoStandard const* const standard = find_standard(standards.of(signal.what));
    if (standard == nullptr) continue;
    needs.controlled = needs.controlled || standard->controlled;
    // Differential inputs compare their two pads with each other.
    if (signal.direction != "out" && !standard->differential && !standard->vref_v.empty())
      needs.input_reference = standard->vref_v;
  }
  return needs;
}

BankFault bank_fault(PlacementRequest const& request, int index, std::vector<TakenPad const*> const& taken) {
  Layout const& layout = *request.layout;
  PlacedBank const& bank = layout.banks[static_cast<std::size_t>(index)];
  const std::string name = "bank " + std::to_string(bank.number);
  if (!request.banks.empty() && !has(request.banks, bank.number))
    return {"bank-selection", name + " is none of those that are selected", {}};
  StandardSet const* const standards = standards_for(request, bank.kind);
  if (standards == nullptr)
    return {"bank-kind", name + " is of the kind " + bank.kind + ", in which the interface has no standards", {}};
  for (std::size_t what = 0; what < standards->standards.size(); ++what) {
    IoStandard const* const standard = find_standard(standards->standards[what]);
    const auto rate = standard->rate(bank.kind, request.grade);
    if (!rate || *rate < rate_needed(request, static_cast<SignalClass>(what)))
      return {"bank-kind",
              standard->name + " is too slow for " + std::to_string(request.rate_mbps) + " Mb/s in " + name,
              {}};
  }
  const double volts = number::whole<double>(standards->voltage_v).value_or(0);
  if (!bank.vcco_v.contains(volts))
    return {"bank-voltage", name + " has no Vcco of " + standards->voltage_v + " V", {}};
  const BankNeeds needs = needs_of(request, *standards);
  return taken_fault(layout, name, {standards->voltage_v, needs.input_reference, needs, request.internal_reference},
                     taken);
}

BankFault taken_fault(Layout const& layout, std::string const& bank, BankWish const& wish,
                      std::vector<TakenPad const*> const& taken) {
  for (TakenPad const* const other : taken) {
    PlacedPad const& pad = layout.pads[static_cast<std::size_t>(other->pad)];
    IoStandard const* const standard = find_standard(other->standard);
    if (standard != nullptr && !same_volts(standard->vcco_v, wish.vcco_v))
      return {"bank-voltage", bank + " has a Vcco of " + standard->vcco_v + " V by " + other->by, {other->pad}};
    if (standard != nullptr && other->is_input && !standard->differential && !standard->vref_v.empty() &&
        !wish.reference.empty() && !same_volts(standard->vref_v, wish.reference))
      return {"bank-reference",
              bank + " has a reference voltage of " + standard->vref_v + " V by " + other->by,
              {other->pad}};
    if (wish.needs.controlled && pad.impedance)
      return {"impedance-pad", "the impedance pad " + pad.name + " is taken by " + other->by, {other->pad}};
    if (!wish.needs.input_reference.empty() && !wish.internal_reference && pad.reference)
      return {"reference-pad", "the reference pad " + pad.name + " is taken by " + other->by, {other->pad}};
  }
  return {};
}

std::string pad_fault(PlacedPad const& pad, BankNeeds const& needs, bool internal_reference) {
  if (pad.ball.empty()) return "pad-bonded";
  if (pad.configuration) return "configuration-pad";
  if (pad.impedance && needs.controlled) return "impedance-pad";
  if (pad.reference && !needs.input_reference.empty() && !internal_reference) return "reference-pad";
  return {};
}

Violation violation_of(std::string rule, std::vector<int> signals, std::string const& what, Layout const& layout,
                       std::vector<int> const& pads, std::function<std::string(int)> const& name_of) {
  constexpr std::size_t kMostNamed = 4;
  Violation one{std::move(rule), std::move(signals), {}, {}};
  std::string names;
  for (const int signal : one.signals) {
    const int pad = pads[static_cast<std::size_t>(signal)];
    one.pads.push_back(pad);
    if (one.pads.size() <= kMostNamed)
      names += (names.empty() ? "" : ", ") + name_of(signal) + " on " + layout.pads[static_cast<std::size_t>(pad)].name;
  }
  if (one.pads.size() > kMostNamed) names += " and " + std::to_string(one.pads.size() - kMostNamed) + " more";
  one.text = one.rule + ": " + what + (names.empty() ? "" : " (" + names + ")");
  return one;
}

}  // namespace kdi::planning
