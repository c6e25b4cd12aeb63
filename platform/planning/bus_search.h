// Parts of a device that can have an interface of buses, and what is the least there.
#pragma once

#include <vector>

#include "platform/planning/bus_tables.h"

namespace kdi::planning {

/// Banks of one column and die that have nibbles, by row.
struct BusPart {
  int column = 0;
  int slr = 0;
  std::vector<int> banks;  ///< of the map
};
std::vector<BusPart> parts_of(NibbleMap const& map, Layout const& layout);

/// The pads that the system clock can have in a part; just -1 if there is none to place.
std::vector<int> clock_choices(BusProblem const& problem, BusPart const& part);

/// Whether there is a plan, without making it. `known` as of a BusProblem.
bool can_place_buses(BusRequest const& request, BusInterface const& wanted, KnownFits* known);

/// Why a request that has no place has none.
BusRefutation refute_buses(BusProblem const& problem, std::vector<BusPart> const& parts);

}  // namespace kdi::planning
