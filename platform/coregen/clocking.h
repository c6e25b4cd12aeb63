// How a memory's clock is made: by the clock primitive that has the output for I/O banks, if the device has one, else
// by its PLL. What can be made and how is the clock solver's to say.
#pragma once

#include <string>
#include <vector>

#include "kdi/device/Range.h"
#include "platform/coregen/setup.h"

namespace kdi::coregen {

/// The periods of the memory's clock, in ps, that the device's clocks allow: those of the output for I/O banks, and of
/// the first clock buffer, which carries the user's clock.
device::Range clock_periods_ps(Setup const& setup);

struct ClockSetting {
  double multiply = 0;
  int divide = 0;
  std::vector<double> output_divides;
  double vco_mhz = 0;
  std::string phy_mode;  ///< empty without an output for I/O banks
  double ui_hz = 0;      ///< what comes out as the user's clock
  double error_ppm = 0;  ///< of the memory's clock
};

/// The nearest setting from this input. Throws a std::string with the solver's reasons if there is none.
ClockSetting setting_from(Setup const& setup, double input_period_ps);

/// Input periods in ps, ascending, from which the memory's clock comes within kExactPpm; the first are near
/// kNearInputPs.
std::vector<double> input_periods_ps(Setup const& setup);

/// The solver takes frequencies to the nearest Hz, so a period has no setting without this much error.
inline constexpr double kExactPpm = 0.1;
inline constexpr double kNearInputPs = 5000;

}  // namespace kdi::coregen
