// A placement drawn: banks, lanes and pads with what sits where.
#pragma once

#include <string>
#include <vector>

#include "kdi/planning/Placement.h"

namespace memtools {

/// Pads of one controller, or of one of several.
struct Drawn {
  kdi::planning::PlacementRequest const* request = nullptr;  ///< never null
  std::vector<int> pads;
};

/// An SVG of the banks from the first to the last that has a signal, column by column. All requests have one layout,
/// and there is one at least.
std::string bank_picture(std::string const& title, std::vector<Drawn> const& controllers);

}  // namespace memtools
