// cos(pi x) with operations that every IEEE 754 machine rounds alike.
//
// A C library may take another road on another processor, with another last bit; the catalogue must come out the same
// everywhere. Absolute error below 2e-16.
#pragma once

#include <cstddef>

namespace fir {

/// x: half turns, any finite number of magnitude below 2^52.
double cos_pi(double x);

/// The same of each of `count` numbers below 2^31, several at a time; `cosines` may be `x`.
void cos_pi(double const* x, std::size_t count, double* cosines);

}  // namespace fir
