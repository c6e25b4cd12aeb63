// Questions about a primitive beside the best setting: where a phase or a duty cycle comes to lie, which inputs it
// takes, which outputs it can make, and what error, jitter and power can be traded for. Primitives and requests have
// passed their checks. Frequencies so fine that exact arithmetic would need more than 64 bits throw
// std::overflow_error.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

/// The phase nearest to `phase_deg` that an output with this divider (a positive multiple of 1 / kUnit, at most
/// kMaxOutputDivider) can have, in degrees from 0 to below 360; of two equally near the one with fewer steps.
Rational actual_phase_deg(Primitive const& primitive, Rational const& divider, Rational const& phase_deg,
                          bool fine_phase);

/// The duty cycle nearest to `duty` (above 0, below 1) that the divider can make; 1/2 for fractional dividers.
Rational actual_duty(Primitive const& primitive, Rational const& divider, Rational const& duty);

/// The input frequencies for which some M and D keep the limits of input, input buffer, PFD and VCO, as disjoint ranges
/// in ascending order. The request's own frequencies do not matter; its bandwidth, spread and counter options do.
std::vector<Range> input_ranges(Primitive const& primitive, Request const& request);

/// Input frequencies with which every output of the request is exact and all else that it asks for is kept, at its
/// second input too, nearest to its input first (of two equally near the lower), at most `count`. Considers at most
/// 2^16 pairs of VCO frequency and D, from low VCO frequencies up.
std::vector<Rational> exact_inputs(Primitive const& primitive, Request const& request, std::size_t count);

/// The same in whole Hz, to be told and given back: next to each exact input the nearer frequency from which some
/// setting is off by no more than that rounding and keeps all else that the request asks for, its tolerances too. None
/// of them twice; an exact input that has no such neighbour is left out.
std::vector<Rational> advised_inputs(Primitive const& primitive, Request const& request, std::size_t count);

/// The output frequencies nearest to `wanted_hz` that counter `counter` can make of the request's input, nearest first
/// (of two equally near the lower), at most `count`. The outputs that the request names do not matter.
std::vector<Rational> closest_outputs(Primitive const& primitive, Request const& request, std::size_t counter,
                                      Rational const& wanted_hz, std::size_t count);

/// A setting that no other one beats: less of one figure costs more of another.
struct ParetoPoint {
  Rational worst_error;  ///< relative
  double jitter_ps = 0;
  double power_w = 0;
  Solution solution;
};

/// The settings that are not dominated in worst error, jitter and power together, as they are told: in steps of 0.001
/// ppm, 0.001 ps and 0.1 mW. One for each triple of figures (the one with the smallest D, then M), in ascending order
/// of error, jitter, power. M and D range over all that is valid; each output has its best divider under the solver's
/// objective. Of more than `most`, so many evenly chosen along that order, the first and the last among them.
std::vector<ParetoPoint> pareto_front(Primitive const& primitive, Request const& request, std::size_t most);

}  // namespace kdi::clocking
