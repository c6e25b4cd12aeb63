// Jitter, phase error and power of a primitive, by the models that the device data state (device/Clocking.h,
// device/Power.h).
#pragma once

#include <optional>
#include <string>

#include "device/Clocking.h"
#include "device/Power.h"
#include "ip/clocking/solver.h"

namespace kdi::clocking {

/// LOW, HIGH or OPTIMIZED in letters of either case.
std::optional<HASTJitterCalculatorKelvane::BANDWIDTH> bandwidth_of(std::string text);

/// Peak-to-peak jitter of an output in ps.
double jitter_ps(device::LoopModel const& loop, double input_jitter_ps, double vco_mhz, bool spread, bool fine_phase);

/// Static phase error in ps.
double phase_error_ps(device::LoopModel const& loop, double pfd_mhz);

/// Watts of a primitive with this setting.
double power_w(device::ClockPower const& model, Solution const& solution);

/// "<what> 5 MHz is outside 10 to 800 MHz", or empty if the value is within.
std::string outside(char const* what, double mhz, device::Range const& range);

}  // namespace kdi::clocking
