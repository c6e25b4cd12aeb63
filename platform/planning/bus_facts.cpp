#include "platform/planning/bus_facts.h"

#include <algorithm>
#include <cstdint>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/planning/Standards.h"

namespace kdi::planning {
namespace {

bool same_volts(std::string const& a, std::string const& b) {
  return number::whole<double>(a) == number::whole<double>(b);
}

// One standard of a bus, and what of it counts.
struct Use {
  IoStandard const* standard = nullptr;
  bool is_input = false;
  int rate_mbps = 0;

  std::string reference() const { return is_input && !standard->differential ? standard->vref_v : std::string(); }
};

std::vector<Use> uses_of(BusRequest const& request, int index) {
  std::vector<Use> uses;
  const auto add = [&](std::string const& name, bool is_input, int rate) {
    if (IoStandard const* const standard = find_standard(name)) uses.push_back({standard, is_input, rate});
  };
  if (index == kSystemClockBus) {
    if (request.system_clock != SystemClock::none) add(request.system_clock_standard, true, 0);
    return uses;
  }
  Bus const& bus = request.buses[static_cast<std::size_t>(index)];
  const bool is_input = bus.direction != BusDirection::transmit;
  add(bus.standard, is_input, bus.rate_mbps);
  if (bus.clock != BusClock::none) add(bus.clock_standard, is_input, bus.rate_mbps);
  return uses;
}

std::string voltage_of(std::vector<Use> const& uses) { return uses.empty() ? std::string() : uses[0].standard->vcco_v; }

std::string reference_of(std::vector<Use> const& uses) {
  for (Use const& use : uses)
    if (!use.reference().empty()) return use.reference();
  return {};
}

// A clock of one is made of the other's by halving.
bool are_related(int a, int b) {
  const int fast = std::max(a, b), slow = std::min(a, b);
  if (slow <= 0 || fast % slow != 0) return false;
  const int times = fast / slow;
  return (times & (times - 1)) == 0;
}

template <class Items, class Item>
bool has(Items const& items, Item const& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

// Without its own supply a triplet's master makes no clock.
bool is_bonded(Layout const& layout, int bank) {
  PlacedBank const& placed = layout.banks[static_cast<std::size_t>(bank)];
  for (int lane = placed.first; lane < placed.first + placed.lanes; ++lane) {
    PlacedLane const& one = layout.lanes[static_cast<std::size_t>(lane)];
    for (int pad = one.first; pad < one.first + one.pads; ++pad)
      if (!layout.pads[static_cast<std::size_t>(pad)].ball.empty()) return true;
  }
  return false;
}

}  // namespace

bool is_differential(std::string const& name) {
  IoStandard const* const standard = find_standard(name);
  return standard != nullptr && standard->differential;
}

BankNeeds bus_needs(BusRequest const& request, BusInterface const&) {
  BankNeeds needs;
  for (int bus = kSystemClockBus; bus < static_cast<int>(request.buses.size()); ++bus)
    for (Use const& use : uses_of(request, bus)) {
      needs.controlled = needs.controlled || use.standard->controlled;
      if (!use.reference().empty()) needs.input_reference = use.reference();
    }
  return needs;
}

std::vector<std::vector<TakenPad const*>> taken_by_bank(BusRequest const& request) {
  std::vector<std::vector<TakenPad const*>> taken(request.layout->banks.size());
  for (TakenPad const& one : request.taken)
    taken[static_cast<std::size_t>(request.layout->bank_of_pad(one.pad))].push_back(&one);
  return taken;
}

std::vector<int> nibbles_owned(BusRequest const& request, TakenPad const& taken) {
  NibbleMap const& map = *request.nibbles;
  const int own = map.nibble_of_pad[static_cast<std::size_t>(taken.pad)];
  if (own < 0) return {};
  if (taken.of_bus) return {own};
  PlacedLane const& lane = request.layout->lane_of_pad(taken.pad);
  std::set<int> nibbles;
  for (int pad = lane.first; pad < lane.first + lane.pads; ++pad)
    nibbles.insert(map.nibble_of_pad[static_cast<std::size_t>(pad)]);
  return {nibbles.begin(), nibbles.end()};
}

BankFault bus_bank_fault(BusRequest const& request, BankNeeds const& needs, int bus, int index,
                         std::vector<TakenPad const*> const& taken) {
  Layout const& layout = *request.layout;
  PlacedBank const& bank = layout.banks[static_cast<std::size_t>(index)];
  const std::string name = "bank " + std::to_string(bank.number);
  NibbleBank const* const nibbles = request.nibbles->of_bank(index);
  if (!request.banks.empty() && !has(request.banks, bank.number))
    return {"bank-selection", name + " is none of those that are selected", {}};
  if (nibbles == nullptr) return {"bank-kind", name + " has no nibbles", {}};
  const std::vector<Use> uses = uses_of(request, bus);
  for (Use const& use : uses) {
    const auto rate = use.standard->rate(bank.kind, request.grade);
    if (!rate) return {"bank-kind", name + " is of the kind " + bank.kind + ", which has no " + use.standard->name, {}};
    if (*rate < use.rate_mbps)
      return {"bank-kind",
              use.standard->name + " is too slow for " + std::to_string(use.rate_mbps) + " Mb/s in " + name,
              {}};
  }
  const std::string voltage = voltage_of(uses), reference = reference_of(uses);
  if (!bank.vcco_v.contains(number::whole<double>(voltage).value_or(0)))
    return {"bank-voltage", name + " has no Vcco of " + voltage + " V", {}};
  PlacedBank const& master =
      layout.banks[static_cast<std::size_t>(request.nibbles->banks[static_cast<std::size_t>(nibbles->master)].bank)];
  if (!is_bonded(layout, request.nibbles->banks[static_cast<std::size_t>(nibbles->master)].bank))
    return {
        "shadow-bank", name + " has its clock from bank " + std::to_string(master.number) + ", which has no pins", {}};
  return taken_fault(layout, name, {voltage, reference, needs, request.internal_reference}, taken);
}

BankFault bus_conflict(BusRequest const& request, int a, int b) {
  const std::vector<Use> of_a = uses_of(request, a), of_b = uses_of(request, b);
  if (of_a.empty() || of_b.empty()) return {};
  if (!same_volts(voltage_of(of_a), voltage_of(of_b)))
    return {"bank-voltage",
            "one bank is to have a Vcco of " + voltage_of(of_a) + " V and of " + voltage_of(of_b) + " V",
            {}};
  const std::string reference_a = reference_of(of_a), reference_b = reference_of(of_b);
  if (!reference_a.empty() && !reference_b.empty() && !same_volts(reference_a, reference_b))
    return {"bank-reference",
            "one bank is to have a reference voltage of " + reference_a + " V and of " + reference_b + " V",
            {}};
  if (a == kSystemClockBus || b == kSystemClockBus) return {};
  Bus const& first = request.buses[static_cast<std::size_t>(a)];
  Bus const& second = request.buses[static_cast<std::size_t>(b)];
  if (!are_related(first.rate_mbps, second.rate_mbps))
    return {"bank-rate",
            "one bank is to have " + std::to_string(first.rate_mbps) + " Mb/s and " + std::to_string(second.rate_mbps) +
                " Mb/s, of which neither is halved to the other",
            {}};
  if (!first.bias.empty() && !second.bias.empty() && first.bias != second.bias)
    return {"bank-bias", "one bank is to have the biases " + first.bias + " and " + second.bias, {}};
  return {};
}

int most_data_in_bank(BusRequest const& request, int bus) {
  const BankNeeds needs = bus_needs(request, {});
  const bool is_pair = is_differential(request.buses[static_cast<std::size_t>(bus)].standard);
  int most = 0;
  for (NibbleBank const& bank : request.nibbles->banks) {
    if (!bus_bank_fault(request, needs, bus, bank.bank, {}).rule.empty()) continue;
    int room = 0;
    for (int nibble = bank.first; nibble < bank.first + bank.count; ++nibble)
      for (const int pad : request.nibbles->nibbles[static_cast<std::size_t>(nibble)].pads) {
        const auto is_good = [&](int one) {
          return pad_fault(request.layout->pads[static_cast<std::size_t>(one)], needs, request.internal_reference)
              .empty();
        };
        PlacedPad const& at = request.layout->pads[static_cast<std::size_t>(pad)];
        const bool has_room = !is_pair || (at.positive && at.partner >= 0 && is_good(at.partner));
        room += has_room && is_good(pad) ? 1 : 0;
      }
    most = std::max(most, room);
  }
  return most;
}

int bit_slip(Bus const& bus, NibbleBank const& bank, int hops) {
  constexpr std::int64_t kPsOfMicrosecond = 1000000;  // a bit of 1 Mb/s
  return static_cast<int>(std::int64_t{hops} * bank.hop_ps * bus.rate_mbps / kPsOfMicrosecond);
}

}  // namespace kdi::planning
