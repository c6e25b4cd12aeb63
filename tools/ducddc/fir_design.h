// Linear-phase FIR filters that are optimal in the Chebyshev sense, and their fixed-point form.
//
// Frequencies are in cycles per sample, 0 to 0.5. Every filter has an odd number of taps and is exactly symmetric, so
// its response is real but for its delay: A(f) = h[c] + 2 sum_k h[c + k] cos(2 pi k f), c the centre.
// Sources: J. McClellan, T. Parks, L. Rabiner, "A computer program for designing optimum FIR linear phase digital
// filters", IEEE Trans. Audio Electroacoust. 21 (1973); P. Vaidyanathan, T. Nguyen, "A trick for the design of FIR
// half-band filters", IEEE Trans. Circuits Syst. 34 (1987); F. Mintzer, "On half-band, third-band, and Nth-band FIR
// filters and their design", IEEE Trans. ASSP 30 (1982); E. Stiefel, "Note on Jordan elimination, linear programming
// and Tchebycheff approximation", Numer. Math. 2 (1960).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace fir {

// A stretch of the frequency axis with the amplitude that is wanted there. The error is weighted before it is compared.
struct Band {
  double low, high;  // 0 <= low < high <= 0.5; bands ascend and do not touch
  double desired;
  double weight = 1;  // above 0
};

struct Design {
  std::vector<double> taps;  // odd count, symmetric
  double ripple = 0;         // largest weighted error over the bands
  int iterations = 0;        // exchanges of the reference
  std::string note;          // empty, or what the caller should know of this design
};

// The filter of `length` taps whose largest weighted error over the bands is smallest (Remez exchange).
// length: odd, 3 to 2047. Throws std::invalid_argument for anything else and for bands out of order.
// A demand so easy that its error falls under what doubles resolve is met by a shorter filter, padded with
// zeros, and says so in `note`. Throws std::runtime_error where the exchange finds no rest.
Design equiripple(int length, std::vector<Band> const& bands);

// M-th band (Nyquist) filter for a rate change by `factor` M, 2, 3 or 5: h[c] is 1/M, every other M-th tap is exactly
// 0. The error is the stop-band's, over the images k/M - edge to k/M + edge of the pass-band 0 to edge; what is between
// them is left free. Because the M images of such a filter sum to 1, the pass-band's error is at most (M - 1) times as
// large; of a half-band filter (M = 2) it is the same. A demand that is too easy is met as in equiripple().
// length: odd with (length - 1)/2 no multiple of M; edge: above 0, below 1/(2M).
Design nyquist(int factor, int length, double edge);

// Whether an M-th band filter can have that many taps; factor 1: any odd number from 3 on.
bool is_nyquist_length(int factor, int length);

// Roughly how many taps a low-pass filter with that transition width and the same ripple in both bands has.
// Source: J. Kaiser, "Nonrecursive digital filter design using the I0-sinh window function", ISCAS 1974.
int estimated_length(double gap, double ripple);

// Rounds taps to `bits`-bit signed fractions of one common binary exponent, the finest in which the largest tap fits,
// one that equals the power of two exactly being held just under it: 0.5 in 18 bits is 0.5 - 2^-18. Ties go away from
// zero. Zeros stay zeros and symmetry stays.
std::vector<double> quantise(std::vector<double> const& taps, int bits);

// A(f) of a symmetric filter of odd length.
double amplitude(std::vector<double> const& taps, double frequency);

}  // namespace fir
