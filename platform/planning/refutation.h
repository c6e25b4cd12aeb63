// Why a problem has no placement.
#pragma once

#include <vector>

#include "platform/planning/window.h"

namespace kdi::planning {

/// Of a problem that has none.
Refutation refute(Problem const& problem, std::vector<Window> const& windows);

}  // namespace kdi::planning
