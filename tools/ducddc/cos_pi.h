// cos(pi x) with operations that every IEEE 754 machine rounds alike.
//
// A C library may take another road on another processor, with another last bit; the catalogue must come out the same
// everywhere. Absolute error below 2e-16.
#pragma once

namespace fir {

// x: half turns, any finite number of magnitude below 2^52.
double cos_pi(double x);

}  // namespace fir
