// Power of a processing system: what its parts draw at the conditions of its part, its leakage, and its pads.
//
// The description of a core says what each of its parts draws, by clock and load, at the reference conditions of the
// generation (data/power). With L and D as kdi/ip/HIPWPowerCalcIntf.h tells them, in mW:
//
//   dynamic   D times what the description says
//   leakage   L 1000 static_w(supply) factor(device), for each supply of the kind of processing system
//   pads      D (static_mw(standard) + V^2 load_pf toggle_mhz(function) / 1000), the sum over a bank's pads in use;
//             V is the standard's voltage, and a pad changes `toggle_mhz` times a microsecond
//
// L is for the hottest junction that the part's temperature grade allows, since supplies are laid out for it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/Device.h"

namespace kdi::power {

/// What draws from which supply.
struct SystemItem {
  std::string item, supply;
  double milliwatts = 0;
};

/// A pad in use: its bank as the core calls it, its number there, and what uses it.
struct SystemPad {
  std::string bank;
  unsigned number = 0;
  std::string function;
};

struct SystemPower {
  double junction_c = 0, core_v = 0;
  std::vector<SystemItem> dynamic, leakage, pads;
};

/// The conditions and what they make of `dynamic`. `standard_of` answers with the value of the parameter whose name
/// ends so. None for a part without processing system, or of a generation that data/power does not describe.
KDI_DOOR std::optional<SystemPower> system_power(device::Part const& part, std::vector<SystemItem> dynamic,
                                                 std::vector<SystemPad> const& pads,
                                                 std::function<std::string(std::string const&)> const& standard_of);

}  // namespace kdi::power
