// How few primitives of a part make a set of clocks.
#pragma once

#include <string>
#include <vector>

#include "kdi/device/Device.h"
#include "platform/ip/clocking/cover.h"

namespace kdi::clocking {

/// The least number of MMCMs (of PLLs where the part has no MMCM) that make the outputs from the inputs, as a
/// dictionary, whose form docs/commands/clocking.notes.md states. No clock is farther off than it has to be. Without
/// inputs there is one of the period. Throws Fault (questions.h) and std::overflow_error.
std::string least_instances(device::Part const& part, std::vector<double> const& outputs_mhz,
                            std::vector<double> const& inputs_mhz, double period_ns);

/// The same for any primitive and all that may be asked of its clocks: as few of the `available` as make the outputs
/// within the tolerance of the request, or, if it has none, with no clock farther off than it has to be.
std::string least_instances(Primitive const& primitive, CoverRequest request, int available);

/// The other way round: the least tolerance, in thousandths of a ppm, within which `at_most` primitives make the
/// outputs; the request's own does not matter. The dictionary begins with it, under `tolerance_ppm`. Up to
/// kExactCoverOutputs outputs.
std::string least_tolerance(Primitive const& primitive, CoverRequest request, std::size_t at_most, int available);

}  // namespace kdi::clocking
