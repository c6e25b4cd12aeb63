// What the search for the pads of buses and the rules both ask of a request.
#pragma once

#include <string>
#include <vector>

#include "kdi/planning/Buses.h"
#include "platform/planning/bank_rules.h"

namespace kdi::planning {

/// Stands for the system clock where a bus is meant.
inline constexpr int kSystemClockBus = -1;

/// What the interface needs of each bank that it is in.
BankNeeds bus_needs(BusRequest const& request, BusInterface const& wanted);

/// Nibbles of the map that are another's since it has the pad, which owns its lane.
std::vector<int> nibbles_owned(BusRequest const& request, TakenPad const& taken);

/// Why no signal of a bus (or the system clock) may be in a bank of the layout; an empty rule if it may. `taken` are
/// the pads that others have in the bank.
BankFault bus_bank_fault(BusRequest const& request, BankNeeds const& needs, int bus, int bank,
                         std::vector<TakenPad const*> const& taken);

/// Why two buses (or one and the system clock) cannot be in one bank; an empty rule if they can.
BankFault bus_conflict(BusRequest const& request, int a, int b);

/// By bank of the layout.
std::vector<std::vector<TakenPad const*>> taken_by_bank(BusRequest const& request);

/// Bits by which words come later after so many hops.
int bit_slip(Bus const& bus, NibbleBank const& bank, int hops);

bool is_differential(std::string const& standard);

}  // namespace kdi::planning
