// Why there is no placement, and what would do: the rules and resources that stand in the way, and the nearest
// placements that there are.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Wanted.h"

namespace kdi::planning {

/// A rule, or something that somebody has or asked for. docs/memory-tools.md says what planning without it means.
struct Obstacle {
  std::string rule;  ///< identifier
  std::string text;  ///< in words
};

struct Diagnosis {
  bool is_possible = false;  ///< then there is nothing else
  /// Without all of these there is a placement; with any single one of them there is none. Empty if nothing helps: the
  /// interface is too large for what the device has in five rows of banks.
  std::vector<Obstacle> obstacles;
  /// Whether every smaller set was tried, or is ruled out by one that was. Then it is also the first of those that
  /// small, by what people change most easily, unless the effort was spent.
  bool is_smallest = false;
  Plan without;   ///< the placement without them, as far as it is one: signals of a clock that is elsewhere have no pad
  int plans = 0;  ///< requests that were planned for this, for the device or for five rows of its banks
};

KDI_DOOR Diagnosis diagnose(PlacementRequest const& request);

/// A change with which there is a placement.
struct NearPlan {
  std::string change;  ///< bank, order, reference, mask, clock, rank, slot, narrower, device,
                       ///< slower, others; or several of these
  std::string text;    ///< in words
  Wanted wanted;       ///< what is then asked for
  Plan plan;
};

/// Of each kind of change the least that does, the nearest first; of several kinds together, where none does alone: one
/// such set, of which none is superfluous. Each placement is one of the planner's and keeps all rules.
KDI_DOOR std::vector<NearPlan> nearest_plans(Wanted const& wanted);

}  // namespace kdi::planning
