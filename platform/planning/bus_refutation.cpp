// Why buses have no place.
#include <algorithm>
#include <set>

#include "kdi/common/KdiText.h"
#include "platform/planning/bus_search.h"

namespace kdi::planning {
namespace {

// The buses of a selection: of those that are alike the first ones.
unsigned buses_of(BusProblem const& problem, Selection selection) {
  unsigned buses = 0;
  for (std::size_t kind = 0; kind < problem.kinds().size(); ++kind)
    for (int i = 0; i < problem.count(selection, static_cast<int>(kind)); ++i)
      buses |= 1u << problem.kinds()[kind].buses[static_cast<std::size_t>(i)];
  return buses;
}

BusRefutation::BankFits most_of(BusProblem const& problem, int bank, int clock_pad) {
  const NibbleSet all = (1u << problem.map().banks[static_cast<std::size_t>(bank)].count) - 1;
  const KindSet kinds = (1u << problem.kinds().size()) - 1;
  std::vector<bool> fits(static_cast<std::size_t>(problem.selections()));
  auto const& known = problem.fits(bank, all, clock_pad, clock_pad >= 0 ? kinds & problem.beside_clock() : kinds);
  for (auto const& [selection, hops] : known) fits[static_cast<std::size_t>(selection)] = true;
  BusRefutation::BankFits most{problem.map().banks[static_cast<std::size_t>(bank)].bank, {}};
  const Selection whole = problem.selections() - 1;
  for (auto const& [one, hops] : known) {
    const bool is_most =
        std::none_of(problem.kinds().begin(), problem.kinds().end(), [&, selection = one](BusKind const& kind) {
          return problem.adds(selection, kind.step, whole) &&
                 fits[static_cast<std::size_t>(selection) + static_cast<std::size_t>(kind.step)];
        });
    if (is_most) most.most.push_back(buses_of(problem, one));
  }
  return most;
}

}  // namespace

BusRefutation refute_buses(BusProblem const& problem, std::vector<BusPart> const& parts) {
  BusRefutation why;
  for (BusPart const& part : parts) {
    BusRefutation::Part& told = why.parts.emplace_back();
    told.column = part.column;
    told.slr = part.slr;
    for (const int bank : part.banks) told.banks.push_back(most_of(problem, bank, -1));
    for (const int clock_pad : clock_choices(problem, part)) {
      if (clock_pad < 0) break;
      const int own = problem.map().bank_of[static_cast<std::size_t>(problem.layout().bank_of_pad(clock_pad))];
      told.clocks.push_back({clock_pad, most_of(problem, own, clock_pad)});
    }
  }
  return why;
}

std::string reason_of(BusRequest const& request, BusRefutation const& why) {
  if (!why.pinned.empty()) return why.pinned;
  if (why.parts.empty()) return "the part has no banks of nibbles";
  unsigned somewhere = 0;
  bool has_clock = request.system_clock == SystemClock::none;
  for (BusRefutation::Part const& part : why.parts) {
    has_clock = has_clock || !part.clocks.empty();
    // A bank that has the clock on some pad has no more than it has without.
    for (BusRefutation::BankFits const& bank : part.banks)
      for (const unsigned buses : bank.most) somewhere |= buses;
  }
  if (!has_clock) return "no pad takes the system clock: that is a free clock site of the master bank of a triplet";
  std::vector<std::string> nowhere;
  const NibbleMap& map = *request.nibbles;
  const auto is_somewhere = [&](std::size_t bus) { return (somewhere >> bus & 1) != 0; };
  for (std::size_t bus = 0; bus < request.buses.size(); ++bus) {
    bool alike = is_somewhere(bus);
    for (std::size_t other = 0; other < bus && !alike; ++other) {
      Bus named = request.buses[bus];
      named.name = request.buses[other].name;
      named.termination = request.buses[other].termination;
      alike = is_somewhere(other) && named == request.buses[other];
    }
    if (!alike) nowhere.push_back(request.buses[bus].name);
  }
  if (nowhere.empty()) return "the buses do not fit together into the banks that they may be in";
  std::set<std::string> rules;
  BusInterface none;
  const BankNeeds needs = bus_needs(request, none);
  const auto taken = taken_by_bank(request);
  const auto first =
      std::find_if(request.buses.begin(), request.buses.end(), [&](Bus const& bus) { return bus.name == nowhere[0]; });
  for (NibbleBank const& bank : map.banks) {
    const BankFault fault = bus_bank_fault(request, needs, static_cast<int>(first - request.buses.begin()), bank.bank,
                                           taken[static_cast<std::size_t>(bank.bank)]);
    rules.insert(fault.rule.empty() ? "too few pads that are free and in reach" : fault.rule + ": " + fault.text);
    if (rules.size() == 3) break;
  }
  return "no bank has room for " + text::joined(nowhere, ", ") + " (" + text::joined(rules, "; ") + ")";
}

}  // namespace kdi::planning
