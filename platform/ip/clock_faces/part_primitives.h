// The clock primitives of a part, as the solver takes them.
//
// Frequencies of a part and of scripts are in MHz, those of the solver in Hz: a script's frequency is taken to the
// nearest Hz.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/device/Device.h"
#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

/// A frequency in MHz as the solver takes it; none unless it is above 0 and at most kMaxFrequencyHz.
std::optional<Rational> to_hz(double mhz);
/// "33.333333": at most six decimals.
std::string mhz_text(Rational const& hz);

/// What the solver needs to know of a primitive of the part.
///
/// Of more than kMaxOutputs outputs the first ones are used.
Primitive solver_primitive(device::Part const& part, device::ClockPrimitive const& data, bool fine_phase);

/// "<what> 5 MHz is outside 10 to 800 MHz", or empty if the value is within.
std::string outside(char const* what, double mhz, device::Range const& range);

/// The fault of a request beyond a limit of the primitive, which is no reason not to say how near it comes: followed by
/// the nearest setting, or by what stands in the way of any.
std::string with_nearest(std::string const& fault, Primitive const& primitive, Request const& request);

/// LOW, HIGH or OPTIMIZED in letters of either case.
std::optional<HASTJitterCalculatorKelvane::BANDWIDTH> bandwidth_of(std::string_view word);

/// The primitive with the widest limits that any of the device's speed grades gives it.
device::ClockPrimitive widest(device::Device const& device, device::ClockPrimitive primitive);

}  // namespace kdi::clocking
