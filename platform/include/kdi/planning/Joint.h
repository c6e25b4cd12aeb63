// Several controllers planned together: what one after the other cannot find.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Placement.h"

namespace kdi::planning {

inline constexpr std::size_t kMostJoint = 3;

struct JointPlan {
  std::vector<Plan> plans;      ///< of each request; none if there is no placement
  Objective sum;                ///< of all objectives
  bool has_least_pads = false;  ///< proven: no placement of this sum has less pads, compared controller by controller
  int pads_proven = 0;          ///< so many signals, from the first one on, have the least pads in any case
  bool is_exact = true;         ///< false where the search was cut short: then there may be a better one, or one at all
};

/// The best placement of up to kMostJoint requests on one layout beside each other: the least sum of banks, of these
/// the least sum of lanes, of these the least sum of distances from the centres, of these the least pads: of the first
/// request, then of the second, then of the third. All requests have the same layout and the same pads taken.
KDI_DOOR JointPlan place_jointly(std::vector<PlacementRequest> const& requests);

/// The same one after the other, in the order that is given: what stands is not moved. As far as it goes.
KDI_DOOR std::vector<Plan> place_in_sequence(std::vector<PlacementRequest> const& requests);

/// The pads of a plan as others see them.
KDI_DOOR std::vector<TakenPad> taken_by_plan(PlacementRequest const& request, std::vector<int> const& pads,
                                             std::string const& by);

}  // namespace kdi::planning
