// Power of a processing system: what its parts draw at the conditions of its part, its leakage, and its pads.
//
// The description of a core says what each of its parts draws, by clock and load, at the reference conditions of the
// generation (data/power). With L and D as kdi/ip/HIPWPowerCalcIntf.h tells them, in mW:
//
//   dynamic       D times what the description says
//   leakage       L 1000 static_w(supply) factor(device), for each supply of the kind of processing system
//   pads          D (static_mw(standard) + V^2 load_pf toggle_mhz(function) / 1000), the sum over a bank's pads in use;
//                 V is the standard's voltage, and a pad changes `toggle_mhz` times a microsecond
//   terminations  what resistors draw while a line is held against them; D does not count, since a resistor is one at
//                 any temperature:
//     of pads     1000 V^2 (1 / pull_ohm(standard), of a pad whose pull-up is on, + 1 / line_ohm(function)) low_share
//     of memory   the sum over data lines, those of check bits and the strobes of each eight of them, active_share
//                 times, of what the memory type's standard has at the end of a line, with R of the end, r of the
//                 driver and V of the supply:
//                   centre  1000 V^2 / (2 R + r 2 R / (r + 2 R)), 2 R to each rail
//                   supply  1000 V^2 / (R + r) / 2, R to the supply, against which half of the bits stand
//                   ground  the same, R to ground
//                   open    0
//
// L is for the hottest junction that the part's temperature grade allows, since supplies are laid out for it. What a
// board has at the far end of address and clock lines draws from the board's own supply and is not told.
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

/// What a pad in use has from the bank that it is in; empty texts for one that is in none.
struct PadLevels {
  std::string standard, supply;
  double milliwatts = 0;              ///< the pad itself
  double termination_milliwatts = 0;  ///< what holds its line
};

struct SystemPower {
  double junction_c = 0, core_v = 0;
  std::vector<SystemItem> dynamic, leakage, pads, terminations;
  std::vector<PadLevels> levels;  ///< of each pad that was asked for
};

/// The conditions and what they make of `dynamic`. `value_of` answers with the value of the parameter whose name ends
/// so, empty if there is none. None for a part without processing system, or of a generation that data/power does not
/// describe.
KDI_DOOR std::optional<SystemPower> system_power(device::Part const& part, std::vector<SystemItem> dynamic,
                                                 std::vector<SystemPad> const& pads,
                                                 std::function<std::string(std::string const&)> const& value_of);

}  // namespace kdi::power
