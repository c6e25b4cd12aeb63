// The constraint lines of a plan, one an element: `set_property PACKAGE_PIN A8 [get_ports {c0_ddr4_dq[0]}]`.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Placement.h"
#include "kdi/planning/Standards.h"

namespace kdi::planning {

/// The standard of each signal where it is; null of a signal without a pad.
KDI_DOOR std::vector<IoStandard const*> standards_at(PlacementRequest const& request, std::vector<int> const& pads);

/// Signals with the pads and standards that they have; what they refer to outlives them.
struct PlacedSignals {
  Layout const& layout;
  Interface const& interface;
  std::vector<int> const& pads;
  std::vector<IoStandard const*> const& standards;
};

/// Of the signals that have a pad: the pin of each.
KDI_DOOR std::vector<std::string> pin_constraints(PlacedSignals const& placed);
/// The standard of each, and impedance and termination where it has one.
KDI_DOOR std::vector<std::string> standard_constraints(PlacedSignals const& placed);
/// The reference voltage of each bank with inputs that need one, as made inside.
KDI_DOOR std::vector<std::string> reference_constraints(PlacedSignals const& placed);

/// Whether the device drives or receives by a signal.
inline bool drives(Signal const& signal) { return signal.direction != "in"; }
inline bool receives(Signal const& signal) { return signal.direction != "out"; }

}  // namespace kdi::planning
