// Rules of transceiver clocks that need no instance: which reference clocks and output clocks go with a line rate.
//
// A number stands for the shortest decimal that reads back as it, and everything is computed exactly from there; an
// answer is the double nearest to the exact one. What holds is what the kind's fastest speed grade can do. Rates are in
// Gb/s, clocks in MHz. What cannot be read or is no kind, modulation, PLL, width or source throws a std::string that
// says so and ends in a line feed. For any thread.
#pragma once

#include <set>
#include <string>

#include "kdi/common/KdiDoor.h"

namespace kelvane_gtwiz {

class KDI_DOOR rule_engine_utilities {
 public:
  /// The output clocks that a transmitter at `gbps` from `reference_mhz` can give: over all settings that give the rate
  /// exactly, or, where none does, the best one and the rate that it gives. `pll`, `width` and `source` are names or
  /// `any` (empty as well); a `divider` of 0 stands for all programmable dividers.
  static std::set<double> findTXOUTCLKlist(double gbps, double reference_mhz, std::string const& kind,
                                           std::string const& modulation, std::string const& pll, float divider,
                                           std::string const& width, std::string const& source);
  /// The same of a receiver, whose clocks come from the data alone.
  static std::set<double> findRXOUTCLKlist(double gbps, std::string const& kind, float divider,
                                           std::string const& width, std::string const& source);

  /// Whether a feedback with a fraction gives the rate exactly and none without does.
  static bool fracNEnable(double gbps, double reference_mhz, std::string const& kind);

  /// The legal reference clock nearest to `wanted_mhz` from which the rate comes out exactly with the fraction
  /// `numerator` (whole and not negative; empty is 0), or, if `any_numerator`, with whatever fraction; of two equally
  /// near ones the lower. For GTYP, and in the second form for GTM.
  static double calculateActualRefclk(double gbps, double wanted_mhz, std::string const& numerator, bool any_numerator);
  static double calculateActualRefclk_GTME5(double gbps, double wanted_mhz, std::string const& numerator,
                                            bool any_numerator);
};

}  // namespace kelvane_gtwiz
