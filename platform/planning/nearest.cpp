// The nearest placements: of each kind of change its steps, from the least on, until one has a placement.
#include <algorithm>
#include <functional>
#include <optional>
#include <set>
#include <utility>

#include "kdi/planning/Diagnosis.h"
#include "kdi/planning/Standards.h"
#include "platform/planning/section.h"
#include "platform/planning/steps.h"

namespace kdi::planning {
namespace {

struct Step {
  std::string text;
  std::function<void(Wanted&)> change;
  int bank = -1;  ///< of the layout, where it changes nothing outside of it
};

struct Kind {
  std::string name;
  std::vector<Step> steps;
  bool ends_with_least = true;  ///< where the last step does not do, none does
};

std::string lane_name(Layout const& layout, int lane) {
  PlacedLane const& one = layout.lanes[static_cast<std::size_t>(lane)];
  return "lane " + one.name + " of bank " + std::to_string(layout.banks[static_cast<std::size_t>(one.bank)].number);
}

// ------------------------------------------------------------------------------------------------------ kinds of steps

// The banks nearest to those that are selected, one by one and then more and more together.
std::vector<Step> more_banks(Wanted const& wanted) {
  if (wanted.banks.empty()) return {};
  std::vector<std::pair<int, int>> others;  // distance, number
  for (PlacedBank const& bank : wanted.layout->banks) {
    if (std::find(wanted.banks.begin(), wanted.banks.end(), bank.number) != wanted.banks.end()) continue;
    int distance = 1000;
    for (const int number : wanted.banks) {
      const int selected = wanted.layout->bank_of_number(number);
      if (selected < 0) continue;
      PlacedBank const& other = wanted.layout->banks[static_cast<std::size_t>(selected)];
      if (other.column == bank.column) distance = std::min(distance, std::abs(other.row - bank.row));
    }
    others.emplace_back(distance, bank.number);
  }
  std::sort(others.begin(), others.end());
  std::vector<Step> steps;
  for (auto const& [distance, number] : others)
    steps.push_back({"bank " + std::to_string(number) + " as well",
                     [bank = number](Wanted& one) { one.banks.push_back(bank); },
                     wanted.layout->bank_of_number(number)});
  std::vector<int> together;
  for (auto const& [distance, number] : others) {
    together.push_back(number);
    if (together.size() < 2) continue;
    std::string text = "banks";
    for (const int bank : together) text += " " + std::to_string(bank);
    steps.push_back({text + " as well",
                     [together](Wanted& one) { one.banks.insert(one.banks.end(), together.begin(), together.end()); }});
  }
  return steps;
}

// Groups exchanged with each other, then one of them anywhere, then all.
std::vector<Step> other_orders(Wanted const& wanted) {
  std::vector<Step> steps;
  for (auto a = wanted.lane_of_group.begin(); a != wanted.lane_of_group.end(); ++a)
    for (auto b = std::next(a); b != wanted.lane_of_group.end(); ++b)
      steps.push_back({a->first + " and " + b->first + " exchanged", [x = a->first, y = b->first](Wanted& one) {
                         std::swap(one.lane_of_group[x], one.lane_of_group[y]);
                       }});
  for (auto const& [group, lane] : wanted.lane_of_group)
    steps.push_back({group + " elsewhere than in " + lane_name(*wanted.layout, lane),
                     [name = group](Wanted& one) { one.lane_of_group.erase(name); }});
  if (!wanted.lane_of_group.empty())
    steps.push_back({"the groups in other lanes", [](Wanted& one) { one.lane_of_group.clear(); }});
  for (auto const& [signal, pad] : wanted.pad_of_signal)
    steps.push_back({signal + " on another pad than " + wanted.layout->pads[static_cast<std::size_t>(pad)].name,
                     [name = signal](Wanted& one) { one.pad_of_signal.erase(name); }});
  if (!wanted.pad_of_signal.empty())
    steps.push_back({"the signals on other pads", [](Wanted& one) { one.pad_of_signal.clear(); }});
  if (!wanted.pad_of_signal.empty() && !wanted.lane_of_group.empty())
    steps.push_back({"groups and signals elsewhere", [](Wanted& one) {
                       one.lane_of_group.clear();
                       one.pad_of_signal.clear();
                     }});
  return steps;
}

std::vector<Step> inner_reference(Wanted const& wanted) {
  if (wanted.internal_reference) return {};
  return {{"the reference voltage made inside", [](Wanted& one) { one.internal_reference = true; }}};
}

std::vector<Step> no_mask(Wanted const& wanted) {
  const auto can_be_left_out = [](LaneKind const& lane) { return !lane.mask.empty() && !lane.mask_needed; };
  std::vector<LaneKind> const& lanes = wanted.interface.kind->lanes;
  if (!wanted.interface.data_mask || std::none_of(lanes.begin(), lanes.end(), can_be_left_out)) return {};
  return {{"no data mask", [](Wanted& one) { one.interface.data_mask = false; }}};
}

std::vector<Step> other_clocks(Wanted const& wanted) {
  std::vector<Step> steps;
  if (wanted.interface.system_clock == SystemClock::differential)
    steps.push_back(
        {"a system clock of one signal", [](Wanted& one) { one.interface.system_clock = SystemClock::single_ended; }});
  if (wanted.interface.system_clock != SystemClock::none)
    steps.push_back(
        {"a system clock from within the device", [](Wanted& one) { one.interface.system_clock = SystemClock::none; }});
  return steps;
}

std::vector<Step> fewer_ranks(Wanted const& wanted) {
  std::vector<Step> steps;
  for (int ranks = wanted.interface.ranks / 2; ranks >= 1; ranks /= 2)
    steps.push_back({std::to_string(ranks) + (ranks == 1 ? " rank" : " ranks") + " instead of " +
                         std::to_string(wanted.interface.ranks),
                     [ranks](Wanted& one) { one.interface.ranks = ranks; }});
  return steps;
}

std::vector<Step> fewer_slots(Wanted const& wanted) {
  if (wanted.interface.slots < 2) return {};
  return {
      {"1 slot instead of " + std::to_string(wanted.interface.slots), [](Wanted& one) { one.interface.slots = 1; }}};
}

std::vector<Step> narrower(Wanted const& wanted) {
  std::vector<Step> steps;
  for (int width = wanted.interface.width - 1; width > 0; --width) {
    if (!wanted.widths.empty() && std::find(wanted.widths.begin(), wanted.widths.end(), width) == wanted.widths.end())
      continue;
    if (width % std::max(1, wanted.interface.part.width) != 0) continue;
    steps.push_back({std::to_string(width) + " bits instead of " + std::to_string(wanted.interface.width),
                     [width](Wanted& one) { one.interface.width = width; }});
  }
  return steps;
}

// The same memory of devices of other widths.
std::vector<Step> other_devices(Wanted const& wanted) {
  MemoryPart const& part = wanted.interface.part;
  std::vector<Step> steps;
  const auto offer = [&](MemoryPart const& other) {
    steps.push_back({"devices of " + std::to_string(other.width) + " bits, " + other.name,
                     [other](Wanted& one) { one.interface.part = other; }});
  };
  const std::string end = "-x" + std::to_string(part.width);
  if (const std::size_t at = part.name.find(end); !part.bin.empty() && at != std::string::npos)
    for (const int width : wanted.interface.kind->devices) {
      std::string name = part.name;
      name.replace(at, end.size(), "-x" + std::to_string(width));
      const auto other = wanted.interface.kind->part(name);
      if (width != part.width && other) offer(*other);
    }
  for (MemoryPart const& other : wanted.interface.kind->reference_parts)
    if (part.bin.empty() && other.width != part.width && other.rate_mbps == part.rate_mbps) offer(other);
  return steps;
}

// Rates at which more standards are fast enough.
std::vector<Step> slower(Wanted const& wanted) {
  std::set<int, std::greater<>> rates;
  for (StandardSet const& set : wanted.standards)
    for (std::string const& name : set.standards)
      for (auto const& [kind, rate] : find_standard(name)->rate_mbps)
        for (const int one : {rate, 2 * rate})  // addresses have half the rate of data
          if (one < wanted.rate_mbps) rates.insert(one);
  std::vector<Step> steps;
  for (const int rate : rates)
    steps.push_back({std::to_string(rate) + " Mb/s instead of " + std::to_string(wanted.rate_mbps),
                     [rate](Wanted& one) { one.rate_mbps = rate; }});
  return steps;
}

// Pads that others give up: in one bank, and then all of one.
std::vector<Step> freed_pads(Wanted const& wanted) {
  std::set<std::pair<std::string, int>> in_bank;
  std::set<std::string> owners;
  for (TakenPad const& one : wanted.taken) {
    in_bank.insert({one.by, wanted.layout->bank_of_pad(one.pad)});
    owners.insert(one.by);
  }
  std::vector<Step> steps;
  for (auto const& [by, bank] : in_bank)
    steps.push_back({"without the pads of " + by + " in bank " +
                         std::to_string(wanted.layout->banks[static_cast<std::size_t>(bank)].number),
                     [owner = by, at = bank](Wanted& one) {
                       std::erase_if(one.taken, [&](TakenPad const& pad) {
                         return pad.by == owner && one.layout->bank_of_pad(pad.pad) == at;
                       });
                     },
                     bank});
  for (std::string const& by : owners)
    steps.push_back({"without the pads of " + by, [owner = by](Wanted& one) {
                       std::erase_if(one.taken, [&](TakenPad const& pad) { return pad.by == owner; });
                     }});
  if (owners.size() > 1) steps.push_back({"without the pads of others", [](Wanted& one) { one.taken.clear(); }});
  return steps;
}

std::vector<Kind> kinds_of(Wanted const& wanted) {
  std::vector<Kind> kinds = {
      {"order", other_orders(wanted)}, {"bank", more_banks(wanted)},  {"reference", inner_reference(wanted)},
      {"clock", other_clocks(wanted)}, {"mask", no_mask(wanted)},     {"device", other_devices(wanted), false},
      {"slower", slower(wanted)},      {"slot", fewer_slots(wanted)}, {"rank", fewer_ranks(wanted)},
      {"narrower", narrower(wanted)},  {"others", freed_pads(wanted)}};
  std::erase_if(kinds, [](Kind const& kind) { return kind.steps.empty(); });
  return kinds;
}

// -------------------------------------------------------------------------------------------------------------- search

// In the five rows of some bank, or where it is -1 anywhere.
bool is_possible(Wanted const& wanted, int bank = -1) {
  try {
    const Asked asked(wanted);
    if (bank < 0) return can_place(asked.request());
    const Sections sections(asked.request(), *wanted.layout);
    const auto section = sections.of(sections.around(bank));
    return section->away().empty() && can_place(section->request());
  } catch (std::string const&) {
    return false;  // no memory has it
  }
}

Wanted changed(Wanted wanted, Step const& step) {
  step.change(wanted);
  return wanted;
}

// The first step with which there is a placement.
Step const* first_possible(Wanted const& wanted, Kind const& kind) {
  if (kind.ends_with_least && !is_possible(changed(wanted, kind.steps.back()))) return nullptr;
  // Where there is no placement, one that a step makes possible is about the bank that it changes.
  const bool is_anywhere = is_possible(wanted);
  const auto found = std::find_if(kind.steps.begin(), kind.steps.end(), [&](Step const& step) {
    return is_possible(changed(wanted, step), is_anywhere ? -1 : step.bank);
  });
  return found == kind.steps.end() ? nullptr : &*found;
}

std::optional<NearPlan> planned(Wanted wanted, std::string change, std::string text) {
  const Asked asked(wanted);
  PlacementResult result = place(asked.request());
  if (!result.plan || !violations(asked.request(), result.plan->pad_of_signal).empty()) return std::nullopt;
  return NearPlan{std::move(change), std::move(text), std::move(wanted), std::move(*result.plan)};
}

}  // namespace

std::vector<NearPlan> nearest_plans(Wanted const& wanted) {
  const std::vector<Kind> kinds = kinds_of(wanted);
  const auto possible = [](Wanted const& one) { return is_possible(one); };
  const auto first = [](Wanted const& one, Kind const& kind) { return first_possible(one, kind); };
  std::vector<NearPlan> plans = nearest_by_one<NearPlan>(wanted, kinds, first, planned);
  return plans.empty() ? nearest_by_several<NearPlan>(wanted, kinds, possible, first, planned) : plans;
}

}  // namespace kdi::planning
