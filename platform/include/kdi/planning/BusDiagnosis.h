// Why buses have no place, and what would do: what stands in the way, and the nearest plans that there are.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Buses.h"
#include "kdi/planning/Diagnosis.h"

namespace kdi::planning {

/// A change with which there is a plan.
struct NearBusPlan {
  std::string change;  ///< order, bank, limit, triplet, reference, clock, split, slower, narrower, others; or several
  std::string text;    ///< in words
  BusRequest request;  ///< what is then asked for
  BusPlan plan;
};

struct BusDiagnosis {
  bool is_possible = false;  ///< then there is nothing else
  /// Without all of these there is a plan; with any single one of them there is none. A bus is one as well
  /// (`nibble-owner`), so where a request can be at all something helps.
  std::vector<Obstacle> obstacles;
  bool is_smallest = false;  ///< whether every smaller set was tried, or is ruled out by one that was
  /// Of each kind of change the least that does, or of several kinds together, where none does alone.
  std::vector<NearBusPlan> nearest;
  int plans = 0;  ///< requests that were planned for this
};

/// `other_banks` are the numbers of banks that the user could select as well. Throws a std::string for buses that
/// cannot be, as bus_interface_of does.
KDI_DOOR BusDiagnosis diagnose_buses(BusRequest const& request, std::vector<int> const& other_banks);

}  // namespace kdi::planning
