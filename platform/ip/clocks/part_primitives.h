// The clock primitives of a part, as the solver takes them.
//
// Frequencies of a part and of scripts are in MHz, those of the solver in Hz: a script's frequency is taken to the
// nearest Hz.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "device/Device.h"
#include "ip/clocking/primitive.h"

namespace kdi::clocking {

/// The part; null if it is not known.
device::Part const* find_part(std::string const& name);

/// A frequency in MHz as the solver takes it; none unless it is above 0 and at most kMaxFrequencyHz.
std::optional<Rational> to_hz(double mhz);
/// "33.333333": at most six decimals.
std::string mhz_text(Rational const& hz);

/// What the solver needs to know of a primitive.
///
/// Of more than kMaxOutputs outputs the first ones are used. Jitter and power are not filled in:
/// they come from the data's own models.
Primitive solver_primitive(device::ClockPrimitive const& data, std::vector<device::ClockBuffer> const& buffers,
                           bool fine_phase);

/// The primitive with the widest limits that any of the device's speed grades gives it.
device::ClockPrimitive widest(device::Device const& device, device::ClockPrimitive primitive);

}  // namespace kdi::clocking
