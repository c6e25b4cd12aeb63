// A diagnosis within a stated effort.
#pragma once

#include "kdi/planning/Diagnosis.h"

namespace kdi::planning {

inline constexpr int kMostPlans = 12'000;    ///< of five rows of banks, most of which take a twentieth of a millisecond
inline constexpr long kMostSteps = 400'000;  ///< of all searches for the smallest set that has one of each group

/// Where the effort is spent before all smaller sets are ruled out, the set is irreducible, and not called the
/// smallest.
Diagnosis diagnose(PlacementRequest const& request, int most_plans);

}  // namespace kdi::planning
