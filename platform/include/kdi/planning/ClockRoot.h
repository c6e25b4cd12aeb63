// Where a clock of an interface has its root: the clock region from which the ways to the banks are most alike.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Layout.h"

namespace kdi::planning {

struct ClockRegion {
  int column = 0;
  int row = 0;

  std::string name() const { return "X" + std::to_string(column) + "Y" + std::to_string(row); }
  bool operator==(ClockRegion const&) const = default;
};

/// From a root to the region of a bank, in ps. Of a device whose data say nothing of regions each step counts one.
KDI_DOOR double root_delay_ps(device::Part const& part, Layout const& layout, ClockRegion root, int bank);

/// The region with the least difference between the ways to `banks` (of the layout, not empty); of several the nearest
/// to the first of them, and of these the one with the least column and row.
KDI_DOOR ClockRegion clock_root(device::Part const& part, Layout const& layout, std::vector<int> const& banks);

}  // namespace kdi::planning
