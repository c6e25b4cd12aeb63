// What a setting costs: jitter, phase error and power, by the models that the device data state (device/Clocking.h,
// device/Power.h). The figures rank settings and estimate budgets; every command shows these.
#pragma once

#include "kdi/device/Clocking.h"
#include "kdi/device/Power.h"

namespace kdi::clocking {

/// Peak-to-peak jitter of an output in ps: falls with the VCO's frequency, rises with the input's jitter.
double jitter_ps(device::LoopModel const& loop, double input_jitter_ps, double vco_mhz, bool spread, bool fine_phase);

/// Static phase error in ps: falls with the frequency of the phase detector.
double phase_error_ps(device::LoopModel const& loop, double pfd_mhz);

/// Watts of a primitive, all outputs together: rises with every frequency.
double power_w(device::ClockPower const& model, double vco_ghz, double outputs_ghz);

}  // namespace kdi::clocking
