// What the search tells the rest of the planner beside placements.
#pragma once

#include <optional>

#include "kdi/planning/Placement.h"

namespace kdi::planning {

/// The objective of the best placement, which takes a part of the time that its pads take.
std::optional<Objective> best_objective(PlacementRequest const& request);

}  // namespace kdi::planning
