#include "platform/planning/joint_sharing.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "platform/planning/bank_rules.h"

namespace kdi::planning::joint {
namespace {

bool share(PlacementRequest const& a, PlacementRequest const& b, int bank) {
  std::string const& kind = a.layout->banks[static_cast<std::size_t>(bank)].kind;
  StandardSet const *x = standards_for(a, kind), *y = standards_for(b, kind);
  const auto same = [](std::string const& one, std::string const& other) {
    return number::whole<double>(one) == number::whole<double>(other);
  };
  if (!same(x->voltage_v, y->voltage_v)) return false;
  const std::string p = needs_of(a, *x).input_reference, q = needs_of(b, *y).input_reference;
  return p.empty() || q.empty() || same(p, q);
}

void keep_free(PlacementRequest const& needing, PlacementRequest& other, int bank) {
  Layout const& layout = *needing.layout;
  PlacedBank const& placed = layout.banks[static_cast<std::size_t>(bank)];
  const BankNeeds needs = needs_of(needing, *standards_for(needing, placed.kind));
  const BankNeeds own = needs_of(other, *standards_for(other, placed.kind));
  const auto wants_reference = [](PlacementRequest const& one, BankNeeds const& its) {
    return !its.input_reference.empty() && !one.internal_reference;
  };
  for (int lane = placed.first; lane < placed.first + placed.lanes; ++lane) {
    PlacedLane const& at = layout.lanes[static_cast<std::size_t>(lane)];
    for (int index = at.first; index < at.first + at.pads; ++index) {
      PlacedPad const& pad = layout.pads[static_cast<std::size_t>(index)];
      if ((pad.impedance && needs.controlled && !own.controlled) ||
          (pad.reference && wants_reference(needing, needs) && !wants_reference(other, own)))
        other.taken.push_back({index, "another", "", false, false});
    }
  }
}

void leave_lanes(Layout const& layout, Arrangement const& other, Arrangement const& own, Interface const& interface,
                 PlacementRequest& request) {
  const auto clock_pads = [&](Arrangement const& one, Interface const& its) {
    std::set<int> pads;
    if (one.clock >= 0) pads.insert(one.clock);
    if (one.clock >= 0 && its.system_clock.size() > 1)
      pads.insert(layout.pads[static_cast<std::size_t>(one.clock)].partner);
    return pads;
  };
  for (const int pad : clock_pads(other, interface)) request.taken.push_back({pad, "another", "", false, false});
  const std::set<int> kept = clock_pads(own, *request.interface);
  std::vector<int> lanes = other.lane_of_unit;
  lanes.insert(lanes.end(), other.run.begin(), other.run.end());
  for (const int lane : lanes) {
    int pad = layout.lanes[static_cast<std::size_t>(lane)].first;
    while (kept.contains(pad)) ++pad;
    request.taken.push_back({pad, "another", "", false, true});
  }
}

}  // namespace

std::optional<std::vector<PlacementRequest>> sharing(std::vector<PlacementRequest> const& requests,
                                                     Choice const& choice) {
  std::vector<PlacementRequest> own;
  for (std::size_t c = 0; c < choice.size(); ++c) own.push_back(within(requests[c], choice[c]->banks));
  Layout const& layout = *own.front().layout;
  for (std::size_t a = 0; a < choice.size(); ++a)
    for (std::size_t b = 0; b < choice.size(); ++b) {
      if (a == b) continue;
      for (const int number : choice[a]->banks) {
        if (std::find(choice[b]->banks.begin(), choice[b]->banks.end(), number) == choice[b]->banks.end()) continue;
        const int bank = layout.bank_of_number(number);
        if (!share(requests[a], requests[b], bank)) return std::nullopt;
        keep_free(requests[a], own[b], bank);
      }
    }
  return own;
}

std::vector<Plan> plans_in(std::vector<Arrangement> const& arrangements,
                           std::vector<PlacementRequest> const& requests) {
  std::vector<Plan> plans;
  Layout const& layout = *requests.front().layout;
  for (std::size_t c = 0; c < requests.size(); ++c) {
    PlacementRequest request = requests[c];
    Arrangement const& own = arrangements[c];
    request.lane_of_unit = own.lane_of_unit;
    if (request.pad_of_signal.empty()) request.pad_of_signal.assign(request.interface->signals.size(), -1);
    if (own.clock >= 0) request.pad_of_signal[static_cast<std::size_t>(request.interface->system_clock[0])] = own.clock;
    for (std::size_t other = 0; other < requests.size(); ++other)
      if (other != c) leave_lanes(layout, arrangements[other], own, *requests[other].interface, request);
    PlacementResult result = place(request);
    if (!result.plan) return {};
    plans.push_back(std::move(*result.plan));
  }
  return plans;
}

}  // namespace kdi::planning::joint
