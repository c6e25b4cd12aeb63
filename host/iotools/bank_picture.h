// Banks as a picture: nibbles with their pads and ports, in the colours of the strobes that clock them.
#pragma once

#include <string>

#include "kdi/place/host/InterfacePlans.h"

namespace iotools {

/// SVG of the banks that have a port, side by side, below the title's first line in large letters and the rest of it in
/// small ones; empty banks are left out. Under the pointer a pad tells its port,
/// name and ball.
std::string bank_picture(kdi::place::PlanOnPads const& plan, kdi::planning::Layout const& layout,
                         std::string const& title);

}  // namespace iotools
